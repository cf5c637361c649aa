// Temporary stand-ins of the external declaration parser, until file-scope
// declarations are parsed: each construct is refused as a syntax error and
// skipped up to its `;`.  Weak, so the real parser replaces them.
#include <cstdlib>

#include "driver/options.h"
#include "lexer/token.h"

#define PENDING __attribute__((weak))

// Set by the first file-scope definition; nothing is defined yet.
PENDING int32_t object_seen = 0;

PENDING void parse_external_declaration() {
    Token *token = next_token();
    report("syntax error");
    while (token->code != TOK_SEMI && token->code != TOK_EOF) {
        if (token->code == TOK_ASM)
            std::free(token->value.text);   // assembly text belongs to its reader
        token = next_token();
    }
}

// Tentative objects and the public and external names: none are made yet.
PENDING void flush_symbols(int) {}
