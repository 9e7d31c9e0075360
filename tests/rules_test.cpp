// The rules: scan, matcher, one rule, and what a hostile rule costs.

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "mim.h"
#include "rules_reference.h"

namespace {

TEST(Scan, FindsTheTargetOutsideDelimiters) {
    const struct {
        const char *text;
        char target;
        int want;
    } rows[] = {
        {"a(b:c):d", ':', 6}, {"ab", ':', -1},       {"\"x:\"", ':', -1}, {"", ':', -1},       {":", ':', 0},
        {"\\::", ':', 2},     {"a\\", ':', -1},      {"(\\)):", ':', 4},  {"((:):):", ':', 6}, {"(\"):\")", ':', 3},
        {"<(>:", ':', 3},     {"a\"b", '"', 1},      {"[]]", ']', 2},     {"]", ']', 0},       {"[", '[', 0},
        {"(:", ':', -1},      {"\"\\\"\":", ':', 4}, {"\xFF:", ':', 1},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(mim_ScanArpaStrForSpecialChar(row.text, row.target), row.want) << row.text;
    }
}

// "no", or "yes" and what each wildcard recorded.
using Match = std::vector<std::string>;

Match match(const std::string &subject, const std::string &pattern, int passed = 0) {
    const std::vector<char> text(subject.c_str(), subject.c_str() + subject.size() + 1);
    std::array<const char *, MIM_CAPTURES> starts{};
    std::array<int, MIM_CAPTURES> lengths{};
    const int result = mim_MatchRulePattern(text.data(), pattern.c_str(), starts.data(), lengths.data(), passed);
    Match match{result == 1 ? "yes" : "no"};
    for (std::size_t i = 0; i < MIM_CAPTURES; ++i) {
        if (starts[i] != nullptr) {
            match.emplace_back(starts[i], static_cast<std::size_t>(lengths[i]));
        }
    }
    return match;
}

TEST(Matcher, MatchesTheWholeSubject) {
    const struct {
        const char *name, *subject, *pattern;
        Match want;
    } rows[] = {
        {"case", "jdoe@Host", "JDOE$*", {"yes", "@Host"}},
        {"quoted local part", R"("a@b"@c)", "$*@$*", {"yes", R"("a@b")", "c"}},
        {"unknown item", "a", "$x", {"no"}},
        {"lone dollar", "$", "$", {"no"}},
        {"nine kept", "abcdefghij", "$+$+$+$+$+$+$+$+$+$+", {"yes", "a", "b", "c", "d", "e", "f", "g", "h", "i"}},
        {"8-bit", "\xE4@h", "\xE4$*", {"yes", "@h"}},
        {"no 8-bit case", "\xE4", "\xC4", {"no"}},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(match(row.subject, row.pattern), row.want) << row.name;
    }
    EXPECT_EQ(match("ab", "$+$+", 8), (Match{"yes", "a"})) << "counts the wildcards gone before";
    EXPECT_EQ(match("ab", "$+$+", 9), (Match{"yes"}));
}

TEST(Matcher, AgreesWithTheDescribedSearch) {
    constexpr std::string_view kSubjectAlphabet = "aB@.\"[]()<>\\$ ";
    const std::array<const char *, 12> pattern_items{"$*", "$*", "$+", "a",  "b", "@",
                                                     ".",  "$_", "$$", "\"", "]", "\\"};
    std::mt19937 random(2026);  // NOLINT(cert-msc51-cpp): the same texts in every run
    int matched = 0;
    for (int i = 0; i < 300000; ++i) {
        std::string subject(random() % 11, ' ');
        for (char &c : subject) {
            c = kSubjectAlphabet[random() % kSubjectAlphabet.size()];
        }
        std::string pattern;
        for (auto items = random() % 6; items > 0; --items) {
            pattern += pattern_items[random() % pattern_items.size()];
        }
        Match want;
        const bool matches = match_slowly(subject.c_str(), pattern.c_str(), want);
        want.insert(want.begin(), matches ? "yes" : "no");
        matched += matches ? 1 : 0;
        ASSERT_EQ(match(subject, pattern), want) << "subject " << subject << " pattern " << pattern;
    }
    EXPECT_GT(matched, 10000) << "the texts must exercise both answers";
}

TEST(Matcher, StaysBoundedOnHostileTexts) {
    const std::string nested_wildcards = "$*a$*a$*a$*a$*a$*a$*a$*a$*a$*a";
    std::string many_wildcards;
    for (int i = 0; i < 126; ++i) {
        many_wildcards += "$*";
    }
    const std::string letters(2048, 'a');
    EXPECT_EQ(match(std::string(2048, '.'), "$*.$*.$*@$*"), Match{"no"});
    EXPECT_EQ(match(letters, nested_wildcards + "b"), Match{"no"});
    EXPECT_EQ(match(letters, many_wildcards + "b"), Match{"no"});
    EXPECT_EQ(match(std::string(2048, '['), "$*[" + nested_wildcards + "b"), Match{"no"});
    EXPECT_EQ(match(std::string(2048, '"') + letters, many_wildcards + "b"), Match{"no"});
    EXPECT_EQ(match(std::string(100000, 'a') + "b", "$*a$*a$*b").front(), "yes") << "past the subject of a rule";
}

std::string apply(std::string_view subject, const char *pattern, const char *replacement, int *stop = nullptr) {
    std::vector<char> buffer(MIM_SUBJECT_SIZE, '#');
    subject.copy(buffer.data(), subject.size());
    buffer[subject.size()] = '\0';
    int flag = 77;
    mim_ProcessRule(buffer.data(), pattern, replacement, stop != nullptr ? stop : &flag);
    return buffer.data();
}

TEST(Rule, RewritesTheSubject) {
    const struct {
        const char *subject, *pattern, *replacement, *want;
        int stop;
    } rows[] = {
        {"John.Smith.Jr", "$+.$+", "$1$_$2", "John Smith Jr", 0},
        {"John.Smith.Jr", "$+.$+", "$:$1$_$2", "John Smith.Jr", 0},
        {"jdoe@example.org", "$*@$*", "$@$1", "jdoe", 1},
        {"jdoe", "$*@$*", "$@$1", "jdoe", 0},
        {"a", "a", "$@", "", 1},
        {"ab", "$+b", "$0$1$x$$$", "a$", 0},
        {"a", "$*", "$:$1$2", "a", 0},
        {"a", "a", "x$@y", "xy", 0},
    };
    for (const auto &row : rows) {
        int stop = 77;
        EXPECT_EQ(apply(row.subject, row.pattern, row.replacement, &stop), row.want) << row.pattern;
        EXPECT_EQ(stop, row.stop) << row.pattern;
    }
}

TEST(Rule, StopsAfterAHundredApplicationsAndAt2048Characters) {
    EXPECT_EQ(apply("x", "$*", "$1a"), "x" + std::string(100, 'a'));
    const std::string all(MIM_MAX_REWRITE, 'b');
    EXPECT_EQ(apply(all, "$*", "$:a$1"), "a" + all.substr(1));
    EXPECT_EQ(apply("b", "$*", "$1$1"), all);
    EXPECT_EQ(apply(all + "c", "$*", "$:$1"), all) << "a subject of 2,049 characters";
    EXPECT_EQ(apply(all, "$*.$*.$*@$*", "$1"), all);
}

}  // namespace
