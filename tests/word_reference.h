// Header words decoded byte by byte, and cut a character at a time: what the library's must agree with.
#ifndef TESTS_WORD_REFERENCE_H
#define TESTS_WORD_REFERENCE_H

#include <cstdint>
#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ccs.h"
#include "cvc.h"
#include "inet.h"
#include "text/ascii.h"
#include "work_string.h"

// The text converted; none when the status is worse than `worst`.
inline std::optional<std::string> converted(const std::string &text, const std::string &from, const std::string &to,
                                            int worst) {
    char *result = nullptr;
    std::int32_t length = 0;
    const int status = cvc_CnvString(CVC_TEXT, 0, text.data(), mim::service_length(text.size()), from.c_str(),
                                     to.c_str(), &result, &length, nullptr, 21);
    return status == CVC_FAILED || status > worst
               ? std::nullopt
               : std::optional{std::string(result, static_cast<std::size_t>(length))};
}

inline std::string bytes_of_word(bool is_base64, const std::string &text) {
    std::string bytes(is_base64 ? text.size() + 1 : 0, '\0');
    std::int32_t length = 0;
    if (is_base64) {
        inet_base642bin(text.data(), mim::service_length(text.size()), bytes.data(), &length);
        bytes.resize(static_cast<std::size_t>(length));
        return bytes;
    }
    const auto value = [](char c) {
        return c >= '0' && c <= '9' ? c - '0' : (c >= 'A' && c <= 'Z' ? c + 32 : c) - 87;
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '=' && i + 2 < text.size()) {
            bytes += static_cast<char>(value(text[i + 1]) << 4 | value(text[i + 2]));
            i += 2;
        } else {
            bytes += text[i] == '_' ? ' ' : text[i];
        }
    }
    return bytes;
}

inline std::string equivalent(const std::string &charset) { return cvc_iconvCharsetEquiv(charset.c_str(), 0); }

// The result's set, "|", and `out` with the result behind it.
inline std::string decode_slowly(const std::string &text, std::string out, const std::string &charset,
                                 bool converts) {
    static const std::regex word{R"(=\?([^?]*)\?([BbQq])\?([^?]*)\?=)"};
    std::string current = equivalent(converts ? charset : "IA5");
    std::string previous = current;
    std::string held;
    bool after_word = false;
    bool is_first = true;
    for (auto place = text.begin(); place != text.end();) {
        if (after_word && std::string_view{" \t\n\v\f\r"}.find(*place) != std::string_view::npos) {
            held += *place++;
            continue;
        }
        std::smatch match;
        after_word = std::regex_search(place, text.end(), match, word, std::regex_constants::match_continuous);
        std::string piece = std::exchange(held, "") + (after_word ? match.str() : std::string{*place});
        place += after_word ? match.length() : 1;
        if (!after_word) {
            const bool is_ascii = ccs_Is7BitAscii(piece.c_str(), -1) != 0;
            out += is_ascii ? converted(piece, "IA5", current, CVC_CUT).value_or(piece) : piece;
            continue;
        }
        const std::string set = equivalent(match.str(1).substr(0, match.str(1).find('*')).substr(0, 256));
        std::string bytes = bytes_of_word(text::to_upper(match.str(2).front()) == 'B', match.str(3));
        if (bytes.ends_with('\0') && bytes.find('\0') + 1 == bytes.size()) {
            bytes.pop_back();
        }
        if (!converts) {
            current = std::exchange(is_first, false) ? set : current;
            if (!text::equal_ignoring_case(set, current) || bytes.find('\0') != std::string::npos) {
                current = "UTF-8";
            }
            if (current != previous && !out.empty()) {
                out = converted(out, previous, current, CVC_CUT).value_or(out).c_str();
            }
        }
        const bool is_text = bytes.find('\0') == std::string::npos && converted(bytes, set, set, CVC_EXACT);
        if (set != "UTF-8" || is_text) {
            piece = converted(bytes, set, current, CVC_EXACT).value_or(charset == "DECODEIT" ? bytes : piece);
        }
        out += piece;
        previous = current;
    }
    return current + "|" + out + held;
}

inline std::string word_of(char encoding, const std::string &text) {
    std::string out(3 * text.size() + 3, '\0');
    (encoding == 'Q' ? inet_text2Q : inet_bin2base64)(text.data(), static_cast<std::int32_t>(text.size()),
                                                      out.data());
    return std::string{"=?UTF-8?"} + encoding + "?" + out.c_str() + "?=";
}

// One character more at a time, for a text that does not fit.
inline std::string truncate_slowly(const std::string &text, int size) {
    const auto length = [](const std::string &piece) { return static_cast<int>(piece.size()); };
    const int budget = size - 13;
    if (budget >= 3 * length(text) || budget > 4 * length(text) / 3 + 4) {
        return word_of(budget >= 3 * length(text) ? 'Q' : 'B', text);
    }
    std::vector<std::string> characters;
    for (const char c : text) {
        if (characters.empty() || (static_cast<unsigned char>(c) & 0xC0U) != 0x80U) {
            characters.emplace_back();
        }
        characters.back() += c;
    }
    std::string taken;
    std::size_t i = 0;
    for (; length(taken + characters[i]) <= budget / 3; ++i) {
        taken += characters[i];
    }
    std::string tried = taken;
    for (; i + 1 < characters.size() && tried == taken; ++i) {
        tried = taken + characters[i];
        taken = length(word_of('Q', tried)) < size ? tried : taken;
    }
    if (budget <= 4 * length(tried) / 3 + 5) {
        return word_of('Q', taken);
    }
    for (; budget > 4 * length(tried + characters[i]) / 3 + 5; ++i) {
        tried += characters[i];
    }
    return word_of('B', tried);
}

#endif
