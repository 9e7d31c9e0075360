// Conversion without a converter, where that gives the same.
#ifndef KV_CVC_DIRECT_H
#define KV_CVC_DIRECT_H

#include <glib.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "cvc_output.h"
#include "cvc_sets.h"
#include "text/ascii.h"

namespace kv::conversion {

inline constexpr unsigned char kMaxAscii = 0x7F;

// What the bytes of a set of single bytes, in which ASCII stands at its places, are in UTF-8.
class ByteTable {
  public:
    static constexpr std::size_t kMaxLength = 3;

    // Of a set of single bytes; null when its characters cannot be told one by one.
    static const ByteTable *of(const Set &set);

    // What a byte is; nothing when the set does not have it.
    struct Text {
        std::array<char, kMaxLength> bytes;
        std::uint8_t length;
    };
    [[nodiscard]] const Text &text_of(char byte) const { return texts_[static_cast<unsigned char>(byte)]; }
    [[nodiscard]] std::string_view operator[](char byte) const {
        const Text &text = text_of(byte);
        return {text.bytes.data(), text.length};
    }

    // The byte that stands for a character beyond ASCII; 0 when the set does not have it.
    [[nodiscard]] char byte_of(gunichar character) const {
        return character <= kMaxTabled ? pages_[page_of_[character / kPageSize]][character % kPageSize]
                                       : '\0';
    }
    // Whether the bytes of characters are known.
    [[nodiscard]] bool has_bytes() const { return !pages_.empty(); }

  private:
    static constexpr gunichar kMaxTabled = 0xFFFF;  // the last of three bytes in UTF-8
    static constexpr gunichar kPageSize = 256;
    using Page = std::array<char, kPageSize>;
    using PageNumbers = std::array<std::uint8_t, kMaxTabled / kPageSize + 1>;

    void learn(const Set &set);
    void learn_bytes(const Set &set);

    std::once_flag once_;
    std::array<Text, text::kByteCount> texts_{};
    bool is_learnt_ = false;
    PageNumbers page_of_{};
    std::vector<Page> pages_;
};

inline constexpr gunichar kCutCharacter = static_cast<gunichar>(-2);  // GLib's words for none
inline constexpr gunichar kNoCharacter = static_cast<gunichar>(-1);

// Bytes that begin no character (RFC 3629, 3).
inline constexpr text::CharSet kNeverFirst =
    text::CharSet::range('\x80', '\xC1') | text::CharSet::range('\xF5', '\xFF');

// The character beyond ASCII at the front of a text, or one of the two words.
[[nodiscard]] gunichar first_character(std::string_view text);

// The bytes of the character at the front of a text.
[[nodiscard]] inline std::size_t length_in_utf8(std::string_view text) {
    return static_cast<std::size_t>(g_utf8_skip[static_cast<unsigned char>(text.front())]);
}

// Whether a text of ASCII is itself in the set. T.61 has two of its characters elsewhere.
[[nodiscard]] bool has_as_is(const Set &set, std::string_view text);

// Converts without a converter where that gives the same; nothing, with nothing of worth in the output, where
// it may not. `is_ascii` tells whether the text is.
[[nodiscard]] std::optional<Outcome> convert_directly(std::string_view text, bool is_ascii, const Set &source,
                                                      const Set &target, Output &output);

}  // namespace kv::conversion

#endif
