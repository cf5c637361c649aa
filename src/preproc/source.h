// Source input: the stack of open source files, the include search, the
// physical lines they deliver, the current position for diagnostics, the
// make dependency line, scrambled source files, and the logical lines built
// from physical lines (trigraphs, splicing, the line buffer, kept text).
#pragma once

#include <cstddef>
#include <cstdint>

struct Symbol;
struct NameRecord;
struct SourceStream;   // buffered reader of one open file, private to preproc

// ---------------------------------------------------------------------------
// Source files.

// Decoding state of a scrambled source file.  Each plain byte depends on all
// scrambled bytes before it, so such a file is read from its start, byte by
// byte, through this 512-byte window.
constexpr int SCRAMBLE_BUFFER_SIZE = 512;
struct ScrambleState {
    uint8_t *cursor;       // next byte of `buffer`
    int32_t count;         // bytes left in `buffer`
    uint16_t key;
    uint8_t buffer[SCRAMBLE_BUFFER_SIZE + 8];
};

// One record for every file ever opened, in order of opening; a file opened
// twice has two records.  Records are never freed.
struct SourceFile {
    SourceFile *next;          // next record of source_list
    Symbol *symbols;           // symbols declared here, for debug information
    ScrambleState *scramble;   // null for a plain text file
    uint32_t line;             // lines read so far
    uint16_t debug_label;      // first label of the debug block, 0 if none open
    uint16_t debug_end_label;  // second label of the debug block
    char name[];               // the path as opened, null-terminated
};

// A suspended file, while a file it includes is read.
struct IncludeFrame {
    IncludeFrame *link;        // next older frame
    SourceFile *source;
    SourceStream *stream;
};

extern SourceFile *current_source;    // null until the main file is opened
extern SourceStream *current_stream;  // null once the whole input has ended
extern IncludeFrame *include_stack;
extern SourceFile *source_list;       // every file opened, in order
extern SourceFile **source_list_tail; // the last `next` field of source_list

// State of #line.  The override counts on through files included after it
// and stays in force when they end.
extern uint32_t line_override;
extern int32_t line_override_active;
extern char *file_override;           // heap copy, or null

// Longest path composed from a search directory and a name.
constexpr int PATH_LIMIT = 510;

// Opens `name` and makes it the current file.  `search` is 0 for the main
// source, 1 for forced headers and #include: the name as written is tried
// first, then each directory of include_search.  Returns 1, or 0 after
// "can't open %s".
int open_source(const char *name, int search);

// Reads the next physical line of the input into `buffer`, at most
// `size` - 1 bytes with the line end kept, and closes it with a null.
// Returns the address of that null, or null when the whole input has ended.
// The end of an included file is invisible: reading goes on in the includer.
char *read_source_line(char *buffer, int32_t size);

// True when the line that read_source_line gave last is known to hold no
// ?? and so no trigraph, which spares the logical line a search for one.
extern bool source_line_trigraph_free;

// Position of the text being processed, for diagnostics and __LINE__.
uint32_t current_line();
const char *current_file_name();

// Position of the last token delivered to the parser: its line and column,
// and its length as the result.  Without such a token: current_line(),
// column -1, and 0.
int32_t token_position(uint32_t *line, int32_t *column);

// Supplied by the token stream: while saved tokens of an inline function
// are replayed, gives the line and file of the token being replayed and
// returns true.
bool replay_token_place(uint32_t *line, const char **file);

// What reading the input tells the writer of the intermediate file.  The
// source layer never writes that file itself: a normal run installs its
// handlers here when it starts the file, and in -e and -md runs none is
// installed, so the events go nowhere.  A null member is an event nobody
// listens to.
struct SourceEvents {
    // A source file has been read to its end: its stream is closed, and
    // reading has not yet gone back to the file that included it, so
    // current_source is still the file that ended.  Fires for every file,
    // the main source and the forced headers included.
    void (*file_end)();
    // write_used_macros found a macro expanded since its last call: the
    // macro's name, and the spelling of the first token of its body (empty
    // when the body is empty or starts with a parameter).
    void (*macro_used)(NameRecord *name, const char *body, size_t length);
};
extern SourceEvents source_events;

// Make dependencies (-md): the make target and its colon, when -o names one,
// then every file opened, once, each behind a blank; the line is wrapped
// before a name would pass column 78.  The driver writes the final line end.
constexpr int DEPENDENCY_COLUMN_LIMIT = 78;
// Starts the line: writes "target:" and counts the columns from there.  With
// no target (null) nothing is written and the count starts at 1.
void start_dependency_line(const char *target);
// Writes `name` to the line unless a file of that name was opened before.
void write_dependency(const char *name);

// Scrambled source: the first line of the current file started with the
// byte 254.  Refuses with -e and -l, else switches the file to decoding.
void start_scrambled_source(char *line);
char *read_scrambled_line(char *buffer, int32_t size);

// ---------------------------------------------------------------------------
// Logical lines.

constexpr int LINE_BUFFER_SIZE = 20480;
constexpr int LINE_TEXT_LIMIT = 20479;      // bytes of text the buffer holds
constexpr int LOGICAL_LINE_LIMIT = 16384;
constexpr int SPLICE_LIMIT = 128;           // physical lines recorded per line

extern char line_buffer[LINE_BUFFER_SIZE];
extern char *line_cursor;            // behind the text in use
// Offset within the logical line last read at which each of its physical
// lines starts; only the first SPLICE_LIMIT are recorded.
extern uint16_t splice_offsets[SPLICE_LIMIT];
extern int32_t splice_count;
extern int32_t input_ended;
extern int32_t in_comment;           // a /* comment is open

// `more` 0: a new logical line at the start of the buffer (kept text is
// freed).  `more` 1: a further line behind the text in use, which stays
// valid.  Returns the text, null-terminated, or null at the end of input or
// when the buffer has no room.
char *read_logical_line(int more);

// Maps a column of the logical line last read to its physical line: `line`
// comes in as current_line() (the last physical line read) and `column` as
// the offset in the logical line; both come out relative to the physical
// line that holds that offset.
void physical_position(uint32_t *line, uint32_t *column);

// Text that lives as long as the current source line: stringized and pasted
// spellings, built-in macro values.  The copy has 3 zero bytes behind it.
char *keep_text(const char *text, size_t length);
void free_kept_text();
