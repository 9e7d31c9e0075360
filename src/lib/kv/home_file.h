// Files of the server's home that a service reads once: line by line, each line with its number, kept until
// the home changes.
#ifndef KV_HOME_FILE_H
#define KV_HOME_FILE_H

#include <cstdint>
#include <new>
#include <optional>
#include <string_view>

#include "failures.h"
#include "text/ascii.h"

namespace kv {

// Counts the homes that this process has had; what was read in another generation is stale.
[[nodiscard]] std::uint64_t home_generation();

// A line without its newline and without blanks at its ends.
struct HomeLine {
    std::string_view text;
    int number;  // from 1
};

inline constexpr text::CharSet kLineBlanks{" \t\r\n"};

// Splits `text` at its first run of blanks: the word before it, and what follows it.
struct WordAndRest {
    std::string_view word;
    std::string_view rest;
};
[[nodiscard]] WordAndRest split_word(std::string_view text);

// Reads all of `text` as a decimal number; false when it is none.
[[nodiscard]] bool parse_number(std::string_view text, int &number);

// Calls `visit(context, line)` for each line of the file `path` that is neither blank nor a comment (`#`
// first). A file that is missing has no lines; one that cannot be read is logged and has none from there on.
// A line longer than kMaxHomeLine, and one with a zero byte, is logged and skipped.
void for_each_line(const char *path, void (*visit)(void *context, const HomeLine &line), void *context);

template <typename Visit>
void for_each_line(const char *path, Visit visit) {
    for_each_line(
        path, [](void *context, const HomeLine &line) { (*static_cast<Visit *>(context))(line); }, &visit);
}

inline constexpr int kMaxHomeLine = 8192;

// Logs `message` of the server's set about a line of a file, for the administrator who keeps it.
void log_line(int severity, int message, const char *path, int line_number, const char *reason);

// Logs that a line was skipped, and why.
void log_skipped_line(const char *path, int line_number, const char *reason);

// A table made by `Table::load()` from files of the home: made at the first use, made anew when the home has
// changed, and never released before that. An allocation that fails while it is made leaves the old one out
// and becomes the server's own failure.
template <typename Table>
class PerHome {
  public:
    const Table &get() {
        if (!table_ || generation_ != home_generation()) {
            table_.reset();
            try {
                table_.emplace(Table::load());
            } catch (const std::bad_alloc &) {
                raise_no_memory("home_file", __LINE__);
            }
            generation_ = home_generation();
        }
        return *table_;
    }

  private:
    std::optional<Table> table_;
    std::uint64_t generation_ = 0;
};

}  // namespace kv

#endif
