// Symbols: the Symbol record with its storage classes and flags, the lists
// that make up the scopes, lookup by interned name, the way the pools of
// per-function records work, and label numbers.
#pragma once

#include <cstdint>

#include "decl/type.h"
#include "driver/options.h"

struct ExprNode;
struct StmtNode;
struct SavedToken;
// Interned name (lexer/token.h): equal spelling means equal pointer.  The
// byte behind its characters is 0 until the first Symbol of that name is
// made; new_symbol sets it to 1, and find_symbol reads it to answer at once
// for a name that no Symbol ever had.
struct NameRecord;

// ---------------------------------------------------------------------------
// Storage classes.  Where a keyword exists the class is its token code.
enum : uint8_t {
    SC_NONE = 0,           // file scope without keyword, tags, labels, spaces, undeclared names
    SC_ABSOLUTE = 5,       // object at a fixed address; value = the address
    SC_ARG = 25,           // argument; value = offset in the argument area
    SC_MERGED = 26,        // local sharing another variable's slot; merged_with = that one
    SC_REG_ARG = 28,       // argument declared register
    SC_REG_COPY = 29,      // register holding the address of a much-used global
    SC_AUTO = 128,         // auto local and compiler temporaries; value = frame offset
    SC_CASE = 130,         // switch case entry; value = case value
    SC_ENUM_MEMBER = 132,  // enum constant; value = its value
    SC_DEFAULT = 134,      // default entry of a switch's case list
    SC_EXTERN = 139,
    SC_REGISTER = 146,     // register local; value = frame offset
    SC_STATIC = 151,       // value: label number in the low 16 bits, 0 until given
    SC_MEMBER = 152,       // struct or union member; value = byte offset
    SC_TYPEDEF = 154,
};

// Symbol flags.
enum : uint32_t {
    SYM_OPEN = 0x1,             // tag: its body is being parsed
    SYM_USED = 0x2,
    SYM_DECLARED = 0x4,         // on space_list: the name was already written out
    SYM_LAST_ENUM = 0x8,        // enum member: last of its enum
    SYM_REG_PASSED = 0x8,       // argument: passed in a register
    SYM_DEFINED = 0x20,
    SYM_HIDDEN = 0x40,          // find_symbol passes over it
    SYM_ARG_WIDENED = 0x80,
    SYM_DBG_CALLED = 0x100,
    SYM_DBG_USED = 0x200,
    SYM_ADDR_TAKEN = 0x400,
    SYM_FILE_SCOPE = 0x800,
    SYM_IMPLICIT_FN = 0x1000,
    SYM_ASSIGNED = 0x4000,
    SYM_INLINE_OPEN = 0x10000,
    SYM_PLACED = 0x40000,
    SYM_UNROLL_VALUE = 0x80000,
    SYM_ANON_ALIAS = 0x100000,
};

// One declared or used name.
struct Symbol {
    Symbol *next;            // next in whichever list holds it
    Symbol *dbg_next;        // debug list of the current file; non-null = noted
    ExprNode *init;          // stored value of a const object, or inline argument value
    union {
        TypeNode *type;
        Symbol *enum_link;   // enum member: the next member of its enum; the
                             // last one (SYM_LAST_ENUM) holds the integer type
        StmtNode *stmt;      // case entry and defined statement label: the labelled statement
    };
    NameRecord *name;        // interned name; null for nameless arguments
    Symbol *partner;         // much-used global <-> register holding its address
    union {
        uint32_t value;      // by class, see SC_ above
        Symbol *merged_with; // SC_MERGED: the Symbol whose slot it shares
        SavedToken *inline_body; // inline function: its recorded body, null while none
    };
    uint16_t column;         // column of first use of a never declared name
    uint32_t flags;
    uint32_t reg_mask;       // bit of this variable in the register analysis
    uint16_t dbg_label;
    uint16_t dbg_type_label;
    uint16_t attr;           // attribute word; after register assignment the register
    uint16_t use_count;      // uses weighted by loop depth
    uint8_t sclass;

    // Private to the lookup index beside symbol_list and tag_list: the
    // position of this Symbol in the index's stack, -1 when not indexed.
    int32_t index_depth;
};

// ---------------------------------------------------------------------------
// Lists, each singly linked through Symbol.next, newest first.
extern Symbol *symbol_list;        // ordinary identifiers, innermost block at the head
extern Symbol *tag_list;           // struct, union and enum tags
extern Symbol *label_list;         // statement labels of the current function
extern Symbol *proto_symbol_list;  // enum constants declared in an argument list
extern Symbol *proto_tag_list;     // tags declared in an argument list
extern Symbol *pragma_attr_list;   // names given by #pragma attribute
extern Symbol *scope_mark;         // head of symbol_list when the block was entered; null at file scope
extern Symbol *tag_scope_mark;     // same for tag_list
extern int32_t proto_depth;        // open argument lists

// Inserts a new Symbol in front of *head (a list head, or the next field of
// a list's last element) and returns it.  name, sclass and type are set,
// every other field but column is cleared, and the name's flag byte is set.
Symbol *new_symbol(Symbol **head, NameRecord *name, int32_t sclass, TypeNode *type);
// First element from `from` on, before `stop` (null = end of list), with
// this very name pointer and without SYM_HIDDEN; null if none.
Symbol *find_symbol(NameRecord *name, Symbol *from, Symbol *stop);
// Gives the stretch from `list` up to, not including, `stop` back to the
// free list and returns `stop`.
Symbol *release_symbols(Symbol *list, Symbol *stop);

// Use counts of file-scope names.  Each function counts the uses of the
// globals it reads from 0, and only a global that was counted can have a
// partner; so the globals whose count left 0 are noted as it happens, and
// clearing counts and partners at the start of a function walks those
// instead of every name of the unit.
void note_counted_global(Symbol *sym);
void clear_global_counts();

// ---------------------------------------------------------------------------
// Pools of records that live for one function: TypeNode here, StmtNode in
// stmt/stmt_pool.cpp, ExprNode in expr/expr_pool.cpp.  Each pool has a free
// list and a chain head, both linked through the record's first word `link`.
// A record from the heap is linked to the chain head and becomes the new
// head; a record popped from the free list keeps its `link`.  Giving
// everything back is then one assignment: the free list becomes the chain.
// Records from the heap are cut from blocks of POOL_BLOCK, one block at a
// time per record type, so that a pool's records lie side by side and a
// function that walks through them touches few cache lines.
constexpr unsigned POOL_BLOCK = 128;

template <typename T>
T *take_pool_record(T *&free_list, T *&chain) {
    T *record;
    if (free_list != nullptr) {
        record = free_list;
        free_list = record->link;
    } else {
        static T *block;
        static unsigned left;
        if (left == 0) {
            block = static_cast<T *>(checked_alloc(unsigned(sizeof(T) * POOL_BLOCK), nullptr));
            left = POOL_BLOCK;
        }
        left--;
        record = block++;
        record->link = chain;
        chain = record;
    }
    return record;
}

// ---------------------------------------------------------------------------
// Declaration parser.  A declaration is parsed into a work record of Symbol
// shape on the caller's stack: parse_decl_specifiers fills it from the
// specifier list (sclass the keyword seen, type, attr; name, flags and value
// cleared), and each declarator works on a copy of it, so that `int *a, b`
// gives `b` plain int.  Only a complete declarator enters a list.

// Storage classes allowed where a declaration stands: zero-terminated lists
// of keyword token codes.  Struct members and type names pass no list.
extern const uint8_t file_scope_classes[];   // extern, static, typedef
extern const uint8_t block_classes[];        // extern, static, auto, register, typedef; #pragma attribute
extern const uint8_t argument_classes[];     // register

// State of the current specifier list.
extern uint16_t spec_seen;     // keyword bits it held, qualifiers included; 0x40 signed
extern int32_t implicit_int;   // it gave no type at all
extern int32_t decl_seen;      // a tag was mentioned, so `struct s;` declares something

// Reads a specifier list into `record`; `allowed` is a class list or null.
// Returns 0, having consumed nothing, when no declaration starts here.
int parse_decl_specifiers(Symbol *record, const uint8_t *allowed);
// Ors src's attribute word into dst's; two different spaces conflict.
void merge_attrs(Symbol *dst, Symbol *src);
// Reads one declarator, building on record->type and record->attr and
// setting record->name.  Returns 1 if a declarator was read, 0 if none.
int parse_declarator(Symbol *record);
// With the `(` read: the argument list of the function node `fn`, its args,
// proto_symbols and proto_tags.  The `)` is left to the caller.
void parse_arguments(TypeNode *fn);
// An argument of array or function type becomes a pointer.
void adjust_argument(Symbol *sym);
// With struct, union or enum read: the tag and the optional body; returns
// the type.  The bodies, with `{` read, up to and including `}`:
TypeNode *parse_tag(int keyword);
void parse_struct_body(TypeNode *type);
void parse_enum_body(TypeNode *type);

// Label numbers: odd, from 3, one number space for code labels, statics,
// literals and debug records.  Past 65535 "file too large for label
// information" is reported at every request.
int32_t new_label();

// ---------------------------------------------------------------------------
// File-scope declarations and the end of the unit.
//
// A file-scope Symbol is declared (SYM_DECLARED), possibly redeclared and
// merged, then defined (SYM_DEFINED) by an initialiser, a function body or
// a flush.  Objects with an initialiser, objects at a fixed address and
// functions reach the output at once; an object without an initialiser is
// tentative until flush_symbols reserves its space.

// Set by the first file-scope object or function that defines something.
extern int32_t object_seen;

// One file-scope declaration with all its declarators, up to and including
// its `;` or function body.
void parse_external_declaration();
// With the `@` behind a declarator read: the address of a fixed-address
// object.  Also used for block-scope objects.
void parse_alias(Symbol *sym);
// Reserves the tentative objects not yet written, newest first.  With
// `final` 1, at the end of the unit, also writes the public and the used
// external names and reports the names that stayed undefined; with 0, at
// `#pragma section`, only the objects.
void flush_symbols(int final);

// ---------------------------------------------------------------------------
// `#pragma space`, `#pragma section` and `#pragma attribute`.  Each reads
// the tokens of its line up to the `;` that stands for the line end and
// leaves that unread.  The directive layer hands them over through
// declaration_pragma (preproc/directives.h).
void pragma_space();
void pragma_section();
void pragma_attribute();
// Gives a new file-scope Symbol (no typedef) the attributes that a
// `#pragma attribute` declared for its name, after checking that the two
// declarations agree.
void check_pragma_attribute(Symbol *sym);
