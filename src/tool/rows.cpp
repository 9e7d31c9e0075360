// Runs a conversion over all items. A failure ends its item, not the run, unless it is persistent: then it
// goes on to the outermost handler.

#include "rows.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "escape.h"
#include "json_line.h"
#include "mes.h"

namespace tool {

namespace {

// The one failure that an item alone can cause: its O/R name would be too long (nm.h). Behind any other
// stands a file or a service.
constexpr int kNameTooLong = 905;

bool is_of_item(const er_identity &failure) {
    return failure.set == MES_SET_SERVER && failure.number == kNameTooLong;
}

// Why the item cannot be converted as it is, or the empty text.
std::string find_fault(const Item &item, std::size_t longest_item) {
    if (item.cut) {
        return "line longer than " + std::to_string(kMaxLine) + " bytes, shown cut";
    }
    if (item.text.find('\0') != std::string_view::npos) {
        return "holds a zero byte";
    }
    if (item.text.size() > longest_item) {
        return "longer than " + std::to_string(longest_item) + " characters";
    }
    return {};
}

// Converts one item; the answer has its result, or the reason why there is none.
void convert_item(Session &session, const Item &item, Conversion &conversion, Answer &answer) {
    answer.clear();
    answer.fault = find_fault(item, conversion.longest_item());
    if (answer.fault.empty()) {
        const std::optional<er_identity> failure =
            session.run_step({}, [&] { conversion.convert(item.text.data(), answer); });
        if (failure) {
            answer.clear();
            answer.fault = describe(*failure);
            if (!is_of_item(*failure)) {
                session.note(Exit::kFailed);
            }
        }
    }
    if (!answer.fault.empty()) {
        session.note(Exit::kNoResult);
    }
}

void append_columns_of_miss(std::string &out, const Answer &answer) {
    if (answer.added > 0) {
        out += answer.column;
    }
    out.append(answer.columns - std::max<std::size_t>(answer.added, 1), '\t');
}

void append_columns(std::string &out, const Item &item, const Answer &answer) {
    append_escaped(out, item.text, kColumnSpecials);
    out += '\t';
    if (answer.fault.empty()) {
        out += answer.column;
        out += '\t';
        append_escaped(out, answer.status, kColumnSpecials);
    } else {
        append_columns_of_miss(out, answer);
        out += "\terror: ";
        append_escaped(out, answer.fault, kColumnSpecials);
    }
    out += '\n';
}

void append_block(std::string &out, const Item &item, const Answer &answer) {
    append_escaped(out, item.text, kColumnSpecials);
    out += '\n';
    out += answer.lines;
    if (answer.fault.empty()) {
        out += "= ";
        out += answer.column;
    } else {
        out += "error: ";
        append_escaped(out, answer.fault, kColumnSpecials);
    }
    out += '\n';
}

void append_object(std::string &out, const Item &item, const Answer &answer) {
    Json row;
    row["input"] = item.text;
    if (answer.fault.empty()) {
        row["result"] = *answer.result;
        row["status"] = answer.status;
    } else {
        row["result"] = nullptr;
        row["status"] = "error: " + answer.fault;
    }
    if (answer.details->is_object()) {
        row.update(*answer.details);
    }
    append_json_line(out, row);
}

}  // namespace

void Answer::set(std::string_view text) {
    if (as_json) {
        *result = text;
    } else {
        append_escaped(column, text, kColumnSpecials);
    }
}

void Answer::add_column(std::string_view text) {
    if (!as_json) {
        column += added++ > 0 ? "\t" : "";
        append_escaped(column, text, kColumnSpecials);
    }
}

void Answer::set_part(const char *name, std::string_view value) {
    if (as_json) {
        result[name] = value;
        return;
    }
    if (!column.empty()) {
        column += ' ';
    }
    column += name;
    column += "=\"";
    append_escaped(column, value, kQuotedSpecials);
    column += '"';
}

void Answer::clear() {
    added = 0;
    column.clear();
    lines.clear();
    *result = nullptr;
    *details = nullptr;
    status = "ok";
    fault.clear();
}

void append_row(Session &session, const Item &item, const Answer &answer) {
    std::string &rows = session.rows.buffer();
    if (session.json) {
        append_object(rows, item, answer);
    } else if (answer.as_block) {
        append_block(rows, item, answer);
    } else {
        append_columns(rows, item, answer);
    }
    session.rows.flush_full_block();
}

void convert_items(Session &session, const std::vector<std::string> &arguments, Conversion &conversion) {
    Items items{arguments, session.rows};
    Answer answer{session.json, conversion.writes_blocks(), conversion.result_columns()};
    for (bool is_first = true; session.rows.error() == 0; is_first = false) {
        const std::optional<Item> item = items.next();
        if (!item) {
            return;
        }
        convert_item(session, *item, conversion, answer);
        if (answer.as_block && !is_first) {
            session.rows.buffer() += '\n';
        }
        append_row(session, *item, answer);
    }
}

}  // namespace tool
