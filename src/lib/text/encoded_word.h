// The shape of an encoded word (RFC 2047, 2): "=?", a character set, "?", B or Q, "?", a text, "?=".
//
// What the RFC forbids beyond that is taken all the same: blanks in a word, an empty set or text, any length.
#ifndef TEXT_ENCODED_WORD_H
#define TEXT_ENCODED_WORD_H

#include <cstddef>
#include <optional>
#include <string_view>

#include "text/ascii.h"

namespace text {

enum class WordEncoding : char { kBase64 = 'B', kQ = 'Q' };

struct EncodedWord {
    std::string_view charset;  // with the language behind a "*", if there is one
    WordEncoding encoding;
    std::string_view text;
    std::size_t length;  // of the word whole
};

inline constexpr std::string_view kWordBegin = "=?";
inline constexpr std::string_view kWordEnd = "?=";

// What stands as it is in the text of a Q word, wherever the word stands (RFC 2047, 5).
inline constexpr CharSet kStandsInWord = kLetters | kDigits | CharSet{"!*+-/"};

// Reads the word that `view` begins with. Each "?" is passed three times at most, so that looking for words
// everywhere in a text takes no longer than its length allows.
[[nodiscard]] inline std::optional<EncodedWord> read_encoded_word(std::string_view view) {
    if (!view.starts_with(kWordBegin)) {
        return std::nullopt;
    }
    const std::size_t charset_end = view.find('?', kWordBegin.size());
    if (charset_end == std::string_view::npos || view.size() - charset_end < 3 ||
        view[charset_end + 2] != '?') {
        return std::nullopt;
    }
    const char letter = to_upper(view[charset_end + 1]);
    const auto encoding = static_cast<WordEncoding>(letter);
    if (encoding != WordEncoding::kBase64 && encoding != WordEncoding::kQ) {
        return std::nullopt;
    }
    const std::size_t text_begin = charset_end + 3;
    const std::size_t text_end = view.find('?', text_begin);
    if (text_end == std::string_view::npos || !view.substr(text_end).starts_with(kWordEnd)) {
        return std::nullopt;
    }
    return EncodedWord{view.substr(kWordBegin.size(), charset_end - kWordBegin.size()), encoding,
                       view.substr(text_begin, text_end - text_begin), text_end + kWordEnd.size()};
}

struct FoundWord {
    std::size_t begin;
    EncodedWord word;

    [[nodiscard]] std::size_t end() const { return begin + word.length; }
};

// The first word from the place `from` on.
[[nodiscard]] inline std::optional<FoundWord> find_encoded_word(std::string_view view, std::size_t from) {
    while ((from = view.find(kWordBegin.front(), from)) != std::string_view::npos) {
        if (const auto word = read_encoded_word(view.substr(from))) {
            return FoundWord{from, *word};
        }
        ++from;
    }
    return std::nullopt;
}

}  // namespace text

#endif
