// What a subcommand works on, item by item: its arguments or, with none or a single "-", the lines of
// standard input.
#ifndef TOOL_ITEMS_H
#define TOOL_ITEMS_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "output.h"

namespace tool {

// The longest line that is taken whole. It bounds the memory that a file without newlines can ask for.
inline constexpr std::size_t kMaxLine = std::size_t{1024} * 1024;

// An item without its newline; a zero byte stands after `text`. Valid until the next one is asked for.
struct Item {
    std::string_view text;
    bool cut;  // the line was longer than kMaxLine, and this is its beginning
};

inline constexpr const char *kStandardInput = "standard input";

// Reads lines in large blocks. A carriage return before the newline is dropped, and the last line needs no
// newline.
class LineReader {
  public:
    // Reads from `descriptor`, the file `name`. Unless that is a regular file, `rows` is flushed before each
    // read, which may wait: whoever feeds the command line by line sees each answer.
    LineReader(int descriptor, std::string name, Output &rows);

    // The next line, or nothing at the end. Throws ToolError when the file cannot be read.
    std::optional<Item> next();

  private:
    [[nodiscard]] Item take(std::size_t length, std::size_t separator);
    bool fill();
    bool skip_rest_of_line();

    int descriptor_;
    std::string name_;
    Output &rows_;
    bool may_wait_;
    bool in_cut_line_ = false;
    std::unique_ptr<char[]> buffer_;
    std::size_t begin_ = 0;  // the bytes from begin_ to end_ are not yet taken
    std::size_t end_ = 0;
};

class Items {
  public:
    // `arguments` must outlive the object.
    Items(const std::vector<std::string> &arguments, Output &rows);

    std::optional<Item> next();

  private:
    const std::vector<std::string> &arguments_;
    std::size_t taken_ = 0;
    std::optional<LineReader> lines_;
};

}  // namespace tool

#endif
