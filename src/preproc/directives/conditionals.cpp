// Conditional inclusion: #if, #ifdef, #ifndef, #elif, #else, #endif and the
// stack of open conditionals.
#include "driver/options.h"
#include "lexer/token.h"
#include "preproc/pptoken.h"
#include "preproc/source.h"

CondFrame *cond_stack;

namespace {

// Frames are recycled: a unit with many conditionals allocates only as many
// frames as are ever open at once.
CondFrame *free_frames;

// Pushes a frame for a conditional that starts here, with the position of
// this directive.
CondFrame *push_frame(char state, uint8_t taken) {
    CondFrame *frame = free_frames;
    if (frame)
        free_frames = frame->link;
    else
        frame = static_cast<CondFrame *>(checked_alloc(sizeof(CondFrame), nullptr));
    frame->link = cond_stack;
    frame->file = current_file_name();
    frame->line = static_cast<uint16_t>(current_line());
    frame->state = state;
    frame->taken = taken;
    cond_stack = frame;
    return frame;
}

void note_position(CondFrame *frame) {
    frame->file = current_file_name();
    frame->line = static_cast<uint16_t>(current_line());
}

// Under -sa nothing may stand behind the operand of a conditional directive.
void check_line_end(const PpToken *token) {
    if (opt_sa && token && token->kind != PP_EOL)
        report("unexpected token");
}

// #ifdef and #ifndef differ only in the sense of the test and the message.
void open_defined_test(PpToken **link, bool want_defined, const char *bad_syntax) {
    bool active = in_active_code();
    CondFrame *frame = push_frame('i', 0);
    if (!active)
        return;
    frame->state = 'I';
    PpToken *name = *link;
    if (name && name->kind == TOK_IDENT) {
        bool defined = builtin_macro_code(name) != 0 || macro_lookup(name) != nullptr;
        frame->taken = defined == want_defined;
    } else {
        report("%s", bad_syntax);
    }
    if (name)
        check_line_end(name->next);
}

}  // namespace

int in_active_code() {
    return cond_stack == nullptr || cond_stack->taken != 0;
}

void dir_ifdef(PpToken **link) {
    open_defined_test(link, true, "bad #ifdef syntax");
}

void dir_ifndef(PpToken **link) {
    open_defined_test(link, false, "bad #ifndef syntax");
}

void dir_if(PpToken **link) {
    bool active = in_active_code();
    CondFrame *frame = push_frame('i', 0);
    if (!active)
        return;
    frame->state = 'I';
    frame->taken = eval_if_expression(link, 0) != 0;
}

// An #elif is evaluated only while no branch of its conditional was taken;
// behind a taken branch it closes the conditional for good (state 'i').
void dir_elif(PpToken **link) {
    CondFrame *frame = cond_stack;
    if (!frame || frame->state == 'E' || frame->state == 'e') {
        report("bad #else");
    } else if (frame->state == 'I') {
        if (frame->taken) {
            frame->taken = 0;
            frame->state = 'i';
        } else {
            frame->taken = eval_if_expression(link, 1) != 0;
        }
    }
    if (frame)
        note_position(frame);
}

void dir_else(PpToken **link) {
    CondFrame *frame = cond_stack;
    if (!frame || frame->state == 'E' || frame->state == 'e') {
        report("bad #else");
    } else if (frame->state == 'I') {
        frame->state = 'E';
        frame->taken = !frame->taken;
    } else {
        frame->state = 'e';
    }
    if (frame)
        note_position(frame);
    check_line_end(*link);
}

void dir_endif(PpToken **link) {
    CondFrame *frame = cond_stack;
    if (!frame) {
        report("bad #endif");
    } else {
        cond_stack = frame->link;
        frame->link = free_frames;
        free_frames = frame;
    }
    check_line_end(*link);
}

// The message stands at the directive that last touched the innermost open
// conditional.  It is positioned through the #line overrides, with no token
// at hand, and the overrides are put back afterwards.
void check_open_conditionals() {
    CondFrame *frame = cond_stack;
    if (!frame)
        return;
    auto saved_line = line_override;
    auto saved_active = line_override_active;
    auto saved_file = file_override;
    auto saved_token = last_token;
    line_override = frame->line;
    line_override_active = 1;
    file_override = const_cast<char *>(frame->file);
    last_token = nullptr;
    report("missing #endif directive");
    last_token = saved_token;
    line_override = saved_line;
    line_override_active = saved_active;
    file_override = saved_file;
}
