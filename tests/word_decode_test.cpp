// Header words: decoded in both modes, against a decoder that goes byte by byte.

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <regex>
#include <string>

#include "cvc.h"
#include "fresh_process.h"
#include "inet.h"
#include "mim.h"
#include "work_string.h"

namespace {

using namespace std::string_literals;

std::optional<std::string> converted(const std::string &text, const std::string &from, const std::string &to,
                                     int worst) {
    char *result = nullptr;
    std::int32_t length = 0;
    const int status = cvc_CnvString(CVC_TEXT, 0, text.data(), static_cast<std::int32_t>(text.size()), from.c_str(),
                                     to.c_str(), &result, &length, nullptr, 21);
    return status == CVC_FAILED || status > worst
               ? std::nullopt
               : std::optional{std::string(result, static_cast<std::size_t>(length))};
}

std::string bytes_of_word(const std::string &encoding, const std::string &text) {
    std::string bytes(text.size() + 1, '\0');
    std::int32_t length = 0;
    const auto value = [](char c) {
        return c >= '0' && c <= '9' ? c - '0' : (c >= 'A' && c <= 'Z' ? c + 32 : c) - 87;
    };
    if (encoding == "B" || encoding == "b") {
        inet_base642bin(text.data(), static_cast<std::int32_t>(text.size()), bytes.data(), &length);
    }
    for (std::size_t i = 0; i < text.size() && (encoding == "Q" || encoding == "q"); ++i, ++length) {
        const bool is_escape = text[i] == '=' && i + 2 < text.size();
        bytes[static_cast<std::size_t>(length)] =
            is_escape        ? static_cast<char>(value(text[i + 1]) << 4 | value(text[i + 2]))
            : text[i] == '_' ? ' '
                             : text[i];
        i += is_escape ? 2 : 0;
    }
    bytes.resize(static_cast<std::size_t>(length));
    const std::size_t zero = bytes.find('\0');
    return zero != std::string::npos && zero + 1 == bytes.size() ? bytes.substr(0, zero) : bytes;
}

std::string equivalent(const std::string &charset) { return cvc_iconvCharsetEquiv(charset.c_str(), 0); }

// The result's set, "|", and `out` with the result behind it.
std::string decode_slowly(const std::string &text, std::string out, const std::string &charset, bool converts) {
    static const std::regex word{R"(=\?([^?]*)\?([BbQq])\?([^?]*)\?=)"};
    static const std::regex utf8{
        R"(([\x01-\x7f]|[\xc2-\xdf][\x80-\xbf]|\xe2[\x80-\xbf]{2})*)"};  // as much as is used
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
        std::string piece = held + (after_word ? match.str() : std::string{*place});
        place += after_word ? match.length() : 1;
        held.clear();
        if (!after_word) {
            const bool is_ascii = piece.find_first_of("\x80\xC3\xA9\xE9\xFF") == std::string::npos;
            out += is_ascii ? converted(piece, "IA5", current, CVC_CUT).value_or(piece) : piece;
            continue;
        }
        const std::string set = equivalent(match.str(1).substr(0, match.str(1).find('*')).substr(0, 256));
        const std::string bytes = bytes_of_word(match.str(2), match.str(3));
        if (!converts) {
            current = is_first ? set : current;
            is_first = false;
            if (!text::equal_ignoring_case(set, current) || bytes.find('\0') != std::string::npos) {
                current = equivalent("UTF8");
            }
            if (current != previous && !out.empty()) {
                out = converted(out, previous, current, CVC_CUT).value_or(out).c_str();
            }
        }
        if (!text::equal_ignoring_case(set, "UTF-8") || std::regex_match(bytes, utf8)) {
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
        =?ISO-8859-1?-> | =?ISO-8859-1?Q?=E9_a?=-> | =?utf-8?B?w6k=?=-> | =?iso-2022-jp?B?GyRCRnwbKEI=?=-> | =?koi8-r?b?wQ?=->
        =?us-ascii*en?Q?hi=?=-> | =?latin1?Q?a=00?=-> | =?latin1?Q?a=00b?=-> | =?windows-1252?Q?=80=zz=?=-> | ~20-> | ~09->
        ~0D~0A~20-> | a-> | ~7E-> | ~E9-> | ~C3~A9-> | plain text->)");
    std::mt19937 random{3};  // NOLINT(cert-msc*): the same each time
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (auto count = random() % 8; count > 0; --count) {
            text += pieces[random() % pieces.size()].first;
        }
        const std::string before = random() % 4 == 0 ? "\xE9z" : "";
        for (const std::string charset :
             {"UTF-8", "IA5", "latin1", "T61INTL", "ISO-2022-JP", "UTF-16", "x-unknown", "DECODEIT"}) {
            for (const bool converts : {true, charset != "DECODEIT" && charset != "IA5"}) {
                ASSERT_EQ(decode(text, before, charset, converts), decode_slowly(text, before, charset, converts))
                    << text << " into " << charset;
            }
        }
    }
}

std::string decode_plain(const std::string &text) {
    std::array<char, MIM_CHARSET_SIZE> charset{};
    std::vector<char> out(text.size() + 1, '#');
    mim_DecodeMimeCharStr(text.c_str(), out.data(), charset.data());
    return charset.data() + "|"s + out.data();
}

std::string convert_into(const char *charset, const std::string &text) {
    std::vector<char> out(4 * text.size() + 1, '#');
    mim_ConvertMimeCharStr(text.c_str(), out.data(), charset);
    return out.data();
}

TEST(WordDecode, ReadsWords) {
    // In the table's right column "/" stands for the "|" between set and text.
    const auto decode_row = [](const std::string &text) {
        std::string result = decode_plain(text);
        result[result.find('|')] = '/';
        return result;
    };
    expect_cases(R"(->US-ASCII/ | plain -> US-ASCII/plain | =?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?= -> ISO-8859-1/ab
        =?ISO-8859-1?Q?a?= b -> ISO-8859-1/a b | =?iso-8859-1?q?a_b=3D?= -> ISO-8859-1/a b= | a =?X -> US-ASCII/a =?X
        =?ISO-8859-1?Q?a?=~20~20 -> ISO-8859-1/a~20~20 | =?ISO-8859-1?Q?=E9?= =?UTF-8?Q?=C3=A9?= -> UTF-8/~C3~A9~C3~A9
        =?utf-8?Q?=C3?= -> UTF-8/=?utf-8?Q?=C3?= | =?x-unknown?B?QUJD?= -> x-unknown/=?x-unknown?B?QUJD?=
        =?us-ascii*en?Q?hi?= -> US-ASCII/hi | =?iso-8859-1?Q?x=4?= -> ISO-8859-1/x=4 | =?ISO-8859-1?B?QQBC?= -> UTF-8/A
        =?iso-8859-1?X?abc?= -> US-ASCII/=?iso-8859-1?X?abc?= | =?a?Q?b -> US-ASCII/=?a?Q?b | ~E9 -> US-ASCII/~E9
        ~E9~E9~E9~E9 =?ISO-8859-1?Q?=E9?= -> ISO-8859-1/~3F~3F~3F~3F ~E9)",
                 decode_row);
    expect_cases("=?UTF-8?Q?=C3=A9_x?= y -> ~E9 x y | =?UTF-8?Q?=E2=82=AC?= -> ~E2~82~AC | ~C3~A9 -> ~C3~A9",
                 [](const std::string &text) { return convert_into("latin1", text); });
    EXPECT_EQ(convert_into("ISO-2022-KR", "a"), "a") << "its header makes it more than four times as long";
    const std::string long_set = "=?" + std::string(300, 'x') + "?Q?a?=";
    EXPECT_EQ(decode_plain(long_set), std::string(256, 'x') + "|" + long_set);
    std::array<char, MIM_CHARSET_SIZE> charset{"#"};
    char out = '#';
    mim_DecodeMimeCharStr(nullptr, nullptr, charset.data());
    EXPECT_STREQ(charset.data(), "#");
    mim_DecodeMimeCharStr(nullptr, &out, charset.data());
    EXPECT_EQ(charset.data() + std::string{out}, "US-ASCII\0"s);
}

}  // namespace
