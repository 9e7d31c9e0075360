// The fields of an O/R name as views into it.
#ifndef MIM_ORN_FIELD_H
#define MIM_ORN_FIELD_H

#include <string_view>

#include "nm.h"

namespace mim {

// The text of a field, empty when it is absent; valid until the O/R name changes.
[[nodiscard]] inline std::string_view field_text(const char *orn, const nm_index *index, int field) {
    int length = 0;
    const char *bytes = nm_GetFieldMemPtr(orn, index, field, &length);
    return bytes != nullptr ? std::string_view{bytes, static_cast<std::size_t>(length)} : std::string_view{};
}

// The separators of an O/R name (nm.h). The first one ends its first field.
inline constexpr char kNextField = 29;
inline constexpr char kNextBlock = 23;

}  // namespace mim

#endif
