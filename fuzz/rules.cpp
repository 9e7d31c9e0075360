// Rules: the matcher against the search as it is described, one rule, and whole files of them.

#include <array>
#include <vector>

#include "fuzz.h"
#include "mim.h"
#include "rules_reference.h"
#include "temp_home.h"
#include "text/ascii.h"

namespace {

struct Match {
    bool is_match = false;
    std::array<const char *, MIM_CAPTURES> starts{};
    std::array<int, MIM_CAPTURES> lengths{};
    Match(const char *subject, const char *pattern, int passed = 0) {
        is_match = mim_MatchRulePattern(subject, pattern, starts.data(), lengths.data(), passed) == 1;
    }
    [[nodiscard]] std::string capture(std::size_t number) const {
        return starts[number] == nullptr
                   ? ""
                   : std::string(starts[number], static_cast<std::size_t>(lengths[number]));
    }
};

// The search takes exponential time: only for short cases.
bool is_short(const std::string &subject, const std::string &pattern) {
    return subject.size() < 24 && std::count(pattern.begin(), pattern.end(), '$') < 5;
}

void compare_match(const std::string &subject, const std::string &pattern, int passed) {
    const fuzz::Copy text{subject};
    const Match got{text, fuzz::Copy{pattern}, passed};
    for (std::size_t i = 0; i < MIM_CAPTURES; ++i) {
        fuzz::expect(
            got.starts[i] == nullptr || (got.is_match && got.starts[i] >= text && got.lengths[i] >= 0 &&
                                         got.starts[i] + got.lengths[i] <= text + subject.size()),
            "a capture is a piece of the subject", subject, pattern);
    }
    if (is_short(subject, pattern)) {
        std::vector<std::string> captures;
        fuzz::expect(got.is_match == match_slowly(subject.c_str(), pattern.c_str(), captures),
                     "a pattern matches as it is described", subject, pattern);
        captures.insert(captures.begin(), static_cast<std::size_t>(passed), "");
        captures.resize(MIM_CAPTURES);
        for (std::size_t i = 0; i < MIM_CAPTURES; ++i) {
            fuzz::expect_equal(got.capture(i), captures[i], "a wildcard is as short as the rest allows");
        }
    }
}

// One rule, on top of the matcher.
std::string apply_slowly(std::string subject, const std::string &pattern, const std::string &replacement,
                         int &stop) {
    const std::string mode = replacement.substr(0, 2);
    const bool is_once = mode == "$@" || mode == "$:";
    stop = 0;
    for (int i = 0; i < (is_once ? 1 : MIM_MAX_APPLICATIONS); ++i) {
        const Match match{subject.c_str(), pattern.c_str()};
        if (!match.is_match) {
            break;
        }
        stop = mode == "$@" ? 1 : 0;
        std::string result;
        for (std::size_t j = is_once ? 2 : 0; j < replacement.size(); ++j) {
            if (replacement[j] != '$') {
                result += replacement[j];
            } else if (++j < replacement.size()) {
                const char item = replacement[j];
                result += item == '$'                  ? "$"
                          : item == '_'                ? " "
                          : item >= '1' && item <= '9' ? match.capture(static_cast<std::size_t>(item - '1'))
                                                       : "";
            }
        }
        subject = result.substr(0, MIM_MAX_REWRITE);
    }
    return subject;
}

// The tokens of a line, up to a comment or a zero byte.
std::vector<std::string> tokens_of(std::string_view line) {
    std::vector<std::string> tokens(1);
    for (const char c : line.substr(0, line.find_first_of(std::string_view{"#\0", 2}))) {
        if (std::string_view{" \t\n"}.find(c) == std::string_view::npos) {
            tokens.back() += c;
        } else if (!tokens.back().empty()) {
            tokens.emplace_back();
        }
    }
    tokens.resize(tokens.size() + 2);
    return tokens;
}

std::string apply_file_slowly(std::string subject, std::string_view file) {
    constexpr std::size_t kMaxRuleLine = 255;
    int stop = 0;
    while (!file.empty() && stop == 0) {
        const std::string_view line = file.substr(0, std::min(file.find('\n'), kMaxRuleLine - 1) + 1);
        file.remove_prefix(line.size());
        const std::vector<std::string> rule = tokens_of(line);
        if (!rule[1].empty()) {
            subject = apply_slowly(subject, rule[0], rule[1], stop);
        }
    }
    return subject.size() > MIM_MAX_TEXT ? "" : subject;
}

}  // namespace

FUZZ_TARGET(rules) {
    static TempHome home;
    const auto kind = in.below(3);
    const auto passed = static_cast<int>(in.below(11));
    const std::string subject = in.text(MIM_MAX_REWRITE);
    if (kind == 0) {
        compare_match(subject, in.text(), passed);
    } else if (kind == 1) {
        const std::string pattern = in.text();
        const std::string replacement = in.text();
        const fuzz::Copy text{subject, MIM_SUBJECT_SIZE};
        int stop = 7;
        int want_stop = 7;
        mim_ProcessRule(text, fuzz::Copy{pattern}, fuzz::Copy{replacement}, &stop);
        fuzz::expect_equal(std::string{text}, apply_slowly(subject, pattern, replacement, want_stop),
                           "a rule rewrites as its replacement says");
        fuzz::expect(stop == want_stop, "a rule tells whether it ends the file");
    } else {
        const std::string file = in.rest();
        home.write("unixout.rules", file);
        const auto out = [&](char *text) { mim_GetArpaORNFromSurname(fuzz::Copy{subject}, text); };
        fuzz::expect_equal(fuzz::written(MIM_TEXT_SIZE, out), apply_file_slowly(subject, file),
                           "the rules of a file are applied one after the other");
        home.write("unixin.rules", file);
        const auto surname_of = [&] {
            return fuzz::written(MIM_SURNAME_SIZE,
                                 [&](char *text) { mim_GetSurnameFromArpaORN(fuzz::Copy{subject}, text); });
        };
        const std::string surname = surname_of();
        fuzz::expect(surname.find_first_not_of(
                         "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 '()+-/:=?.,") ==
                             surname.npos &&
                         !surname.empty(),
                     "a surname has the characters of one", surname);
        fuzz::expect_equal(surname_of(), surname, "a surname is the same again");
    }
}
