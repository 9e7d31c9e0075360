// The character sets that the server knows.
#ifndef KV_CCS_TABLE_H
#define KV_CCS_TABLE_H

#include <string_view>

#include "ccs.h"

// A row of the table. Every set holds ASCII at ASCII's places (T61INTL: what it has of it), and none has
// locking shifts.
struct ccs_charset {
    const char *name;
    int32_t flags;
    const char *iconv_name;
};

namespace kv {

inline constexpr const char *kInternalCharset = "T61INTL";
inline constexpr const char *kUnicodeCharset = "UTF8";

// The row of a name of the server's, without regard to case, or null.
[[nodiscard]] const ccs_charset *find_charset(std::string_view name);

}  // namespace kv

#endif
