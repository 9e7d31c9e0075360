// Character sets and the conversion between them.

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ccs.h"
#include "cvc.h"
#include "os.h"

namespace {

using namespace std::string_literals;

constexpr std::array kSets{"IA5",          "UTF8",         "T61INTL",      "ISO8859_1",    "ISO8859_2",
                           "ISO8859_3",    "ISO8859_4",    "ISO8859_5",    "ISO8859_6",    "ISO8859_7",
                           "ISO8859_8",    "ISO8859_9",    "ISO8859_10",   "ISO8859_11",   "ISO8859_13",
                           "ISO8859_14",   "ISO8859_15",   "ISO8859_16",   "WINDOWS_1250", "WINDOWS_1251",
                           "WINDOWS_1252", "WINDOWS_1253", "WINDOWS_1254", "WINDOWS_1255", "WINDOWS_1256",
                           "WINDOWS_1257", "WINDOWS_1258", "KOI8_R",       "KOI8_U"};

struct Converted {
    int status;
    std::string text;
    int first_loss;

    bool operator==(const Converted &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Converted &converted) {
    return out << "status " << converted.status << ", " << testing::PrintToString(converted.text) << ", loss at "
               << converted.first_loss;
}

Converted convert(std::string_view text, const char *source, const char *target) {
    const std::unique_ptr<char[]> exact{new char[text.size()]};
    text.copy(exact.get(), text.size());
    char *result = nullptr;
    std::int32_t length = -2;
    int set = -2;
    int number = -2;
    int first_loss = -2;
    const int status = cvc_ConvertString(CVC_TEXT, 0, exact.get(), static_cast<int>(text.size()), source, target,
                                         &result, &length, &set, &number, &first_loss);
    Converted converted{status, std::string(result, static_cast<std::size_t>(length)), first_loss};
    EXPECT_EQ(result[length], '\0');
    os_free(result);
    return converted;
}

TEST(Convert, ReplacesWhatHasNoEqual) {
    const struct {
        const char *source;
        const char *target;
        std::string text;
        Converted want;
    } rows[] = {
        {"UTF8", "ISO8859_1", "", {CVC_EXACT, "", -1}},
        {"utf8", "iso8859_1", "a\0\xC3\xA9"s, {CVC_EXACT, "a\0\xE9"s, -1}},
        {"UTF8", "ISO8859_15", "\xE2\x82\xAC", {CVC_EXACT, "\xA4", -1}},
        {"UTF8", "ISO8859_1", "a\xE2\x82\xACz\xF0\x9F\x98\x80", {CVC_REPLACED, "a?z?", 1}},
        {"UTF8", "UTF8", "a\xED\xA0\x80\xC0z", {CVC_REPLACED, "a????z", 1}},
        {"UTF8", "ISO8859_1", "\xFFz\xE2\x82", {CVC_REPLACED, "?z", 0}},
        {"UTF8", "ISO8859_1", "z\xE2\x82", {CVC_CUT, "z", 1}},
        {"IA5", "UTF8", "a\xE9z", {CVC_REPLACED, "a?z", 1}},
        {"WINDOWS_1252", "UTF8", "\x80\x81z", {CVC_REPLACED, "\xE2\x82\xAC?z", 1}},
        {"UTF8", "T61INTL", "\xC3\xB6\\^`{}~", {CVC_EXACT, "\xC8o\\^`{}~", -1}},
        {"T61INTL", "UTF8", "\xC8o\\^`{}~", {CVC_EXACT, "\xC3\xB6\\^`{}~", -1}},
        {"T61INTL", "UTF8", "a\xC2\\\xC2", {CVC_REPLACED, "a?\\", 1}},
        {"T61INTL", "ISO8859_1", "a\xC2", {CVC_CUT, "a", 1}},
        {"UTF8", "T61INTL", "\xE2\x82\xAC", {CVC_REPLACED, "?", 0}},
        // A letter that is held back, since a mark may follow: o with horn, and with hook above.
        {"WINDOWS_1258", "UTF8", "\xF5", {CVC_EXACT, "\xC6\xA1", -1}},
        {"WINDOWS_1258", "UTF8", "\xF5\xD2", {CVC_EXACT, "\xE1\xBB\x9F", -1}},
        {"WINDOWS_1258", "UTF8", "e\xDE\xA4\xD2z", {CVC_EXACT, "\xE1\xBA\xBD\xC2\xA4\xCC\x89z", -1}},
        {"WINDOWS_1258", "ISO8859_1", "a\xF5\xE9", {CVC_REPLACED, "a?\xE9", 1}},
        {"WINDOWS_1258", "ISO8859_1", "\xF5\xF5", {CVC_REPLACED, "??", 0}},
    };
    for (const auto &row : rows) {
        for (const char *once : {"first", "again"}) {  // nothing stays behind from the call before
            EXPECT_EQ(convert(row.text, row.source, row.target), row.want)
                << row.source << " to " << row.target << ": " << testing::PrintToString(row.text) << ", " << once;
        }
    }
}

// More pairs than converters are kept; ASCII is the same in all.
TEST(Convert, KeepsAsciiBetweenAllSets) {
    std::string ascii;
    for (char c = 0; c < 0x7F; ++c) {
        if (c != '#' && c != '$') {  // T.61 has them at places of its own
            ascii += c;
        }
    }
    for (const char *source : kSets) {
        for (const char *target : kSets) {
            EXPECT_EQ(convert(ascii, source, target), (Converted{CVC_EXACT, ascii, -1}))
                << source << " to " << target;
        }
    }
}

// A loss opens a second converter, which takes the place of one that is not in use.
TEST(Convert, GoesOnBehindALossWhateverElseIsKept) {
    for (std::size_t others = 1; others < 25; ++others) {
        const char *source = kSets[others + 2];
        EXPECT_EQ(convert("a", source, "IA5").text, "a");
        for (std::size_t i = 0; i < others; ++i) {
            EXPECT_EQ(convert("b", kSets[i], kSets[2 + (i + others) % 27]).text, "b");
        }
        EXPECT_EQ(convert("a\xE1z\xE1", source, "IA5").text, "a?z?") << source;
    }
}

TEST(Convert, ComesBackFromUnicode) {
    for (const char *set : kSets) {
        int exact = 0;
        for (int byte = 0; byte < 256; ++byte) {
            const std::string text(1, static_cast<char>(byte));
            if (set == "T61INTL"s && (text == "#" || text == "$")) {
                continue;  // they come back at T.61's places
            }
            const Converted unicode = convert(text, set, "UTF8");
            if (unicode.status == CVC_EXACT) {
                ++exact;
                EXPECT_EQ(convert(unicode.text, "UTF8", set), (Converted{CVC_EXACT, text, -1})) << set << " " << byte;
            }
        }
        EXPECT_GE(exact, 126) << set;
    }
}

TEST(Convert, GrowsItsOutput) {
    for (const std::size_t length : {20U, 21U, 22U, 1000U, 300000U}) {
        std::string want;
        for (std::size_t i = 0; i < length; ++i) {
            want += "\xE2\x82\xAC";
        }
        EXPECT_EQ(convert(std::string(length, '\x80'), "WINDOWS_1252", "UTF8").text, want);
        EXPECT_EQ(convert(want, "UTF8", "ISO8859_1"), (Converted{CVC_REPLACED, std::string(length, '?'), 0}));
    }
}

TEST(Convert, RefusesWhatItDoesNotKnow) {
    const struct {
        const char *source;
        const char *target;
        int mode;
        int number;
    } rows[] = {
        {"UTF8", "IA5", 12, 912},          {"NOPE", "IA5", CVC_TEXT, 811},
        {"UTF8", "", CVC_TEXT, 811},       {"UTF8", "IA5//TRANSLIT", CVC_TEXT, 811},
        {"UTF-16", "UTF8", CVC_TEXT, 811}, {"ISO8859_12", "UTF8", CVC_TEXT, 811},
    };
    for (const auto &row : rows) {
        char junk = 'x';
        char *result = &junk;
        std::int32_t length = 9;
        int set = 0;
        int number = 0;
        int extra = 0;
        EXPECT_EQ(
            cvc_ConvertString(row.mode, 0, "a", -1, row.source, row.target, &result, &length, &set, &number, &extra),
            CVC_FAILED);
        EXPECT_TRUE(result == nullptr && length == 0 && extra == -1 && set == 100) << row.source;
        EXPECT_EQ(number, row.number) << row.source << " to " << row.target;
    }
}

TEST(Charsets, AreFoundWithoutRegardToCase) {
    ccs_descriptor descriptor;
    EXPECT_TRUE(ccs_GetCSDescriptor("ia5", &descriptor));
    EXPECT_STREQ(descriptor.name, "IA5");
    EXPECT_EQ(descriptor.flags, CCS_FLAG_7BIT | CCS_FLAG_SINGLE);
    EXPECT_FALSE(ccs_GetCSDescriptor("IA55", &descriptor));
    EXPECT_TRUE(descriptor.name[0] == '\0' && descriptor.flags == 0);
    const ccs_charset *charset = ccs_GetICCharset2("Koi8_r", "t61intl");
    EXPECT_STREQ(ccs_GetInternalCharset(charset, CCS_INTERNAL), "T61INTL");
    EXPECT_EQ(ccs_GetInternalCharset(charset, 1), nullptr);
    EXPECT_FALSE(ccs_GetICCharset2("NOPE", "T61INTL") || ccs_GetICCharset2("IA5", "T61"));
}

TEST(Charsets, TellSevenBitText) {
    for (int length = 0; length < 36; ++length) {
        for (int place = 0; place <= length; ++place) {  // of the 8-bit byte; at `length` there is none
            std::vector<char> text(static_cast<std::size_t>(length), '\x7F');
            text.push_back('\0');
            text[static_cast<std::size_t>(place)] = place < length ? '\x80' : '\0';
            EXPECT_EQ(ccs_Is7BitAscii(text.data(), -1) != 0, place == length) << place << " of " << length;
            text.pop_back();
            EXPECT_EQ(ccs_Is7BitAscii(text.data(), length) != 0, place == length);
        }
    }
}

}  // namespace
