// mim_parse_address and the trimmers.

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "mim.h"

namespace {

struct Parts {
    std::string phrase, address, route, local_part, domain;

    bool operator==(const Parts &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Parts &parts) {
    return out << "phrase [" << parts.phrase << "] address [" << parts.address << "] route [" << parts.route
               << "] local [" << parts.local_part << "] domain [" << parts.domain << "]";
}

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
        {"bare with comment",
         "jdoe@example.org (John Doe)",
         {"John Doe", "jdoe@example.org", "", "jdoe", "example.org"}},
        {"quoted phrase and local part",
         R"("Doe, John" <"j doe"@host>)",
         {"Doe, John", R"("j doe"@host)", "", "j doe", "host"}},
        {"route", "<@r1,@r2:user@host>", {"", "@r1,@r2:user@host", "@r1,@r2", "user", "host"}},
        {"last colon ends the route", "@r1:@[1:2]:u@h", {"", "@r1:@[1:2]:u@h", "@r1:@[1:2]", "u", "h"}},
        {"route without colon", "@host", {"", "@host", "", "", "host"}},
        {"nested comment", "John (x (y) z) <u@h>", {"John x (y) z", "u@h", "", "u", "h"}},
        {"@ in quotes", R"("a@b"@c)", {"", R"("a@b"@c)", "", "a@b", "c"}},
        {"no @", "postmaster", {"", "postmaster", "", "postmaster", ""}},
        {"text after the angle", "John <u@h> Doe", {"John  Doe", "u@h", "", "u", "h"}},
        {"empty", "", {}},
        {"blank", " \t\r\n\v\f ", {}},
        {"first @ separates", "a@b@c", {"", "a@b@c", "", "a", "b@c"}},
        {"domain unchanged, address trimmed", " u@ h \t", {"", "u@ h", "", "u", " h"}},
        {"comments join in order", "(one)u(two)@(three)h", {"onetwothree", "u@h", "", "u", "h"}},
        {"escapes", R"(a\@b\"c@d)", {"", R"(a\@b\"c@d)", "", R"(a\@b\"c)", "d"}},
        {"escapes in quotes", R"("a\"\\b"@d)", {"", R"("a\"\\b"@d)", "", R"(a"\b)", "d"}},
        {"escape in comment", R"(u@h (a\)b))", {R"(a\)b)", "u@h", "", "u", "h"}},
        {"angle in quotes is none", R"("<" u@h)", {"", R"("<" u@h)", "", R"(<" u)", "h"}},
        {"angle in comment is none", "(<)u@h", {"<", "u@h", "", "u", "h"}},
        {"escaped angle is none", R"(\<u@h>)", {"", R"(\<u@h>)", "", R"(\<u)", "h>"}},
        {"angle behind open quote is none", R"(a "b <u@h>)", {"", R"(a "b <u@h>)", "", R"(a "b <u@h>)", ""}},
        {"two angles", "a <b@c> d <e@f>", {"a  d", "b@ce@f", "", "b", "ce@f"}},
        {"stray closers", "a)b>@c", {"", "a)b>@c", "", "a)b>", "c"}},
        {"open angle", "J <u@h", {"J", "u@h", "", "u", "h"}},
        {"open comment", "u@h (x(y", {"x(y", "u@h", "", "u", "h"}},
        {"final backslash", "u@h\\", {"", "u@h\\", "", "u", "h\\"}},
        {"final backslash in quotes", "\"u\\", {"", "\"u\\", "", "u\\", ""}},
        {"final backslash in comment", "u(c\\", {"c\\", "u", "", "u", ""}},
        {"comment at the end", "u@h(", {"", "u@h", "", "u", "h"}},
        {"quotes alone", R"("" <>)", {"\"", "", "", "", ""}},
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
    mim_parse_address("@a:u@h", nullptr, nullptr, nullptr, nullptr, nullptr);
}

TEST(ParseAddress, ReadsTheFirst1023Characters) {
    for (const std::size_t size : {1022U, 1023U, 1024U, 5000U}) {
        const std::string local(size - 4, 'a');
        EXPECT_EQ(parse(local + "@b.c").domain, size <= MIM_MAX_ADDRESS ? "b.c" : size == 1024 ? "b." : "") << size;
        const std::string all(size, '(');
        EXPECT_EQ(parse(all).phrase.size(), std::min<std::size_t>(size, MIM_MAX_ADDRESS) - 1) << size;
    }
}

std::string trimmed(std::string text, void (*trim)(char *)) {
    trim(text.data());
    text.resize(std::strlen(text.c_str()));
    return text;
}

// The parser as its rules are told, a character at a time: what the run-by-run parser must agree with.
Parts parse_slowly(const std::string &text) {
    bool angle = false;
    int depth = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size() && !angle; ++i) {
        const char c = text[i];
        if (c == '\\') {
            ++i;
        } else if (quoted) {
            quoted = c != '"';
        } else if (depth > 0) {
            depth += c == '(' ? 1 : c == ')' ? -1 : 0;
        } else {
            quoted = c == '"';
            depth = c == '(' ? 1 : 0;
            angle = c == '<';
        }
    }
    Parts parts;
    std::string *target = angle ? &parts.phrase : &parts.address;
    depth = 0;
    quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        std::string &to = depth > 0 ? parts.phrase : *target;
        if (c == '\\') {
            to += text.substr(i++, 2);
        } else if (depth > 0) {
            depth += c == '(' ? 1 : c == ')' ? -1 : 0;
            to += depth > 0 ? std::string(1, c) : "";
        } else if (quoted || c == '"') {
            quoted = quoted != (c == '"');
            to += c;
        } else if (c == '(') {
            depth = 1;
        } else if (angle && (c == '<' || c == '>')) {
            target = c == '<' ? &parts.address : &parts.phrase;
        } else {
            to += c;
        }
    }
    parts.address = trimmed(parts.address, mim_trim_space);
    parts.phrase = trimmed(parts.phrase, mim_trim_spacequotes);
    std::string mailbox = parts.address;
    if (const auto colon = mailbox.rfind(':'); mailbox.starts_with('@') && colon != std::string::npos) {
        parts.route = mailbox.substr(0, colon);
        mailbox.erase(0, colon + 1);
    }
    quoted = false;
    for (std::size_t i = 0; i < mailbox.size(); ++i) {
        if (mailbox[i] == '\\') {
            ++i;
        } else if (mailbox[i] == '"') {
            quoted = !quoted;
        } else if (mailbox[i] == '@' && !quoted) {
            parts.domain = mailbox.substr(i + 1);
            mailbox.resize(i);
        }
    }
    parts.local_part = trimmed(mailbox, mim_trim_spacequotes);
    return parts;
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

}  // namespace
