// Reads the line files of the home through the file service, so that a test which makes that service fail
// makes these files fail too.

#include "home_file.h"

#include <array>
#include <charconv>
#include <memory>

#include "os.h"

namespace kv {
namespace {

struct CloseFile {
    void operator()(os_file *file) const { os_fclose(file); }
};
using File = std::unique_ptr<os_file, CloseFile>;

constexpr std::size_t kNumberSize = 12;  // any int in decimal, terminated

}  // namespace

WordAndRest split_word(std::string_view text) {
    std::size_t end = 0;
    while (end < text.size() && !kLineBlanks.contains(text[end])) {
        ++end;
    }
    return {text.substr(0, end), text::trim(text.substr(end), kLineBlanks)};
}

bool parse_number(std::string_view text, int &number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size();
}

void log_line(int severity, int message, const char *path, int line_number, const char *reason) {
    std::array<char, kNumberSize> number{};
    std::to_chars(number.data(), number.data() + number.size() - 1, line_number);
    er_LogMsg(severity, MES_SET_SERVER, message, path, number.data(), reason, nullptr);
}

void log_skipped_line(const char *path, int line_number, const char *reason) {
    log_line(kSkippedLineSeverity, kLineSkipped, path, line_number, reason);
}

void for_each_line(const char *path, void (*visit)(void *context, const HomeLine &line), void *context) {
    if (os_fexists(path) == 0) {
        return;
    }
    const File file{os_fopen(path, "r")};
    if (!file) {
        er_LogMsg(kUnreadableFileSeverity, MES_SET_SERVER, kFileUnreadable, path, nullptr);
        return;
    }
    std::array<char, kMaxHomeLine + 2>
        buffer{};  // a line of the longest kind, its newline and the terminator
    bool inside_long_line = false;
    int number = 0;
    while (const int length = os_fgets(buffer.data(), static_cast<int>(buffer.size()), file.get())) {
        const std::string_view line{buffer.data(), static_cast<std::size_t>(length)};
        const bool continues_long_line = inside_long_line;
        inside_long_line = line.back() != '\n' && line.size() == buffer.size() - 1;
        if (continues_long_line) {
            continue;
        }
        ++number;
        if (inside_long_line) {
            log_skipped_line(path, number, "the line is too long");
            continue;
        }
        const std::string_view text = text::trim(line, kLineBlanks);
        if (text.empty() || text.front() == '#') {
            continue;
        }
        // What stands behind one would be lost wherever a text of the line ends at its terminator.
        if (text.find('\0') != std::string_view::npos) {
            log_skipped_line(path, number, "it holds a zero byte");
            continue;
        }
        visit(context, {text, number});
    }
}

}  // namespace kv
