// O/R names: fields, separators, malformed texts, and the text form.

#include "nm.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "failure.h"
#include "mes.h"

namespace {

using namespace std::string_literals;
using Fields = std::map<int, std::string>;

constexpr int kNameTooLong = 905;
constexpr int kNoSuchField = 906;

// A text with its separators, for which these tests write | (a step) and ^ (a block).
std::string orn(std::string text) {
    std::replace(text.begin(), text.end(), '|', '\x1D');
    std::replace(text.begin(), text.end(), '^', '\x17');
    return text;
}

// An O/R name in a heap buffer of exactly the documented size.
struct Name {
    std::unique_ptr<char[]> text{new char[NM_ORN_SIZE]};
    nm_index index{};
    bool is_valid = true;

    Name() { nm_InitORN(text.get(), &index); }
    explicit Name(const std::string &from) {
        from.copy(text.get(), from.size());
        text[from.size()] = '\0';
        nm_ParseORN(text.get(), &index, nullptr);
    }
    Name(const std::string &text_form, nm_text_error *error)
        : is_valid(nm_ParseText(text_form.c_str(), text.get(), &index, error) != 0) {}
    void put(int field, const std::string &value) {
        nm_PutFieldMem(text.get(), &index, field, value.data(), static_cast<int>(value.size()));
    }
    [[nodiscard]] std::string str() const { return text.get(); }
    [[nodiscard]] Fields fields() const {
        Fields found;
        for (int field = -1; field <= NM_FIELD_COUNT; ++field) {
            int length = -1;
            const char *bytes = nm_GetFieldMemPtr(text.get(), &index, field, &length);
            EXPECT_EQ(bytes == nullptr, length == 0) << field;
            if (bytes != nullptr) {
                found[field] = std::string(bytes, static_cast<std::size_t>(length));
            }
        }
        return found;
    }
};

// The separator form, byte by byte as it is defined.
std::string encode(const Fields &fields) {
    std::string text;
    int at = 0;
    for (const auto &[field, value] : fields) {
        while (at != field) {
            const int block = at < 32 ? 32 : at < 64 ? 64 : NM_FIELD_COUNT;
            text += field >= block ? '\x17' : '\x1D';
            at = field >= block ? block : at + 1;
        }
        text += value;
    }
    return text;
}

// The text form, written into a heap buffer of just its size.
std::string text_form(const Name &name) {
    const int length = nm_FormatText(name.text.get(), nullptr, 0);
    EXPECT_LT(length, NM_TEXT_SIZE);
    const std::unique_ptr<char[]> out{new char[static_cast<std::size_t>(length) + 1]};
    EXPECT_EQ(nm_FormatText(name.text.get(), out.get(), length + 1), length);
    return out.get();
}

// What a parse of `text` in an exact-size heap buffer finds.
Fields parsed(const std::string &text, int wanted_result = 1) {
    const std::unique_ptr<char[]> exact{new char[text.size() + 1]};
    text.copy(exact.get(), text.size());
    exact[text.size()] = '\0';
    nm_index index;
    std::uint32_t maps[NM_MAP_WORDS];
    EXPECT_EQ(nm_ParseORN(exact.get(), &index, maps), wanted_result) << testing::PrintToString(text);
    Fields found;
    for (int field = 0; field < NM_FIELD_COUNT; ++field) {
        int length = 0;
        const char *bytes = nm_GetFieldMemPtr(exact.get(), &index, field, &length);
        EXPECT_EQ(nm_CheckBit(field, maps) != 0, bytes != nullptr) << field;
        if (bytes != nullptr) {
            found[field] = std::string(bytes, static_cast<std::size_t>(length));
        }
    }
    return found;
}

TEST(NmFields, ReadsEveryKindOfText) {
    const std::string longest(NM_ORN_SIZE - 1, 'x');
    const std::string steps(130, '|');
    const struct {
        const char *name;
        std::string text;
        int result;
        Fields fields;
    } rows[] = {
        {"empty", "", 1, {}},
        {"other control characters are text", "a\x1B\x0E\x0F\x19z", 1, {{0, "a\x1B\x0E\x0F\x19z"}}},
        {"8-bit text", "M\xFCller|\xC3\xBC", 1, {{0, "M\xFCller"}, {1, "\xC3\xBC"}}},
        {"steps and blocks", "S||I^CN^T|G", 1, {{0, "S"}, {2, "I"}, {32, "CN"}, {64, "T"}, {65, "G"}}},
        {"steps where a block would do", steps.substr(0, 32) + "CN", 1, {{32, "CN"}}},
        {"a block from field 31", steps.substr(0, 31) + "a^CN", 1, {{31, "a"}, {32, "CN"}}},
        {"separators at the end", "S|^|", 1, {{0, "S"}}},
        {"the last field", "^^" + steps.substr(0, 66) + "j@x", 1, {{130, "j@x"}}},
        {"the longest", longest, 1, {{0, longest}}},
        {"a block from field 64", "S^^T^CN", 0, {{0, "S"}, {64, "T"}}},
        {"a block from field 66", "^^||a^b|c", 0, {{66, "a"}}},
        {"a step after the last field", steps + "a|b", 0, {{130, "a"}}},
        {"too long in the first field", longest + "x", 0, {}},
        {"too long in a later field", "S|" + longest, 0, {{0, "S"}}},
        {"too long by a separator", "S|" + longest.substr(2) + "|", 0, {{0, "S"}}},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(parsed(orn(row.text), row.result), row.fields) << row.name;
    }
}

// Thousands of stores against a plain map: text, index and maps agree after each.
TEST(NmFields, StoresLikeAMap) {
    std::mt19937 random{20240229};
    const auto below = [&random](int bound) {
        return static_cast<int>(random() % static_cast<unsigned>(bound));
    };
    for (int round = 0; round < 200; ++round) {
        Name name;
        Fields model;
        const int top = round % 2 == 0 ? NM_FIELD_COUNT : 20;
        for (int step = 0; step < 60; ++step) {
            const int field = below(top);
            std::string value(static_cast<std::size_t>(below(5) == 0 ? 0 : below(below(40) == 0 ? 2500 : 12)),
                              '\0');
            for (char &c : value) {
                c = static_cast<char>(below(256));
            }
            std::string stored = value;
            for (char &c : stored) {
                c = c == '\0' || c == 23 || c == 29 ? ' ' : c;
            }
            Fields changed = model;
            changed.erase(field);
            if (!stored.empty()) {
                changed[field] = stored;
            }
            const bool fits = encode(changed).size() < NM_ORN_SIZE;
            const auto failure = failure_of([&] { name.put(field, value); });
            ASSERT_EQ(is_failure(failure, MES_SET_SERVER, kNameTooLong), !fits);
            model = fits ? changed : model;
            ASSERT_EQ(name.str(), encode(model))
                << "field " << field << ", step " << step << ", round " << round;
            ASSERT_EQ(name.fields(), model);
            ASSERT_EQ(parsed(name.str()), model);
            const Name again{text_form(name), nullptr};
            ASSERT_EQ(again.str(), name.str()) << text_form(name);
        }
    }
}

// Texts that others wrote: separators stay as they are but in the gap that a store fills, and an unread rest
// stays behind the fields, unread.
TEST(NmFields, StoresIntoTextsOfOthers) {
    const std::string steps(40, '|');
    const std::string last = "^^" + std::string(66, '|');
    const struct {
        const char *name;
        std::string text;
        int field;
        std::string value;
        std::string want;
    } rows[] = {
        {"own value", "a" + steps + "b||", 40, "b", "a" + steps + "b||"},
        {"own value once cleaned", "a b" + steps, 0, "a|b", "a b" + steps},
        {"absent emptied", "a" + steps + "b", 5, "", "a" + steps + "b"},
        {"text replaced", "a" + steps + "b", 0, "xyz", "xyz^||||||||b"},
        {"gap filled", "a|b" + steps, 3, "d", "a|b||d"},
        {"gap closed", "a|b|c|", 1, "", "a||c|"},
        {"last emptied", "a|b|c|", 2, "", "a|b"},
        {"first emptied", "a|b", 0, "", "|b"},
        {"before a rest after the last field", last + "|c", 3, "x", "|||x" + last + "|c"},
        {"last field before a rest", last + "b|c", 130, "xy", last + "xy|c"},
        {"last field before a rest emptied", "a" + last + "b|c", 130, "", "a" + last + "|c"},
        {"behind a field, before a rest", "^^T^c", 66, "x", "^^T||x^c"},
        {"emptied before a rest", "^^T^c", 64, "", "^^^c"},
    };
    for (const auto &row : rows) {
        Name name{orn(row.text)};
        Fields want = name.fields();
        want.erase(row.field);
        if (!row.value.empty()) {
            want[row.field] = row.value == "a|b" ? "a b" : row.value;
        }
        name.put(row.field, orn(row.value));
        EXPECT_EQ(testing::PrintToString(name.str()), testing::PrintToString(orn(row.want))) << row.name;
        EXPECT_EQ(name.fields(), want) << row.name;
        EXPECT_EQ(Name{name.str()}.fields(), want) << row.name << ", parsed again";
    }
}

TEST(NmFields, StoresPiecesOfItself) {
    Name name;
    name.put(0, "abcdef");
    name.put(2, "xyz");
    nm_PutFieldStr(name.text.get(), &name.index, 1, name.text.get() + 3);  // a separator on the way: a blank
    EXPECT_EQ(name.fields(), (Fields{{0, "abcdef"}, {1, "def  xyz"}, {2, "xyz"}}));
    nm_PutFieldMem(name.text.get(), &name.index, 0, name.text.get() + 2, 3);
    nm_PutFieldMem(name.text.get(), &name.index, 130, name.text.get(), 3);
    EXPECT_EQ(name.fields(), (Fields{{0, "cde"}, {1, "def  xyz"}, {2, "xyz"}, {130, "cde"}}));
}

TEST(NmFields, RefusesAndLeavesEverythingAsItWas) {
    const std::string longest(NM_ORN_SIZE - 3, 'x');
    Name name;
    name.put(0, longest);
    name.put(1, "y");
    const Fields before = name.fields();
    for (const auto &[field, value, number] : {std::tuple{1, "yy"s, kNameTooLong},
                                               {2, "z"s, kNameTooLong},
                                               {32, "cn"s, kNameTooLong},
                                               {0, longest + "x", kNameTooLong},
                                               {1, longest + longest, kNameTooLong},
                                               {-1, ""s, kNoSuchField},
                                               {NM_FIELD_COUNT, "z"s, kNoSuchField}}) {
        EXPECT_TRUE(
            is_failure(failure_of([&, f = field, &v = value] { name.put(f, v); }), MES_SET_SERVER, number))
            << field;
        EXPECT_EQ(name.fields(), before);
    }
    EXPECT_FALSE(failure_of([&] {
        name.put(1, "");
        name.put(0, longest + "xx");
    }));
    EXPECT_EQ(name.str(), longest + "xx") << "the longest name there is";

    const std::string too_long(NM_ORN_SIZE, 'x');
    std::string text = orn("S|") + too_long;
    nm_index index;
    nm_ParseORN(text.data(), &index, nullptr);
    EXPECT_TRUE(is_failure(failure_of([&] { nm_PutFieldStr(text.data(), &index, 0, nullptr); }),
                           MES_SET_SERVER, kNameTooLong));
    EXPECT_EQ(text, orn("S|") + too_long);
}

TEST(NmFields, CopiesWithinTheCapacity) {
    const Name name{orn("surname|given")};
    for (const auto &[field, capacity, want] : {std::tuple{0, 8, "surname"},
                                                {0, 7, "surnam"},
                                                {0, 1, ""},
                                                {1, 4097, "given"},
                                                {2, 3, ""},
                                                {-1, 3, ""},
                                                {NM_FIELD_COUNT, 3, ""}}) {
        const std::unique_ptr<char[]> out{new char[static_cast<std::size_t>(capacity)]};
        nm_GetFieldStr(name.text.get(), &name.index, field, out.get(), capacity);
        EXPECT_STREQ(out.get(), want) << field << " into " << capacity;
    }
}

TEST(NmFields, TellsOfT61Forms) {
    for (const auto &[fields, has_t61] :
         {std::pair{Fields{{0, "a"}, {63, "b"}, {96, "c"}, {130, "d"}}, false},
          {Fields{{64, "a"}}, true},
          {Fields{{95, "a"}}, true}}) {
        const Name name{encode(fields)};
        std::uint32_t maps[NM_MAP_WORDS];
        nm_GetFieldMaps(&name.index, maps);
        EXPECT_EQ(maps[2] != 0, has_t61) << name.str();
    }
    for (int field = -1; field <= NM_FIELD_COUNT; ++field) {
        const bool has_form = (field >= 0 && field <= 8) || (field >= 15 && field <= 22) || field == 32;
        EXPECT_EQ(nm_GetCorrT61FNum(field), has_form ? field + 64 : -1) << field;
    }
    const std::uint32_t all[NM_MAP_WORDS] = {~0U, ~0U, ~0U, ~0U, ~0U};
    EXPECT_FALSE(nm_CheckBit(-1, all) || nm_CheckBit(NM_FIELD_COUNT, all));
}

TEST(NmText, ReadsAndWrites) {
    const struct {
        std::string text;
        Fields fields;
        std::string written;  // empty: as it was read
    } rows[] = {
        {"", {}, ""},
        {"/S=Smith/G=John/OU1=Sales/O=Acme/PRMD=x/ADMD=y/C=us/DD.RFC-822=j@x.org/",
         {{0, "Smith"},
          {1, "John"},
          {4, "Sales"},
          {8, "Acme"},
          {9, "us"},
          {10, "y"},
          {11, "x"},
          {15, "RFC-822"},
          {16, "j@x.org"}},
         ""},
        {"c=us/ou=low/Ou=mid/OU=high",
         {{4, "high"}, {5, "mid"}, {6, "low"}, {9, "us"}},
         "/OU3=low/OU2=mid/OU1=high/C=us/"},
        {"/OU=4/OU=3/OU=2/OU=1/", {{4, "1"}, {5, "2"}, {6, "3"}, {7, "4"}}, "/OU4=4/OU3=3/OU2=2/OU1=1/"},
        {"/ou4=4/ou2=2/T61.OU=u/", {{5, "2"}, {7, "4"}, {68, "u"}}, "/OU4=4/OU2=2/T61.OU1=u/"},
        {R"(/S=a=b\/c\\\=\x09\x7f/)", {{0, "a=b/c\\=\t\x7F"}}, R"(/S=a\=b\/c\\\=\x09\x7F/)"},
        {"/CN=Müller/T61.CN=M\xC8uller/", {{32, "Müller"}, {96, "M\xC8uller"}}, ""},
        {"/DD.=/DD.A\\=B\\/=x/DD.=y/DD.Z=/T61.DD.=/T61.DD.A=x/",
         {{17, "A=B/"}, {18, "x"}, {20, "y"}, {21, "Z"}, {81, "A"}, {82, "x"}},
         ""},
        {"/t-id=t/pd-local=l/ia=j@x/FIELD.23=a/field.129=b/",
         {{14, "t"}, {23, "a"}, {51, "l"}, {129, "b"}, {130, "j@x"}},
         "/T-ID=t/PD-LOCAL=l/IA=j@x/FIELD.23=a/FIELD.129=b/"},
        {"/S=/G=x/", {{1, "x"}}, "/G=x/"},
    };
    for (const auto &row : rows) {
        nm_text_error error{-1, nullptr};
        const Name name{row.text, &error};
        EXPECT_TRUE(name.is_valid) << row.text << ": " << error.reason;
        EXPECT_EQ(name.fields(), row.fields) << row.text;
        EXPECT_EQ(text_form(name), row.written.empty() ? row.text : row.written);
    }
}

TEST(NmText, RefusesWithPlaceAndReason) {
    const std::string longest(NM_ORN_SIZE - 1, 'x');
    const struct {
        std::string text;
        int offset;
        const char *reason;
    } rows[] = {
        {"/S=a/Smith/", 5, "no \"=\""},
        {"//S=a/", 1, "no \"=\""},
        {"/S=a//", 5, "no \"=\""},
        {"/S\\=a", 1, "no \"=\""},
        {"/=a/", 1, "not known"},
        {"/SN=a/", 1, "not known"},
        {"/S =a/", 1, "not known"},
        {"/OU0=a/", 1, "not known"},
        {"/OU5=a/", 1, "not known"},
        {"/T61.C=a/", 1, "not known"},
        {"/T61.IA=a/", 1, "not known"},
        {"/FIELD.0=a/", 1, "not known"},
        {"/FIELD.131=a/", 1, "not known"},
        {"/FIELD.=a/", 1, "not known"},
        {"/FIELD.4294967319=a/", 1, "not known"},
        {"/S=a/s=b/", 5, "repeated"},
        {"/OU1=a/OU=b/", 7, "OU stands beside"},
        {"/OU=a/OU1=b/", 6, "OU stands beside"},
        {"/OU=1/OU=2/OU=3/OU=4/OU=5/", 21, "more than four units"},
        {"/DD.A=1/DD.B=2/DD.C=3/DD.D=4/DD.E=5/", 29, "more than four domain"},
        {"/S=a\\n/", 4, "backslash"},
        {"/S=a\\", 4, "backslash"},
        {"/S=\\x4", 3, "backslash"},
        {"/S=\\x4g/", 3, "backslash"},
        {"/DD.\\q=a/", 4, "backslash"},
        {"/OU=a\\q/", 5, "backslash"},
        {"/S=a\\x00/", 4, "byte 0"},
        {"/S=\\x1D/", 3, "byte 0"},
        {"/S=a\x17/", 4, "byte 0"},
        {"/S=" + longest + "x/", NM_ORN_SIZE + 2, "4096"},
        {"/S=" + longest + "/G=y/", NM_ORN_SIZE + 5, "4096"},
    };
    for (const auto &row : rows) {
        nm_text_error error{-1, nullptr};
        const Name name{row.text, &error};
        EXPECT_FALSE(name.is_valid) << row.text;
        EXPECT_EQ(error.offset, row.offset) << row.text;
        EXPECT_NE(std::string(error.reason).find(row.reason), std::string::npos)
            << row.text << ": " << error.reason;
        EXPECT_TRUE(name.str().empty() && name.fields().empty());
        EXPECT_FALSE((Name{row.text, nullptr}.is_valid));
    }
}

TEST(NmText, IsCutToTheCapacity) {
    Name name;
    name.put(0, std::string(2000, '\x01'));
    const std::string whole = text_form(name);
    EXPECT_EQ(whole.size(), 3 + 2000 * 4 + 1);
    for (const int capacity : {1, 2, 7, 1024}) {
        const auto size = static_cast<std::size_t>(capacity);
        const std::unique_ptr<char[]> out{new char[size]};
        EXPECT_EQ(nm_FormatText(name.text.get(), out.get(), capacity), static_cast<int>(whole.size()));
        EXPECT_EQ(out.get(), whole.substr(0, size - 1));
    }
    const std::unique_ptr<char[]> log{new char[NM_LOG_SIZE]};
    nm_FormatLogORN(name.text.get(), log.get());
    EXPECT_EQ(log.get(), whole.substr(0, NM_LOG_SIZE - 1));
}

}  // namespace
