struct { int a:3; int b:5; char c; } packed = { 1, 2, 3 };   /* one unit of 4 bytes */
struct { char c; unsigned x:4; unsigned y:12; } after_char = { 9, 15, 0x123 };
struct { unsigned a:4; unsigned b:30; } two_units = { 0x1F, -1 };  /* values cut to the width */
struct { unsigned char m:2, n:2; short s; unsigned short t:7; } small_units = { 1, 2, 3, 100 };
union { unsigned a:4; char b; } in_union = { 5 };
struct { unsigned a:32; unsigned b:1; } whole = { -1, 3 };  /* a full unit, then one bit */
