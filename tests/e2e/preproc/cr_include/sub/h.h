/* header */
int in_header;
