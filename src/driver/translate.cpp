// The translation loop of a normal run: the head of the intermediate file,
// one external declaration after the other, assembly text that stands
// outside any function copied straight through, and the checks and output
// that close the unit, in a fixed order.
#include <cstdlib>

#include "decl/symbol.h"
#include "driver/options.h"
#include "lexer/token.h"
#include "output/records.h"
#include "preproc/directives.h"

void translate_unit() {
    start_intermediate_file();
    for (;;) {
        Token *token = next_token();
        if (token->code == TOK_EOF)
            break;
        if (token->code == TOK_ASM) {
            write_position(token->line);
            write_asm_text(token->value.text, token->length);
            std::free(token->value.text);
            token->value.text = nullptr;
            continue;
        }
        unget_token();
        parse_external_declaration();
    }

    check_open_conditionals();
    write_space_names();
    flush_symbols(1);
    if (opt_sa && !object_seen)
        report("missing object declaration");
    if (error_count == 0)
        write_literals();
    flush_output();
}
