// Buffered reading of open source files, shared by the files of source
// input only.
#pragma once

#include <cstdint>

struct SourceStream;

// Opens `path` for reading, `\` being read as `/`.  Null when the file
// cannot be opened, is a directory, or too many source files are open at
// once (the include stack is as deep as the streams allow).
SourceStream *stream_open(const char *path);
void stream_close(SourceStream *stream);

// Reads one line of at most `size` - 1 bytes into `buffer`, line end kept,
// and closes it with a null; a carriage return in front of the line feed is
// dropped and NUL bytes read as blanks.  Returns the length, or -1 at end of
// file.  `*may_hold_trigraph` is false when the line is known to hold no ??.
int32_t stream_read_line(SourceStream *stream, char *buffer, int32_t size, bool *may_hold_trigraph);

// Reads up to `size` raw bytes; returns how many, 0 at end of file.
int32_t stream_read_bytes(SourceStream *stream, uint8_t *buffer, int32_t size);

// Goes back to `offset` from the start of the file; false if impossible.
bool stream_seek(SourceStream *stream, uint32_t offset);

// The text repairs of stream_read_line, for lines made otherwise: NUL bytes
// become blanks, a CR in front of the final LF goes.  Returns the length.
int32_t tidy_line(char *text, int32_t length);

// True if a file of exactly this name was opened before (it is on
// source_list).
bool source_opened_before(const char *name);
