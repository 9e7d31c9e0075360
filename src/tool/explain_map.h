// What a domain map of the home says of a domain or of an O/R name, and why.
#ifndef TOOL_EXPLAIN_MAP_H
#define TOOL_EXPLAIN_MAP_H

#include <optional>
#include <string>

#include "explanation.h"
#include "orn_text.h"

namespace tool {

// Looks `domain` up in the gateway map, stores the attributes of the line that won in `orn`, and adds the
// step that tells of it. Returns whether there was one that can be used.
[[nodiscard]] bool explain_gateway_map(const std::string &domain, OrName &orn, Explanation &explanation);

// Looks `orn` up in the X.400 domain map, and adds the step that tells of it. Returns the domain, and empties
// the routing fields of `orn`; or nothing, with `orn` as it was.
[[nodiscard]] std::optional<std::string> explain_x400_map(OrName &orn, Explanation &explanation);

}  // namespace tool

#endif
