// Addresses taken apart, and texts trimmed.

#include <array>

#include "address_reference.h"
#include "fuzz.h"
#include "text/ascii.h"

namespace {

std::string edited(const std::string &text, void (*edit)(char *)) {
    const fuzz::Copy copy{text};
    edit(copy);
    return std::string{copy};
}

int scan_slowly(const std::string &text, char target) {
    constexpr std::string_view kOpening = "\"(<[";
    constexpr std::string_view kClosing = "\")>]";
    std::size_t inside = std::string_view::npos;
    int depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\\') {
            ++i;
        } else if (inside != std::string_view::npos) {
            depth += c == kClosing[inside] ? -1 : c == kOpening[inside] ? 1 : 0;
            inside = depth == 0 ? std::string_view::npos : inside;
        } else if (c == target) {
            return static_cast<int>(i);
        } else if (inside = kOpening.find(c); inside != std::string_view::npos) {
            depth = 1;
        }
    }
    return -1;
}

bool has_address_slowly(const std::string &text) {
    int depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\') {
            ++i;
        } else if (text[i] == '(' || text[i] == ')') {
            depth += text[i] == '(' ? 1 : -1;
            if (depth < 0) {
                return false;
            }
            continue;
        }
        if (depth == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

FUZZ_TARGET(address) {
    const auto target = in.text(1);
    const std::string text = in.text();
    const auto part = [] { return fuzz::Copy{"#", MIM_ADDRESS_SIZE}; };
    const std::array<fuzz::Copy, 5> out{part(), part(), part(), part(), part()};
    mim_parse_address(fuzz::Copy{text}, out[0], out[1], out[2], out[3], out[4]);
    const Parts want = parse_slowly(text.substr(0, MIM_MAX_ADDRESS));
    for (std::size_t i = 0; i < out.size(); ++i) {
        fuzz::expect_equal(std::string{out[i]}, want[i], "the parts are those that the rules tell");
        const fuzz::Copy alone{"#", MIM_ADDRESS_SIZE};
        std::array<char *, 5> only{};
        only[i] = alone;
        mim_parse_address(fuzz::Copy{text}, only[0], only[1], only[2], only[3], only[4]);
        fuzz::expect_equal(std::string{alone}, want[i], "an output is the same without the others");
    }

    const std::string_view bare = text::trim(text, text::kWhiteSpace);
    fuzz::expect_equal(edited(text, mim_trim_space), bare, "white space is trimmed at both ends");
    fuzz::expect_equal(edited(text, mim_trim_trailing_space),
                       text.substr(0, text.find_last_not_of(" \t\n\v\f\r") + 1),
                       "white space is trimmed at the end");
    fuzz::expect(edited(text, mim_trim_spacequotes).size() <= std::max<std::size_t>(bare.size(), 1),
                 "trimming shortens");
    std::string plain = text;
    std::erase_if(plain, [](char c) { return c == '\\' || c == '"'; });
    fuzz::expect_equal(edited(text, mim_RemoveQuotes), plain.substr(0, MIM_MAX_TEXT), "quotes are removed");
    std::string spaced = text;
    for (char &c : spaced) {
        c = c > 0 && c < ' ' && std::string_view{"\x0E\x0F\x19\x1B\x1D"}.find(c) == std::string_view::npos
                ? ' '
                : c;
    }
    fuzz::expect_equal(edited(text, mim_SpaceTrimming), text::trim(spaced, text::CharSet{" "}),
                       "controls are blanks");
    const std::string tidy = edited(text, mim_TrimCommentSpaces);
    fuzz::expect_equal(edited(tidy, mim_TrimCommentSpaces), tidy, "what is tidy stays");

    fuzz::expect(mim_IsValidArpaAddress(fuzz::Copy{text}) == (has_address_slowly(text) ? 1 : 0),
                 "an address has something besides comments", text);
    if (!target.empty()) {
        fuzz::expect(
            mim_ScanArpaStrForSpecialChar(fuzz::Copy{text}, target[0]) == scan_slowly(text, target[0]),
            "a scan finds the target outside of delimiters", text, target);
        const std::string other = in.text();
        fuzz::expect(mim_StrCaseCmp(fuzz::Copy{text}, fuzz::Copy{other}) ==
                         (text::equal_ignoring_case(text, other) ? 1 : 0),
                     "names are compared without regard to case", text, other);
    }
}
