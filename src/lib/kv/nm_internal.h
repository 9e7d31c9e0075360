// What the services of this library use of O/R names beyond nm.h.
#ifndef KV_NM_INTERNAL_H
#define KV_NM_INTERNAL_H

#include <cstddef>
#include <string_view>

#include "nm.h"

namespace kv {

// Does what nm_PutFieldMem does for a field number that exists; false, with nothing changed, when the name
// would be too long.
[[nodiscard]] bool try_put_field(char *orn, nm_index &index, int field, std::string_view bytes);

// The bytes of a field inside `orn`; empty when it is absent or the number is no field.
[[nodiscard]] std::string_view field_text(const char *orn, const nm_index &index, int field);

// Whether a field has a T.61 form, field NM_T61 + `field`.
[[nodiscard]] constexpr bool has_t61_form(int field) {
    return (field >= NM_SURNAME && field <= NM_ORGANISATION) ||
           (field >= NM_DDA1_TYPE && field <= NM_DDA4_VALUE) || field == NM_COMMON_NAME;
}

// Whether a field is the T.61 form of another.
[[nodiscard]] constexpr bool is_t61_form(int field) {
    return has_t61_form(field - NM_T61);
}

// Whether a field is a known attribute: one that has a keyword in text form.
[[nodiscard]] constexpr bool has_keyword(int field) {
    return (field >= NM_SURNAME && field <= NM_DDA4_VALUE) ||
           (field >= NM_COMMON_NAME && field <= NM_LAST_POSTAL) || field == NM_INTERNET_ADDRESS ||
           is_t61_form(field);
}

inline constexpr int kNoField = -1;
inline constexpr std::string_view kT61Prefix = "T61.";
inline constexpr std::string_view kDdaPrefix = "DD.";
inline constexpr std::size_t kDdaCount = (NM_DDA4_VALUE - NM_DDA1_TYPE + 1) / 2;

// The field with the type of DDA number `dda` (from 0); its value is the next.
[[nodiscard]] constexpr int dda_type_field(std::size_t dda) {
    return NM_DDA1_TYPE + 2 * static_cast<int>(dda);
}

// The keyword of a field in text form, T61. and the number of a unit included: S, OU1, T61.CN, IA. Empty for
// the fields of DDAs, and for those without keyword. Static text.
[[nodiscard]] std::string_view keyword_of_field(int field);

// The field that such a keyword stands for, without regard to case; kNoField when it is none.
[[nodiscard]] int field_of_keyword(std::string_view keyword);

// Takes `prefix` from the begin of `text`, without regard to case; false when it is not there.
bool take_prefix(std::string_view &text, std::string_view prefix);

}  // namespace kv

#endif
