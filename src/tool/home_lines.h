// A line file of the home, read in the pieces in which the library reads it, with the numbers of its lines.
#ifndef TOOL_HOME_LINES_H
#define TOOL_HOME_LINES_H

#include <string>
#include <string_view>

#include "os.h"

namespace tool {

class HomeLines {
  public:
    // A line of `capacity` characters or more comes in pieces of one less.
    HomeLines(const char *path, int capacity);
    HomeLines(const HomeLines &) = delete;
    HomeLines &operator=(const HomeLines &) = delete;
    ~HomeLines();

    [[nodiscard]] bool is_open() const { return file_ != nullptr; }

    // Reads the next piece. False at the end, and where the file cannot be read on: as in the library, what
    // was read before counts.
    bool next();

    // The piece without its newline, terminated; it may be changed.
    [[nodiscard]] char *text() { return piece_.data(); }
    [[nodiscard]] std::string_view view() const { return std::string_view{piece_}.substr(0, length_); }

    // The line's number, from 1, and whether the piece goes on with a line that was longer than a piece.
    [[nodiscard]] int number() const { return line_; }
    [[nodiscard]] bool is_rest() const { return is_rest_; }

    // Whether the line goes on behind the piece, or would if the file did.
    [[nodiscard]] bool is_full() const { return !ends_line_ && length_ + 1 == piece_.size(); }

    // PATH:LINE
    [[nodiscard]] std::string place() const { return path_ + ":" + std::to_string(line_); }

  private:
    std::string path_;
    os_file *file_;
    std::string piece_;
    std::size_t length_ = 0;
    int line_ = 0;
    bool ends_line_ = true;  // the piece before the next one ended its line
    bool is_rest_ = false;
};

}  // namespace tool

#endif
