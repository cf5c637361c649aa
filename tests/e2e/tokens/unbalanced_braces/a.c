}
}}
{
{ { ;
int x;
