// Numbers as arguments and items give them: digits, perhaps a "-" before them, and nothing else.
#ifndef TOOL_NUMBERS_H
#define TOOL_NUMBERS_H

#include <charconv>
#include <concepts>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

// The number that is the whole of `text`; nothing when it is none, or does not fit a Number.
template <std::integral Number>
[[nodiscard]] std::optional<Number> read_number(std::string_view text, int base = 10) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

// What to say of a text that is no number from `least` up to the largest Number.
template <std::integral Number>
[[nodiscard]] std::string not_a_number(Number least = std::numeric_limits<Number>::min()) {
    return "not a number from " + std::to_string(least) + " to " +
           std::to_string(std::numeric_limits<Number>::max());
}

}  // namespace tool

#endif
