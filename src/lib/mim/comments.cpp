// Addresses with comments, checked and tidied.

#include <string_view>

#include "frame.h"
#include "mim.h"
#include "text/ascii.h"

namespace {

using mim::TraceClass;

constexpr text::CharSet kBlanks{" \t"};
constexpr text::CharSet kDroppedBefore = kBlanks | text::CharSet{"("};  // a blank before one of these goes

bool has_text_outside_comments(std::string_view text) {
    int depth = 0;
    bool is_escaped = false;
    for (const char c : text) {
        if (c == '(' || c == ')') {
            if (!is_escaped) {
                depth += c == '(' ? 1 : -1;
            }
            if (depth < 0) {
                return false;
            }
            is_escaped = false;
        } else {
            is_escaped = c == '\\' && !is_escaped;
            if (depth == 0) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace

int mim_IsValidArpaAddress(const char *address) {
    return mim::traced<TraceClass::kMain>(__func__,
                                          [&] { return has_text_outside_comments(address) ? 1 : 0; });
}

void mim_TrimCommentSpaces(char *text) {
    mim_SpaceTrimming(text);
    if (text == nullptr) {
        return;
    }
    char *end = text;
    for (const char *c = text; *c != '\0'; ++c) {
        const bool follows_comment = end != text && end[-1] == ')';
        if (!kBlanks.contains(*c) || (!follows_comment && !kDroppedBefore.contains(c[1]))) {
            *end++ = *c;
        }
    }
    *end = '\0';
}
