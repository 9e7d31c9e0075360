// From items to rows: one row for each item, in order, misses included.
#ifndef TOOL_ROWS_H
#define TOOL_ROWS_H

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "session.h"

namespace tool {

using Json = nlohmann::ordered_json;

// What became of one item, in the form that the run asks for. Texts may hold any byte.
struct Answer {
    bool as_json;
    std::string column;  // the result column, escaped; empty in JSON
    Json result;         // the member "result"; null in columns
    Json details;        // an object whose members follow "status", or null

    // Makes `text` the result.
    void set(std::string_view text);
};

// One way to turn an item into a result.
class Conversion {
  public:
    virtual ~Conversion() = default;

    // The longest item that the library takes whole; a longer one is a miss, not an answer to another item.
    [[nodiscard]] virtual std::size_t longest_item() const = 0;

    // Fills `answer` for `item`. Failures of the library pass through.
    virtual void convert(const char *item, Answer &answer) = 0;
};

// Converts each of `arguments`, or of the lines of standard input, and writes the rows.
void convert_items(Session &session, const std::vector<std::string> &arguments, Conversion &conversion);

}  // namespace tool

#endif
