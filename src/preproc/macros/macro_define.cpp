// The macro table: definition of macros from the tokens of a #define line,
// lookup through the macro trie, removal, the comparison of two definitions,
// and the list of macros used, for the debug information.
#include <cstddef>
#include <cstring>
#include <cstdint>

#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

TrieNode *macro_trie;
MacroDef *macro_list;
MacroDef *hidden_macros;

namespace {

// Parameters of the definition being parsed, with an open hash table on
// their spellings, so that a long parameter list and a long body do not
// multiply.  Reused from one definition to the next.
struct ParamTable {
    const PpToken **params = nullptr;
    unsigned count = 0;
    unsigned capacity = 0;
    int32_t *slots = nullptr;    // index + 1 into params, 0 for empty
    unsigned slot_mask = 0;
};

ParamTable param_table;

unsigned spelling_hash(const char *text, unsigned length) {
    unsigned hash = 2166136261u;
    for (unsigned i = 0; i < length; i++)
        hash = (hash ^ static_cast<unsigned char>(text[i])) * 16777619u;
    return hash;
}

bool same_spelling(const PpToken *a, const PpToken *b) {
    return a->length == b->length && std::memcmp(a->text, b->text, a->length) == 0;
}

// Grows `*array` to hold at least `needed` elements, doubling.  Typed, so
// the array pointer is never written through a pointer of another type.
template <typename T>
void grow_array(T **array, unsigned *capacity, unsigned needed) {
    if (needed <= *capacity)
        return;
    unsigned capacity_new = *capacity ? *capacity : 16;
    while (capacity_new < needed)
        capacity_new *= 2;
    T *block = static_cast<T *>(checked_alloc(capacity_new * sizeof(T), nullptr));
    if (*array) {
        std::memcpy(static_cast<void *>(block), static_cast<const void *>(*array), *capacity * sizeof(T));
        std::free(static_cast<void *>(*array));
    }
    *array = block;
    *capacity = capacity_new;
}

// Index of the parameter spelled like `token`, or -1.
int find_param(const PpToken *token) {
    ParamTable &t = param_table;
    if (!t.count)
        return -1;
    unsigned slot = spelling_hash(token->text, token->length) & t.slot_mask;
    while (t.slots[slot]) {
        const PpToken *param = t.params[t.slots[slot] - 1];
        if (same_spelling(param, token))
            return t.slots[slot] - 1;
        slot = (slot + 1) & t.slot_mask;
    }
    return -1;
}

void insert_param(unsigned index) {
    ParamTable &t = param_table;
    const PpToken *token = t.params[index];
    unsigned slot = spelling_hash(token->text, token->length) & t.slot_mask;
    while (t.slots[slot]) {
        if (same_spelling(t.params[t.slots[slot] - 1], token))
            return;
        slot = (slot + 1) & t.slot_mask;
    }
    t.slots[slot] = static_cast<int32_t>(index + 1);
}

// Adds a parameter; a repeated spelling stays found at its first index.
// The hash table is kept at most half full, rebuilt in order on growth.
void add_param(const PpToken *token) {
    ParamTable &t = param_table;
    grow_array(&t.params, &t.capacity, t.count + 1);
    t.params[t.count++] = token;
    if (t.count * 2 <= t.slot_mask) {
        insert_param(t.count - 1);
        return;
    }
    unsigned size = 32;
    while (size < t.count * 4)
        size *= 2;
    std::free(t.slots);
    t.slots = static_cast<int32_t *>(checked_alloc(size * sizeof *t.slots, nullptr));
    std::memset(t.slots, 0, size * sizeof *t.slots);
    t.slot_mask = size - 1;
    for (unsigned i = 0; i < t.count; i++)
        insert_param(i);
}

// Empties the table.  A table grown for a long parameter list is given
// back, so that the definitions after it do not clear a large one each.
void clear_params() {
    ParamTable &t = param_table;
    if (t.slot_mask >= 64) {
        std::free(t.slots);
        t.slots = nullptr;
        t.slot_mask = 0;
    } else if (t.count && t.slots) {
        std::memset(t.slots, 0, (t.slot_mask + 1) * sizeof *t.slots);
    }
    t.count = 0;
}

// Walks the parameter list behind `open`.  Returns the `)` that closes it,
// or null after an error; the parameters are in param_table.
PpToken *parse_params(PpToken *open) {
    PpToken *token = open->next;
    if (token && token->kind == TOK_RPAREN)
        return token;
    for (;;) {
        if (!token || token->kind != TOK_IDENT) {
            report("bad macro argument");
            return nullptr;
        }
        if (find_param(token) >= 0)
            report("redeclared parameter");
        add_param(token);
        token = token->next;
        if (token && token->kind == TOK_RPAREN)
            return token;
        if (!token || token->kind != TOK_COMMA) {
            report("bad macro argument syntax");
            return nullptr;
        }
        token = token->next;
    }
}

// Gives the body its final form: parameters become PP_PARAM, the first
// token and every line end lose their white space, and all spellings move
// into one block owned by the macro.
void pack_body(MacroDef *macro) {
    PpToken *body = macro->body;
    macro->body_kinds = 0;
    if (!body)
        return;
    body->space_length = 0;
    size_t total = 0;
    for (PpToken *token = body; token; token = token->next) {
        if (token->kind == PP_HASH || token->kind == PP_PASTE)
            macro->body_kinds |= MACRO_BODY_OPERATORS;
        if (token->kind == PP_EOL) {
            token->space_length = 0;
            token->length = 0;
        } else if (token->kind == TOK_IDENT) {
            int index = macro->param_count > 0 ? find_param(token) : -1;
            if (index >= 0) {
                token->kind = PP_PARAM;
                macro->body_kinds |= MACRO_BODY_PARAMS;
                token->length = static_cast<uint16_t>(index);
                token->text = nullptr;
                token->entry = nullptr;
            } else {
                // Looked up once here rather than in every expansion.
                pptoken_name(token);
            }
        }
        total += token->space_length;
        if (token->kind != PP_PARAM)
            total += token->length;
    }
    char *block = static_cast<char *>(checked_alloc(static_cast<unsigned>(total + 1), nullptr));
    char *cursor = block;
    for (PpToken *token = body; token; token = token->next) {
        std::memcpy(cursor, token->space, token->space_length);
        token->space = cursor;
        cursor += token->space_length;
        if (token->kind != PP_PARAM) {
            std::memcpy(cursor, token->text, token->length);
            token->text = cursor;
            cursor += token->length;
        } else {
            token->text = cursor;
        }
    }
    *cursor = 0;
}

// Unlinks `macro` from macro_list without a walk of the list, through the
// index field `list_link`, which always holds the address of the field that
// points at the record: macro_list itself, or the `next` of the record in
// front.
void unlink_macro(MacroDef *macro) {
    *macro->list_link = macro->next;
    if (macro->next)
        macro->next->list_link = macro->list_link;
    if (macro->state) {
        for (MacroDef **hidden = &hidden_macros; *hidden; hidden = &(*hidden)->hidden_next)
            if (*hidden == macro) {
                *hidden = macro->hidden_next;
                break;
            }
    }
}

// Index beside the trie: the name entry of each defined spelling points at
// its record (`NameEntry.macro`).  A lookup is then the one hash of the
// spelling that the token stream needs anyway, however many names share its
// first characters.  A record is entered when it is made and leaves before
// it is freed, so an entry names exactly the macro that the trie holds.
//
// A second definition of a name is made for comparison only, under a
// spelling that no identifier has (dir_define moves its first character
// below the letters); nothing looks it up by name, and it stays out of the
// index and out of the table of names.
bool is_indexed(const char *text, size_t length) {
    return length != 0 && static_cast<unsigned char>(text[0]) >= 'A';
}

void index_macro(const char *text, size_t length, MacroDef *macro) {
    if (is_indexed(text, length))
        name_entry(text, static_cast<unsigned>(length))->macro = macro;
}

void unindex_macro(const char *text, size_t length, const MacroDef *macro) {
    if (!is_indexed(text, length))
        return;
    NameEntry *entry = name_entry(text, static_cast<unsigned>(length));
    if (entry->macro == macro)
        entry->macro = nullptr;
}

// The length of a macro's name.  Not strlen: a second definition is parsed
// under its name with the first character moved down, which makes that
// character 0 for a name beginning with `A`.  name_length stops at 255, and
// the characters behind the first are never 0.
size_t name_size(const MacroDef *macro) {
    if (macro->name_length < 255)
        return macro->name_length;
    return 255 + std::strlen(macro->name + 255);
}

void free_macro(MacroDef *macro) {
    unindex_macro(macro->name, name_size(macro), macro);
    if (macro->body)
        std::free(macro->body->space);
    pptoken_free_list(macro->body);
    std::free(macro->args);
    std::free(macro);
}

}  // namespace

MacroDef *macro_define(PpToken *name) {
    PpToken *open = name->next;
    PpToken *body = open;
    int32_t param_count = 0;
    clear_params();
    if (open && open->kind == TOK_LPAREN && !open->space_length) {
        PpToken *close = parse_params(open);
        if (!close) {
            clear_params();
            return nullptr;
        }
        param_count = param_table.count ? static_cast<int32_t>(param_table.count) : -1;
        body = close->next;
        close->next = nullptr;
    } else {
        name->next = nullptr;
    }

    TrieNode *node = trie_find(&macro_trie, name->text, name->length);
    if (node->value) {
        MacroDef *old = static_cast<MacroDef *>(node->value);
        unlink_macro(old);
        free_macro(old);
    }
    auto *macro = static_cast<MacroDef *>(
        checked_alloc(static_cast<unsigned>(offsetof(MacroDef, name) + name->length + 1), macro_list));
    if (macro_list)
        macro_list->list_link = &macro->next;
    macro->list_link = &macro_list;
    macro_list = macro;
    node->value = macro;

    macro->hidden_next = nullptr;
    macro->body = body;
    macro->param_count = param_count;
    macro->args = nullptr;
    if (param_count > 0) {
        size_t size = static_cast<size_t>(param_count) * sizeof(PpToken *);
        macro->args = static_cast<PpToken **>(checked_alloc(static_cast<unsigned>(size), nullptr));
        std::memset(macro->args, 0, size);
    }
    macro->state = 0;
    macro->used = 0;
    macro->name_length = static_cast<uint8_t>(name->length > 255 ? 255 : name->length);
    std::memcpy(macro->name, name->text, name->length);
    macro->name[name->length] = 0;
    index_macro(macro->name, name->length, macro);
    pack_body(macro);
    clear_params();
    return macro;
}

MacroDef *macro_lookup(const PpToken *token) {
    if (token->entry != nullptr)
        return token->entry->macro;
    return name_entry(token->text, token->length)->macro;
}

void macro_undefine(const PpToken *token) {
    TrieNode *node = trie_find(&macro_trie, token->text, token->length);
    auto *macro = static_cast<MacroDef *>(node->value);
    if (!macro)
        return;
    node->value = nullptr;
    unlink_macro(macro);
    free_macro(macro);
}

bool macro_same(const MacroDef *macro, const MacroDef *other) {
    if (macro->param_count != other->param_count)
        return false;
    const PpToken *a = macro->body;
    const PpToken *b = other->body;
    for (; a && b; a = a->next, b = b->next) {
        if (a->kind != b->kind || (a->space_length != 0) != (b->space_length != 0) ||
            a->length != b->length)
            return false;
        switch (a->kind) {
        case TOK_STRING:
        case TOK_IDENT:
        case PP_NUMBER:
        case PP_CHAR:
            if (std::memcmp(a->text, b->text, a->length) != 0)
                return false;
            break;
        default:
            break;
        }
    }
    return !a && !b;
}

void write_used_macros() {
    for (MacroDef *macro = macro_list; macro; macro = macro->next) {
        if (!macro->used)
            continue;
        macro->used = 0;
        if (!source_events.macro_used)
            continue;
        size_t length = std::strlen(macro->name);
        const PpToken *first = macro->body;
        bool spelled = first && first->kind != PP_PARAM;
        source_events.macro_used(intern_name(macro->name, static_cast<unsigned>(length)),
                                 spelled ? first->text : "", spelled ? first->length : 0);
    }
}
