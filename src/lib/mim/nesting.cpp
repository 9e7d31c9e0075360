// Nesting of quoted strings, comments and brackets in addresses.

#include "nesting.h"

#include <algorithm>
#include <array>

namespace mim {
namespace {

constexpr std::size_t kEscapedPair = 2;  // a backslash and the character after it
constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// The closer of the group that `c` opens, or a zero byte when it opens none.
constexpr char closer_of(char c) {
    switch (c) {
        case '"':
            return '"';
        case '(':
            return ')';
        case '<':
            return '>';
        case '[':
            return ']';
        default:
            return '\0';
    }
}

// The place of the closer that ends the group opened just before `place`, or kNone.
std::size_t find_group_end(std::string_view text, std::size_t place, char opener, char closer) {
    int depth = 1;
    for (; place < text.size(); ++place) {
        const char c = text[place];
        if (c == '\\') {
            ++place;
        } else if (c == closer) {
            if (--depth == 0) {
                return place;
            }
        } else if (c == opener) {
            ++depth;
        }
    }
    return kNone;
}

// While a text is walked from its end: the closers to the right of the present place that no opener between
// has taken, for one kind of group. They form a stack, linked through `links`, which has a word for each
// place of the text.
class OpenClosers {
  public:
    explicit OpenClosers(std::uint32_t *links) : links_(links) {}

    [[nodiscard]] std::size_t nearest() const { return top_; }

    void push(std::size_t place) {
        links_[place] = static_cast<std::uint32_t>(top_);
        top_ = place;
    }

    void pop() {
        if (top_ != kNone) {
            const std::uint32_t below = links_[top_];
            top_ = below == static_cast<std::uint32_t>(kNone) ? kNone : below;
        }
    }

  private:
    std::uint32_t *links_;
    std::size_t top_ = kNone;
};

bool is_escaped(std::string_view text, std::size_t place) {
    std::size_t backslashes = 0;
    while (backslashes < place && text[place - 1 - backslashes] == '\\') {
        ++backslashes;
    }
    return backslashes % 2 != 0;
}

}  // namespace

std::size_t find_at_depth_zero(std::string_view text, char target) {
    std::size_t place = 0;
    while (place < text.size()) {
        const char c = text[place];
        if (c == '\\') {
            place += kEscapedPair;
        } else if (c == target) {
            return place;
        } else if (const char closer = closer_of(c); closer != '\0') {
            const std::size_t end = find_group_end(text, place + 1, c, closer);
            if (end == kNone) {
                break;
            }
            place = end + 1;
        } else {
            ++place;
        }
    }
    return text.size();
}

std::size_t WildcardSteps::words_needed(std::string_view subject) {
    const bool has_groups =
        subject.find('"') != std::string_view::npos || subject.find('[') != std::string_view::npos;
    const std::size_t with_end = subject.size() + kEscapedPair;
    return has_groups ? 2 * with_end + subject.size() : 0;
}

// A scan that begins behind a quote or at a bracket has no backslash before it, so whether a delimiter
// further on is escaped depends on the run of backslashes before it alone, not on where the scan began. That
// lets one backward pass serve every scan: what a scan from a place finds follows from what the scans from
// later places find, and the closer of an opener is the nearest one to its right that no opener between has
// taken. An escaped "[" is an opener only for the scan that begins at it, so it looks at that closer and
// takes nothing.
WildcardSteps::WildcardSteps(std::string_view subject, std::uint32_t *words, std::size_t word_count)
    : subject_(subject) {
    if (word_count == 0) {
        return;
    }
    const std::size_t size = subject.size();
    const std::size_t with_end = size + kEscapedPair;
    after_quote_ = words;
    after_bracket_ = words + with_end;
    std::uint32_t *links = words + 2 * with_end;
    OpenClosers parentheses{links};
    OpenClosers angles{links};
    OpenClosers squares{links};
    std::size_t next_quote = kNone;

    const auto end = static_cast<std::uint32_t>(size);
    std::fill_n(after_quote_ + size, kEscapedPair, end);
    std::fill_n(after_bracket_ + size, kEscapedPair, end);
    for (std::size_t place = size; place-- > 0;) {
        const char c = subject[place];
        std::size_t scan_on = place + 1;  // where a scan that passes over this character goes on
        OpenClosers *group = nullptr;
        switch (c) {
            case '\\':
                scan_on = place + kEscapedPair;
                break;
            case '"':
                scan_on = next_quote != kNone ? next_quote + 1 : size;
                break;
            case '(':
            case ')':
                group = &parentheses;
                break;
            case '<':
            case '>':
                group = &angles;
                break;
            case '[':
            case ']':
                group = &squares;
                break;
            default:
                break;
        }
        const bool opens_group = group != nullptr && closer_of(c) != '\0';
        if (opens_group) {
            scan_on = group->nearest() != kNone ? group->nearest() + 1 : size;
        }
        const auto after = static_cast<std::uint32_t>(place + 1);
        after_quote_[place] = c == '"' ? after : after_quote_[scan_on];
        after_bracket_[place] = c == ']' ? after : after_bracket_[scan_on];

        if ((c == '"' || group != nullptr) && !is_escaped(subject, place)) {
            if (c == '"') {
                next_quote = place;
            } else if (opens_group) {
                group->pop();
            } else {
                group->push(place);
            }
        }
    }
}

}  // namespace mim
