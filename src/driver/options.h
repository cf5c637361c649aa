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

constexpr int32_t FLAG_LIST_SLOTS = 128;   // slots of each command-line list

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
extern const char *removable_output;  // the -o file when it is a regular file,
                                      // removed by an interrupt; else null
extern const char *source_name;    // source file as named on the command line
extern PathList *include_search;   // directories searched by #include, from
                                   // slot include_capacity - 1 downward
extern int32_t include_capacity;

// ---------------------------------------------------------------------------
// Option engine.
//
// parse_flags(&argc, &argv, title, operand, descriptor, variable, ...,
// (const char *)nullptr) reads the flags of a command line.  Each descriptor
// is a flag pattern, a blank or tab, and the help text; its variable
// is passed as a void pointer: an int32_t for a number or switch, a
// const char * for a text (`*`), a PathList for a list (`>`).  On return
// argc and argv describe the operands left.  Errors, -help and -vers end the
// run with status 1.
void parse_flags(int *argc, char ***argv, const char *title, const char *operand, ...);

// The 35 flags of zcppc, through parse_flags.  The number of -w goes to
// *warning_level.
void parse_command_line(int *argc, char ***argv, int32_t *warning_level);

// The options that others imply: -sa, -ck and -w, -xx and -xd, -x, -nc.
void derive_implied_options(int32_t warning_level);

extern char program_name[12];

void print_banner(const char *title);
void set_program_name(const char *path);
const char *parse_long(const char *text, long *result, int base);
bool is_path_separator(char c);
const char *last_path_separator(const char *text);

// Replaces the operands by the names that their `*` and `?` patterns find.
void expand_wildcards(int *argc, char ***argv);

// Appends the `;`-separated entries of an environment variable to `list`.
void append_path_list(PathList *list, const char *variable_name);

// A new list of the existing directories of `list`, in its order, with the
// entries of the files it names spliced in.  Lists made here grow without
// limit; *capacity is their number of slots.
PathList *expand_dir_list(PathList *list, int32_t *capacity);
PathList *grow_dir_list(PathList *list, int32_t *capacity);
PathList *expand_dir_file(PathList *list, int32_t *capacity, const char *name);

// Reads a file of blank-separated tokens.  Null on success, with the tokens
// in *vector (null-terminated) and their number in *count; otherwise the
// message text.
const char *read_token_file(const char *name, int *count, char ***vector);

// Allocation never fails to a caller: out of memory ends the run with
// "no memory\n".  The block is zeroed and its first word receives `link`, so
// a list node is made and linked in one call.
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

// The translation loop of a normal run: reads the whole unit and writes the
// intermediate file.
void translate_unit();

// ---------------------------------------------------------------------------
// Diagnostics.  A format that starts with 'W' and a digit is a warning of
// that level.  The format is a printf format with the values behind it, and
// the compiler checks the one against the others.
extern int32_t error_count;
extern uint32_t last_report_line;   // position of the last message written
extern int32_t last_report_column;
void report(const char *format, ...) __attribute__((format(printf, 1, 2)));
void report_no_position(const char *name, bool is_error);
