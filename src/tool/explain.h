// The two directions of mim explain. Each adds the steps that lead to the result, and returns the result to
// which they lead; whoever calls compares it with that of the conversion itself.
#ifndef TOOL_EXPLAIN_H
#define TOOL_EXPLAIN_H

#include <string>

#include "explanation.h"
#include "orn_text.h"
#include "to_internet.h"

namespace tool {

// Explains what mim_ArpaToORN2 makes of `address` with `flags`, and makes `orn` the name.
void explain_address(const char *address, unsigned flags, OrName &orn, Explanation &explanation);

// Explains what `conversion` makes of `orn`, and returns the address. The conversion has just been made: the
// formatting has its settings.
[[nodiscard]] std::string explain_name(const OrName &orn, bool routable, const InternetConversion &conversion,
                                       const Session &session, Explanation &explanation);

}  // namespace tool

#endif
