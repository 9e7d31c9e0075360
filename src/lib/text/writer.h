// The one writer of buffers that a caller owns: it never passes the capacity, and always terminates.
#ifndef TEXT_WRITER_H
#define TEXT_WRITER_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "text/ascii.h"

namespace text {

// Appends to a buffer of fixed capacity. What does not fit is dropped; `length` tells what would have been
// written.
class Writer {
  public:
    // `capacity` counts the terminator; with 0 nothing at all is written.
    Writer(char *buffer, std::size_t capacity) : buffer_(buffer), capacity_(capacity) {}

    void append(char c) {
        if (length_ + 1 < capacity_) {
            buffer_[length_] = c;
        }
        ++length_;
    }

    void append(std::string_view text) {
        if (!text.empty() && length_ + 1 < capacity_) {
            std::memcpy(buffer_ + length_, text.data(), std::min(text.size(), capacity_ - 1 - length_));
        }
        length_ += text.size();
    }

    // Terminates the buffer, and returns the length of all that was appended, the dropped part included.
    std::size_t finish() {
        if (capacity_ > 0) {
            buffer_[std::min(length_, capacity_ - 1)] = '\0';
        }
        return length_;
    }

  private:
    char *buffer_;
    std::size_t capacity_;
    std::size_t length_ = 0;
};

// Appends a control character as \xHH, so that it cannot pass for part of the layout; false, with nothing
// appended, when `c` is none.
inline bool append_if_control(Writer &out, char c) {
    if (!kControls.contains(c)) {
        return false;
    }
    const auto code = static_cast<unsigned char>(c);
    out.append("\\x");
    out.append(kHexDigits[code >> 4U]);
    out.append(kHexDigits[code & 0x0FU]);
    return true;
}

// Copies `text` into `buffer`, which holds `capacity` bytes (at least one), cut to fit and terminated. The
// two may overlap. Returns how many characters were copied.
inline std::size_t copy_text(std::string_view text, char *buffer, std::size_t capacity) {
    const std::size_t length = std::min(text.size(), capacity - 1);
    if (length > 0) {
        std::memmove(buffer, text.data(), length);
    }
    buffer[length] = '\0';
    return length;
}

}  // namespace text

#endif
