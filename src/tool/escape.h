// How bytes are shown where a row or a diagnostic must stay one line.
#ifndef TOOL_ESCAPE_H
#define TOOL_ESCAPE_H

#include <string>
#include <string_view>

#include "text/ascii.h"

namespace tool {

// What a column of a row escapes: what would break the row. The backslash is no part of it, so that an O/R
// name can be copied from a row as it stands (its text form holds no control character), nor are bytes above
// 127.
inline constexpr text::CharSet kColumnSpecials = text::kControls;

// What a text between quotes escapes: the quote too, and the backslash with it.
inline constexpr text::CharSet kQuotedSpecials = kColumnSpecials | text::CharSet{"\"\\"};

// Appends `text` to `out`; each member of `specials` becomes \t, \n, \xHH (the other controls) or itself
// after a backslash.
void append_escaped(std::string &out, std::string_view text, const text::CharSet &specials);

}  // namespace tool

#endif
