/* assert: a false condition names itself, its file and line on standard
   error and ends the run as abort does. */
#undef assert
#ifdef NDEBUG
#define assert(e) ((void)0)
#else
void zirrun_assert_fail(const char *condition, const char *file, int line);
#define assert(e) ((e) ? (void)0 : zirrun_assert_fail(#e, __FILE__, __LINE__))
#endif
