// The settings that stand in for a gateway's default mail node.
#ifndef TOOL_NODE_OVERRIDE_H
#define TOOL_NODE_OVERRIDE_H

#include <string>

#include "orn_text.h"

namespace tool {

inline constexpr const char *kOverrideCharset = "ISO8859_1";  // of a setting, unless another is set

// Makes `node` the name that `text`, written in `charset`, stands for; false when it is no O/R address, or a
// service says no: the default mail node then holds.
[[nodiscard]] bool read_override(const std::string &text, const std::string &charset, OrName &node);

}  // namespace tool

#endif
