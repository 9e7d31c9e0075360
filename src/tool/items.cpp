// Items from arguments or from standard input. Lines are handed out where they stand in the read buffer,
// terminated in place: nothing is copied but the beginning of a line that a block ends in.

#include "items.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "session.h"

namespace tool {

namespace {

constexpr std::size_t kReadSize = 128 * std::size_t{1024};

// A line of kMaxLine bytes with its carriage return and newline, and the zero byte after an unfinished one.
constexpr std::size_t kBufferSize = kMaxLine + 3;

bool is_regular_file(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

LineReader::LineReader(int descriptor, std::string name, Output &rows)
    : descriptor_(descriptor),
      name_(std::move(name)),
      rows_(rows),
      may_wait_(!is_regular_file(descriptor)),
      buffer_(new char[kBufferSize]) {}

std::optional<Item> LineReader::next() {
    if (in_cut_line_ && !skip_rest_of_line()) {
        return std::nullopt;
    }
    std::size_t searched = 0;  // how much of the line is known to hold no newline
    for (;;) {
        const char *line = buffer_.get() + begin_;
        const std::size_t available = end_ - begin_;
        if (const void *newline = std::memchr(line + searched, '\n', available - searched)) {
            return take(static_cast<std::size_t>(static_cast<const char *>(newline) - line), 1);
        }
        searched = available;
        // One byte more may be the carriage return of a line that just fits.
        if (available > kMaxLine + 1) {
            in_cut_line_ = true;
            return take(available, 0);
        }
        if (!fill()) {
            if (available == 0) {
                return std::nullopt;
            }
            return take(available, 0);
        }
    }
}

// Takes the `length` bytes of a line and the `separator` bytes after it out of the buffer.
Item LineReader::take(std::size_t length, std::size_t separator) {
    char *line = buffer_.get() + begin_;
    begin_ += length + separator;
    if (length > 0 && !in_cut_line_ && line[length - 1] == '\r') {
        --length;
    }
    const bool cut = length > kMaxLine;
    length = std::min(length, kMaxLine);
    line[length] = '\0';
    return {{line, length}, cut};
}

// Reads one more block behind the bytes not yet taken. Returns false at the end of the input.
bool LineReader::fill() {
    if (begin_ > 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (may_wait_) {
        rows_.flush();
    }
    const std::size_t room = kBufferSize - 1 - end_;
    ssize_t count = 0;
    do {
        count = read(descriptor_, buffer_.get() + end_, std::min(room, kReadSize));
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        throw ToolError(name_, errno);
    }
    end_ += static_cast<std::size_t>(count);
    return count > 0;
}

// Passes over what follows in a line that was cut. Returns false when the input ends in it.
bool LineReader::skip_rest_of_line() {
    in_cut_line_ = false;
    for (;;) {
        const char *rest = buffer_.get() + begin_;
        if (const void *newline = std::memchr(rest, '\n', end_ - begin_)) {
            begin_ += static_cast<std::size_t>(static_cast<const char *>(newline) - rest) + 1;
            return true;
        }
        begin_ = end_;
        if (!fill()) {
            return false;
        }
    }
}

Items::Items(const std::vector<std::string> &arguments, Output &rows) : arguments_(arguments) {
    if (arguments.empty() || (arguments.size() == 1 && arguments.front() == "-")) {
        lines_.emplace(STDIN_FILENO, kStandardInput, rows);
    }
}

std::optional<Item> Items::next() {
    if (lines_) {
        return lines_->next();
    }
    if (taken_ == arguments_.size()) {
        return std::nullopt;
    }
    return Item{arguments_[taken_++], false};
}

}  // namespace tool
