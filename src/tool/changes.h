// What differs between two addresses, and between two O/R names.
#ifndef TOOL_CHANGES_H
#define TOOL_CHANGES_H

#include <string>
#include <vector>

#include "orn_text.h"
#include "rows.h"

namespace tool {

struct Change {
    std::string part;  // a part of an address in words, or the keyword of an attribute
    std::string was;
    std::string is;
};

enum class Comparison {
    kExact,  // to the letter
    kLoose   // as mail compares: without regard to case, but for the local parts of addresses
};

// The parts in which two addresses differ, as mim_parse_address splits them: "route", "local part", "domain",
// and "phrase" when `phrases` says so. None means that they are the same, however they are written.
[[nodiscard]] std::vector<Change> changes_of_address(const std::string &was, const std::string &is,
                                                     Comparison comparison, bool phrases);

// The attributes in which two O/R names differ, field by field. Domain-defined attributes are compared by
// their types, and loosely as addresses: that is what most of them hold.
[[nodiscard]] std::vector<Change> changes_of_name(const OrName &was, const OrName &is, Comparison comparison);

// The parts, with commas between them.
[[nodiscard]] std::string parts_of(const std::vector<Change> &changes);

// An array of objects with "part", "was" and "is".
[[nodiscard]] Json json_of(const std::vector<Change> &changes);

}  // namespace tool

#endif
