// mim check: the rules files.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "check.h"
#include "explanation.h"
#include "home_formats.h"
#include "mim.h"
#include "text/writer.h"

namespace tool {

namespace {

constexpr LineFormat kFormat{kRuleLineCapacity, false, true};
constexpr std::string_view kNeverInbound = "\"\\";  // what is taken out of an address before the first rule

// Rules above this many are not compared with a rule.
constexpr std::size_t kComparedRules = 1000;

struct Rule {
    int line;
    std::string pattern;
    std::string replacement;

    [[nodiscard]] bool stops() const { return replacement.starts_with(kOnceAndStop); }
    [[nodiscard]] bool repeats() const { return !stops() && !replacement.starts_with(kOnce); }
    [[nodiscard]] std::string_view form() const {
        return std::string_view{replacement}.substr(repeats() ? 0 : kOnce.size());
    }
};

// What a pattern says about itself.
struct Shape {
    std::size_t wildcards = 0;
    bool has_literals = false;
    std::string bad_item;  // a "$" that means nothing
};

Shape shape_of(std::string_view pattern) {
    Shape shape;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '$') {
            shape.has_literals = true;
            continue;
        }
        const char item = ++i < pattern.size() ? pattern[i] : '\0';
        if (item == '*' || item == '+') {
            ++shape.wildcards;
        } else if (item == '_' || item == '$') {
            shape.has_literals = true;
        } else if (shape.bad_item.empty()) {
            shape.bad_item = pattern.substr(i - 1, 2);
        }
    }
    return shape;
}

// A text that the pattern describes: `filling` for its wildcards, and for the one numbered `odd` (from 1)
// what it takes at least.
std::string instance_of(std::string_view pattern, std::string_view filling, std::size_t odd = 0) {
    std::string text;
    std::size_t wildcard = 0;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '$' || ++i == pattern.size()) {
            text += pattern[i];
        } else if (pattern[i] == '*' || pattern[i] == '+') {
            const bool is_least = ++wildcard == odd || filling.empty();
            text += !is_least ? filling : pattern[i] == '+' ? std::string_view{"x"} : std::string_view{};
        } else {
            text += pattern[i] == '_' ? ' ' : pattern[i];
        }
    }
    return text;
}

bool matches(const std::string &text, const std::string &pattern) {
    std::array<const char *, MIM_CAPTURES> starts{};
    std::array<int, MIM_CAPTURES> lengths{};
    return mim_MatchRulePattern(text.c_str(), pattern.c_str(), starts.data(), lengths.data(), 0) != 0;
}

// Whether what fits `narrow` fits `wide`: its wildcards are filled with a character that only a wildcard
// takes.
bool covers(const Rule &wide, const Rule &narrow) {
    constexpr std::string_view kFilling = "\x01\x01";
    const std::size_t wildcards = shape_of(narrow.pattern).wildcards;
    if (!matches(instance_of(narrow.pattern, {}), wide.pattern)) {
        return false;
    }
    for (std::size_t odd = 0; odd <= wildcards; ++odd) {
        if (!matches(instance_of(narrow.pattern, kFilling, odd), wide.pattern)) {
            return false;
        }
    }
    return true;
}

class RulesCheck {
  public:
    RulesCheck(CheckedFile &file, bool is_inbound) : file_(file), is_inbound_(is_inbound) {}

    void take(int line, const char *text) {
        const char *place = text;
        Rule rule{line, std::string{kRuleTokens.take(place)}, std::string{kRuleTokens.take(place)}};
        if (rule.pattern.empty()) {
            return;
        }
        if (rule.replacement.empty()) {
            file_.add(Fault::kSkippedLine, line,
                      "the pattern " + quote_shortly(rule.pattern) + " has no replacement" +
                          (*place == '#' ? "; a # begins a comment wherever it stands" : ""));
            return;
        }
        if (const std::string_view more = kRuleTokens.take(place); !more.empty()) {
            file_.add(Fault::kIgnoredText, line,
                      "what follows the replacement is not read: " + quote_shortly(more));
        }
        const Shape shape = shape_of(rule.pattern);
        check_replacement(rule, shape.wildcards);
        if (const std::string why = find_dead_end(rule, shape); !why.empty()) {
            file_.add(Fault::kDeadPattern, line, why);
        } else {
            check_reach(rule);
            check_end(rule);
        }
        rules_.push_back(std::move(rule));
    }

  private:
    // Why no text fits, or the empty text.
    [[nodiscard]] std::string find_dead_end(const Rule &rule, const Shape &shape) const {
        if (!shape.bad_item.empty()) {
            return in_quotes(shape.bad_item) + " means nothing in a pattern, and no text fits " +
                   quote_shortly(rule.pattern);
        }
        const std::size_t place = rule.pattern.find_first_of(kNeverInbound);
        if (is_inbound_ && place != std::string::npos && !writes_quotes_) {
            return "addresses come here without " + in_quotes(rule.pattern.substr(place, 1)) +
                   ", and no text fits " + quote_shortly(rule.pattern);
        }
        for (const std::string_view filling : {"", "x", "xy"}) {
            if (matches(instance_of(rule.pattern, filling), rule.pattern)) {
                return {};
            }
        }
        return "a wildcard cannot end where it would have to (inside quotes or brackets), and no text fits " +
               quote_shortly(rule.pattern);
    }

    void check_replacement(const Rule &rule, std::size_t wildcards) {
        writes_quotes_ = writes_quotes_ || rule.replacement.find_first_of(kNeverInbound) != std::string::npos;
        const std::string_view form = rule.form();
        for (std::size_t i = form.find('$'); i < form.size(); i = form.find('$', i + 2)) {
            const char item = i + 1 < form.size() ? form[i + 1] : '\0';
            if (item >= '1' && item <= '9') {
                if (static_cast<std::size_t>(item - '0') > wildcards) {
                    file_.add(Fault::kMissingWildcard, rule.line,
                              in_quotes(form.substr(i, 2)) + " gives nothing: the pattern has " +
                                  counted(wildcards, "wildcard"));
                }
            } else if (item != '$' && item != '_' && item != '0') {
                file_.add(Fault::kDroppedItem, rule.line,
                          in_quotes(form.substr(i, 2)) + " gives nothing" +
                              (item == ':' || item == '@' ? ": it counts at the begin alone" : ""));
            }
        }
        if (wildcards > MIM_CAPTURES) {
            file_.add(Fault::kMissingWildcard, rule.line,
                      "only the first " + std::to_string(MIM_CAPTURES) + " of " + std::to_string(wildcards) +
                          " wildcards can be used");
        }
    }

    // A rule that stops keeps what fits it from the rules below, and a repeated one has changed it. Rules
    // between, unless they stop too, may make a text fit.
    void check_reach(const Rule &rule) {
        bool is_near = true;
        for (std::size_t i = rules_.size(), seen = 0; i-- > 0 && seen < kComparedRules; ++seen) {
            const Rule &above = rules_[i];
            const bool takes_all = above.stops() && !shape_of(above.pattern).has_literals;
            if ((takes_all || (is_near && (above.stops() || above.repeats()))) && covers(above, rule)) {
                file_.add(Fault::kUnreachedRule, rule.line,
                          "what fits " + quote_shortly(rule.pattern) + " fits " +
                              quote_shortly(above.pattern) + " in line " + std::to_string(above.line) +
                              (above.stops() ? ", which leaves the file"
                                             : ", which is applied until nothing fits it"));
                return;
            }
            is_near = is_near && above.stops();
        }
    }

    void check_end(const Rule &rule) {
        if (!rule.repeats()) {
            return;
        }
        const std::string once = std::string{kOnce} + rule.replacement;
        for (const std::string_view filling : {"", "x", "xy"}) {
            std::array<char, MIM_SUBJECT_SIZE> text{};
            const std::string sample = instance_of(rule.pattern, filling);
            text::copy_text(sample, text.data(), text.size());
            int count = 0;
            while (count < MIM_MAX_APPLICATIONS && matches(text.data(), rule.pattern)) {
                int stop = 0;
                mim_ProcessRule(text.data(), rule.pattern.c_str(), once.c_str(), &stop);
                ++count;
            }
            if (count == MIM_MAX_APPLICATIONS) {
                file_.add(Fault::kEndlessRule, rule.line,
                          "it is applied " + std::to_string(count) + " times to " + quote_shortly(sample) +
                              ", which leaves " + quote_shortly(text.data()) +
                              "; $: in front of the replacement makes it once");
                return;
            }
        }
    }

    CheckedFile &file_;
    bool is_inbound_;
    bool writes_quotes_ = false;  // some rule so far does
    std::vector<Rule> rules_;     // those that can fire
};

void check_rules(CheckedFile &file, bool is_inbound) {
    RulesCheck check{file, is_inbound};
    each_line(file, kFormat, [&](HomeLines &line) { check.take(line.number(), line.text()); });
}

}  // namespace

void check_inbound_rules(CheckedFile &file) {
    check_rules(file, true);
}

void check_outbound_rules(CheckedFile &file) {
    check_rules(file, false);
}

}  // namespace tool
