// A dynamic string of the service, released with its owner.
#ifndef MIM_WORK_STRING_H
#define MIM_WORK_STRING_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "dstring.h"
#include "frame.h"

namespace mim {

// A length as the services take it. One that has no such number becomes the largest, which no string can
// have, so that the service refuses it.
[[nodiscard]] inline std::int32_t service_length(std::size_t length) {
    constexpr std::size_t kMax = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min(length, kMax));
}

[[nodiscard]] inline std::string_view view_of(const dstring &string) {
    return {string.data, static_cast<std::size_t>(string.length)};
}

inline void append(dstring *string, std::string_view text) {
    dstring_appendN(string, text.data(), service_length(text.size()));
}

// Makes room for `length` bytes more, so that the string need not grow.
inline void reserve(dstring *string, std::size_t length) {
    const std::int32_t before = string->length;
    dstring_setLength(string, service_length(static_cast<std::size_t>(before) + length));
    dstring_setLength(string, before);
}

class WorkString {
  public:
    WorkString() { dstring_init(&string_); }
    WorkString(const WorkString &) = delete;
    WorkString &operator=(const WorkString &) = delete;
    ~WorkString() {
        clean_up_quietly([this] { dstring_free(&string_); });
    }

    [[nodiscard]] dstring *get() { return &string_; }
    void clear() { dstring_free(&string_); }

    // Hands the block over; null when there is none.
    [[nodiscard]] char *release() {
        char *const block = string_.capacity > 0 ? string_.data : nullptr;
        dstring_init(&string_);
        return block;
    }
    [[nodiscard]] const char *c_str() const { return string_.data; }
    [[nodiscard]] std::string_view view() const { return view_of(string_); }

  private:
    dstring string_{};
};

}  // namespace mim

#endif
