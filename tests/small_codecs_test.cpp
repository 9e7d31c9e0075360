// Xtext, pattern lists, names of text encodings, short file names.

#include <climits>

#include "fresh_process.h"
#include "mim.h"
#include "orn_name.h"
#include "t61.h"

namespace {

TEST(Xtext, EncodesAndDecodes) {
    const auto encode = [](const std::string &text) {
        const auto call = [&](char *out) { return mim_XtextString(text.c_str(), std::copy_n("X=", 3, out) - 3); };
        return answer(call, 3 * text.size() + 3);
    };
    const auto decode = [](const std::string &text) {
        return answer([&](char *out) { return mim_DecodeXtextString(text.c_str(), out); }, text.size() + 1);
    };
    expect_cases("a+b=c d -> 0 X=a+2Bb+3Dc+20d | ~E9 -> 0 X=+E9 | -> 0 X= | !~7E~7F~01 -> 0 X=!~7E+7F+01", encode);
    expect_cases("a+2Bb -> 0 a+b | +3d -> 0 = | x+zz -> 0 x+zz | -> 0 | +2 -> 0 +2 | +2g+e9++41+ -> 0 +2g~E9+A+",
                 decode);
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    EXPECT_EQ(decode(encode(all)), "0 0 X=" + all);
}

TEST(Patterns, TheFirstThatMatchesGivesItsValue) {
    const mim_user_pattern all{nullptr, "", 9};
    const mim_user_pattern no_domain{&all, "ann", 8};
    const mim_user_pattern prefix{&no_domain, "bob*ignored", 7};
    const mim_user_pattern both{&prefix, "Jo@Example.ORG", 6};
    const mim_user_pattern domain{&both, "@a.example", 5};
    expect_cases(
        R"(bobby@b -> 7 | alice@A.EXAMPLE -> 5 | carol@b -> 9 | jo@example.org -> 6 | jo@x@example.org -> 9 | jo -> 9
        ANN -> 8 | ann@b -> 8 | anna -> 9 | bo -> 9 | BOB -> 7 | @a.example -> 5 | -> 9 | x@a.example@b -> 9)",
        [&](const std::string &address) { return std::to_string(mim_catchUser(address.c_str(), &domain)); });
    const mim_user_pattern star{nullptr, "*", INT_MIN};
    const mim_user_pattern at{nullptr, "@", 1};
    EXPECT_TRUE(mim_catchUser("x@y", &star) == INT_MIN && mim_catchUser("", &at) == 1);
    EXPECT_TRUE(mim_catchUser(nullptr, &all) == 0 && mim_catchUser("a", nullptr) == 0);
}

TEST(TextEncoding, HasAName) {
    expect_cases(
        R"(Q IA5 -> 7bit | b ia5 -> 7bit | B ISO8859_1 -> base64 | n ISO8859_1 -> 8bit | N NONE -> 8bit | N ISO-2022-JP -> 7bit
        n UTF8 -> 8bit | q UTF8 -> quoted-printable | x NONE -> quoted-printable)",
        [](const std::string &text) { return mim_GetTextEncoding(text.front(), text.c_str() + 2); });
}

// "TYPE NAME" in a process of its own, where the letter is A.
TEST(ShortNames, KeepWhatFits) {
    expect_fresh(
        R"(7 -> A.BIN | 1736 -> A.TXT | 7 report.txt -> report.txt | 1167 REPORT -> REPORT.TXT | 7 readme -> readme.BIN
        7 my file.txt -> A.txt | 7 averylongname.doc -> A.doc | 7 a.html -> a.html | 7 a.html5 -> A.BIN | 7 archive.tar.gz -> A.gz
        7 .profile -> A.BIN | 7 .gz -> A.gz | 7 data.t x -> A.BIN | 7 12345678 -> 12345678.BIN | 7 123456789 -> A.BIN
        7 12345678.1234 -> 12345678.1234 | 7 name. -> name. | 7 . -> A. | 7 .. -> A. | 7 r~E9sum~E9.doc -> A.doc | 7 a.~E9 -> A.BIN
        1736 ~C3~A9.doc -> A.doc | 1736 ~C3~A9 -> A.TXT | 7 ~1B-Bx.doc -> A.doc | 7 a~7Ex.b -> A.b | 7 !#$%-@_.!#$% -> !#$%-@_.!#$%)",
        [](const std::string &text) {
            const std::size_t blank = text.find(' ');
            const char *name = blank != std::string::npos ? text.c_str() + blank + 1 : nullptr;
            return mim_MakeFname8dot3(name, std::stoi(text));
        });
    const std::string letters = in_fresh_process([] {
        std::string used;
        for (int call = 0; call < 54; ++call) {
            used += *mim_MakeFname8dot3(call == 0 ? "" : call == 9 ? "x" : nullptr, 7);
        }
        return used;
    });
    EXPECT_EQ(letters, ".BCDEFGHIxKLMNOPQRSTUVWXYZABCDEFGHIJKLMNOPQRSTUVWXYZAB");
    std::string valid;
    for (int c = 0; c < 256; ++c) {
        valid.append(mim_ValidFnameChar(static_cast<char>(c)) == 1 ? 1 : 0, static_cast<char>(c));
    }
    EXPECT_EQ(valid, "!#$%-0123456789@ABCDEFGHIJKLMNOPQRSTUVWXYZ^_abcdefghijklmnopqrstuvwxyz");
}

TEST(T61, TellsTheCharacterSetOfAnyText) {
    EXPECT_STREQ(t61_RealParseStr("\x1B-Mx", -1, 1), "ISO8859_9 1");
    EXPECT_STREQ(t61_RealParseStr("\xC3\xA9\0\xC3\xA9", 5, 0), "UTF8 0");
    EXPECT_STREQ(t61_RealParseStr("\xC3\xA9\0\xC3\xA9", 4, 9), "ISO8859_1 9");
}

}  // namespace
