// What the services of this library use of O/R names beyond nm.h.
#ifndef KV_NM_INTERNAL_H
#define KV_NM_INTERNAL_H

#include <string_view>

#include "nm.h"

namespace kv {

// Does what nm_PutFieldMem does for a field number that exists; false, with nothing changed, when the name
// would be too long.
[[nodiscard]] bool try_put_field(char *orn, nm_index &index, int field, std::string_view bytes);

// The bytes of a field inside `orn`; empty when it is absent or the number is no field.
[[nodiscard]] std::string_view field_text(const char *orn, const nm_index &index, int field);

// Whether a field is a known attribute: one that has a keyword in text form.
[[nodiscard]] bool has_keyword(int field);

// Whether a field is the T.61 form of another.
[[nodiscard]] inline bool is_t61_form(int field) {
    return field >= NM_T61 && nm_GetCorrT61FNum(field - NM_T61) == field;
}

}  // namespace kv

#endif
