// mim_parse_address and the trimmers.

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "address_reference.h"
#include "mim.h"

namespace {

// Parses into heap buffers of exactly the documented size, filled with junk before.
Parts parse(const std::string &text) {
    std::array<std::vector<char>, 5> out;
    out.fill(std::vector<char>(MIM_ADDRESS_SIZE, '#'));
    const std::vector<char> input(text.c_str(), text.c_str() + text.size() + 1);
    mim_parse_address(input.data(), out[0].data(), out[1].data(), out[2].data(), out[3].data(), out[4].data());
    return {out[0].data(), out[1].data(), out[2].data(), out[3].data(), out[4].data()};
}

TEST(ParseAddress, SplitsEveryForm) {
    const struct {
        const char *name, *input;
        Parts want;
    } rows[] = {
        {"angle", "John Doe <jdoe@example.org>", {"John Doe", "jdoe@example.org", "", "jdoe", "example.org"}},
        {"bare with comment", "jdoe@host (John Doe)", {"John Doe", "jdoe@host", "", "jdoe", "host"}},
        {"quoted", R"("Doe, John" <"j doe"@host>)", {"Doe, John", R"("j doe"@host)", "", "j doe", "host"}},
        {"route", "<@r1,@r2:user@host>", {"", "@r1,@r2:user@host", "@r1,@r2", "user", "host"}},
        {"last colon ends the route", "@r1:@[1:2]:u@h", {"", "@r1:@[1:2]:u@h", "@r1:@[1:2]", "u", "h"}},
        {"route without colon", "@host", {"", "@host", "", "", "host"}},
        {"nested comment", "John (x (y) z) <u@h>", {"John x (y) z", "u@h", "", "u", "h"}},
        {"@ in quotes", R"("a@b"@c)", {"", R"("a@b"@c)", "", "a@b", "c"}},
        {"no @", "postmaster", {"", "postmaster", "", "postmaster", ""}},
        {"empty", "", {}},
        {"blank", " \t\r\n\v\f ", {}},
        {"domain unchanged, address trimmed", " u@ h \t", {"", "u@ h", "", "u", " h"}},
        {"escapes", R"(a\@b\"c@d)", {"", R"(a\@b\"c@d)", "", R"(a\@b\"c)", "d"}},
        {"escapes in quotes", R"("a\"\\b"@d)", {"", R"("a\"\\b"@d)", "", R"(a"\b)", "d"}},
        {"8-bit", "J\xF6rg <j\xF6rg@h>", {"J\xF6rg", "j\xF6rg@h", "", "j\xF6rg", "h"}},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(parse(row.input), row.want) << row.name << ": " << row.input;
    }
}

TEST(ParseAddress, AcceptsMissingOutputs) {
    std::array<char, MIM_ADDRESS_SIZE> domain{};
    mim_parse_address("(x) \"u\"@h", nullptr, nullptr, nullptr, nullptr, domain.data());
    EXPECT_STREQ(domain.data(), "h");
}

TEST(ParseAddress, AgreesWithTheSlowParserOnEveryMixOfDelimiters) {
    constexpr std::string_view kAlphabet = "<>()\"\\,@a: ";
    std::mt19937 random(822);  // NOLINT(cert-msc51-cpp): the same texts in every run
    for (int i = 0; i < 100000; ++i) {
        std::string text(random() % 14, ' ');
        for (char &c : text) {
            c = kAlphabet[random() % kAlphabet.size()];
        }
        ASSERT_EQ(parse(text), parse_slowly(text)) << text;
    }
}

TEST(Trimmers, TrimInPlace) {
    const struct {
        const char *input, *space, *spacequotes, *trailing;
    } rows[] = {
        {"  a b  ", "a b", "a b", "  a b"},
        {"", "", "", ""},
        {" \t\n\v\f\r", "", "", ""},
        {R"( " a\"b " )", R"(" a\"b ")", R"(a"b)", R"( " a\"b ")"},
        {R"("a\"b)", R"("a\"b)", R"(a\"b)", R"("a\"b)"},
        {R"("a\)", R"("a\)", R"(a\)", R"("a\)"},
        {R"("a\")", R"("a\")", R"(a\)", R"("a\")"},
        {R"("")", R"("")", "\"", R"("")"},
        {R"(" ")", R"(" ")", "\"", R"(" ")"},
        {R"(")", R"(")", "", R"(")"},
        {R"(a\b)", R"(a\b)", R"(a\b)", R"(a\b)"},
        {"\xA0x\xA0", "\xA0x\xA0", "\xA0x\xA0", "\xA0x\xA0"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(trimmed(row.input, mim_trim_space), row.space) << row.input;
        EXPECT_EQ(trimmed(row.input, mim_trim_spacequotes), row.spacequotes) << row.input;
        EXPECT_EQ(trimmed(row.input, mim_trim_trailing_space), row.trailing) << row.input;
    }
}

TEST(Trimmers, RemoveQuotesAndControls) {
    EXPECT_EQ(trimmed(R"(\"a\\b"")", mim_RemoveQuotes), "ab");
    EXPECT_EQ(trimmed("\\" + std::string(2000, 'a'), mim_RemoveQuotes), std::string(1024, 'a'));
    EXPECT_EQ(trimmed("\x01\tx\ty\x1F \n", mim_SpaceTrimming), "x y");
    EXPECT_EQ(trimmed("\x0E\x0F\x19\x1B\x1D \x7F\xA0", mim_SpaceTrimming), "\x0E\x0F\x19\x1B\x1D \x7F\xA0");
    EXPECT_EQ(trimmed(" ", mim_SpaceTrimming), "");
}

}  // namespace
