// Texts cut into tokens.
#ifndef TEXT_TOKENS_H
#define TEXT_TOKENS_H

#include <cstddef>
#include <string_view>

#include "text/ascii.h"

namespace text {

// How a terminated text falls into tokens: delimiters in any number stand between them, and a character that
// ends the text does so where its terminator would.
class Tokens {
  public:
    constexpr explicit Tokens(const CharSet &delimiters, std::string_view ends = {})
        : delimiters_(~(~delimiters | CharSet{ends})),
          token_ends_(delimiters | CharSet{ends} | CharSet::range('\0', '\0')) {}

    // Takes the next token from `place` on. Empty at the end. It goes byte by byte: a line was only just
    // copied, and a wider load would have to wait for the copy's stores.
    [[nodiscard]] std::string_view take(const char *&place) const {
        while (delimiters_.contains(*place)) {
            ++place;
        }
        const char *const begin = place;
        while (!token_ends_.contains(*place)) {
            ++place;
        }
        return {begin, static_cast<std::size_t>(place - begin)};
    }

  private:
    CharSet delimiters_;
    CharSet token_ends_;
};

}  // namespace text

#endif
