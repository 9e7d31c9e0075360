// Findings that any file of lines can have.

#include "checked_file.h"

#include <algorithm>

#include "explanation.h"

namespace tool {

namespace {

constexpr std::size_t kShown = 60;

// Whether the line is known to be too long: a very long one has many pieces.
bool was_told(const CheckedFile &file, int line) {
    return std::any_of(file.findings().begin(), file.findings().end(), [line](const Finding &finding) {
        return finding.fault == Fault::kLongLine && finding.line == line;
    });
}

}  // namespace

void CheckedFile::sort_findings() {
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const Finding &a, const Finding &b) { return a.line < b.line; });
}

std::string to_upper(std::string_view text) {
    std::string upper{text};
    std::transform(upper.begin(), upper.end(), upper.begin(), text::to_upper);
    return upper;
}

std::string quote_shortly(std::string_view text) {
    return text.size() <= kShown ? in_quotes(text) : in_quotes(text.substr(0, kShown)) + "...";
}

bool check_line(CheckedFile &file, const LineFormat &format, const HomeLines &line) {
    const int longest = format.capacity - (format.skips_bad ? 2 : 1);
    const std::string limit = "the line is longer than " + std::to_string(longest) + " characters";
    if (format.skips_bad) {
        if (line.is_full() && !line.is_rest()) {
            file.add(Fault::kLongLine, line.number(), limit + ", and is skipped");
        }
        if (line.is_full() || line.is_rest()) {
            return false;
        }
    } else if (line.is_rest() && !was_told(file, line.number())) {
        file.add(Fault::kLongLine, line.number(),
                 limit + "; a further line is read: " + quote_shortly(line.view()));
    }
    if (line.view().find('\0') != std::string_view::npos) {
        file.add(Fault::kZeroByte, line.number(),
                 format.skips_bad ? "the line holds a byte 0, and is skipped"
                                  : "nothing is read behind the byte 0");
        if (format.skips_bad) {
            return false;
        }
    }
    if (format.keeps_return && line.view().ends_with('\r')) {
        file.add(Fault::kCarriageReturn, line.number(),
                 "the carriage return at the end becomes part of what stands before it");
    }
    return true;
}

}  // namespace tool
