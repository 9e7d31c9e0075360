// Rules, one application at a time.

#include "explain_rules.h"

#include <array>
#include <nlohmann/json.hpp>

#include "home_formats.h"
#include "home_lines.h"
#include "mim.h"
#include "text/writer.h"

namespace tool {

namespace {

constexpr int kShownApplications = 3;

struct Rule {
    const HomeLines &lines;  // in which it is the last one read
    std::string pattern;
    std::string replacement;
};

// What the wildcards of a pattern matched, in a text that has not changed since.
struct Captures {
    std::array<const char *, MIM_CAPTURES> starts{};
    std::array<int, MIM_CAPTURES> lengths{};

    [[nodiscard]] Json list() const {
        Json array = Json::array();
        for (std::size_t i = 0; i < starts.size() && starts[i] != nullptr; ++i) {
            array.push_back(std::string{starts[i], static_cast<std::size_t>(lengths[i])});
        }
        return array;
    }
};

void show_application(const Json &captures, std::string_view before, std::string_view after, Step &step) {
    std::string note;
    for (std::size_t i = 0; i < captures.size(); ++i) {
        note += (i == 0 ? "$" : ", $") + std::to_string(i + 1) + " " +
                in_quotes(captures[i].get_ref<const std::string &>());
    }
    if (!note.empty()) {
        step.notes.push_back(note);
    }
    step.notes.push_back(in_quotes(before) + " -> " + in_quotes(after));
    step.facts["applications"].push_back({{"captures", captures}, {"before", before}, {"after", after}});
}

class RulesTrace {
  public:
    RulesTrace(std::string_view text, Explanation &explanation) : explanation_(explanation) {
        text::copy_text(text.substr(0, MIM_SUBJECT_SIZE - 1), subject_.data(), subject_.size());
    }

    [[nodiscard]] const char *subject() const { return subject_.data(); }

    void take(const Rule &rule) {
        ++rules_;
        if (stop_ == 0) {
            apply(rule);
        } else {
            not_run_.push_back(rule.lines.place() + " " + rule.pattern);
        }
    }

    void show_rest(const char *path) {
        Step &step = explanation_.add("rules", std::to_string(matched_) + " of " + counted(rules_, "rule") +
                                                   " of " + path + " matched");
        if (stop_ != 0) {
            step.text += "; the last one has $@";
        }
        if (!not_run_.empty()) {
            step.text += ", which kept " + counted(not_run_.size(), "rule") + " from running";
            add_few(step, "not run:", not_run_);
        }
        *step.facts = {
            {"file", path}, {"rules", rules_}, {"matched", matched_}, {"not_run", not_run_.size()}};
    }

  private:
    // Step by step what mim_ProcessRule does at once: a rule that repeats is applied as one that does not.
    void apply(const Rule &rule) {
        const std::string_view mode = std::string_view{rule.replacement}.substr(0, kOnce.size());
        const bool repeats = mode != kOnce && mode != kOnceAndStop;
        Step *step = nullptr;
        int count = 0;
        while (count < (repeats ? int{MIM_MAX_APPLICATIONS} : 1)) {
            Captures captures;
            if (mim_MatchRulePattern(subject_.data(), rule.pattern.c_str(), captures.starts.data(),
                                     captures.lengths.data(), 0) == 0) {
                break;
            }
            const std::string replacement = (repeats ? std::string{kOnce} : "") + rule.replacement;
            const Json matched = captures.list();
            const std::string before = subject_.data();
            mim_ProcessRule(subject_.data(), rule.pattern.c_str(), replacement.c_str(), &stop_);
            step = step != nullptr ? step : &add_step(rule);
            if (count++ < kShownApplications) {
                show_application(matched, before, subject_.data(), *step);
            }
        }
        if (step != nullptr) {
            finish_step(*step, count);
        }
    }

    Step &add_step(const Rule &rule) {
        ++matched_;
        Step &step =
            explanation_.add("rule", rule.lines.place() + " " + rule.pattern + " -> " + rule.replacement);
        *step.facts = {
            {"place", rule.lines.place()}, {"pattern", rule.pattern}, {"replacement", rule.replacement}};
        return step;
    }

    void finish_step(Step &step, int count) {
        step.facts["applied"] = count;
        if (count > kShownApplications) {
            step.notes.push_back("applied " + std::to_string(count) + " times, in the end " +
                                 in_quotes(subject_.data()));
        }
        if (count == MIM_MAX_APPLICATIONS) {
            step.notes.emplace_back("no rule is applied more often");
        }
    }

    Explanation &explanation_;
    std::array<char, MIM_SUBJECT_SIZE> subject_{};
    int stop_ = 0;
    std::size_t rules_ = 0;
    std::size_t matched_ = 0;
    std::vector<std::string> not_run_;
};

}  // namespace

std::string explain_rules(const char *path, const std::string &text, Explanation &explanation) {
    HomeLines lines{path, kRuleLineCapacity};
    if (!lines.is_open()) {
        explanation.add("rules", std::string{"there is no "} + path + ", so nothing is left of the text");
        return {};
    }
    RulesTrace trace{text, explanation};
    while (lines.next()) {
        const char *place = lines.text();
        const std::string_view pattern = kRuleTokens.take(place);
        const std::string_view replacement = kRuleTokens.take(place);
        if (!replacement.empty()) {
            trace.take({lines, std::string{pattern}, std::string{replacement}});
        }
    }
    trace.show_rest(path);
    return trace.subject();
}

}  // namespace tool
