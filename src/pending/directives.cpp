// Stand-ins for calls of the directives into layers that are not written
// yet; each real definition overrides its weak one here.
#include "lexer/token.h"
#include "preproc/pptoken.h"

// #if and #elif: evaluated by the expression parser; until then false.
__attribute__((weak)) int eval_if_expression(PpToken **, int) { return 0; }

// #pragma space, section, attribute: parsed by the declaration layer.
__attribute__((weak)) void declaration_pragma(int, PpToken **) {}

// The token stream's last delivered token, which positions diagnostics.
__attribute__((weak)) Token *last_token = nullptr;
