// One JSON object, one line.
#ifndef TOOL_JSON_LINE_H
#define TOOL_JSON_LINE_H

#include <string>

#include "json_value.h"

namespace tool {

// Appends the object `row` and a newline to `out`. Its texts may hold any byte: where one is not UTF-8, every
// text of the row is read as ISO 8859-1 instead, which has a character for each byte, and the row gets the
// member "latin1": true. Whoever writes the texts of such a row in ISO 8859-1 has the bytes back.
void append_json_line(std::string &out, Json &row);

}  // namespace tool

#endif
