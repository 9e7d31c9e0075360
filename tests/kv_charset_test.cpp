// Character sets and the conversion between them.

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "ccs.h"
#include "cvc.h"
#include "os.h"
#include "str.h"
#include "t61.h"

namespace {

using namespace std::string_literals;

// Every set of the server's.
std::vector<ccs_descriptor> all_sets() {
    std::vector<ccs_descriptor> sets;
    ccs_descriptor descriptor{};
    for (descriptor.charset = 1; ccs_GetCSName(&descriptor) != nullptr; ++descriptor.charset) {
        sets.emplace_back();
        EXPECT_NE(ccs_GetCSDescriptor(ccs_GetCSName(&descriptor), &sets.back()), 0);
        EXPECT_EQ(sets.back().charset, descriptor.charset);
        EXPECT_TRUE(cvc_IsMappingAvail(sets.back().name, "UTF8")) << sets.back().name;
    }
    return sets;
}

// The status, the text, the offset of the first loss, and the number of the failure's message.
using Converted = std::tuple<int, std::string, int, int>;

Converted exact(std::string text) { return {CVC_EXACT, std::move(text), -1, 0}; }

Converted convert(std::string_view text, const char *source, const char *target, int mode = CVC_TEXT) {
    const std::unique_ptr<char[]> input{new char[text.size()]};
    text.copy(input.get(), text.size());
    char junk = 'x';
    char *result = &junk;
    std::int32_t length = -2;
    int set = -2;
    int number = -2;
    int first_loss = -2;
    const int status = cvc_ConvertString(mode, 0, input.get(), static_cast<int>(text.size()), source, target, &result,
                                         &length, &set, &number, &first_loss);
    EXPECT_EQ(set, number == 0 ? 0 : 100);
    EXPECT_EQ(result == nullptr, status == CVC_FAILED);
    EXPECT_TRUE(result != nullptr || length == 0);
    Converted converted{status, {}, first_loss, number};
    if (result != nullptr) {
        std::get<std::string>(converted).assign(result, static_cast<std::size_t>(length));
        EXPECT_EQ(result[length], '\0');
        os_free(result);
    }
    return converted;
}

TEST(Convert, ReplacesWhatHasNoEqual) {
    const struct {
        const char *source;
        const char *target;
        std::string text;
        Converted want;
    } rows[] = {
        {"UTF8", "ISO8859_1", "", exact("")},
        {"NOPE", "IA5", "a", {CVC_FAILED, "", -1, 811}},
        {"UTF8", "", "a", {CVC_FAILED, "", -1, 811}},
        {"UTF8", "IA5//TRANSLIT", "a", {CVC_FAILED, "", -1, 811}},
        {"UTF-16", "UTF8", "a", {CVC_FAILED, "", -1, 811}},
        {"wchar_t", "UTF8", "a", {CVC_FAILED, "", -1, 811}},
        {"ISO-2022-CN-EXT", "UTF8", "a", {CVC_FAILED, "", -1, 811}},
        {"IBM037", "UTF8", "a", {CVC_FAILED, "", -1, 811}},  // no ASCII in it
        {"../x", "UTF8", "a", {CVC_FAILED, "", -1, 811}},
        {"UTF8", "Georgian-PS", "\xE1\x83\x90", exact("\xC0")},  // outside the table
        {"georgian-ps", "ISO8859_1", "a\xC0z", {CVC_REPLACED, "a?z", 1, 0}},
        {"UTF8", "ISO2022_JP", "a\xE6\x97\xA5\xE2\x82\xACz", {CVC_REPLACED, "a\x1B$BF|\x1B(B?z", 4, 0}},
        {"ISO2022_JP", "UTF8", "\x1B$BF|\x81K\\\x1B(Bz", {CVC_REPLACED, "\xE6\x97\xA5?\xE6\x9C\xACz", 5, 0}},
        {"MIME-ISO-2022-JP", "EUC-JP", "\x1B$BF|", exact("\xC6\xFC")},
        {"UTF8", "ISO-2022-KR", "abc", exact("abc")},
        {"UTF8", "ISO-2022-KR", "a\xEA\xB0\x80?", exact("\x1B$)Ca\x0E\x30\x21\x0F?")},
        {"ISO2022_CN", "UTF8", "\x1B$*H\x1BNr>\x1B$)A\x0EVP\x0F", exact("\xE7\x81\xA9\xE4\xB8\xAD")},
        {"UTF8", "ISO2022_CN", "\xE7\x81\xA9\xE4\xB8\xADz",
         exact("\x1B$*H\x1BNr>\x0F\x1B$)A\x0EVP\x0Fz\x0F")},  // plane 2, then GB
        {"UTF8", "SJIS", "\\\xE8\xA1\xA8", exact("\\\x95\\")},
        {"utf-7", "UTF8", "+AOk-a+-", exact("\xC3\xA9"s + "a+")},
        {"utf8", "iso8859_1", "a\0\xC3\xA9"s, exact("a\0\xE9"s)},
        {"UTF8", "ISO8859_1", "a\xE2\x82\xACz\xF0\x9F\x98\x80", {CVC_REPLACED, "a?z?", 1, 0}},
        {"UTF8", "UTF8", "a\xED\xA0\x80\xC0z", {CVC_REPLACED, "a????z", 1, 0}},
        {"UTF8", "ISO8859_1", "\xFFz\xE2\x82", {CVC_REPLACED, "?z", 0, 0}},
        {"UTF8", "ISO8859_1", "z\xE2\x82", {CVC_CUT, "z", 1, 0}},
        {"UTF8", "ISO2022_KR", "l\x0E;3M", {CVC_REPLACED, "l?;3M", 1, 0}},
        {"UTF8", "ISO2022_KR", "\xED\x95\x9C\xFFx", {CVC_REPLACED, "\x1B$)C\x0EGQ\x0F?x", 3, 0}},
        {"UTF8", "ISO2022_JP", "\xC3\x1B$B", {CVC_REPLACED, "??$B", 0, 0}},
        {"ISO2022_JP", "UTF8", "\x1B$BF|\x1B\x1B$BF|\x1B(B", {CVC_REPLACED, "\xE6\x97\xA5?\xE6\x97\xA5", 3, 0}},
        {"UTF8", "ISO2022_CN", "a\x7Fz", {CVC_REPLACED, "a?z", 1, 0}},
        {"UTF8", "T61INTL", "z\xE0\x80", {CVC_REPLACED, "z??", 1, 0}},
        {"UTF8", "UTF8", "z\xFB\xAA\xA5\xBC\xAA\xF4", {CVC_REPLACED, "z?????", 1, 0}},
        {"IA5", "UTF8", "a\xE9z", {CVC_REPLACED, "a?z", 1, 0}},
        {"WINDOWS_1252", "UTF8", "\x80\x81z", {CVC_REPLACED, "\xE2\x82\xAC?z", 1, 0}},
        {"UTF8", "T61INTL", "\xC3\xB6\\^`{}~", exact("\xC8o\\^`{}~")},
        {"T61INTL", "UTF8", "\xC8o\\^`{}~", exact("\xC3\xB6\\^`{}~")},
        {"T61INTL", "UTF8", "a\xC2\\\xC2", {CVC_REPLACED, "a?\\", 1, 0}},
        {"T61INTL", "ISO8859_1", "a\xC2", {CVC_CUT, "a", 1, 0}},
        // A letter that is held back, since a mark may follow: o with horn, and with hook above.
        {"WINDOWS_1258", "UTF8", "\xF5\xD2", exact("\xE1\xBB\x9F")},
        {"WINDOWS_1258", "UTF8", "e\xDE\xA4\xD2z", exact("\xE1\xBA\xBD\xC2\xA4\xCC\x89z")},
        {"WINDOWS_1258", "ISO8859_1", "a\xF5\xE9", {CVC_REPLACED, "a?\xE9", 1, 0}},
        {"WINDOWS_1258", "ISO8859_1", "\xF5\xF5", {CVC_REPLACED, "??", 0, 0}},
    };
    for (const auto &row : rows) {
        for (const char *once : {"first", "again"}) {  // nothing stays behind from the call before
            EXPECT_EQ(convert(row.text, row.source, row.target), row.want)
                << row.source << " to " << row.target << ": " << testing::PrintToString(row.text) << ", " << once;
        }
    }
    EXPECT_EQ(convert("a", "UTF8", "IA5", 12), (Converted{CVC_FAILED, "", -1, 912}));
}

// A loss opens a second converter, which takes the place of one that is not in use.
TEST(Convert, GoesOnBehindALossWhateverElseIsKept) {
    const std::vector<ccs_descriptor> sets = all_sets();
    for (std::size_t others = 1; others < 25; ++others) {
        const char *source = sets[others + 2].name;
        EXPECT_EQ(std::get<1>(convert("a\xE1", source, "IA5")), "a?");
        for (std::size_t i = 0; i < others; ++i) {
            convert("b\xE1", sets[i].name, sets[2 + (i + others) % 27].name);
        }
        EXPECT_EQ(std::get<1>(convert("a\xE1z\xE1", source, "IA5")), "a?z?") << source;
    }
}

TEST(Convert, ComesBackFromUnicode) {
    for (const ccs_descriptor &descriptor : all_sets()) {
        const char *set = descriptor.name;
        if ((descriptor.flags & CCS_FLAG_SINGLE) == 0 && set != "T61INTL"s) {
            continue;
        }
        int lossless = 0;
        for (int byte = 0; byte < 256; ++byte) {
            const std::string text(1, static_cast<char>(byte));
            if (set == "T61INTL"s && (text == "#" || text == "$")) {
                continue;  // they come back at T.61's places
            }
            const Converted unicode = convert(text, set, "UTF8");
            if (byte < 0x7F || std::get<0>(unicode) == CVC_EXACT) {
                ++lossless;
                EXPECT_EQ(unicode, exact(byte < 0x7F ? text : std::get<1>(unicode))) << set << " " << byte;
                EXPECT_EQ(convert(std::get<1>(unicode), "UTF8", set), exact(text)) << set << " " << byte;
            }
        }
        EXPECT_GE(lossless, 126) << set;
    }
}

TEST(Convert, GrowsItsOutput) {
    for (const std::size_t length : {20U, 21U, 22U, 1000U, 300000U}) {
        std::string want;
        for (std::size_t i = 0; i < length; ++i) {
            want += "\xE2\x82\xAC";
        }
        EXPECT_EQ(std::get<1>(convert(std::string(length, '\x80'), "WINDOWS_1252", "UTF8")), want);
        EXPECT_EQ(convert(want, "UTF8", "ISO8859_1"), (Converted{CVC_REPLACED, std::string(length, '?'), 0, 0}));
    }
}

TEST(Charsets, AreFoundWithoutRegardToCase) {
    ccs_descriptor descriptor;
    EXPECT_TRUE(ccs_GetCSDescriptor("ia5", &descriptor));
    EXPECT_STREQ(descriptor.name, "IA5");
    EXPECT_EQ(descriptor.flags, CCS_FLAG_7BIT | CCS_FLAG_SINGLE | CCS_FLAG_ASCII);
    for (const char *name : {"us-ascii", "ISO_646.irv:1991", "MIME-US-ASCII", "csASCII"}) {
        EXPECT_TRUE(ccs_GetCSDescriptor(name, &descriptor)) << name;
        EXPECT_STREQ(ccs_GetCSName(&descriptor), "IA5");
        EXPECT_STREQ(cvc_iconvCharsetEquiv(name, 0), "US-ASCII");
    }
    EXPECT_STREQ(cvc_iconvCharsetEquiv("x-Unknown", 1), "x-Unknown");
    EXPECT_TRUE(cvc_IsMappingAvail("Georgian-PS", "UTF8") && cvc_iconv_recognised_charset("latin1"));
    EXPECT_FALSE(cvc_IsMappingAvail("", "UTF8") || cvc_IsMappingAvail("UTF8", "UCS-4"));
    EXPECT_FALSE(ccs_GetCSDescriptor("IA55", &descriptor));
    EXPECT_TRUE(descriptor.name[0] == '\0' && descriptor.flags == 0);
    const ccs_charset *charset = ccs_GetICCharset2("Koi8_r", "t61intl");
    EXPECT_STREQ(ccs_GetInternalCharset(charset, CCS_INTERNAL), "T61INTL");
    EXPECT_EQ(ccs_GetInternalCharset(charset, 1), nullptr);
    EXPECT_FALSE(ccs_GetICCharset2("NOPE", "T61INTL") || ccs_GetICCharset2("IA5", "T61"));
}

TEST(Charsets, TellSevenBitText) {
    for (std::size_t place = 0; place < 19; ++place) {  // in whole words, and in the rest behind them
        std::string text(19, '\x7F');
        EXPECT_TRUE(ccs_Is7BitAscii(text.c_str(), -1));
        text[place] = '\x80';
        EXPECT_FALSE(ccs_Is7BitAscii(text.c_str(), 19)) << place;
    }
}

// The slashes stand between the display characters.
TEST(DisplayCharacters, AreWhatIsSeenAsOne) {
    for (const auto &[charset, marked] :
         {std::pair{"ISO8859_1", "a/\xC8/e/\x1BG/\x1B"},
          {"T61INTL", "\xC8o/\xC0/o/\xD0/o/\xC8 /\xC8/\xC8u/\x1B\xC8/o/\xC1"},
          {"UTF8", "e\u0301\u0308/\u4e2d/\U0001F600/\u0915\u093f/\xC3/\u0301/(/\x1BG/\u0301/\xE4/\xB8"}}) {
        std::string text;
        std::vector<int> ends{0};
        for (const char c : std::string_view{marked}) {
            c == '/' ? ends.push_back(static_cast<int>(text.size())) : text.push_back(c);
        }
        ends.insert(ends.end(), 2, static_cast<int>(text.size()));  // behind the last there is no other
        ccs_descriptor descriptor{};
        ASSERT_NE(ccs_GetCSDescriptor(charset, &descriptor), 0);
        const std::unique_ptr<char[]> exact_size{new char[text.size() + 1]};
        exact_size[text.copy(exact_size.get(), text.size())] = '\0';
        for (std::size_t count = 0; count < ends.size(); ++count) {
            int length = -1;
            const int rest = str_SplitByDispLen(exact_size.get(), static_cast<int>(count), &descriptor, &length);
            EXPECT_TRUE(length == ends[count] && (rest != 0) == (length < ends.back())) << charset << count << length;
        }
    }
}

TEST(T61, TellsItsCharacterSet) {
    for (const std::string set : {"A1", "B2", "C3", "D4", "F7", "G6", "H8", "L5", "M9"}) {
        EXPECT_EQ(t61_ParseO61Str(("\x1B-" + set).c_str(), -1), "ISO8859_" + set.substr(1)) << set;
    }
    EXPECT_STREQ(t61_ParseO61Str("\x1B%G", -1), "UTF8");
    for (const char *text : {"", "\x1B%", "\x1B-E", "x\x1B-A"}) {
        EXPECT_STREQ(t61_ParseO61Str(text, -1), "T61INTL") << text;
    }
    EXPECT_STREQ(t61_ParseO61Str("\x1B-A", 2), "T61INTL");
}

}  // namespace
