// Characters outside quoted strings, comments and brackets, and how a wildcard steps over them.
#ifndef MIM_NESTING_H
#define MIM_NESTING_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace mim {

// The place of the first `target` in `text` at nesting depth zero; the size or beyond when there is none.
//
// At depth zero a double quote, "(", "<" or "[" opens a group that only its own closer ends; only that pair
// counts inside, and nests. A backslash makes the next character ordinary. The target is tested before the
// opener.
[[nodiscard]] std::size_t find_at_depth_zero(std::string_view text, char target);

// The lengths that a wildcard may have, as a walk over the subject: from each place, the next one.
//
// An ordinary character is one step. At a double quote the walk goes to just after the next double quote that
// find_at_depth_zero finds behind it; at "[", to just after the "]" that it finds from the "[" on (so not the
// one that closes this group); without one, to the end of the subject. All the steps from quotes and brackets
// are computed together, from the end of the subject backwards, in time that grows with its length alone.
class WildcardSteps {
  public:
    // How many words of working memory `subject` needs: none without quotes and brackets.
    [[nodiscard]] static std::size_t words_needed(std::string_view subject);

    // `words` holds the `word_count` words needed for `subject`; both must outlive this object.
    WildcardSteps(std::string_view subject, std::uint32_t *words, std::size_t word_count);

    // The place after `place`, which is before the end of the subject.
    [[nodiscard]] std::size_t next(std::size_t place) const {
        switch (subject_[place]) {
            case '"':
                return after_quote_[place + 1];
            case '[':
                return after_bracket_[place];
            default:
                return place + 1;
        }
    }

  private:
    std::string_view subject_;
    // For a scan that begins at each place: the place just after the double quote, or "]", that it finds at
    // depth zero, or the size. Two places past the end stand for a scan that has run out.
    std::uint32_t *after_quote_ = nullptr;
    std::uint32_t *after_bracket_ = nullptr;
};

}  // namespace mim

#endif
