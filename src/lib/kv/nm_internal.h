// Storing a field of an O/R name without raising a failure.
#ifndef KV_NM_STORE_H
#define KV_NM_STORE_H

#include <string_view>

#include "nm.h"

namespace kv {

// Does what nm_PutFieldMem does for a field number that exists; false, with nothing changed, when the name
// would be too long.
[[nodiscard]] bool try_put_field(char *orn, nm_index &index, int field, std::string_view bytes);

}  // namespace kv

#endif
