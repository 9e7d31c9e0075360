// What the directory services share of attributes beyond da.h.
#ifndef KV_DA_INTERNAL_H
#define KV_DA_INTERNAL_H

#include <cstddef>
#include <string_view>

#include "da.h"

struct da_entry {
    int count;
    da_attribute attributes[DA_MAX_ATTRIBUTES];  // the first `count` hold something
};

namespace kv {

inline constexpr char kValueSeparator = 29;

[[nodiscard]] inline std::string_view name_of(const da_attribute &attribute) {
    return {attribute.name, static_cast<std::size_t>(attribute.name_length)};
}

[[nodiscard]] inline std::string_view value_of(const da_attribute &attribute) {
    return {attribute.value, static_cast<std::size_t>(attribute.value_length)};
}

[[nodiscard]] inline da_attribute make_attribute(std::string_view name, std::string_view value) {
    return {name.data(), value.data(), static_cast<std::int32_t>(name.size()),
            static_cast<std::int32_t>(value.size())};
}

// Whether a directory's attribute can have this name (see da_AddAttribToList).
[[nodiscard]] bool is_attribute_name(std::string_view name);

// Whether an attribute of this name is part of an O/R name.
[[nodiscard]] bool is_orn_attribute(std::string_view name);

}  // namespace kv

#endif
