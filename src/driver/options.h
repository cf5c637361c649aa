// The driver's chief header: the option variables every subsystem reads,
// the option engine, the allocator, the output and error streams, and the
// diagnostics.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// ---------------------------------------------------------------------------
// Flag lists.  A list is a count of free slots and that many slots behind it.
// Storing decrements the count and writes the slot of the new count, so a
// list fills from the top down: the used entries are slot[count] up to
// slot[capacity - 1], and walking from capacity - 1 downward gives them in
// the order in which they were stored.
struct PathList {
    int32_t count;       // free slots left
    int32_t capacity;    // number of slots
    const char **slot;
};

// ---------------------------------------------------------------------------
// Option variables, named after their flag.  Numbers and switches are 32-bit
// integers, zero at start; text options hold a pointer to the text.
extern int32_t opt_ad, opt_a, opt_c99, opt_cc, opt_ck, opt_cp, opt_cr, opt_csb;
extern int32_t opt_e, opt_fr, opt_f, opt_ge, opt_l, opt_md, opt_m, opt_nc;
extern int32_t opt_ne, opt_np, opt_ns, opt_p, opt_rb, opt_sa, opt_s, opt_u;
extern int32_t opt_xd, opt_xp, opt_xu, opt_xx, opt_x;
extern const char *error_name;    // +e
extern const char *output_name;   // -o
extern PathList define_list;      // -d, 128 slots
extern PathList header_list;      // -h, 128 slots
extern PathList include_list;     // -i, 128 slots

// Run state owned by the driver.
extern FILE *output_stream;        // intermediate file or preprocessed text
extern FILE *error_stream;         // diagnostics
extern const char *source_name;    // source file as named on the command line
extern PathList *include_search;   // directories searched by #include
extern int32_t include_capacity;

// ---------------------------------------------------------------------------
// Option engine.
extern char program_name[12];

void print_banner(const char *title);
void set_program_name(const char *path);
const char *parse_long(const char *text, long *result, int base);
bool is_path_separator(char c);
const char *last_path_separator(const char *text);

// Allocation never fails to a caller: out of memory ends the run with
// "no memory\n".  The block's first word receives `link`, so a list node is
// made and linked in one call.
void *checked_alloc(unsigned size, void *link);
// Frees `block` and gives `value`: unlinks a node in one expression,
// `head = free_and_return(node, node->next)`.
template <typename T>
inline T free_and_return(void *block, T value) {
    std::free(block);
    return value;
}

// ---------------------------------------------------------------------------
// Driver.
int open_streams(const char *name);
int finish_errors(int32_t count);
[[noreturn]] void on_interrupt();

// ---------------------------------------------------------------------------
// Diagnostics.  A format that starts with 'W' and a digit is a warning of
// that level.  When `first` is 0 the format takes `second` as its only
// argument, otherwise it takes both.  Texts are passed as pointers converted
// to intptr_t.
extern int32_t error_count;
void report(const char *format, intptr_t first, intptr_t second);
void report_no_position(const char *name, bool is_error);
