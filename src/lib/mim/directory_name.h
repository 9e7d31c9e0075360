// The O/R name that the directory holds for a user.
#ifndef MIM_DIRECTORY_NAME_H
#define MIM_DIRECTORY_NAME_H

#include <cstdint>

namespace mim {

// Finds the entry that holds all the attributes of `orn` in `directory`, and makes `found` (NM_ORN_SIZE
// bytes) the O/R name of all its attributes. Returns false when there is not exactly one entry, or its
// attributes make no name. Passes failures on.
[[nodiscard]] bool find_directory_name(std::int16_t directory, const char *orn, char *found);

}  // namespace mim

#endif
