// The pattern matcher of the rules.
#ifndef MIM_RULE_PATTERN_H
#define MIM_RULE_PATTERN_H

#include <cstddef>
#include <string_view>

namespace mim {

// What the wildcards of a pattern matched; receives those from `first` on (counting from 0), as far as there
// is room.
struct Captures {
    const char **starts;
    int *lengths;
    std::size_t room;
    std::size_t first;
};

// Whether `pattern` matches the whole of `subject`; the captures are written only then. Raises a failure when
// memory for a long subject or pattern is exhausted.
[[nodiscard]] bool match_rule_pattern(std::string_view subject, std::string_view pattern,
                                      const Captures &captures);

}  // namespace mim

#endif
