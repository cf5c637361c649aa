// Struct, union and enum specifiers: the tag and its scope.  A tag is a
// Symbol of tag_list (of proto_tag_list inside an argument list) whose type
// is the struct, union or enum node that every mention of the tag shares.
// A mention without a body binds to the tag wherever it is visible, or
// declares it in the current scope; a body declares a new tag unless it
// completes one that the current scope declared without a body.
#include "decl/decl_parser.h"
#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "lexer/token.h"

namespace {

int tag_code(int keyword) {
    switch (keyword) {
    case TOK_STRUCT: return TY_STRUCT;
    case TOK_UNION: return TY_UNION;
    default: return TY_ENUM;
    }
}

// A struct, union or enum node with no body yet.
TypeNode *new_tag_type(int code, Symbol *tag) {
    TypeNode *type = new_type(code, nullptr);
    type->tag = tag;
    type->members = nullptr;
    type->size = 0;
    return type;
}

struct TagFind {
    Symbol *tag;
    bool current;   // declared in the current scope
};

TagFind find_tag(NameRecord *name) {
    if (proto_depth != 0) {
        Symbol *tag = nullptr;
        if (proto_names != nullptr) {
            auto it = proto_names->tags.find(name);
            if (it != proto_names->tags.end())
                tag = it->second;
        } else {
            tag = find_symbol(name, proto_tag_list, nullptr);
        }
        if (tag != nullptr)
            return {tag, true};
    }
    if (Symbol *tag = find_symbol(name, tag_list, tag_scope_mark))
        return {tag, true};
    return {find_symbol(name, tag_scope_mark, nullptr), false};
}

Symbol *new_tag(NameRecord *name, int code) {
    Symbol *tag;
    if (proto_depth != 0) {
        tag = new_symbol(&proto_tag_list, name, SC_NONE, nullptr);
        if (proto_names != nullptr)
            proto_names->tags[name] = tag;
    } else {
        tag = new_symbol(&tag_list, name, SC_NONE, nullptr);
    }
    tag->type = new_tag_type(code, tag);
    return tag;
}

TypeNode *parse_body(TypeNode *type) {
    decl_seen = 1;
    if (type->code == TY_ENUM)
        parse_enum_body(type);
    else
        parse_struct_body(type);
    return type;
}

}  // namespace

TypeNode *parse_tag(int keyword) {
    int code = tag_code(keyword);
    Token *t = next_token();
    if (t->code != TOK_IDENT) {
        if (t->code != TOK_LBRACE) {
            report("incomplete type");
            unget_token();
            return &type_int;
        }
        return parse_body(new_tag_type(code, nullptr));
    }

    decl_seen = 1;
    NameRecord *name = t->value.name;
    bool body = next_token()->code == TOK_LBRACE;
    TagFind found = find_tag(name);
    Symbol *tag = found.tag;
    if (tag != nullptr) {
        TypeNode *type = tag->type;
        if (type->code != code) {
            if (found.current)
                report("redefined tag type %.*s", name->length, name->text);
            tag = nullptr;
        } else if (body) {
            if (!found.current) {
                tag = nullptr;
            } else if (type->members != nullptr || (tag->flags & SYM_OPEN)) {
                // A body inside its own tag's body would make the type
                // hold itself.
                report("redefined tag name %.*s", name->length, name->text);
                tag = nullptr;
            }
        }
    }
    if (tag == nullptr)
        tag = new_tag(name, code);

    TypeNode *type = tag->type;
    if (body)
        return parse_body(type);
    unget_token();
    if (type->code == TY_ENUM && type->members == nullptr) {
        if (!opt_ne)
            report("undefined enum type");
        type->next = &type_int;
    }
    return type;
}
