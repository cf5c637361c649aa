/* a unit of directives only */
#define LIMIT 10
#undef LIMIT
