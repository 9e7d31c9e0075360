// The rules: matching is rule_pattern's, building the new text and reading the file are done here.

#include "rules_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

#include "frame.h"
#include "mim.h"
#include "nesting.h"
#include "rule_pattern.h"
#include "text/ascii.h"
#include "text/tokens.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;

constexpr int kRuleLineCapacity = 256;  // a line of at most 255 characters and its terminator
constexpr text::Tokens kTokens{text::CharSet{" \t\n"}, "#"};

// What the start of a replacement says.
enum class Mode { kRepeat, kOnce, kOnceAndStop };

struct Replacement {
    Mode mode;
    std::string_view text;  // the template
};

Replacement read_replacement(std::string_view replacement) {
    if (replacement.substr(0, 2) == "$@") {
        return {Mode::kOnceAndStop, replacement.substr(2)};
    }
    if (replacement.substr(0, 2) == "$:") {
        return {Mode::kOnce, replacement.substr(2)};
    }
    return {Mode::kRepeat, replacement};
}

constexpr std::size_t kNamedCaptures = 9;  // that a template can name, by a digit

using CaptureStarts = std::array<const char *, MIM_CAPTURES>;
using CaptureLengths = std::array<int, MIM_CAPTURES>;

// Writes the text that a template makes of the captures.
void build_result(std::string_view form, const CaptureStarts &starts, const CaptureLengths &lengths,
                  text::Writer &out) {
    while (!form.empty()) {
        const auto plain = static_cast<std::size_t>(std::ranges::find(form, '$') - form.begin());
        out.append(form.substr(0, plain));
        form.remove_prefix(plain);
        if (form.size() < 2) {
            return;
        }
        const char item = form[1];
        form.remove_prefix(2);
        if (item == '$') {
            out.append('$');
        } else if (item == '_') {
            out.append(' ');
        } else if (item >= '1' && item <= '9') {
            const auto capture = static_cast<std::size_t>(item - '1');
            out.append(std::string_view{starts[capture], static_cast<std::size_t>(lengths[capture])});
        }
    }
}

// The text that rules rewrite, in a buffer of MIM_SUBJECT_SIZE bytes. Each application writes the new text
// beside the old one; the last stands in the buffer again when this ends.
class Subject {
  public:
    // NOLINTNEXTLINE(*-member-init): the spare buffer is filled when it is needed
    explicit Subject(char *text) : buffer_(text), now_(text), next_(spare_), length_(std::strlen(text)) {}
    Subject(const Subject &) = delete;
    Subject &operator=(const Subject &) = delete;
    ~Subject() {
        if (now_ != buffer_) {
            text::copy_text(view(), buffer_, MIM_SUBJECT_SIZE);
        }
    }

    [[nodiscard]] std::string_view view() const { return {now_, length_}; }

    // Sets the text to what a template makes of the captures.
    void rewrite(std::string_view form, const CaptureStarts &starts, const CaptureLengths &lengths) {
        text::Writer out{next_, kCapacity};
        build_result(form, starts, lengths, out);
        length_ = std::min(out.finish(), kCapacity - 1);
        std::swap(now_, next_);
    }

  private:
    static constexpr std::size_t kCapacity = std::min<std::size_t>(MIM_MAX_REWRITE + 1, MIM_SUBJECT_SIZE);

    char *buffer_;
    char *now_;
    char *next_;
    std::size_t length_;
    char spare_[kCapacity];  // NOLINT(*-avoid-c-arrays): left without a value on purpose
};

bool match(std::string_view subject, std::string_view pattern, const mim::Captures &captures) {
    return mim::traced<TraceClass::kMain>(
        "mim_MatchRulePattern", [&] { return mim::match_rule_pattern(subject, pattern, captures); });
}

void rewrite(Subject &subject, std::string_view pattern, std::string_view replacement, int *stop) {
    *stop = 0;
    for (int application = 0; application < MIM_MAX_APPLICATIONS; ++application) {
        CaptureStarts starts;    // NOLINT(*-member-init): of all those, a template
        CaptureLengths lengths;  // NOLINT(*-member-init): may name these
        std::fill_n(starts.begin(), kNamedCaptures, nullptr);
        std::fill_n(lengths.begin(), kNamedCaptures, 0);
        if (!match(subject.view(), pattern, {starts.data(), lengths.data(), MIM_CAPTURES, 0})) {
            return;
        }
        const auto [mode, form] = read_replacement(replacement);
        if (mode == Mode::kOnceAndStop) {
            *stop = 1;
        }
        subject.rewrite(form, starts, lengths);
        if (mode != Mode::kRepeat) {
            return;
        }
    }
}

void process_rule(Subject &subject, std::string_view pattern, std::string_view replacement, int *stop) {
    mim::traced<TraceClass::kMain>("mim_ProcessRule", [&] { rewrite(subject, pattern, replacement, stop); });
}

}  // namespace

void mim::apply_rules_file(const char *path, const char *text, void (*prepare)(char *subject),
                           char *subject) {
    subject[0] = '\0';
    LineFile file;
    ignoring_region([&] {
        if (!file.open(path)) {
            return;
        }
        text::copy_text({text, strnlen(text, MIM_SUBJECT_SIZE - 1)}, subject, MIM_SUBJECT_SIZE);
        prepare(subject);
        Subject rewritten{subject};
        std::array<char, kRuleLineCapacity> line;  // NOLINT(*-member-init): filled by the next call
        int stop = 0;
        while (stop == 0 && file.read(line.data(), kRuleLineCapacity) != 0) {
            const char *place = line.data();
            const std::string_view pattern = kTokens.take(place);
            const std::string_view replacement = kTokens.take(place);
            if (!replacement.empty()) {
                process_rule(rewritten, pattern, replacement, &stop);
            }
        }
    });
    file.close_quietly();
}

void mim_ProcessRule(char *subject, const char *pattern, const char *replacement, int *stop) {
    Subject rewritten{subject};
    process_rule(rewritten, pattern, replacement, stop);
}

int mim_MatchRulePattern(const char *subject, const char *pattern, const char **starts, int *lengths,
                         int wildcards_passed) {
    const auto passed = static_cast<std::size_t>(std::max(wildcards_passed, 0));
    return match(subject, pattern, {starts, lengths, MIM_CAPTURES, passed}) ? 1 : 0;
}

int mim_ScanArpaStrForSpecialChar(const char *text, char target) {
    return mim::traced<TraceClass::kMain>(__func__, [&] {
        const std::string_view whole{text};
        const std::size_t place = mim::find_at_depth_zero(whole, target);
        return place < whole.size() ? static_cast<int>(place) : -1;
    });
}
