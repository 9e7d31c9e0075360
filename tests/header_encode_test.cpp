// Header values as encoded words: where a value is cut, and what each word is by itself.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "ccs.h"
#include "cvc.h"
#include "fresh_process.h"
#include "inet.h"
#include "mim.h"

namespace {

using namespace std::string_literals;

ccs_descriptor descriptor_of(const char *name) {
    ccs_descriptor descriptor{};
    EXPECT_NE(ccs_GetCSDescriptor(name, &descriptor), 0) << name;
    return descriptor;
}

std::string convert(const std::string &text, const char *source, const char *target) {
    char *result = nullptr;
    std::int32_t length = 0;
    const int status = cvc_CnvString(CVC_TEXT, 0, text.data(), static_cast<int>(text.size()), source, target, &result,
                                     &length, nullptr, 21);
    return status == CVC_EXACT ? std::string(result, static_cast<std::size_t>(length)) : "LOST";
}

// The words of a value; what is left when a word is empty comes last, after "!".
std::vector<std::string> words_of(const std::string &value, const char *set, char mode, int max_length,
                                  const char *name = nullptr) {
    ccs_descriptor descriptor = descriptor_of(set);
    std::vector<std::string> words;
    const char *rest = value.data();
    for (int start = 1; rest != nullptr; start = 0) {
        std::vector<char> out(static_cast<std::size_t>(std::clamp(max_length, 0, 5000)) + 1, '~');
        const int left = static_cast<int>(value.data() + value.size() - rest);
        const char *next =
            mim_EncodeFold(rest, left, out.data(), max_length, start, &descriptor, mode, 1, name, 0, 0);
        words.emplace_back(out.data());
        if (next == rest) {
            words.back() = "!" + std::string(rest);
            break;
        }
        rest = next;
    }
    return words;
}

// The bytes of an encoded word, and the set that it names.
std::pair<std::string, std::string> read_word(const std::string &word) {
    const std::size_t name_end = word.find('?', 2);
    const std::string text = word.substr(name_end + 3, word.size() - name_end - 5);
    std::string bytes;
    if (word[name_end + 1] == 'B') {
        bytes.resize(text.size() + 1);
        std::int32_t length = 0;
        inet_base642bin(text.data(), static_cast<int>(text.size()), bytes.data(), &length);
        bytes.resize(static_cast<std::size_t>(length));
    }
    for (std::size_t i = 0; word[name_end + 1] == 'Q' && i < text.size(); ++i) {
        const bool is_coded = text[i] == '=';
        bytes += is_coded         ? static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16))
                 : text[i] == '_' ? ' '
                                  : text[i];
        i += is_coded ? 2 : 0;
    }
    return {word.substr(2, name_end - 2), bytes};
}

// The words of inet_encodeHeader.
std::vector<std::string> header_of(const std::string &value, const char *set, char mode, int column) {
    dstring out;
    dstring_init(&out);
    inet_encodeHeader(set, 0, value.c_str(), mode, column, &out);
    std::vector<std::string> words;
    std::istringstream stream{std::string(out.data, static_cast<std::size_t>(out.length))};
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    dstring_free(&out);
    return words;
}

// The text of words in UTF-8, each of which is good by itself and no longer than allowed.
std::string decode_words(const std::vector<std::string> &words, int max_length) {
    std::string text;
    for (const std::string &word : words) {
        EXPECT_LE(word.size(), static_cast<std::size_t>(max_length)) << word;
        if (!word.empty()) {
            const auto [set, bytes] = read_word(word);
            text += convert(bytes, set.c_str(), "UTF8");
            // In ASCII at its end: what follows is still ASCII.
            EXPECT_EQ(convert(bytes + "z", set.c_str(), "UTF8").back(), 'z') << word;
            EXPECT_LT(bytes.find_last_of('\x0E') + 1, bytes.find_last_of('\x0F') + 2) << word;
        }
    }
    return text;
}

TEST(EncodedLength, CountsByMode) {
    const struct {
        const char *text;
        unsigned base64, quoted, plain;
    } rows[] = {{"", 0, 0, 0}, {"abc", 4, 3, 3}, {"a_b?", 8, 8, 4}, {"\xE9", 4, 3, 1}, {"= \t", 4, 5, 3}};
    for (const auto &row : rows) {
        EXPECT_EQ(mim_GetEncLen(row.text, 'B'), row.base64) << row.text;
        EXPECT_EQ(mim_GetEncLen(row.text, 'Q'), row.quoted) << row.text;
        EXPECT_EQ(mim_GetEncLen(row.text, 'N'), row.plain) << row.text;
    }
    EXPECT_EQ(safe_char[static_cast<unsigned char>('?')], 0);
}

TEST(EncodeFold, CutsWhereNoMoreFits) {
    in_fresh_process([] {
        std::string letters;
        for (int i = 0; i < 40; ++i) {
            letters += "\xC3\xA9";
        }
        std::vector<std::string> words = words_of(letters, "UTF8", 'B', 75, "UTF-8");
        EXPECT_EQ(words.size(), 2U);
        EXPECT_EQ(words[0].size(), 72U);
        EXPECT_EQ(read_word(words[0]).second, letters.substr(0, 44));

        EXPECT_EQ(words_of(std::string(50, 'x'), "IA5", 'N', 20).front(), std::string(19, 'x'));
        using Words = std::vector<std::string>;
        EXPECT_EQ(words_of("", "UTF8", 'Q', 75), Words{""});
        EXPECT_EQ(words_of("a b\xC3\xA9", "utf-8", 'Q', 75), Words{"=?UTF-8?Q?a_b=C3=A9?="});
        EXPECT_EQ(words_of("-.", "IA5", 'Q', 22, "x"), (Words{"=?x?Q?=2D.?="}));
        // One more high byte would make a pair.
        EXPECT_EQ(words_of("a\xE9\xE9", "ISO8859_1", 'Q', 26),
                  (Words{"=?ISO-8859-1?Q?a?=", "=?ISO-8859-1?Q?=E9=E9?="}));
        EXPECT_EQ(words_of("\xE6\x97\xA5", "UTF8", 'Q', 22), Words{"!\xE6\x97\xA5"});
        EXPECT_EQ(words_of("ab", "IA5", 'B', -1), Words{"!ab"});
        EXPECT_EQ(words_of("ab\0cd"s, "IA5", 'Q', 75), Words{"=?US-ASCII?Q?ab?="});
        EXPECT_EQ(words_of("a", "UTF8", 'B', 75, std::string(60, 'n').c_str()),
                  Words{"=?" + std::string(44, 'n') + "?B?YQ==?="});
        EXPECT_EQ(words_of(std::string(9000, 'x'), "UTF8", 'B', 100000).front().size(), 4092U);

        ccs_descriptor descriptor = descriptor_of("IA5");
        std::array<char, 13> out{};
        EXPECT_EQ(mim_EncodeFold("abc", 3, out.data(), 12, 1, &descriptor, 'Q', 0, "x", 0, 0), nullptr);
        EXPECT_STREQ(out.data(), "=?x?Q?a?=");
        return ""s;
    });
}

// In each set, with words of all lengths: whole characters, in order, each word good by itself and in ASCII at
// both ends, none longer than allowed, and no character more would have fitted but for the room kept.
TEST(EncodeFold, WritesWordsThatStandAlone) {
    in_fresh_process([] {
        const struct {
            const char *set;
            const char *letters;  // in UTF-8
        } rows[] = {
            {"IA5", "abc .-?_=~"},
            {"ISO8859_15", "ab -\u20AC\u00E9\u0160"},
            {"T61INTL", "ab \u00E9\u00F6"},
            {"UTF8", "a .-\u00E9\u65E5\U0001F600"},
            {"EUC_JP", "a -\u65E5\u672C\uFF71"},
            {"SHIFT_JIS", "a \\\u65E5\u8868\uFF71"},
            {"EUC_KR", "a \uAC00\uB098"},
            {"BIG5", "a \u4E2D\u529F"},
            {"GB2312", "a \u4E2D\u6587"},
            {"GB18030", "a \u4E2D\u00E9\U0001F600"},
            {"ISO2022_JP", "a .-\u65E5\u672C\u3042"},
            {"ISO2022_KR", "a .-\uAC00\uB098"},
            {"ISO2022_CN", "a .-\u4E2D\u6587\u4E16\u7069"},
        };
        std::mt19937 random{7};
        for (const auto &row : rows) {
            std::vector<std::string> letters;
            for (const char *place = row.letters; *place != '\0';) {
                std::size_t length = 1;
                while ((place[length] & 0xC0) == 0x80) {
                    ++length;
                }
                letters.emplace_back(place, length);
                place += length;
            }
            for (int max_length = row.set == "ISO2022_CN"s ? 52 : 40; max_length < 78; ++max_length) {
                std::string value;
                for (std::size_t i = 0, size = random() % 120; i < size; ++i) {
                    value += letters[random() % letters.size()];
                }
                const std::string raw = convert(value, "UTF8", row.set);
                for (const char mode : {'B', 'Q'}) {
                    EXPECT_EQ(decode_words(words_of(raw, row.set, mode, max_length), max_length), value)
                        << row.set << mode;
                    const int column = max_length - 40;
                    const std::vector<std::string> words = header_of(raw, row.set, mode, column);
                    EXPECT_EQ(decode_words(words, 75), value) << row.set << mode;
                    EXPECT_TRUE(words.empty() ||
                                words.front().size() <=
                                    std::max<std::size_t>(75 - static_cast<std::size_t>(column), 50));
                }
            }
        }
        return ""s;
    });
}

// Line ends are written as such, with what they do to their neighbours.
TEST(EncodeFold, KeepsTheLimitAroundLineEnds) {
    std::mt19937 random{9};
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        for (std::size_t size = 1 + random() % 60; text.size() < size;) {
            text += "\n\n \t.-_x\r\x0E\x0F"[random() % 11];
        }
        const std::size_t limit = 8 + random() % 40;
        std::vector<char> out(limit + 1, '~');
        ccs_descriptor descriptor = descriptor_of(i % 2 == 0 ? "UTF8" : i % 3 == 0 ? "ISO2022_JP" : "ISO2022_KR");
        mim_EncodeFold(text.data(), static_cast<int>(text.size()), out.data(), static_cast<int>(limit), 1,
                       &descriptor, "QN"[random() % 2], 1, "x", static_cast<int>(random() % 2),
                       static_cast<int>(random() % 2));
        EXPECT_LE(std::find(out.begin(), out.end(), '\0') - out.begin(), static_cast<std::ptrdiff_t>(limit)) << text;
    }
}

TEST(EncodeHeader, NamesTheSet) {
    using Words = std::vector<std::string>;
    EXPECT_EQ(header_of("a\xE9 b", "ISO8859_1", 'q', 0), Words{"=?ISO-8859-1?Q?a=E9_b?="});
    EXPECT_EQ(header_of("\xFF", "x-y", 'b', 100), Words{"=?x-y?B?/w==?="});
    EXPECT_EQ(header_of("a", "x\r\nBcc: b", 'Q', 0), Words{"=?UNKNOWN-8BIT?Q?a?="});
    EXPECT_EQ(header_of("", "UTF8", 'Q', 0), Words{});
}

}  // namespace
