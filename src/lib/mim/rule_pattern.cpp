// The pattern matcher of the rules.
//
// A pattern is literal runs with wildcards between them. Where a wildcard may end anywhere, in a subject
// without quotes and brackets, the first place of each run behind the one before is as good as any, and the
// last run stands at the end: one walk finds the match.
//
// Elsewhere each wildcard tries its lengths from the shortest on, and the first that lets the rest of the
// pattern match wins. What the rest of
// the pattern does from a place depends only on that place and the wildcard before it, so every place that a
// wildcard has tried without success is remembered, and no wildcard tries a place twice. That bounds the time
// by pattern length times subject length, whatever the pattern. The search keeps its own stack, one frame for
// each wildcard.

#include "rule_pattern.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "frame.h"
#include "mdc.h"
#include "mim.h"
#include "nesting.h"
#include "text/ascii.h"

namespace mim {
namespace {

constexpr std::size_t kPatternItem = 2;  // "$" and the character after it
constexpr std::size_t kWordBits = 32;
constexpr std::size_t kWordsPerFrame = 4;  // what Search keeps for each wildcard beside its tried places
constexpr std::size_t kWordsOnStack =
    1024;  // enough for an address of usual length; more comes from the heap

// A place in the subject and one in the pattern.
struct Place {
    std::size_t subject;
    std::size_t pattern;
};

enum class LiteralEnd {
    kMismatch,    // the subject differs, or the pattern holds a "$" that means nothing
    kWildcard,    // the pattern goes on with a wildcard
    kPatternEnd,  // the pattern ends
};

bool is_wildcard(std::string_view pattern, std::size_t place) {
    return pattern[place] == '$' && place + 1 < pattern.size() &&
           (pattern[place + 1] == '*' || pattern[place + 1] == '+');
}

// Advances `at` over the literal run that begins there, as far as it matches.
LiteralEnd match_literals(std::string_view subject, std::string_view pattern, Place &at) {
    while (at.pattern < pattern.size()) {
        char wanted = pattern[at.pattern];
        std::size_t item = 1;
        if (wanted == '$') {
            if (is_wildcard(pattern, at.pattern)) {
                return LiteralEnd::kWildcard;
            }
            const char kind = at.pattern + 1 < pattern.size() ? pattern[at.pattern + 1] : '\0';
            if (kind != '$' && kind != '_') {
                return LiteralEnd::kMismatch;
            }
            wanted = kind == '_' ? ' ' : '$';
            item = kPatternItem;
        }
        if (at.subject == subject.size() || text::to_upper(subject[at.subject]) != text::to_upper(wanted)) {
            return LiteralEnd::kMismatch;
        }
        ++at.subject;
        at.pattern += item;
    }
    return LiteralEnd::kPatternEnd;
}

// What a pattern holds from its first wildcard on.
struct PatternShape {
    std::size_t wildcards = 0;
    std::size_t tail = 0;       // where the pattern goes on after its last wildcard
    std::size_t tail_size = 0;  // the characters of the subject that the rest matches
};

PatternShape shape_of(std::string_view pattern, std::size_t place) {
    PatternShape shape;
    while (place < pattern.size()) {
        ++shape.tail_size;
        if (pattern[place] != '$') {
            ++place;
            continue;
        }
        if (is_wildcard(pattern, place)) {
            ++shape.wildcards;
            shape.tail = place + kPatternItem;
            shape.tail_size = 0;
        }
        place += kPatternItem;
    }
    return shape;
}

// Whether the character that must follow the first wildcard, which stands `at`, is there at all. A letter may
// be in either case, and is left to the search.
bool has_next_literal(std::string_view subject, std::string_view pattern, Place at) {
    const std::size_t after_wildcard = at.pattern + kPatternItem;
    const char next = after_wildcard < pattern.size() ? pattern[after_wildcard] : '$';
    return next == '$' || text::kLetters.contains(next) ||
           subject.find(next, at.subject) != std::string_view::npos;
}

// Whether the end of the subject, from `place` on, can match what follows the last wildcard.
bool tail_matches(std::string_view subject, std::string_view pattern, const PatternShape &shape,
                  std::size_t place) {
    if (shape.tail_size > subject.size() - place) {
        return false;
    }
    Place tail{subject.size() - shape.tail_size, shape.tail};
    return match_literals(subject, pattern, tail) == LiteralEnd::kPatternEnd;
}

// The first place from `place` on where `c` stands, in either case; the size when there is none.
std::size_t find_character(std::string_view subject, char c, std::size_t place) {
    if (!text::kLetters.contains(c)) {
        return std::min(subject.find(c, place), subject.size());
    }
    const char wanted = text::to_upper(c);
    while (place < subject.size() && text::to_upper(subject[place]) != wanted) {
        ++place;
    }
    return place;
}

// Moves `at`, behind a wildcard, over the first literal run from there on, up to the next wildcard. Returns
// where the run begins, or nothing when there is none.
std::optional<std::size_t> find_run(std::string_view subject, std::string_view pattern, Place &at) {
    if (is_wildcard(pattern, at.pattern)) {
        return at.subject;
    }
    const char first = pattern[at.pattern];
    const char wanted = first == '$' && pattern[at.pattern + 1] == '_' ? ' ' : first;
    for (std::size_t begin = find_character(subject, wanted, at.subject); begin < subject.size();
         begin = find_character(subject, wanted, begin + 1)) {
        Place place{begin, at.pattern};
        if (match_literals(subject, pattern, place) == LiteralEnd::kWildcard) {
            at = place;
            return begin;
        }
    }
    return std::nullopt;
}

// Matches a pattern from its first wildcard on, which stands `at`, where wildcards may end anywhere. What
// follows the last one is known to match at the end.
bool match_anywhere(std::string_view subject, std::string_view pattern, const PatternShape &shape, Place at,
                    const Captures &captures) {
    struct Span {
        std::size_t begin;
        std::size_t end;
    };
    std::array<Span, MIM_CAPTURES> spans;  // NOLINT(*-member-init): filled as far as used
    for (std::size_t wildcard = 0; wildcard < shape.wildcards; ++wildcard) {
        const std::size_t begin = at.subject;
        const std::size_t least = begin + (pattern[at.pattern + 1] == '+' ? 1 : 0);
        std::optional<std::size_t> end = subject.size() - shape.tail_size;
        at = {least, at.pattern + kPatternItem};
        if (wildcard + 1 < shape.wildcards) {
            end = least <= subject.size() ? find_run(subject, pattern, at) : std::nullopt;
        }
        if (!end || *end < least) {
            return false;
        }
        if (wildcard < spans.size()) {
            spans[wildcard] = {begin, *end};
        }
    }
    const std::size_t room = std::min(captures.room - std::min(captures.first, captures.room), spans.size());
    for (std::size_t i = 0; i < std::min(shape.wildcards, room); ++i) {
        captures.starts[captures.first + i] = subject.data() + spans[i].begin;
        captures.lengths[captures.first + i] = static_cast<int>(spans[i].end - spans[i].begin);
    }
    return true;
}

// One bit for each place of the subject, its end included, that a wildcard has tried.
class TriedPlaces {
  public:
    TriedPlaces(std::uint32_t *words, std::size_t words_per_wildcard)
        : words_(words), row_size_(words_per_wildcard) {}

    void forget(std::size_t wildcard) { std::fill_n(words_ + wildcard * row_size_, row_size_, 0U); }

    // Marks the place as tried, and returns whether it was already.
    [[nodiscard]] bool test_and_mark(std::size_t wildcard, std::size_t place) {
        std::uint32_t &word = words_[wildcard * row_size_ + place / kWordBits];
        const std::uint32_t bit = std::uint32_t{1} << (place % kWordBits);
        const bool tried = (word & bit) != 0;
        word |= bit;
        return tried;
    }

  private:
    std::uint32_t *words_;
    std::size_t row_size_;
};

// The working memory of one match: on the stack as long as it is small.
class WorkingWords {
  public:
    explicit WorkingWords(std::uint64_t count) {
        if (count > kWordsOnStack) {
            constexpr std::uint64_t kMost = SIZE_MAX / sizeof(std::uint32_t);  // more than there can be
            const auto size = static_cast<std::size_t>(std::min(count, kMost)) * sizeof(std::uint32_t);
            heap_.reset(static_cast<std::uint32_t *>(mdc_malloc(size)));
            next_ = heap_.get();
        }
    }
    WorkingWords(const WorkingWords &) = delete;
    WorkingWords &operator=(const WorkingWords &) = delete;
    ~WorkingWords() = default;

    // The next `count` of the words, without a value.
    [[nodiscard]] std::uint32_t *take(std::size_t count) { return std::exchange(next_, next_ + count); }

  private:
    std::unique_ptr<std::uint32_t, Release<mdc_free>> heap_;
    std::uint32_t stack_[kWordsOnStack];  // NOLINT(*-avoid-c-arrays): left without a value on purpose
    std::uint32_t *next_ = stack_;
};

// The search from the first wildcard on. Each wildcard that it has reached, the innermost last, has an
// element in rest_ (where the pattern goes on after it), start_ (where its text begins), place_ (where the
// length that is being tried ends) and next_ (where the next length ends).
class Search {
  public:
    Search(std::string_view subject, std::string_view pattern, std::size_t wildcards, std::size_t step_words)
        : subject_(subject),
          pattern_(pattern),
          row_size_(subject.size() / kWordBits + 1),
          words_(step_words + std::uint64_t{wildcards} * (kWordsPerFrame + row_size_)),
          steps_(subject, words_.take(step_words), step_words),
          rest_(words_.take(wildcards)),
          start_(words_.take(wildcards)),
          place_(words_.take(wildcards)),
          next_(words_.take(wildcards)),
          tried_(words_.take(wildcards * row_size_), row_size_) {}

    // Whether the pattern matches from its first wildcard on, which stands `at`.
    [[nodiscard]] bool run(Place at) {
        enter(at);
        while (depth_ > 0) {
            const std::size_t top = depth_ - 1;
            if (!find_candidate(top)) {
                --depth_;  // from here on, every place that is left has failed before
                continue;
            }
            at = {place_[top], rest_[top]};
            switch (match_literals(subject_, pattern_, at)) {
                case LiteralEnd::kMismatch:
                    break;
                case LiteralEnd::kWildcard:
                    enter(at);
                    break;
                case LiteralEnd::kPatternEnd:
                    if (at.subject == subject_.size()) {
                        return true;
                    }
                    break;
            }
        }
        return false;
    }

    void write(const Captures &captures) const {
        const std::size_t count = std::min(depth_, captures.room - std::min(captures.first, captures.room));
        for (std::size_t i = 0; i < count; ++i) {
            captures.starts[captures.first + i] = subject_.data() + start_[i];
            captures.lengths[captures.first + i] = static_cast<int>(place_[i] - start_[i]);
        }
    }

  private:
    static constexpr std::uint32_t kNoPlace = static_cast<std::uint32_t>(-1);

    [[nodiscard]] std::uint32_t place_after(std::uint32_t place) const {
        return place < subject_.size() ? static_cast<std::uint32_t>(steps_.next(place)) : kNoPlace;
    }

    // Moves a wildcard to its next place that was not tried yet and where the pattern may go on; returns
    // false when there is none. Most places differ from the very next character of the pattern, and are
    // passed over here; a wildcard that ends the pattern takes all the rest, which every walk over the
    // subject reaches.
    bool find_candidate(std::size_t wildcard) {
        std::uint32_t place = next_[wildcard];
        if (rest_[wildcard] == pattern_.size()) {
            place_[wildcard] = static_cast<std::uint32_t>(subject_.size());
            next_[wildcard] = kNoPlace;
            return place != kNoPlace;
        }
        const char wanted = text::to_upper(pattern_[rest_[wildcard]]);
        while (place != kNoPlace && !tried_.test_and_mark(wildcard, place)) {
            const std::uint32_t after = place_after(place);
            if (wanted == '$' || (after != kNoPlace && text::to_upper(subject_[place]) == wanted)) {
                place_[wildcard] = place;
                next_[wildcard] = after;
                return true;
            }
            place = after;
        }
        return false;
    }

    void enter(Place at) {
        const std::size_t top = depth_++;
        if (top == known_rows_) {
            tried_.forget(known_rows_++);
        }
        const bool needs_one = pattern_[at.pattern + 1] == '+';
        const auto start = static_cast<std::uint32_t>(at.subject);
        rest_[top] = static_cast<std::uint32_t>(at.pattern + kPatternItem);
        start_[top] = start;
        next_[top] = needs_one ? place_after(start) : start;
    }

    std::string_view subject_;
    std::string_view pattern_;
    std::size_t row_size_;
    WorkingWords words_;
    WildcardSteps steps_;
    std::uint32_t *rest_;
    std::uint32_t *start_;
    std::uint32_t *place_;
    std::uint32_t *next_;
    TriedPlaces tried_;
    std::size_t known_rows_ = 0;  // wildcards whose row of tried places is in use
    std::size_t depth_ = 0;
};

}  // namespace

bool match_rule_pattern(std::string_view subject, std::string_view pattern, const Captures &captures) {
    Place at{0, 0};
    switch (match_literals(subject, pattern, at)) {
        case LiteralEnd::kMismatch:
            return false;
        case LiteralEnd::kPatternEnd:
            return at.subject == subject.size();
        case LiteralEnd::kWildcard:
            break;
    }
    // Most rules of a file fail here already, before the search has made ready.
    if (!has_next_literal(subject, pattern, at)) {
        return false;
    }
    const PatternShape shape = shape_of(pattern, at.pattern);
    if (!tail_matches(subject, pattern, shape, at.subject)) {
        return false;
    }
    const std::size_t step_words = WildcardSteps::words_needed(subject);
    if (step_words == 0) {
        return match_anywhere(subject, pattern, shape, at, captures);
    }
    Search search{subject, pattern, shape.wildcards, step_words};
    if (!search.run(at)) {
        return false;
    }
    search.write(captures);
    return true;
}

}  // namespace mim
