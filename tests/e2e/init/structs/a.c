struct { char c; int i; } padded = { 1, 2 };           /* 3 bytes of padding */
struct inner { short a; char b; };
struct { struct inner x; struct inner y; char z; } nested = { { 1, 2 }, { 3 }, 4 };
struct { struct inner x; struct inner y; char z; } elided = { 1, 2, 3, 4, 5 };
struct { int a; int b; } short_list = { 9 };            /* b and the rest zero */
struct { int a; } trailing = { 1, };
struct { int a; int b; } early_end = { 1, };
struct { char s[3]; int n[2]; } members = { "ab", { 5 } };
union { char c; int i; double d; } first = { 'x' };     /* through the first member */
union { struct inner in; long l; } u_nested = { { 1, 2 } };
struct { int a; union { char b; int c; }; int d; } anonymous = { 1, 2, 3 };
struct { int a; struct { char x, y; }; int d; } anon_struct = { 1, 2, 3, 4 };
