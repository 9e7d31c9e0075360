// O/R names: fields, separators, malformed texts, and the text form.

#include "nm.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "er_capture.h"
#include "orn_name.h"

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

// An O/R name and its index, in a heap buffer of just the size that reading, or else storing, needs.
struct Name {
    std::unique_ptr<char[]> text{new char[NM_ORN_SIZE]};
    nm_index index{NM_KIND_NUMERIC, {}, {}, 0, 0, {}};
    std::uint32_t maps[NM_MAP_WORDS]{};
    bool is_valid = true;

    static char *copy(const std::string &from, std::size_t size) {
        char *buffer = new char[size];
        buffer[from.copy(buffer, size - 1)] = '\0';
        return buffer;
    }
    Name() { nm_InitORN(text.get(), &index); }
    explicit Name(const std::string &from, std::size_t size = 0)
        : text(copy(from, std::max(from.size() + 1, size))), is_valid(nm_ParseORN(text.get(), &index, maps) != 0) {}
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
            EXPECT_EQ(nm_CheckBit(field, index.present) == 0, bytes == nullptr) << field;
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

TEST(NmFields, ReadsEveryKindOfText) {
    const std::string longest(NM_ORN_SIZE - 1, 'x');
    const std::string steps(130, '|');
    const struct {
        const char *name;
        std::string text;
        bool is_valid;
        Fields fields;
    } rows[] = {
        {"steps where a block would do", steps.substr(0, 32) + "CN", true, {{32, "CN"}}},
        {"a block from field 31", steps.substr(0, 31) + "a^CN", true, {{31, "a"}, {32, "CN"}}},
        {"a block from field 64", "S^^T^CN", false, {{0, "S"}, {64, "T"}}},
        {"a block from field 66", "^^||a^b|c", false, {{66, "a"}}},
        {"a step after the last field", steps + "a|b", false, {{130, "a"}}},
        {"too long in the first field", longest + "x", false, {}},
        {"too long in a later field", "S|" + longest, false, {{0, "S"}}},
        {"too long by a separator", "S|" + longest.substr(2) + "|", false, {{0, "S"}}},
    };
    for (const auto &row : rows) {
        const Name name{orn(row.text)};
        EXPECT_EQ(name.is_valid, row.is_valid) << row.name;
        EXPECT_TRUE(std::equal(name.maps, std::end(name.maps), name.index.present)) << row.name;
        EXPECT_EQ(name.fields(), row.fields) << row.name;
    }
}

// Thousands of stores against a plain map: text and index agree after each. Some texts have a rest that
// cannot be read: it stays at the end.
TEST(NmFields, StoresLikeAMap) {
    std::mt19937 random{20240229};
    const auto below = [&random](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
    for (int round = 0; round < 240; ++round) {
        const Fields last{{130, "x"}};
        Fields model = round % 4 == 1 ? Fields{{64, "T"}} : round % 4 == 2 ? last : Fields{};
        const std::string rest = orn(round % 4 == 1 ? "^c" : round % 4 == 2 ? "|c" : "");
        Name name{encode(model) + rest, NM_ORN_SIZE};
        const int top = round % 4 == 3 ? 20 : NM_FIELD_COUNT;
        for (int step = 0; step < 60; ++step) {
            const int field = below(top);
            std::string value;
            std::string stored;
            for (int i = below(below(40) == 0 ? 2500 : 12); i > 0; --i) {
                value += static_cast<char>(below(256));
                stored += "\0\x17\x1D"s.find(value.back()) == std::string::npos ? value.back() : ' ';
            }
            Fields changed = model;
            stored.empty() ? void(changed.erase(field)) : void(changed[field] = stored);
            const bool failed = failure_of([&] { name.put(field, value); }).has_value();
            model = failed ? model : changed;
            ASSERT_EQ(name.fields(), model) << "field " << field << ", step " << step << ", round " << round;
            const Name again{name.str()};
            ASSERT_EQ(again.fields(), model) << text_form(name.text.get());
            ASSERT_EQ(again.is_valid, rest.empty());
            ASSERT_TRUE(name.str().ends_with(rest));
            const bool is_named = model.contains(0) || model.contains(32) || model.contains(64) || model.contains(96);
            ASSERT_EQ(name.index.kind, model.contains(13) && !is_named ? NM_KIND_NUMERIC : NM_KIND_NAMED);
            ASSERT_EQ(again.index.kind, name.index.kind);
            if (rest.empty()) {
                ASSERT_EQ(failed, encode(changed).size() >= NM_ORN_SIZE);
                ASSERT_EQ(name.str(), encode(model));
                ASSERT_EQ((Name{text_form(name.text.get()), nullptr}.str()), name.str())
                    << text_form(name.text.get());
            }
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
        {"last field before a rest emptied", "a" + last + "b|c", 130, "", "a" + last + "|c"},
    };
    for (const auto &row : rows) {
        Name name{orn(row.text), NM_ORN_SIZE};
        name.put(row.field, orn(row.value));
        EXPECT_EQ(testing::PrintToString(name.str()), testing::PrintToString(orn(row.want))) << row.name;
        EXPECT_EQ(name.fields(), Name{name.str()}.fields()) << row.name << ", parsed again";
    }
}

TEST(NmFields, StoresPiecesOfItself) {
    Name name;
    EXPECT_EQ(name.index.kind, NM_KIND_NAMED);
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
    const auto number_of = [&name](int field, const std::string &value) {
        const auto failure = failure_of([&] { name.put(field, value); });
        return failure ? failure->number : 0;
    };
    for (const auto &[field, value] : {std::pair{1, "yy"s}, {32, "cn"}, {0, longest + "x"}, {1, longest + longest}}) {
        EXPECT_EQ(number_of(field, value), kNameTooLong) << field;
    }
    EXPECT_EQ(number_of(-1, ""), kNoSuchField);
    EXPECT_EQ(number_of(NM_FIELD_COUNT, "z"), kNoSuchField);
    EXPECT_EQ(name.fields(), before);
    EXPECT_EQ(nm_GetCorrT61FNum(-1) + nm_GetCorrT61FNum(NM_COUNTRY) + nm_GetCorrT61FNum(NM_FIELD_COUNT), -3);
    EXPECT_EQ(number_of(1, "") + number_of(0, longest + "xx"), 0) << "the longest name there is";

    const std::string too_long = orn("S|") + std::string(NM_ORN_SIZE, 'x');
    Name unread{too_long};
    EXPECT_TRUE(failure_of([&unread] { unread.put(0, ""); }));
    EXPECT_EQ(unread.str(), too_long);
}

TEST(NmFields, CopiesWithinTheCapacity) {
    const Name name{orn("surname|given")};
    for (std::size_t capacity = 1; capacity < 10; ++capacity) {
        for (const auto &[field, want] : {std::pair{0, "surname"s}, {1, "given"}, {2, ""}, {-1, ""}, {131, ""}}) {
            const std::unique_ptr<char[]> out{new char[capacity]};
            nm_GetFieldStr(name.text.get(), &name.index, field, out.get(), static_cast<int>(capacity));
            EXPECT_EQ(out.get(), want.substr(0, capacity - 1)) << field << " into " << capacity;
        }
    }
}

TEST(NmText, ReadsAndWrites) {
    const struct {
        const char *text;
        std::string name;
        const char *written;
    } rows[] = {
        {"/", "", ""},
        {"/S=/G=x/", "|x", "/G=x/"},
        {"s=a/G=b/OU1=c/O=d/PRMD=e/admd=f/C=g/DD.RFC-822=j@x.org", "a|b|||c||||d|g|f|e||||RFC-822|j@x.org",
         "/S=a/G=b/OU1=c/O=d/PRMD=e/ADMD=f/C=g/DD.RFC-822=j@x.org/"},
        {"c=us/ou=low/Ou=mid/OU=high", "||||high|mid|low|||us", "/OU3=low/OU2=mid/OU1=high/C=us/"},
        {R"(/S=a=b\/c\\\=\x09\x7f/)", "a=b/c\\=\t\x7F", R"(/S=a\=b\/c\\\=\x09\x7F/)"},
        {"/T61.CN=M\xC8/CN=M\xC3/", "^M\xC3^" + std::string(32, '|') + "M\xC8", "/CN=M\xC3/T61.CN=M\xC8/"},
        {R"(/DD.=/DD.A\=B\/=x/DD.=y/DD.Z=/)", std::string(17, '|') + "A=B/|x||y|Z",
         R"(/DD.=/DD.A\=B\/=x/DD.=y/DD.Z=/)"},
        {"/T61.dd.=/T61.DD.A=x/", "^^" + std::string(17, '|') + "A|x", "/T61.DD.=/T61.DD.A=x/"},
        {"/pd-local=l/FIELD.23=a/ia=j@x/t-id=t/",
         std::string(14, '|') + "t|||||||||a^" + std::string(19, '|') + "l^" + std::string(66, '|') + "j@x",
         "/T-ID=t/PD-LOCAL=l/IA=j@x/FIELD.23=a/"},
    };
    for (const auto &row : rows) {
        nm_text_error error{-1, ""};
        const Name name{row.text, &error};
        EXPECT_TRUE(name.is_valid) << row.text << ": " << error.reason;
        EXPECT_EQ(testing::PrintToString(name.str()), testing::PrintToString(orn(row.name))) << row.text;
        EXPECT_EQ(text_form(name.text.get()), row.written) << row.text;
    }
}

// The mark ^ stands before the place that is told.
TEST(NmText, RefusesWithPlaceAndReason) {
    const std::string longest(NM_ORN_SIZE - 1, 'x');
    const std::pair<const char *, std::vector<std::string>> rows[] = {
        {"a part has no \"=\"", {"/S=a/^Smith/", "/^/S=a/", "/S=a/^/", "/^S\\=a"}},
        {"not known",
         {"/^=a/", "/^SN=a/", "/^S =a/", "/^OU0=a/", "/^OU5=a/", "/^T61.C=a/", "/^T61.IA=a/", "/^FIELD.0=a/",
          "/^FIELD.131=a/", "/^FIELD.=a/", "/^FIELD.4294967319=a/"}},
        {"repeated", {"/S=a/^s=b/"}},
        {"OU stands beside", {"/OU1=a/^OU=b/", "/OU=a/^OU1=b/"}},
        {"four units", {"/OU=1/OU=2/OU=3/OU=4/^OU=5/"}},
        {"four domain", {"/DD.A=1/DD.B=2/DD.C=3/DD.D=4/^DD.E=5/"}},
        {"backslash", {"/S=a^\\n/", "/S=a^\\", "/S=^\\x4", "/S=^\\x4g/", "/DD.^\\q=a/", "/OU=a^\\q/"}},
        {"byte 0", {"/S=a^\\x00/", "/S=^\\x1D/", "/S=a^\x17/"}},
        {"4096", {"/S=" + longest + "^x/", "/S=" + longest + "/G=^y/"}},
    };
    for (const auto &[reason, texts] : rows) {
        for (const std::string &marked : texts) {
            const std::size_t place = marked.find('^');
            nm_text_error error{-1, nullptr};
            const Name name{marked.substr(0, place) + marked.substr(place + 1), &error};
            EXPECT_TRUE(!name.is_valid && name.str().empty() && name.fields().empty()) << marked;
            EXPECT_EQ(error.offset, static_cast<int>(place)) << marked;
            EXPECT_NE(std::string(error.reason).find(reason), std::string::npos) << marked << ": " << error.reason;
        }
    }
}

TEST(NmText, IsCutToTheCapacity) {
    Name name;
    name.put(0, std::string(2000, '\x01'));
    const std::string whole = text_form(name.text.get());
    EXPECT_EQ(whole.size(), 3 + 2000 * 4 + 1);
    std::array<char, NM_LOG_SIZE> out{};
    nm_FormatLogORN(name.text.get(), out.data());
    EXPECT_EQ(out.data(), whole.substr(0, NM_LOG_SIZE - 1));
    EXPECT_EQ(nm_FormatText(name.text.get(), out.data(), 7), static_cast<int>(whole.size()));
    EXPECT_EQ(out.data(), whole.substr(0, 6));
}

}  // namespace
