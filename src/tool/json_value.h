// JSON values in declarations. Who fills or reads one includes <nlohmann/json.hpp>; it is long to read, and
// most sources do neither.
#ifndef TOOL_JSON_VALUE_H
#define TOOL_JSON_VALUE_H

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string_view>

namespace tool {

using Json = nlohmann::ordered_json;

// Holds a JSON value, which is null at first. One that was moved from holds none.
class JsonValue {
  public:
    JsonValue();
    JsonValue(JsonValue &&other) noexcept;
    JsonValue &operator=(JsonValue &&other) noexcept;
    ~JsonValue();

    [[nodiscard]] Json &operator*() { return *value_; }
    [[nodiscard]] const Json &operator*() const { return *value_; }
    [[nodiscard]] Json *operator->() { return value_.get(); }
    [[nodiscard]] const Json *operator->() const { return value_.get(); }

    // The member `name`, which is added when there is none; null becomes an object.
    [[nodiscard]] Json &operator[](std::string_view name);

  private:
    std::unique_ptr<Json> value_;
};

}  // namespace tool

#endif
