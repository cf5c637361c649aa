// Include directory lists: the entries of the QVPPC variable, and the list
// that #include searches, made from the -i entries, in which a regular file
// stands for the entries written in it.
#include <sys/stat.h>

#include <cstring>
#include <string>

#include "driver/options.h"

namespace {

// One block holds the list and its slots.
PathList *new_path_list(int32_t capacity) {
    size_t bytes = sizeof(PathList) + static_cast<size_t>(capacity) * sizeof(const char *);
    PathList *list = static_cast<PathList *>(checked_alloc(static_cast<unsigned>(bytes), nullptr));
    list->count = capacity;
    list->capacity = capacity;
    list->slot = reinterpret_cast<const char **>(list + 1);
    return list;
}

char *copy_text(const char *text, size_t length) {
    char *copy = static_cast<char *>(checked_alloc(static_cast<unsigned>(length + 1), nullptr));
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

// Puts `name` on a list made by expand_dir_list, growing it when full.
PathList *push_entry(PathList *list, int32_t *capacity, const char *name) {
    if (list->count == 0)
        list = grow_dir_list(list, capacity);
    list->slot[--list->count] = name;
    return list;
}

enum FileKind { KIND_NONE, KIND_DIRECTORY, KIND_FILE, KIND_OTHER };

// The kind of the file a path names; both separators are accepted.
FileKind file_kind(const char *name) {
    std::string path(name);
    for (char &c : path)
        if (c == '\\')
            c = '/';
    struct stat status;
    if (path.empty() || stat(path.c_str(), &status) != 0)
        return KIND_NONE;
    if (S_ISDIR(status.st_mode))
        return KIND_DIRECTORY;
    if (S_ISREG(status.st_mode))
        return KIND_FILE;
    return KIND_OTHER;
}

}  // namespace

void append_path_list(PathList *list, const char *variable_name) {
    const char *value = std::getenv(variable_name);
    if (value == nullptr || *value == '\0')
        return;
    const char *entry = value;
    for (;;) {
        if (list->count <= 0) {
            std::fputs("too many pathnames\n", stderr);
            std::exit(1);
        }
        const char *end = std::strchr(entry, ';');
        size_t length = end ? static_cast<size_t>(end - entry) : std::strlen(entry);
        // One trailing backslash is cut.
        size_t kept = length > 0 && entry[length - 1] == '\\' ? length - 1 : length;
        list->slot[--list->count] = copy_text(entry, kept);
        if (end == nullptr || end[1] == '\0')
            break;
        entry = end + 1;
    }
}

PathList *expand_dir_list(PathList *list, int32_t *capacity) {
    PathList *result = new_path_list(*capacity);
    for (int32_t i = list->capacity - 1; i >= list->count; i--) {
        const char *name = list->slot[i];
        if (name == nullptr)
            continue;
        size_t length = std::strlen(name);
        if (length > 0 && is_path_separator(name[length - 1]))
            name = copy_text(name, length - 1);
        switch (file_kind(name)) {
        case KIND_DIRECTORY:
            result = push_entry(result, capacity, name);
            break;
        case KIND_FILE:
            result = expand_dir_file(result, capacity, name);
            break;
        default:
            break;
        }
    }
    return result;
}

PathList *grow_dir_list(PathList *list, int32_t *capacity) {
    int32_t old_capacity = *capacity;
    PathList *grown = new_path_list(old_capacity * 2);
    std::memcpy(grown->slot + old_capacity, list->slot,
                static_cast<size_t>(old_capacity) * sizeof(const char *));
    grown->count = list->count + old_capacity;
    std::free(list);
    *capacity = old_capacity * 2;
    return grown;
}

PathList *expand_dir_file(PathList *list, int32_t *capacity, const char *name) {
    int count = 0;
    char **tokens = nullptr;
    const char *message = read_token_file(name, &count, &tokens);
    if (message != nullptr) {
        if (message[0] != 'c' && message[0] != 'n')
            std::printf("%s\n", message);
        return list;
    }
    for (int i = 0; i < count; i++)
        list = push_entry(list, capacity, tokens[i]);
    return list;
}
