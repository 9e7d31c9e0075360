// Pieces of a line file.

#include "home_lines.h"

#include "session.h"

namespace tool {

HomeLines::HomeLines(const char *path, int capacity)
    : path_(path), file_(os_fopen(path, "r")), piece_(static_cast<std::size_t>(capacity), '\0') {}

HomeLines::~HomeLines() {
    os_fclose(file_);
}

bool HomeLines::next() {
    int count = 0;
    if (file_ == nullptr ||
        protect([&] { count = os_fgets(piece_.data(), static_cast<int>(piece_.size()), file_); }) != 0) {
        if (file_ != nullptr) {
            static_cast<void>(take_failure());
        }
        count = 0;
    }
    if (count == 0) {
        return false;
    }
    is_rest_ = !ends_line_;
    line_ += ends_line_ ? 1 : 0;
    length_ = static_cast<std::size_t>(count);
    ends_line_ = piece_[length_ - 1] == '\n';
    if (ends_line_) {
        piece_[--length_] = '\0';
    }
    return true;
}

}  // namespace tool
