// Header words: decoded in both modes, against a decoder that goes byte by byte.

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "cvc.h"
#include "fresh_process.h"
#include "inet.h"
#include "mim.h"
#include "work_string.h"

namespace {

using namespace std::string_literals;

// The text converted; none when the status is worse than `worst`.
std::optional<std::string> converted(const std::string &text, const std::string &from, const std::string &to,
                                     int worst) {
    char *result = nullptr;
    std::int32_t length = 0;
    const int status = cvc_CnvString(CVC_TEXT, 0, text.data(), mim::service_length(text.size()), from.c_str(),
                                     to.c_str(), &result, &length, nullptr, 21);
    return status == CVC_FAILED || status > worst
               ? std::nullopt
               : std::optional{std::string(result, static_cast<std::size_t>(length))};
}

std::string bytes_of_word(bool is_base64, const std::string &text) {
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

std::string equivalent(const std::string &charset) { return cvc_iconvCharsetEquiv(charset.c_str(), 0); }

// The result's set, "|", and `out` with the result behind it.
std::string decode_slowly(const std::string &text, std::string out, const std::string &charset, bool converts) {
    static const std::regex word{R"(=\?([^?]*)\?([BbQq])\?([^?]*)\?=)"};
    std::string current = equivalent(converts ? charset : "IA5");
    std::string previous = current;
    std::string held;
    bool after_word = false;
    bool is_first = true;
    for (auto place = text.begin(); place != text.end();) {
        if (after_word && " \t\n\v\f\r"s.find(*place) != std::string::npos) {
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

std::string decode(const std::string &text, const std::string &before, std::string charset, bool converts) {
    charset.resize(MIM_CHARSET_SIZE);
    mim::WorkString out;
    dstring_set1(out.get(), before.c_str());
    mim_2047_to_string_and_cset_dstring(text.c_str(), out.get(), charset.data(), converts ? 1 : 0);
    return (converts ? equivalent(charset) : charset.c_str()) + "|" + std::string{out.view()};
}

TEST(WordDecode, GivesWhatByteByByteGives) {
    const Cases pieces =
        cases(R"(=?-> | ?=-> | ~3F-> | =-> | Q-> | =?a?Q?-> | =?x-unknown?B?QUJD?=-> | =?UTF8?q?=C3?=->
        =?ISO-8859-1?-> | =?ISO-8859-1?Q?=E9_a?=-> | =?utf-8?B?w6k=?=-> | =?iso-2022-jp?B?GyRCRnwbKEI=?=-> | plain text->
        =?us-ascii*en?Q?hi=?=-> | =?latin1?Q?a=00?=-> | =?latin1?Q?a=00b?=-> | =?windows-1252?Q?=80=zz=?=-> | ~20-> | ~09->
        ~0D~0A~20-> | a-> | ~7E-> | ~E9-> | ~C3~A9-> | =?utf-8?Q?_=c3=A9x^400?=-> | =?koi8-r?b?wQ?=-> | =?y^300?q?=?=->)");
    std::mt19937 random{3};  // NOLINT(cert-msc*): the same each time
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (auto count = random() % 8; count > 0; --count) {
            text += pieces[random() % pieces.size()].first;
        }
        const std::string before = random() % 4 == 0 ? "\xE9z" : "";
        for (const char *charset :
             {"UTF-8", "IA5", "latin1", "T61INTL", "ISO-2022-JP", "UTF-16", "x-unknown", "DECODEIT"}) {
            for (const bool converts : {true, false}) {
                ASSERT_EQ(decode(text, before, charset, converts), decode_slowly(text, before, charset, converts))
                    << text << charset;
            }
        }
    }
}

TEST(WordDecode, TakesHostileTexts) {
    const Cases pieces = cases(
        "=? -> =? | =?a?Q? -> =?a?Q? | =?utf-8?q?=4B?=~20^9-> K | =?a?=?b?b? -> =?a?=?b?b? | =?latin1?q?=4B?= "
        "=?utf-8?b?S0s?=~20 -> KKK");
    for (const auto &[piece, kept] : pieces) {
        std::string text;
        std::string want = "UTF-8|";
        for (int i = 0; i < 200000; ++i) {
            text += piece;
            want += kept;
        }
        EXPECT_TRUE(decode(text + "x", "", "UTF-8", true) ==
                    want + (piece.ends_with(' ') ? piece.substr(piece.find_last_not_of(' ') + 1) : "") + "x")
            << piece;
    }
}

std::string decode_plain(const std::string &text) {
    std::array<char, MIM_CHARSET_SIZE> charset{};
    std::vector<char> out(text.size() + 1, '#');
    mim_DecodeMimeCharStr(text.c_str(), out.data(), charset.data());
    return charset.data() + "/"s + out.data();
}

std::string convert_into_latin1(const std::string &text) {
    std::vector<char> out(4 * text.size() + 1, '#');
    mim_ConvertMimeCharStr(text.c_str(), out.data(), "latin1");
    return out.data();
}

TEST(WordDecode, WritesIntoBuffers) {
    expect_cases(R"(->US-ASCII/ | plain -> US-ASCII/plain | =?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?= -> ISO-8859-1/ab
        =?ISO-8859-1?Q?a?= b -> ISO-8859-1/a b | =?iso-8859-1?q?a_b=3D?= -> ISO-8859-1/a b= | a =?X -> US-ASCII/a =?X
        =?ISO-8859-1?Q?a?=~20~20 -> ISO-8859-1/a~20~20 | =?ISO-8859-1?Q?=E9?= =?UTF-8?Q?=C3=A9?= -> UTF-8/~C3~A9~C3~A9
        =?utf-8?Q?=C3?= -> UTF-8/=?utf-8?Q?=C3?= | =?x-unknown?B?QUJD?= -> x-unknown/=?x-unknown?B?QUJD?=
        =?us-ascii*en?Q?hi?= -> US-ASCII/hi | =?iso-8859-1?Q?x=4?= -> ISO-8859-1/x=4 | =?ISO-8859-1?B?QQBC?= -> UTF-8/A
        =?iso-8859-1?X?abc?= -> US-ASCII/=?iso-8859-1?X?abc?= | =?a?Q?b -> US-ASCII/=?a?Q?b | ~E9 -> US-ASCII/~E9)",
                 decode_plain);
    expect_cases("=?UTF-8?Q?=C3=A9_x?= y -> ~E9 x y | =?UTF-8?Q?=E2=82=AC?= -> ~E2~82~AC | ~C3~A9 -> ~C3~A9",
                 convert_into_latin1);
    std::array<char, MIM_CHARSET_SIZE> charset{"#"};
    char out = '#';
    mim_DecodeMimeCharStr(nullptr, nullptr, charset.data());
    EXPECT_STREQ(charset.data(), "#");
    mim_DecodeMimeCharStr(nullptr, &out, charset.data());
    EXPECT_EQ(charset.data() + std::string{out}, "US-ASCII\0"s);
}

}  // namespace
