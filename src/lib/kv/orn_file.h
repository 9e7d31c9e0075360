// Files of the home whose lines have the form WORD O/R-NAME.
#ifndef KV_ORN_FILE_H
#define KV_ORN_FILE_H

#include <string_view>

#include "home_file.h"
#include "nm.h"

namespace kv {

// A line that was read: its first word, and the O/R name with its index.
struct OrnLine {
    std::string_view word;
    const char *orn;
    const nm_index &index;
};

// Reads one line into `orn` (NM_ORN_SIZE bytes) and `index`. Returns null, or why it cannot be read.
[[nodiscard]] const char *read_orn_line(std::string_view rest, char *orn, nm_index &index);

// Calls `visit(line)` for each line of the file `path`; `visit` returns null, or why the line is of no use. A
// line that is of no use or cannot be read is logged and skipped.
template <typename Visit>
void for_each_orn_line(const char *path, Visit visit) {
    for_each_line(path, [path, &visit](const HomeLine &line) {
        const auto [word, rest] = split_word(line.text);
        char orn[NM_ORN_SIZE];
        nm_index index;
        const char *reason = read_orn_line(rest, orn, index);
        if (reason == nullptr) {
            reason = visit(OrnLine{word, orn, index});
        }
        if (reason != nullptr) {
            log_skipped_line(path, line.number, reason);
        }
    });
}

}  // namespace kv

#endif
