// Stands in for the declaration specifiers and declarators and for the
// space, section and attribute pragmas, which are not written yet:
// `#pragma space`, `#pragma section` and `#pragma attribute` are accepted
// and ignored, and string constants stay in the default section.  These
// definitions go when the pragma code lands.
#include "expr/expr_node.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"

NameRecord *literal_section = nullptr;

void declaration_pragma(int, PpToken **) {}
