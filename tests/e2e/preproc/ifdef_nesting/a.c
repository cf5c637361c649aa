#define ON
#ifdef ON
on1
#ifdef OFF
off1
#ifdef ON
off2
#else
off3
#endif
#bogus directive in skipped code
# 12 is no directive either
#else
on2
#endif
#else
off4
#ifndef OFF
off5
#else
off6
#endif
#endif
#ifndef OFF
on3
#else
off7
#endif
#
# /* the empty directive, with a comment */
#ifdef OFF
#
#else
on4
#endif
#ifdef ON
on5
#elif whatever
off8
#elif
off9
#else
off10
#endif
#ifndef ON
#else
on6
#endif
