// Header words: joined, encoded anew, compared, cut.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "fault_matrix.h"
#include "mim.h"
#include "word_reference.h"
#include "work_string.h"

namespace {

using namespace std::string_literals;

std::string truncate(const std::string &value, std::size_t size) {
    const std::unique_ptr<char[]> out{new char[size]};
    EXPECT_EQ(mim_truncate_2047_string(value.c_str(), static_cast<std::uint32_t>(size), out.get()), out.get());
    return out.get();
}

TEST(WordEdit, Truncates) {
    std::string mixed;
    for (int i = 0; i < 60; ++i) {
        mixed += i % 7 == 0 ? "\xF0\x9F\x98\x80" : i % 3 == 0 ? "\xC3\xA9" : i % 5 == 0 ? "\xE2\x82\xAC" : "a";
    }
    for (const std::string &text :
         {std::string(30, 'a'), std::string(150, 'a'), mixed, mixed.substr(0, 60), "\xC3\xA9"s,
          "\xE2\x82\xAC\xE2\x82\xAC"s, std::string(40, '?') + mixed, "a\x80\x80\x80 b\xFF"s + mixed}) {
        const std::string value = "=?UTF-8?B?" + std::string(200, ' ') + "?=" + word_of('Q', text);
        const bool is_word = text.find('\xFF') == std::string::npos;
        for (int size = 13; size <= 120; ++size) {
            const std::string found = truncate(is_word ? value : text + text, static_cast<std::size_t>(size));
            EXPECT_EQ(found, truncate_slowly(is_word ? text : text + text, size)) << size;
            EXPECT_LT(static_cast<int>(found.size()), size);
        }
    }
    EXPECT_EQ(truncate(std::string(30, 'a'), 30), "=?UTF-8?Q?" + std::string(17, 'a') + "?=");
    EXPECT_EQ(truncate(std::string(40, 'a'), 41), std::string(40, 'a'));
    EXPECT_EQ(truncate("abcdefghijklm", 12), "");
    char out = '#';
    EXPECT_EQ(mim_truncate_2047_string("a", 0, &out), &out);
    EXPECT_EQ(out, '#');
    EXPECT_EQ(mim_truncate_2047_string(nullptr, 1, nullptr), nullptr);
    EXPECT_STREQ(mim_truncate_2047_string(nullptr, 1, &out), "");
}

std::string join(const std::string &first, const std::string &second) {
    return mim_joinRfc2047Strings(first.c_str(), second.c_str());
}

std::string encode_anew(const std::string &value, char encoding) {
    mim::WorkString out;
    mim_reEncodeRfc2047String(value.c_str(), encoding, 0, out.get());
    return out.c_str();
}

TEST(WordEdit, JoinsEncodesAndCompares) {
    const auto joined = [](const std::string &pair) {
        return join(pair.substr(0, pair.find('+')), pair.substr(pair.find('+') + 1));
    };
    expect_cases(R"(+ -> | +=?latin1?Q?x?= -> =?latin1?Q?x?= | a b+ -> a b | a+b -> =?US-ASCII?Q?ab?=
        =?latin1?Q?=E9?=+=?ISO-8859-1?B?6Q?= -> =?ISO-8859-1?Q?=E9=E9?= | =?UTF-8?Q?a?=+=?utf-8?Q?b?= -> =?UTF-8?Q?ab?=
        =?latin1?Q?=E9?=+b -> =?UTF-8?Q?=C3=A9b?= | ~E9+b -> ~E9b | =?x-none?Q?a?=+b -> =?x-none?Q?a?=b
        =?latin1?Q?a?=~E9+=?latin1?Q?b?=~E9 -> =?ISO-8859-1?Q?a=E9b=E9?=)",
                 joined);
    EXPECT_STREQ(mim_joinRfc2047Strings(nullptr, nullptr), "");
    EXPECT_STREQ(mim_joinRfc2047Strings("a", nullptr), "a");
    const auto encoded = [](const std::string &row) { return encode_anew(row.substr(1), row.front()); };
    expect_cases(
        R"(Qa -> a | xa =?latin1?Q?a?= -> a =?latin1?Q?a?= | Q -> | bx =?latin1?Q?=E9?= -> =?ISO-8859-1?B?eCDp?=
        q=?UTF-8?B?w6k=?= x -> =?UTF-8?Q?=C3=A9_x?= | b=?UTF-7?Q?a?=~06^9 -> =?UTF-7?B?YStBQVktK0FBWS0rQUFZLStBQVktK0FBWS0rQUFZLStBQVktK0FBWS0=?= =?UTF-7?B?K0FBWS0=?=
        q=?UTF-7?Q?a+ACMAIwAjACMAIwAjACMAIwAjACMAIwAjACMAIwAjACMAIwAjACMAIwAjACMAIwAj-?= b -> =?UTF-7?Q?a?= =?UTF-8?Q?=23=23=23=23=23=23=23=23=23=23=23=23=23=23=23=23=23=23=23=23=23?= =?UTF-8?Q?=23=23=23_b?=)",
        encoded);
    const auto compared = [](const std::string &pair) {
        return std::to_string(
            mim_equivRfc2047Strings(pair.substr(0, pair.find('+')).c_str(), pair.substr(pair.find('+') + 1).c_str()));
    };
    expect_cases(
        R"(=?UTF-8?B?w6k=?=+=?ISO-8859-1?Q?=E9?= -> 1 | abc+ABC -> 0 | + -> 1 | a+ -> 0 | a b+=?latin1?Q?a_b?= -> 1
        =?latin1?Q?a?= =?utf-8?Q?b?=+ab -> 1 | a~E9+=?latin1?Q?a=E9?= -> 0 | =?x-none?Q?a?=+=?x-none?B?YQ?= -> 0
        a  b+a b -> 0 | =?latin1?Q?a?=+=?utf-8?Q?a_?= -> 0)",
        compared);
    EXPECT_EQ(mim_equivRfc2047Strings(nullptr, nullptr), 1);
    EXPECT_EQ(mim_equivRfc2047Strings(nullptr, "") + mim_equivRfc2047Strings("", nullptr), 0);
}

TEST(WordEdit, PassesFailuresOn) {
    const std::string value = "a =?latin1?Q?=E9?= =?UTF-8?B?" + std::string(400, 'A') + "?= b";
    const std::pair<const char *, std::function<std::string()>> calls[] = {
        {"convert",
         [&] {
             std::string out(4 * value.size() + 1, '#');
             mim_ConvertMimeCharStr(value.c_str(), out.data(), "T61INTL");
             return std::string{out.c_str()};
         }},
        {"join", [&] { return join(value, "=?latin1?Q?b?="); }},
        {"encode", [&] { return encode_anew(value, 'q'); }},
        {"compare", [&] { return std::to_string(mim_equivRfc2047Strings(value.c_str(), "b")); }},
        {"truncate", [&] { return truncate(value, 50); }}};
    for (const auto &[name, call] : calls) {
        const auto traced = [&c = call] { return mim::traced<mim::TraceClass::kMain>("call", c); };
        EXPECT_GE(fail_every_call(name, spy::Fault::kPersistent, traced), 17) << name;
        EXPECT_GE(fail_every_call(name, spy::Fault::kAllocations, traced), 2) << name;
    }
}

}  // namespace
