// The pattern matcher as it is described: what the library's must agree with.
#ifndef TESTS_RULES_REFERENCE_H
#define TESTS_RULES_REFERENCE_H

#include <cstring>
#include <string>
#include <vector>

#include "mim.h"

// The search as it is described, for texts without embedded zero bytes.
inline bool match_slowly(const char *subject, const char *pattern, std::vector<std::string> &captures) {
    const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; };
    if (*pattern == '\0') {
        return *subject == '\0';
    }
    if (*pattern != '$') {
        return upper(*pattern) == upper(*subject) && match_slowly(subject + 1, pattern + 1, captures);
    }
    if (pattern[1] == '$' || pattern[1] == '_') {
        return *subject == (pattern[1] == '$' ? '$' : ' ') && match_slowly(subject + 1, pattern + 2, captures);
    }
    if (pattern[1] != '*' && pattern[1] != '+') {
        return false;
    }
    const auto size = static_cast<int>(std::strlen(subject));
    for (int n = 0;;) {
        if (n >= (pattern[1] == '+' ? 1 : 0) && match_slowly(subject + n, pattern + 2, captures)) {
            captures.insert(captures.begin(), std::string(subject, static_cast<std::size_t>(n)));
            return true;
        }
        if (n == size) {
            return false;
        }
        const char c = subject[n];
        if (c == '"' || c == '[') {
            const int from = c == '"' ? n + 1 : n;
            const int found = mim_ScanArpaStrForSpecialChar(subject + from, c == '"' ? '"' : ']');
            n = found < 0 ? size : from + found + 1;
        } else {
            ++n;
        }
    }
}

#endif
