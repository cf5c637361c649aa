// Stand-ins for what the lexer reads from layers that are not written yet;
// each real definition overrides its weak one here.
#include "lexer/token.h"

// The constant section's mark, set by #pragma section const.
__attribute__((weak)) NameRecord *literal_section = nullptr;
