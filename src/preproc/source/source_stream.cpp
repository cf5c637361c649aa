// Buffered reading of source files.  Lines are found with memchr in a large
// buffer and copied once, into the caller's line buffer; nothing is
// allocated per line.
#include "preproc/source_io.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/options.h"

namespace {

constexpr int32_t STREAM_BUFFER_SIZE = 64 * 1024;

// At most this many source files are open at once.  A file that includes
// itself therefore ends in "can't open %s" after a bounded depth, as it
// would when a system runs out of streams, instead of exhausting memory.
constexpr int32_t OPEN_STREAM_LIMIT = 500;

}  // namespace

struct SourceStream {
    SourceStream *next_free;
    int fd;
    int32_t pos;            // next unread byte of data
    int32_t end;            // bytes held in data
    uint64_t data_offset;   // file offset of data[0]
    bool at_end;            // the file has no more bytes
    bool has_nul;           // data holds a NUL byte somewhere
    bool has_question_pair; // data holds ?? somewhere, so maybe a trigraph
    char data[STREAM_BUFFER_SIZE];
};

namespace {

SourceStream *free_streams;   // closed streams, kept for reuse
int32_t open_stream_count;

bool holds_question_pair(const char *data, size_t size) {
    const char *end = data + size;
    for (const char *p = data; (p = static_cast<const char *>(std::memchr(p, '?', size_t(end - p)))) != nullptr; p++)
        if (p + 1 < end && p[1] == '?')
            return true;
    return false;
}

// Refills an exhausted buffer.  False at end of file; a read error counts
// as the end.
bool fill(SourceStream *s) {
    if (s->at_end) return false;
    s->data_offset += static_cast<uint64_t>(s->end);
    s->pos = s->end = 0;
    for (;;) {
        ssize_t got = read(s->fd, s->data, STREAM_BUFFER_SIZE);
        if (got > 0) {
            s->end = static_cast<int32_t>(got);
            // Asked once per buffer, so that the lines of a file without
            // NUL bytes, all real sources, are not searched for one each.
            s->has_nul = std::memchr(s->data, 0, static_cast<size_t>(got)) != nullptr;
            // The same for trigraphs, which all start with ??.
            s->has_question_pair = holds_question_pair(s->data, static_cast<size_t>(got));
            return true;
        }
        if (got < 0 && errno == EINTR) continue;
        s->at_end = true;
        return false;
    }
}

}  // namespace

SourceStream *stream_open(const char *path) {
    if (open_stream_count >= OPEN_STREAM_LIMIT) return nullptr;
    int fd;
    if (std::strchr(path, '\\')) {
        std::string host_path(path);
        for (char &c : host_path)
            if (c == '\\') c = '/';
        fd = open(host_path.c_str(), O_RDONLY | O_CLOEXEC);
    } else {
        fd = open(path, O_RDONLY | O_CLOEXEC);
    }
    if (fd < 0) return nullptr;
    struct stat info;
    if (fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
        close(fd);
        return nullptr;
    }
    SourceStream *s = free_streams;
    if (s)
        free_streams = s->next_free;
    else
        s = static_cast<SourceStream *>(checked_alloc(sizeof(SourceStream), nullptr));
    s->next_free = nullptr;
    s->fd = fd;
    s->pos = s->end = 0;
    s->data_offset = 0;
    s->at_end = false;
    ++open_stream_count;
    return s;
}

void stream_close(SourceStream *s) {
    close(s->fd);
    s->next_free = free_streams;
    free_streams = s;
    --open_stream_count;
}

namespace {

// The end of tidy_line: the line end and the closing null.
int32_t close_line(char *text, int32_t length) {
    if (length >= 2 && text[length - 1] == '\n' && text[length - 2] == '\r') {
        text[length - 2] = '\n';
        --length;
    }
    text[length] = 0;
    return length;
}

}  // namespace

int32_t tidy_line(char *text, int32_t length) {
    char *end = text + (length > 0 ? length : 0);
    for (char *nul = static_cast<char *>(std::memchr(text, 0, size_t(end - text))); nul;
         nul = static_cast<char *>(std::memchr(nul, 0, size_t(end - nul))))
        *nul++ = ' ';
    return close_line(text, length);
}

int32_t stream_read_line(SourceStream *s, char *buffer, int32_t size, bool *may_hold_trigraph) {
    int32_t limit = size - 1;
    int32_t n = 0;
    bool line_end = false;
    bool may_hold_nul = false;
    // A line from one buffer holds ?? only where the buffer does; one that
    // spans two may have the pair across their seam.
    int32_t pieces = 0;
    bool question_pair = false;
    while (n < limit) {
        if (s->pos == s->end && !fill(s)) break;
        may_hold_nul |= s->has_nul;
        question_pair |= s->has_question_pair;
        pieces++;
        int32_t take = s->end - s->pos;
        if (take > limit - n) take = limit - n;
        const char *from = s->data + s->pos;
        const char *lf = static_cast<const char *>(std::memchr(from, '\n', take));
        if (lf) take = static_cast<int32_t>(lf - from) + 1;
        std::memcpy(buffer + n, from, take);
        s->pos += take;
        n += take;
        if (lf) {
            line_end = true;
            break;
        }
    }
    *may_hold_trigraph = question_pair || pieces > 1;
    if (n == 0 && !line_end && limit > 0) return -1;
    // A line cut between CR and LF: the CR stands for the line end.
    if (!line_end && n == limit && n > 0 && buffer[n - 1] == '\r') {
        if (s->pos < s->end || fill(s)) {
            if (s->data[s->pos] == '\n') {
                ++s->pos;
                buffer[n - 1] = '\n';
            }
        }
    }
    if (limit < 0)
        return 0;
    return may_hold_nul ? tidy_line(buffer, n) : close_line(buffer, n);
}

int32_t stream_read_bytes(SourceStream *s, uint8_t *buffer, int32_t size) {
    int32_t n = 0;
    while (n < size) {
        if (s->pos == s->end && !fill(s)) break;
        int32_t take = s->end - s->pos;
        if (take > size - n) take = size - n;
        std::memcpy(buffer + n, s->data + s->pos, take);
        s->pos += take;
        n += take;
    }
    return n;
}

bool stream_seek(SourceStream *s, uint32_t offset) {
    if (offset >= s->data_offset && offset - s->data_offset <= static_cast<uint64_t>(s->end)) {
        s->pos = static_cast<int32_t>(offset - s->data_offset);
        return true;
    }
    if (lseek(s->fd, offset, SEEK_SET) < 0) return false;
    s->data_offset = offset;
    s->pos = s->end = 0;
    s->at_end = false;
    return true;
}
