// Labels: the name labels of a function, the case lists of switches, and
// the marking of statements that cannot be reached.
#include "driver/stack_room.h"
#include "stmt/statements.h"

Symbol *label_symbol(NameRecord *name) {
    Symbol *label = find_symbol(name, label_list, nullptr);
    if (label == nullptr)
        label = new_symbol(&label_list, name, SC_NONE, nullptr);
    return label;
}

// The case list stays sorted by value, compared as signed numbers: a new
// entry goes in front of the first entry whose value is not below its own.
void add_case_label(int32_t kind, int32_t value, StmtNode *statement) {
    const char *what = kind == TOK_CASE ? "case" : "default";
    Symbol **slot = func_state.case_list_slot;
    if (slot == nullptr) {
        report("invalid %s", what);
        return;
    }
    for (Symbol *entry = *slot; entry != nullptr; entry = entry->next) {
        if (entry->sclass == kind && int32_t(entry->value) == value) {
            report("duplicate %s", what);
            return;
        }
    }
    Symbol *entry = new_symbol(slot, nullptr, kind, nullptr);
    entry->stmt = statement;
    entry->value = uint32_t(value);
    statement->flags |= SF_CASE_TARGET;

    Symbol *reached = entry;
    while (reached->next != nullptr && int32_t(reached->next->value) < value)
        reached = reached->next;
    if (reached != entry) {
        *slot = entry->next;
        entry->next = reached->next;
        reached->next = entry;
    }
}

// A statement behind a point that control never passes is dead, unless a
// jump can reach into it.
uint16_t mark_dead(StmtNode *s) {
    if (stack_is_low()) {
        uint16_t result = 0;
        auto call = [&] { result = mark_dead(s); };
        on_fresh_stack(call);
        return result;
    }
    switch (s->kind) {
    case ST_BLOCK:
        for (StmtNode *c = s->body; c != nullptr; c = c->next) {
            if (c->label != 0)
                return 0;
            if (c->kind != ST_EXPR && mark_dead(c) == 0)
                return 0;
            c->flags |= SF_DEAD;
        }
        break;
    case ST_DO:
    case ST_FOR:
    case ST_SWITCH:
    case ST_WHILE:
        if (s->body->flags & SF_LABELLED)
            return 0;
        break;
    case ST_IF:
        if ((s->body->flags & SF_LABELLED) || (s->alt != nullptr && (s->alt->flags & SF_LABELLED)))
            return 0;
        break;
    default:
        return 0;
    }
    s->flags |= SF_DEAD;
    return SF_DEAD;
}
