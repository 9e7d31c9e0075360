// Header words: decoded in both modes, against a decoder that goes byte by byte.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "fresh_process.h"
#include "mim.h"
#include "word_reference.h"
#include "work_string.h"

namespace {

using namespace std::string_literals;

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
