// The RFC 822 address parser and the trimmers.
//
// The parser follows the grammar only as far as it must to find the parts, and gives every input a result:
// quoted strings, comments and escapes are honoured, what is unbalanced runs to the end, and stray delimiters
// are ordinary. It works run by run: a run of characters that all take the same path is found with one scan
// and taken over whole, and a text that is one run of the input is copied only into its output. The input is
// first copied to where some bytes behind its end can be read, so that scans and copies take whole blocks.

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "frame.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/scan.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;
using text::find_any;
using text::kBlock;
using text::PaddedView;

constexpr std::size_t kEscapedPair = 2;  // a backslash and the character after it
// The place of the quote that closes a quoted string whose content begins at `from`; the size when it never
// closes.
std::size_t find_quoted_end(PaddedView text, std::size_t from) {
    while ((from = find_any<'"', '\\'>(text, from)) < text.size()) {
        if (text[from] == '"') {
            return from;
        }
        from += kEscapedPair;
    }
    return text.size();
}

// The place of the parenthesis that closes a comment whose content begins at `from`; the size when it never
// closes.
std::size_t find_comment_end(PaddedView text, std::size_t from) {
    int depth = 1;
    while ((from = find_any<'(', ')', '\\'>(text, from)) < text.size()) {
        if (text[from] == '\\') {
            from += kEscapedPair;
            continue;
        }
        depth += text[from] == '(' ? 1 : -1;
        if (depth == 0) {
            return from;
        }
        ++from;
    }
    return text.size();
}

// The first place from `from` on that may mean something to the split.
std::size_t find_delimiter(PaddedView text, std::size_t from) {
    return find_any<'(', '"', '\\', '<', '>'>(text, from);
}

// Whether a "<" stands outside quoted strings and comments; `place` is that of the first delimiter.
bool is_angle_form(PaddedView text, std::size_t place) {
    for (; place < text.size(); place = find_delimiter(text, place)) {
        switch (text[place]) {
            case '<':
                return true;
            case '(':
                place = find_comment_end(text, place + 1) + 1;
                break;
            case '"':
                place = find_quoted_end(text, place + 1) + 1;
                break;
            case '\\':
                place += kEscapedPair;
                break;
            default:
                ++place;
        }
    }
    return false;
}

// A text put together from runs of the input. It stays a view of the input as long as the runs are
// neighbours, and moves into a buffer of its own with the first that is not. All runs together fit, being no
// longer than the input.
class JoinedRuns {
  public:
    // The buffer has no value until a run is copied into it: most texts never need it.
    JoinedRuns() {}  // NOLINT(*-member-init,*-use-equals-default)
    JoinedRuns(const JoinedRuns &) = delete;
    JoinedRuns &operator=(const JoinedRuns &) = delete;
    ~JoinedRuns() = default;

    void append(PaddedView run) {
        if (view_.empty()) {
            view_ = run;
        } else if (view_.data() + view_.size() == run.data()) {
            view_ = {view_.data(), view_.size() + run.size()};
        } else if (!run.empty()) {
            if (view_.data() != buffer_) {
                std::memcpy(buffer_, view_.data(), view_.size());
            }
            std::memcpy(buffer_ + view_.size(), run.data(), run.size());
            view_ = {buffer_, view_.size() + run.size()};
            std::memset(buffer_ + view_.size(), 0, kBlock);
        }
    }

    [[nodiscard]] PaddedView view() const { return view_; }

  private:
    PaddedView view_;
    char buffer_[MIM_ADDRESS_SIZE + kBlock];  // NOLINT(*-avoid-c-arrays)
};

// Splits the input into the phrase with the comments, and the address proper.
void split_phrase_and_address(PaddedView input, JoinedRuns &phrase, JoinedRuns &address) {
    std::size_t stop = find_delimiter(input, 0);
    const bool angle_form = is_angle_form(input, stop);
    JoinedRuns *target = angle_form ? &phrase : &address;
    std::size_t place = 0;  // where what is not yet taken over begins
    for (; stop < input.size(); stop = find_delimiter(input, place)) {
        target->append(input.substr(place, stop - place));
        place = stop + 1;
        switch (input[stop]) {
            case '<':
                target = &address;
                break;
            case '>':
                if (angle_form) {
                    target = &phrase;
                } else {
                    target->append(input.substr(stop, 1));
                }
                break;
            case '(': {
                const std::size_t end = find_comment_end(input, place);
                phrase.append(input.substr(place, end - place));
                place = end + 1;
                break;
            }
            case '"':
                place = find_quoted_end(input, place) + 1;
                target->append(input.substr(stop, place - stop));
                break;
            default:
                place = stop + kEscapedPair;
                target->append(input.substr(stop, kEscapedPair));
        }
    }
    if (place < input.size()) {
        target->append(input.substr(place));
    }
}

// What mim_trim_spacequotes leaves of a text, before the escapes are resolved.
struct Unquoted {
    std::string_view text;
    bool has_escapes;  // the text was quoted on both sides: a backslash escapes the character after it
};

Unquoted unquote(std::string_view text) {
    text = text::trim(text, text::kWhiteSpace);
    if (text.empty() || text.front() != '"') {
        return {text, false};
    }
    text = text::trim(text.substr(1), text::kWhiteSpace);
    if (text.size() < 2 || text.back() != '"') {
        return {text, false};
    }
    text.remove_suffix(1);
    text = text::trim(text, text::kWhiteSpace);
    return {text, text.find('\\') != std::string_view::npos};
}

// Writes an unquoted text, its escapes resolved, into a buffer that holds it; the text may lie in that
// buffer.
void write_unquoted(const Unquoted &unquoted, char *out, std::size_t capacity) {
    const std::string_view text = unquoted.text;
    if (!unquoted.has_escapes) {
        text::copy_text(text, out, capacity);
        return;
    }
    std::size_t length = 0;
    for (std::size_t place = 0; place < text.size(); ++place) {
        const bool escapes_next = text[place] == '\\' && place + 1 < text.size();
        place += escapes_next ? 1 : 0;
        out[length++] = text[place];
    }
    out[length] = '\0';
}

// Writes an output of the parser, in whole blocks: its buffer holds a whole number of them.
void write_output(PaddedView text, char *out) {
    static_assert(MIM_ADDRESS_SIZE % kBlock == 0);
    if (out != nullptr) {
        for (std::size_t place = 0; place < text.size(); place += kBlock) {
            std::memcpy(out + place, text.data() + place, kBlock);
        }
        out[text.size()] = '\0';
    }
}

void write_unquoted_output(PaddedView text, char *out) {
    if (out != nullptr) {
        const Unquoted unquoted = unquote(text);
        if (unquoted.has_escapes) {
            write_unquoted(unquoted, out, MIM_ADDRESS_SIZE);
        } else {
            write_output(unquoted.text, out);
        }
    }
}

// Where the "@" stands that separates local part and domain; the size when there is none.
std::size_t find_separator(PaddedView mailbox) {
    std::size_t place = 0;
    while ((place = find_any<'@', '"', '\\'>(mailbox, place)) < mailbox.size()) {
        switch (mailbox[place]) {
            case '@':
                return place;
            case '"':
                place = find_quoted_end(mailbox, place + 1) + 1;
                break;
            default:
                place += kEscapedPair;
        }
    }
    return mailbox.size();
}

void parse_address(PaddedView input, char *phrase, char *address, char *route, char *local_part,
                   char *domain) {
    JoinedRuns phrase_runs;
    JoinedRuns address_runs;
    split_phrase_and_address(input, phrase_runs, address_runs);
    write_unquoted_output(phrase_runs.view(), phrase);

    PaddedView mailbox = text::trim(address_runs.view(), text::kWhiteSpace);
    write_output(mailbox, address);

    const bool may_have_route = !mailbox.empty() && mailbox.front() == '@';
    const std::size_t route_end = may_have_route ? mailbox.rfind(':') : PaddedView::npos;
    if (route_end != PaddedView::npos) {
        write_output(mailbox.substr(0, route_end), route);
        mailbox.remove_prefix(route_end + 1);
    } else {
        write_output({}, route);
    }

    const std::size_t separator = find_separator(mailbox);
    write_unquoted_output(mailbox.substr(0, separator), local_part);
    write_output(separator < mailbox.size() ? mailbox.substr(separator + 1) : PaddedView{}, domain);
}

}  // namespace

void mim_parse_address(const char *text, char *phrase, char *address, char *route, char *local_part,
                       char *domain) {
    mim::traced<TraceClass::kSetup>(__func__, [&] {
        std::array<char, MIM_ADDRESS_SIZE + kBlock>
            input;  // NOLINT(*-member-init): filled as far as it is read
        const std::size_t length = strnlen(text, MIM_MAX_ADDRESS);
        std::memcpy(input.data(), text, length);
        std::memset(input.data() + length, 0, kBlock);
        parse_address({input.data(), length}, phrase, address, route, local_part, domain);
    });
}

void mim_trim_space(char *text) {
    const std::string_view whole{text};
    text::copy_text(text::trim(whole, text::kWhiteSpace), text, whole.size() + 1);
}

void mim_trim_spacequotes(char *text) {
    const std::string_view whole{text};
    write_unquoted(unquote(whole), text, whole.size() + 1);
}

void mim_trim_trailing_space(char *text) {
    std::size_t length = std::strlen(text);
    while (length > 0 && text::kWhiteSpace.contains(text[length - 1])) {
        --length;
    }
    text[length] = '\0';
}
