// Debug information per source file: the list of symbols declared in it,
// and its debug block, opened at its first function or at its end when
// symbols were noted, and closed at its end.
#include <unordered_map>

#include "decl/symbol.h"
#include "decl/type.h"
#include "driver/options.h"
#include "output/records.h"
#include "preproc/source.h"

namespace {

// The first symbol noted in each file: the last element of its list, the
// only one whose dbg_next is null.  With it "already on this list" is one
// test instead of a walk: every other element has a non-null dbg_next.
std::unordered_map<const SourceFile *, Symbol *> &list_ends() {
    static std::unordered_map<const SourceFile *, Symbol *> ends;
    return ends;
}

}  // namespace

void debug_note(Symbol *symbol) {
    SourceFile *source = current_source;
    if (!source || symbol->dbg_next || (symbol->attr & ATTR_INLINE)) return;
    if (symbol == source->symbols) return;
    auto end = list_ends().find(source);
    if (end != list_ends().end() && end->second == symbol) return;
    if (!source->symbols) list_ends()[source] = symbol;
    symbol->dbg_next = source->symbols;
    source->symbols = symbol;
}

void debug_file_mark(const char *file, Symbol *function) {
    SourceFile *source = current_source;
    if (!source) return;
    if (source->debug_label == 0 && (file || source->symbols)) {
        source->debug_label = static_cast<uint16_t>(new_label());
        source->debug_end_label = static_cast<uint16_t>(new_label());
        write_debug_source_file(file_override ? file_override : source->name,
                                source->debug_label, source->debug_end_label);
    }
    if (file) {
        if (!opt_xd)
            source->debug_end_label = write_debug_function(
                file, function, source->debug_label, source->debug_end_label);
    } else if (source->debug_label != 0) {
        write_debug_file_end(source->symbols, source->debug_label, source->debug_end_label,
                             source->line);
        source->debug_label = 0;
    }
}
