// The message queue's names.

#include "q.h"

#include <string_view>

#include "text/ascii.h"

int Q_NamesMatch(const char *a, const char *b) {
    const bool match = text::equal_ignoring_case(text::trim(a, text::kBlanks), text::trim(b, text::kBlanks));
    return match ? 0 : 1;
}
