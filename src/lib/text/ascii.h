// ASCII rules for text that comes from anywhere: case folding and character classes that no locale changes.
//
// A byte above 127 is no letter, no blank, and its own upper and lower case.
#ifndef TEXT_ASCII_H
#define TEXT_ASCII_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace text {

inline constexpr std::size_t kByteCount = 256;

// A set of bytes, built at compile time: CharSet("<>") | CharSet::range('a', 'z').
class CharSet {
  public:
    constexpr CharSet() = default;
    constexpr explicit CharSet(std::string_view members) {
        for (const char c : members) {
            add(c);
        }
    }

    [[nodiscard]] static constexpr CharSet range(char first, char last) {
        CharSet set;
        for (int c = static_cast<unsigned char>(first); c <= static_cast<unsigned char>(last); ++c) {
            set.add(static_cast<char>(c));
        }
        return set;
    }

    [[nodiscard]] constexpr bool contains(char c) const { return member_[static_cast<unsigned char>(c)]; }

    // For each of the 256 bytes, whether it is in the set.
    [[nodiscard]] constexpr const bool *data() const { return member_.data(); }

    [[nodiscard]] friend constexpr CharSet operator|(CharSet a, const CharSet &b) {
        for (std::size_t i = 0; i < kByteCount; ++i) {
            a.member_[i] = a.member_[i] || b.member_[i];
        }
        return a;
    }

    [[nodiscard]] constexpr CharSet operator~() const {
        CharSet rest;
        for (std::size_t i = 0; i < kByteCount; ++i) {
            rest.member_[i] = !member_[i];
        }
        return rest;
    }

  private:
    constexpr void add(char c) { member_[static_cast<unsigned char>(c)] = true; }

    std::array<bool, kByteCount> member_{};
};

inline constexpr CharSet kUpperCase = CharSet::range('A', 'Z');
inline constexpr CharSet kLetters = kUpperCase | CharSet::range('a', 'z');
inline constexpr CharSet kDigits = CharSet::range('0', '9');
inline constexpr CharSet kBlanks{" \t"};
inline constexpr CharSet kWhiteSpace{" \t\n\v\f\r"};
inline constexpr CharSet kControls = CharSet::range('\0', '\x1F') | CharSet{"\x7F"};

inline constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// What stands for no hexadecimal digit: greater than any byte, also when it is part of one.
inline constexpr unsigned kNoHexDigit = 0x100;

namespace detail {
inline constexpr auto kHexValues = []() {
    std::array<std::uint16_t, kByteCount> values{};
    values.fill(kNoHexDigit);
    for (std::size_t i = 0; i < kHexDigits.size(); ++i) {
        const char digit = kHexDigits[i];
        values[static_cast<unsigned char>(digit)] = static_cast<std::uint16_t>(i);
        if (kLetters.contains(digit)) {
            values[static_cast<unsigned char>(digit - 'A' + 'a')] = static_cast<std::uint16_t>(i);
        }
    }
    return values;
}();

consteval std::array<char, kByteCount> upper_case_table() {
    std::array<char, kByteCount> table{};
    for (std::size_t i = 0; i < kByteCount; ++i) {
        table[i] = static_cast<char>(i >= 'a' && i <= 'z' ? i - 'a' + 'A' : i);
    }
    return table;
}
inline constexpr std::array<char, kByteCount> kUpperCaseTable = upper_case_table();
}  // namespace detail

// The value of a hexadecimal digit of either case, or kNoHexDigit.
[[nodiscard]] constexpr unsigned hex_value(char c) {
    return detail::kHexValues[static_cast<unsigned char>(c)];
}

[[nodiscard]] constexpr char to_upper(char c) {
    return detail::kUpperCaseTable[static_cast<unsigned char>(c)];
}

[[nodiscard]] constexpr bool equal_ignoring_case(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (to_upper(a[i]) != to_upper(b[i])) {
            return false;
        }
    }
    return true;
}

[[nodiscard]] constexpr bool starts_with_ignoring_case(std::string_view text, std::string_view prefix) {
    return equal_ignoring_case(text.substr(0, prefix.size()), prefix);
}

// `view` without the members of `set` at its ends.
[[nodiscard]] constexpr std::string_view trim(std::string_view view, const CharSet &set) {
    while (!view.empty() && set.contains(view.front())) {
        view.remove_prefix(1);
    }
    while (!view.empty() && set.contains(view.back())) {
        view.remove_suffix(1);
    }
    return view;
}

}  // namespace text

#endif
