// The dynamic string, and the forms of encoded words.

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

#include "dstring.h"
#include "er_capture.h"
#include "fresh_process.h"
#include "inet.h"

namespace {

using namespace std::string_literals;

std::int32_t length_of(std::string_view text) { return static_cast<std::int32_t>(text.size()); }

std::string text_of(const dstring &string) {
    EXPECT_EQ(string.data[string.length], '\0');
    return {string.data, static_cast<std::size_t>(string.length)};
}

// Random operations, their sources within the string itself, against std::string.
TEST(Dstring, HoldsWhatAStringDoes) {
    std::mt19937 random{1};  // NOLINT(cert-msc*): the same each time
    dstring string;
    dstring_init(&string);
    std::string model;
    for (int step = 0; step < 20000; ++step) {
        dstring_setLength(&string, length_of(model));
        dstring_append1(&string, "xy");
        model += "xy";
        const char *source = string.data + random() % (model.size() + 1);
        const bool is_text = random() % 2 != 0;
        const std::string own = model.substr(static_cast<std::size_t>(source - string.data));
        const std::string part = is_text ? own.c_str() : own.substr(0, random() % (own.size() + 1));
        const bool appends = random() % 3 != 0;
        is_text ? (appends ? dstring_append1 : dstring_set)(&string, source)
                : (appends ? dstring_appendN : dstring_setN)(&string, source, length_of(part));
        model.replace(appends ? model.size() : 0, std::string::npos, part);
        ASSERT_EQ(text_of(string), model) << "step " << step;
        if (model.size() > 2000) {
            dstring_free(&string);
        }
        model.resize(model.size() > 2000 ? 0 : model.size() + random() % 3);
    }
    dstring_set1(&string, "kept");
    const int huge = std::numeric_limits<std::int32_t>::max();
    for (const int length : {huge, huge - 3, -1}) {
        EXPECT_TRUE(is_failure(failure_of([&] { dstring_appendN(&string, "", length); }), 100, 901)) << length;
    }
    EXPECT_TRUE(is_failure(failure_of([&] { dstring_setLength(&string, huge); }), 100, 901));
    EXPECT_EQ(text_of(string), "kept");
    dstring_free(&string);
    dstring_setLength(&string, 0);
    EXPECT_EQ(text_of(string), "");
}

TEST(Inet, FindsEncodedWords) {
    expect_cases(
        R"(=?a?Q?b?= -> 1 | x=?=?a?b?c?d?e?=?~3Fq?~3F= -> 1 | =?a*en?b?b c?= -> 1 | =?a?X?=?b?q?c?= -> 1 | -> 0 | =? -> 0
        =?a?Q -> 0 | =?a?Q?b -> 0 | =?a?Q?b? -> 0 | =?a?X?b?= -> 0 | =?a?QQ?b?= -> 0 | =?a?Q?b?c= -> 0 | ? =?= ?= -> 0)",
        [](const std::string &text) { return std::to_string(inet_is2047Encoded(text.c_str())); });
    EXPECT_EQ(inet_is2047Encoded(nullptr), 0);
}

using Decoded = std::pair<std::string, bool>;  // the bytes, and whether the text was clean

// Between blocks of the sizes that the contracts ask for.
Decoded decode_base64(std::string_view text) {
    const std::vector<char> source(text.begin(), text.end());
    std::vector<char> out(text.size() + 1, '#');
    std::int32_t length = -1;
    const bool is_clean = inet_base642bin(source.data(), length_of(text), out.data(), &length) == 0;
    EXPECT_EQ(out.at(static_cast<std::size_t>(length)), '\0');
    return {std::string(out.data(), static_cast<std::size_t>(length)), is_clean};
}

TEST(Inet, WritesAndReadsBase64) {
    std::mt19937 random{2};  // NOLINT(cert-msc*): the same each time
    std::string bytes;
    for (std::size_t length = 0; length < 300; ++length) {
        const std::vector<char> source(bytes.begin(), bytes.end());
        std::vector<char> out((length + 2) / 3 * 4 + 1, '#');
        inet_bin2base64(source.data(), length_of(bytes), out.data());
        const std::string text = out.data();
        EXPECT_EQ(text.size(), out.size() - 1);
        EXPECT_EQ(decode_base64(text), (Decoded{bytes, true})) << length;
        const std::size_t place = random() % (text.size() + 1);
        const Decoded front = decode_base64(text.substr(0, place));
        const Decoded back = decode_base64(text.substr(place));
        EXPECT_EQ(decode_base64(text.substr(0, place) + " \x80" + text.substr(place)), (Decoded{bytes, false}));
        EXPECT_EQ(decode_base64(text.substr(0, place) + "=" + text.substr(place)).first, front.first + back.first);
        bytes += static_cast<char>(random());
    }
    for (const auto &[text, decoded, is_clean] :
         {std::tuple{"QUI=QUJDQQ===", "ABABCA", true}, {"QUJDQU", "ABCA", false}, {"Q=QQ==", "A", false}}) {
        EXPECT_EQ(decode_base64(text), (Decoded{decoded, is_clean})) << text;
    }
}

TEST(Inet, WritesQ) {
    const std::string_view stands = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz!*+-/";
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        std::vector<char> out(4, '#');
        inet_text2Q(&c, 1, out.data());
        const std::string escape{'=', "0123456789ABCDEF"[byte / 16], "0123456789ABCDEF"[byte % 16]};
        EXPECT_EQ(out.data(), c == ' ' ? "_" : stands.find(c) != std::string_view::npos ? std::string{c} : escape);
    }
    std::vector<char> out(13, '#');
    inet_text2Q("\xC3\xA9\0x", 4, out.data());
    EXPECT_STREQ(out.data(), "=C3=A9=00x");
}

}  // namespace
