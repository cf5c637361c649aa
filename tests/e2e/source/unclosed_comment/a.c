int a;
/* open
