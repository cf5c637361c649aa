// Stand-ins for the declaration layer's pragmas, which are not written yet:
// `#pragma space`, `#pragma section` and `#pragma attribute` are accepted
// and ignored, and string constants stay in the default section.  These
// definitions go when the pragma code lands.
#include "lexer/token.h"
#include "preproc/pptoken.h"

NameRecord *literal_section = nullptr;

void declaration_pragma(int, PpToken **) {}
