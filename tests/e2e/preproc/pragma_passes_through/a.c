#pragma space extern @far
#pragma section {data}
#pragma unroll 4
#pragma message "hi" P
#pragma  weird  stuff
#pragma
#pragma 3
#define P space
#pragma P
#ifdef NOPE
#pragma skipped
#endif
