// From items to rows: one row for each item, in order, misses included. Where a row has more to tell than
// fits a line, it is a block of lines.
#ifndef TOOL_ROWS_H
#define TOOL_ROWS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "items.h"
#include "json_value.h"
#include "session.h"

namespace tool {

// What became of one item, in the form that the run asks for. Texts may hold any byte.
struct Answer {
    explicit Answer(bool json, bool block = false, std::size_t result_columns = 1)
        : as_json(json), as_block(block && !json), columns(result_columns) {}

    bool as_json;
    bool as_block;
    std::size_t columns;       // how many result columns a row has
    std::size_t added = 0;     // how many of several it has by now
    std::string column;        // the result columns, escaped; empty in JSON
    std::string lines;         // of a block: what stands between the item and the result, escaped
    JsonValue result;          // the member "result"; null in columns
    JsonValue details;         // an object whose members follow "status", or null
    std::string status{"ok"};  // of a row with a result
    std::string fault;         // why there is no result, or empty

    // Makes `text` the result.
    void set(std::string_view text);

    // Adds one of several result columns; those before a miss are shown. Nothing in JSON.
    void add_column(std::string_view text);

    // Makes `value` the part `name` of a result of several: name="value" in the column.
    void set_part(const char *name, std::string_view value);

    // Says that there is no result, and why.
    void miss(std::string_view reason) { fault = reason; }

    void clear();
};

// Writes the row of `item`.
void append_row(Session &session, const Item &item, const Answer &answer);

// One way to turn an item into a result.
class Conversion {
  public:
    virtual ~Conversion() = default;

    // The longest item that the library takes whole; a longer one is a miss, not an answer to another item.
    [[nodiscard]] virtual std::size_t longest_item() const = 0;

    // Whether rows are blocks: the item, the lines of the answer, and "= " with the result or "error: " with
    // the reason; an empty line between two of them.
    [[nodiscard]] virtual bool writes_blocks() const { return false; }

    // How many result columns a row has. Each answer then adds them.
    [[nodiscard]] virtual std::size_t result_columns() const { return 1; }

    // Fills `answer`, which is clear, for `item`. Failures of the library pass through.
    virtual void convert(const char *item, Answer &answer) = 0;
};

// Converts each of `arguments`, or of the lines of standard input, and writes the rows.
void convert_items(Session &session, const std::vector<std::string> &arguments, Conversion &conversion);

}  // namespace tool

#endif
