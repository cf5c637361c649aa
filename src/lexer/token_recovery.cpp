// Checking for an expected token, and recovery from a syntax error by
// skipping to a point where parsing can start again.
#include "driver/options.h"
#include "lexer/token.h"

uint8_t recovery_target;

namespace {

// The text of "missing %s" for the tokens whose absence is worth naming.
const char *missing_text(int code) {
    switch (code) {
    case TOK_LPAREN: return "(";
    case TOK_RPAREN: return ")";
    case TOK_RBRACE: return "}";
    case TOK_RBRACKET: return "]";
    case TOK_WHILE: return "while";
    case TOK_SEMI: return ";";
    case TOK_COLON: return ":";
    default: return nullptr;
    }
}

} // namespace

Token *expect_token(int code) {
    Token *t = next_token();
    if (t->code == code)
        return t;

    // Given back before the report, so that the message stands at the last
    // good token, in front of the wrong one.
    unget_token();
    if (const char *text = missing_text(code))
        report("missing %s", text);
    else
        report("syntax error");

    // At the end of an expression statement a brace or the end of input
    // belongs to the statements around it: it is skipped to, not over.
    bool give_back = false;
    if (recovery_target == RECOVER_TO_STATEMENT_END) {
        recovery_target = TOK_RBRACE;
        give_back = true;
    }
    while (recovery_target != 0) {
        Token *skipped = next_token();
        uint16_t got = skipped->code;
        if (got == TOK_LBRACE && recovery_target == TOK_RBRACE)
            got = TOK_RBRACE;
        if (got == TOK_EOF || got == TOK_SEMI || got == recovery_target) {
            if (got != TOK_SEMI && give_back)
                unget_token();
            recovery_target = 0;
        }
    }
    return t;
}
