// The one writer of buffers that a caller owns: it never passes the capacity, and always terminates.
#ifndef TEXT_WRITER_H
#define TEXT_WRITER_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "text/ascii.h"

namespace text {

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

    // The length of all that was appended, the dropped part included.
    [[nodiscard]] std::size_t length() const { return length_; }

    // Terminates the buffer, and returns the length.
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

// Appends to a text of limited length in whole parts: the first part that does not fit ends the text before
// it.
class PartWriter {
  public:
    // `buffer` holds `limit` characters and a terminator.
    PartWriter(char *buffer, std::size_t limit) : buffer_(buffer), limit_(limit) { *buffer_ = '\0'; }

    // Appends the part made of these texts.
    template <typename... Texts>
    void append(const Texts &...texts) {
        if (is_full_ || (std::string_view{texts}.size() + ...) > limit_ - length_) {
            is_full_ = true;
            return;
        }
        ((length_ += copy_text(texts, buffer_ + length_, limit_ - length_ + 1)), ...);
    }

    [[nodiscard]] std::string_view view() const { return {buffer_, length_}; }

    // Removes each `c` at the end.
    void trim_end(char c) {
        while (length_ > 0 && buffer_[length_ - 1] == c) {
            buffer_[--length_] = '\0';
        }
    }

  private:
    char *buffer_;
    std::size_t limit_;
    std::size_t length_ = 0;
    bool is_full_ = false;
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

}  // namespace text

#endif
