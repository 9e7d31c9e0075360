// What each rule of a rules file does to a text.
#ifndef TOOL_EXPLAIN_RULES_H
#define TOOL_EXPLAIN_RULES_H

#include <string>

#include "explanation.h"

namespace tool {

// Applies the rules of the file `path` to `text` one after the other, and adds a step for each that matched
// and one for the rest. Returns the text that they leave, empty when there is no such file.
[[nodiscard]] std::string explain_rules(const char *path, const std::string &text, Explanation &explanation);

}  // namespace tool

#endif
