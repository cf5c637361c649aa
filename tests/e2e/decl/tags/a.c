#if sizeof(struct s *) == 2
a mention declares struct s
#endif
#if sizeof(struct s { int x; }) == 4 && sizeof(struct s) == 4
a body completes it
#endif
#if sizeof(struct s { char c; }) == 1
a second body: redefined tag name, a new tag
#endif
#if sizeof(struct s) == 1
the newest struct s is found
#endif
#if sizeof(union s) == 0
union s after struct s: redefined tag type, a new incomplete union
#endif
#if sizeof(union u { int i; }) == 4 && sizeof(union u *) == 2 && sizeof(union u) == 4
a union tag
#endif
#if sizeof(enum e { E }) == 1 && sizeof(enum e) == 1
an enum tag
#endif
#if sizeof(struct t { struct t *next; struct t **list; }) == 4
a struct may point to itself
#endif
#if sizeof(struct { struct in { char c[3]; } a; struct in b; }) == 6
a tag declared inside a body is seen after it
#endif
