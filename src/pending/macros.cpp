// Stand-ins for functions of other areas that the macro code calls, until
// their owners provide them.
#include "lexer/token.h"

// Debug writer: name record of a used macro.
__attribute__((weak)) void write_debug_macro_name(NameRecord *) {}
