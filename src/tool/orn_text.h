// O/R names as the command shows them.
#ifndef TOOL_ORN_TEXT_H
#define TOOL_ORN_TEXT_H

#include <array>

#include "nm.h"
#include "rows.h"

namespace tool {

// An O/R name with its index, as conversions fill it, and room for its text form.
struct OrName {
    std::array<char, NM_ORN_SIZE> text;
    nm_index index;
    std::array<char, NM_TEXT_SIZE> form;
};

// Makes the text form of `orn` the result; in JSON, with the fields by keyword as the member "fields": an
// object with a text for each field, and under "DD" (and "T61.DD") the domain-defined attributes, an array of
// {"type", "value"}, for two of them may have one type.
void answer_orn(OrName &orn, Answer &answer);

}  // namespace tool

#endif
