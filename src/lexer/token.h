// The lexer's chief header: token codes, the Token record handed to the
// parser, interned names and the character trie behind them, the keyword
// table, and the conversion of numeric, character and string spellings with
// the pool that stores strings and real constants.
#pragma once

#include <cstdint>

struct PpToken;

// ---------------------------------------------------------------------------
// Token codes.  The numbers are fixed: keyword codes double as storage
// classes and statement kinds, binary operator codes as operator codes, and
// the preprocessing kinds 19 to 24 and 52 (preproc/pptoken.h) fit between.
enum : uint16_t {
    TOK_NONE = 0,
    TOK_COMMA = 1,          // ,
    TOK_COLON = 2,          // :
    TOK_SEMI = 3,           // ;
    TOK_STRING = 4,         // string constant
    TOK_AT = 5,             // @
    TOK_DOT = 6,            // .
    TOK_ELLIPSIS = 7,       // ...
    TOK_ARROW = 8,          // ->
    TOK_QUESTION = 9,       // ?
    TOK_LPAREN = 10,        // (
    TOK_RPAREN = 11,        // )
    TOK_LBRACKET = 12,      // [
    TOK_RBRACKET = 13,      // ]
    TOK_INC = 14,           // ++
    TOK_DEC = 15,           // --
    TOK_LBRACE = 16,        // {
    TOK_RBRACE = 17,        // }
    TOK_IDENT = 18,         // identifier
    TOK_ASM = 31,           // a line of assembly text
    TOK_NOT = 61,           // !
    TOK_TILDE = 62,         // ~
    TOK_SLASH = 68,         // /
    TOK_PERCENT = 69,       // %
    TOK_SHL = 70,           // <<
    TOK_SHR = 71,           // >>
    TOK_CARET = 73,         // ^
    TOK_BAR = 74,           // |
    TOK_LT = 75,            // <
    TOK_GE = 76,            // >=
    TOK_GT = 77,            // >
    TOK_LE = 78,            // <=
    TOK_EQ = 79,            // ==
    TOK_NE = 80,            // !=
    TOK_ADD_ASSIGN = 81,    // +=
    TOK_SUB_ASSIGN = 82,    // -=
    TOK_MUL_ASSIGN = 83,    // *=
    TOK_DIV_ASSIGN = 84,    // /=
    TOK_MOD_ASSIGN = 85,    // %=
    TOK_SHL_ASSIGN = 86,    // <<=
    TOK_SHR_ASSIGN = 87,    // >>=
    TOK_AND_ASSIGN = 88,    // &=
    TOK_XOR_ASSIGN = 89,    // ^=
    TOK_OR_ASSIGN = 90,     // |=
    TOK_ANDAND = 91,        // &&
    TOK_OROR = 92,          // ||
    TOK_ASSIGN = 95,        // =
    TOK_PLUS = 97,          // +
    TOK_MINUS = 98,         // -
    TOK_STAR = 99,          // *
    TOK_AMP = 104,          // &

    // Keywords, in alphabetical order from 128.
    TOK_AUTO = 128,
    TOK_BREAK = 129,
    TOK_CASE = 130,
    TOK_CHAR = 131,
    TOK_CONST = 132,
    TOK_CONTINUE = 133,
    TOK_DEFAULT = 134,
    TOK_DO = 135,
    TOK_DOUBLE_KW = 136,    // the keyword `double`; TOK_DOUBLE is a constant
    TOK_ELSE = 137,
    TOK_ENUM = 138,
    TOK_EXTERN = 139,
    TOK_FLOAT_KW = 140,     // the keyword `float`; TOK_FLOAT is a constant
    TOK_FOR = 141,
    TOK_GOTO = 142,
    TOK_IF = 143,
    TOK_INT_KW = 144,       // the keyword `int`; TOK_INT is a constant
    TOK_LONG_KW = 145,      // the keyword `long`; TOK_LONG is a constant
    TOK_REGISTER = 146,
    TOK_RETURN = 147,
    TOK_SHORT = 148,
    TOK_SIGNED = 149,
    TOK_SIZEOF = 150,
    TOK_STATIC = 151,
    TOK_STRUCT = 152,
    TOK_SWITCH = 153,
    TOK_TYPEDEF = 154,
    TOK_UNION = 155,
    TOK_UNSIGNED = 156,
    TOK_VOID = 157,
    TOK_VOLATILE = 158,
    TOK_WHILE = 159,

    // Constants.  TOK_INT: fits in 31 bits, no `u`.  TOK_UINT: `u` suffix or
    // bit 31 set.  TOK_LONG: exactly 0x80000000 without `u`.  TOK_ULONG is
    // only given by the expression parser.
    TOK_INT = 160,
    TOK_UINT = 161,
    TOK_LONG = 162,
    TOK_ULONG = 163,
    TOK_FLOAT = 166,        // real constant of type float
    TOK_DOUBLE = 167,       // real constant of type double
    TOK_EOF = 255,          // end of input
};

constexpr int KEYWORD_COUNT = 32;
constexpr uint16_t TOK_FIRST_KEYWORD = TOK_AUTO;

// ---------------------------------------------------------------------------
// Name record: an unsigned 8-bit length, the characters, and one more byte.
// That byte is 0 when the record is made (so `text` is a C string); the
// symbol table later sets it to 1 once a Symbol of this name has existed.
// Records are interned: equal spellings give the same pointer, so names are
// compared by pointer.  A name longer than 255 characters does not fit the
// length byte; such names are not supported.
struct NameRecord {
    uint8_t length;
    char text[];            // `length` characters, then the mark byte
};

// Node of a character trie, the table of macros by name (preproc/pptoken.h).
// The siblings of one level are in ascending
// order of `ch`, compared as signed bytes.  A name's path ends in a terminal
// node with `ch` 0, which sorts in front of every identifier character and
// so is always the first child of the name's last character; its `value`
// is what is stored for the name (null until the owner of the trie sets it).
struct TrieNode {
    TrieNode *sibling;
    union {
        TrieNode *child;    // inner node: first node of the next character
        void *value;        // terminal node: the value stored for the name
    };
    int8_t ch;
};

// Returns the terminal node of `text` in the trie at `*root`, creating it
// and the path to it if needed; a new terminal node has a null value.
TrieNode *trie_find(TrieNode **root, const char *text, unsigned length);

// Returns the interned name record of `text`.  Names are found through
// the hash index of name entries below, which holds every record made.
NameRecord *intern_name(const char *text, unsigned length);

// What the front end keeps per spelling of a name, so that one hash of an
// identifier serves its keyword code, its macro and its symbol lookups.
// Every name record is made together with its entry and lies right behind
// it, so the two convert into each other without a search.
struct MacroDef;
struct NameEntry {
    MacroDef *macro;        // the macro of this spelling, null if none; kept
                            // in step with the macro table by its owner
    int32_t newest[2];      // kept by the symbol lookup index (decl/symbols)
    const char *key;        // the whole spelling: the record's text, or a
                            // copy where the record had to cut the name
    uint32_t key_length;
    uint32_t hash;
    uint16_t keyword;       // keyword code, 0 for any other spelling
};

// The entry of `text`, made with its name record if the spelling is new.
NameEntry *name_entry(const char *text, unsigned length);

// The hash that finds a spelling's entry, built one character at a time so
// that the scanner can work it out while it cuts a name; name_entry_hashed
// takes it finished, and gives what name_entry gives.
constexpr uint32_t NAME_HASH_START = 2166136261u;
inline uint32_t name_hash_step(uint32_t hash, char c) {
    return (hash ^ static_cast<uint8_t>(c)) * 16777619u;
}
inline uint32_t name_hash_finish(uint32_t hash) {
    return hash ^ (hash >> 15);
}
NameEntry *name_entry_hashed(const char *text, unsigned length, uint32_t hash);

inline NameRecord *entry_name(NameEntry *entry) {
    return reinterpret_cast<NameRecord *>(entry + 1);
}

inline NameEntry *name_entry_of(NameRecord *name) {
    return reinterpret_cast<NameEntry *>(name) - 1;
}

// Returns the keyword's token code (128 to 159), or 0 for any other spelling.
uint16_t keyword_code(const char *text, unsigned length);

// ---------------------------------------------------------------------------
// The literal pool: strings and real constants, each distinct value once
// per constant section, to be written out as literals at the end.  The list
// starts at the newest entry.
struct StringConst {
    StringConst *next;          // next older entry
    NameRecord *section;        // literal_section when the entry was made
    uint16_t extra_uses;        // further uses beyond the first
    uint16_t label;             // label of the literal; 0 until needed
    uint16_t length;            // number of bytes
    uint8_t variants;           // real forms asked for: 4 float, 8 double
    uint8_t written;            // forms written; bit 7 for a string
    // Kept by the pool for its index, in step with the list.
    StringConst *newer;         // entry in front of this one, null at head
    StringConst *bucket_next;   // next entry in the same index bucket
    uint32_t hash;              // hash of the bytes
    uint32_t capacity;          // bytes allocated for `bytes`
    uint8_t bytes[];            // the string without closing null, or the
                                // 8 bytes of a double in the host's order
};

extern StringConst *literal_pool;

// The constant section's mark, set by `#pragma section const`: equal values
// after a change of it make new pool entries.
extern NameRecord *literal_section;

// The longest value a pool entry can hold.
constexpr unsigned STRING_CONST_MAX = 0xFFFF;

// Returns the pool entry of this value in the current section, making one
// if needed; a found entry counts one more use.
StringConst *pool_string(const void *bytes, unsigned length);

// ---------------------------------------------------------------------------
// Token handed to the parser.
struct Token {
    uint16_t code;          // token code
    uint32_t line;          // source line
    uint16_t column;        // from 0; bit 15 marks the first line of an
                            // assembly block
    uint16_t length;        // length of the spelling; for TOK_ASM of `text`
    union {
        NameRecord *name;       // TOK_IDENT
        StringConst *string;    // TOK_STRING, TOK_FLOAT, TOK_DOUBLE
        int32_t integer;        // TOK_INT, TOK_UINT, TOK_LONG, TOK_ULONG
        char *text;             // TOK_ASM: owned by the receiver
    } value;
};

// ---------------------------------------------------------------------------
// Conversion of constants.  Each reports its errors and still yields a
// value.

// `pp` is a PP_NUMBER: sets `token->code` and `token->value`.
void convert_number(Token *token, const PpToken *pp);
// `pp` is a PP_CHAR: sets code TOK_INT and the value.
void convert_char(Token *token, const PpToken *pp);
// `pp` is a TOK_STRING: sets code TOK_STRING and the pooled value.  The
// spelling is not changed, so it can be converted again.
void convert_string(Token *token, const PpToken *pp);

// The same conversions on a bare spelling.
void convert_number_spelling(Token *token, const char *text, unsigned length);
void convert_char_spelling(Token *token, const char *text, unsigned length);
void convert_string_spelling(Token *token, const char *text, unsigned length);

// `*cursor` points at a backslash: returns the value of the escape sequence
// and moves `*cursor` behind it.  A hexadecimal value is returned whole.
uint32_t convert_escape(const char **cursor);

// `token->value.string` holds the string that follows `first`; makes it the
// pool entry of both joined.  Pieces that nothing else uses leave the pool.
// An empty string adds nothing: the result is `first` as it was.
void concat_strings(Token *token, StringConst *first);

// Multiplies `value` by 10 to the power `exponent` (divides for a negative
// one) through a table of powers, rounding at every step.
double scale_pow10(double value, int32_t exponent);

// ===========================================================================
// The token stream (token_stream.cpp, token_recovery.cpp): what the parser
// reads.  Tokens come from the line dispatcher, line by line, and pass a
// ring of three slots, so that up to three can be given back.

// The token that diagnostics position themselves on, or null.
extern Token *last_token;

// Set by the parser in front of an expect_token to choose how far a syntax
// error skips: 0 nothing, TOK_SEMI up to and including the next `;`,
// TOK_RBRACE up to and including the next `;`, `{` or `}`, and
// RECOVER_TO_STATEMENT_END like TOK_RBRACE but a brace or the end of input
// is left to be read again.  Cleared once the skip has stopped.
constexpr uint8_t RECOVER_TO_STATEMENT_END = 255;
extern uint8_t recovery_target;

// One recorded token of an inline function's body.  A TOK_ASM text and a
// TOK_STRING value are private copies, kept in the same block behind the
// node, since the originals belong to their receiver or may change in the
// literal pool.  Lists are never freed.
struct SavedToken {
    SavedToken *next;
    const char *file;       // current_file_name() when the token was read
    Token token;
};

// 0 normal reading, 1 every token delivered is appended at *record_tail,
// 2 tokens come from the list at *record_tail instead of the source.
extern int32_t token_mode;
// The link cell behind which the next token is recorded, or from which the
// next one is replayed; moves on to the `next` field of each node.
extern SavedToken **record_tail;
// The node being replayed; null outside a replay and at the end of a list.
extern SavedToken *replay_node;

// The ring of three Token slots behind next_token.  `cursor` is the slot
// that the next token goes into; `given_back` slots behind it hold tokens
// given back, newest first.  Owned by token_stream.cpp; it stands here only
// so that giving a token back and taking it again, which the parser does at
// every level of an expression, are inline.
constexpr int TOKEN_RING_SIZE = 3;
struct TokenRing {
    Token slots[TOKEN_RING_SIZE];
    int cursor;
    int given_back;
};
extern TokenRing token_ring;

// Reads a token that was not given back (token_stream.cpp).
Token *read_next_token();
// Reports "token overflow" and ends the run with status 1.
[[noreturn]] void token_overflow();

// The next token.  The record stays valid for at least the next two calls.
inline Token *next_token() {
    if (token_ring.given_back == 0)
        return read_next_token();
    Token *t = &token_ring.slots[token_ring.cursor];
    token_ring.cursor = token_ring.cursor == TOKEN_RING_SIZE - 1 ? 0 : token_ring.cursor + 1;
    token_ring.given_back--;
    last_token = t;
    return t;
}

// Gives the last token back; a fourth give-back without reading in between
// reports "token overflow" and ends the run with status 1.
inline void unget_token() {
    if (token_ring.given_back == TOKEN_RING_SIZE)
        token_overflow();
    token_ring.given_back++;
    int cursor = token_ring.cursor == 0 ? TOKEN_RING_SIZE - 1 : token_ring.cursor - 1;
    token_ring.cursor = cursor;
    last_token = &token_ring.slots[cursor == 0 ? TOKEN_RING_SIZE - 1 : cursor - 1];
}
// Reads a token.  If it does not have `code`, gives it back, reports
// "missing %s" or "syntax error" and skips by recovery_target.  Returns the
// token read first in either case.
Token *expect_token(int code);
// With a list: saves the stream's state, with the head of the expression
// pool and the state of the function being parsed, and reads from `list`,
// which ends the input.  With null: restores all of it, which gives back
// the nodes of the directive's expression, and returns the low 8 bits of
// the code of the first token left unread in the list.  Does not nest.
int token_source_switch(PpToken *list);
