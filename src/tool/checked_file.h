// A file of the home under mim check: what was found in it, and how its lines are read.
#ifndef TOOL_CHECKED_FILE_H
#define TOOL_CHECKED_FILE_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "check_faults.h"
#include "home_formats.h"
#include "home_lines.h"
#include "text/ascii.h"

namespace tool {

struct Finding {
    Fault fault;
    int line;  // 0: the file as a whole
    std::string text;
};

class CheckedFile {
  public:
    // `path` as the library knows it ("~/sys/routes"), `name` as the user does.
    CheckedFile(std::string path, std::string name) : path_(std::move(path)), name_(std::move(name)) {}

    [[nodiscard]] const char *path() const { return path_.c_str(); }
    [[nodiscard]] const std::string &name() const { return name_; }
    [[nodiscard]] int lines() const { return lines_; }
    [[nodiscard]] const std::vector<Finding> &findings() const { return findings_; }

    void add(Fault fault, int line, std::string text) { findings_.push_back({fault, line, std::move(text)}); }
    void set_lines(int lines) { lines_ = lines; }

    // What the check did not do, for the row of the file.
    [[nodiscard]] const std::string &note() const { return note_; }
    void set_note(std::string note) { note_ = std::move(note); }

    // In the order of the lines.
    void sort_findings();

  private:
    std::string path_;
    std::string name_;
    int lines_ = 0;
    std::string note_;
    std::vector<Finding> findings_;
};

// How a file treats its lines.
struct LineFormat {
    int capacity;       // as HomeLines takes it
    bool skips_bad;     // a line that is longer, or holds a byte 0, is skipped rather than read in part
    bool keeps_return;  // a carriage return at the end is part of the last field
};

// Calls `visit(line)` (a HomeLines) for each piece of a line that the library reads in `file`, and adds what
// is wrong with lines as such.
template <typename Visit>
void each_line(CheckedFile &file, const LineFormat &format, Visit visit);

// The line format of the services, whose lines lose the blanks at their ends.
inline constexpr LineFormat kServiceFormat{kServiceLine + 2, true, false};
inline constexpr text::CharSet kServiceBlanks{" \t\r\n"};

// Calls `visit(text, number)` for each line of a service's file that is neither blank nor a comment.
template <typename Visit>
void each_service_line(CheckedFile &file, Visit visit) {
    each_line(file, kServiceFormat, [&](HomeLines &line) {
        const std::string_view text = text::trim(line.view(), kServiceBlanks);
        if (!text.empty() && text.front() != '#') {
            visit(text, line.number());
        }
    });
}

// `text` with the letters a to z as A to Z.
[[nodiscard]] std::string to_upper(std::string_view text);

// `text` between quotes, cut where it is long.
[[nodiscard]] std::string quote_shortly(std::string_view text);

// Adds what is wrong with the line as such; false when the library skips it.
[[nodiscard]] bool check_line(CheckedFile &file, const LineFormat &format, const HomeLines &line);

template <typename Visit>
void each_line(CheckedFile &file, const LineFormat &format, Visit visit) {
    HomeLines lines{file.path(), format.capacity};
    while (lines.next()) {
        file.set_lines(lines.number());
        if (check_line(file, format, lines)) {
            visit(lines);
        }
    }
}

}  // namespace tool

#endif
