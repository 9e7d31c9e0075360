#include "json_value.h"

#include <nlohmann/json.hpp>
#include <string>

namespace tool {

JsonValue::JsonValue() : value_{std::make_unique<Json>()} {}
JsonValue::JsonValue(JsonValue &&other) noexcept = default;
JsonValue &JsonValue::operator=(JsonValue &&other) noexcept = default;
JsonValue::~JsonValue() = default;

Json &JsonValue::operator[](std::string_view name) {
    return (*value_)[std::string{name}];
}

}  // namespace tool
