// The stack of source files: opening along the include search, physical
// lines, and the return to the including file at the end of an include.
#include <cstring>
#include <string_view>
#include <unordered_set>

#include "driver/options.h"
#include "preproc/source.h"
#include "preproc/source_io.h"

SourceFile *current_source;
SourceStream *current_stream;
IncludeFrame *include_stack;
SourceFile *source_list;
SourceFile **source_list_tail = &source_list;
uint32_t line_override;
int32_t line_override_active;
char *file_override;
SourceEvents source_events;
bool source_line_trigraph_free;

namespace {

// A path composed from a search directory and a name.
char path_buffer[PATH_LIMIT + 2];

// Names of all records of source_list.  Kept beside the list so that the
// dependency writer's "opened before?" is one lookup, not a walk over every
// file opened so far; a name enters when its record is appended.  The views
// point into the records, which are never freed.
std::unordered_set<std::string_view> &opened_names() {
    static std::unordered_set<std::string_view> names;
    return names;
}

bool is_rooted(const char *name) { return name[0] == '\\' || name[0] == '/'; }

// Tries the directories of include_search in their order: -i entries, the
// path variable, the directory of the main source.
SourceStream *search_include_path(const char **name) {
    if (!include_search) return nullptr;
    size_t name_length = std::strlen(*name);
    for (int32_t i = include_capacity - 1; i >= include_search->count && i >= 0; --i) {
        const char *directory = include_search->slot[i];
        if (!directory) continue;
        size_t directory_length = std::strlen(directory);
        if (directory_length + name_length + 1 > PATH_LIMIT) {
            report("path too long: %.*s...", 40, directory);
            continue;
        }
        std::memcpy(path_buffer, directory, directory_length);
        path_buffer[directory_length] = '/';
        std::memcpy(path_buffer + directory_length + 1, *name, name_length + 1);
        if (SourceStream *stream = stream_open(path_buffer)) {
            *name = path_buffer;
            return stream;
        }
    }
    return nullptr;
}

void append_source(const char *name) {
    size_t length = std::strlen(name);
    auto *file = static_cast<SourceFile *>(checked_alloc(
        static_cast<unsigned>(sizeof(SourceFile) + length + 1), nullptr));
    std::memset(file, 0, sizeof(SourceFile));
    std::memcpy(file->name, name, length + 1);
    *source_list_tail = file;
    source_list_tail = &file->next;
    opened_names().insert(std::string_view(file->name, length));
    current_source = file;
}

}  // namespace

bool source_opened_before(const char *name) {
    return opened_names().count(std::string_view(name)) != 0;
}

int open_source(const char *name, int search) {
    SourceStream *stream = stream_open(name);
    if (!stream && search && !is_rooted(name)) stream = search_include_path(&name);
    if (!stream) {
        report("can't open %s", name);
        return 0;
    }
    if (current_stream) {
        auto *frame = static_cast<IncludeFrame *>(checked_alloc(sizeof(IncludeFrame), include_stack));
        frame->source = current_source;
        frame->stream = current_stream;
        include_stack = frame;
    }
    if (opt_md) write_dependency(name);
    current_stream = stream;
    append_source(name);
    return 1;
}

char *read_source_line(char *buffer, int32_t size) {
    source_line_trigraph_free = false;
    if (size <= 1) {
        // No room for a byte of text: an empty piece, which counts as no line.
        if (size == 1) buffer[0] = 0;
        return buffer;
    }
    while (current_stream) {
        char *end = nullptr;
        if (current_source->scramble) {
            source_line_trigraph_free = false;
            end = read_scrambled_line(buffer, size);
        } else {
            bool may_hold_trigraph = true;
            int32_t length = stream_read_line(current_stream, buffer, size, &may_hold_trigraph);
            source_line_trigraph_free = !may_hold_trigraph;
            if (length >= 0) {
                end = buffer + length;
                if (current_source->line == 0 && static_cast<uint8_t>(buffer[0]) == 254) {
                    start_scrambled_source(buffer);
                    continue;
                }
            }
        }
        if (end) {
            ++current_source->line;
            if (line_override_active) ++line_override;
            return end;
        }

        // End of the current file.
        stream_close(current_stream);
        current_stream = nullptr;
        if (in_comment) {
            report("unclosed comment at end of file");
            in_comment = 0;
        }
        if (source_events.file_end) source_events.file_end();
        if (!include_stack) return nullptr;   // current_source stays on the last file
        IncludeFrame *frame = include_stack;
        current_source = frame->source;
        current_stream = frame->stream;
        include_stack = free_and_return(frame, frame->link);
    }
    return nullptr;
}
