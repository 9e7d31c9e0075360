// Runs a conversion over all items. A failure ends its item, not the run, unless it is persistent: then it
// goes on to the outermost handler.

#include "rows.h"

#include "escape.h"
#include "items.h"
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

// Converts one item. Returns why it has no result, or the empty text.
std::string convert_item(Session &session, const Item &item, Conversion &conversion, Answer &answer) {
    std::string fault = find_fault(item, conversion.longest_item());
    if (!fault.empty()) {
        session.note(Exit::kNoResult);
        return fault;
    }
    session.begin_item();
    if (protect([&] { conversion.convert(item.text.data(), answer); }) == 0) {
        session.report_survived();
        return {};
    }
    er_identity failure{};
    er_LastFailure(&failure);
    er_Clear();
    if (er_GetLive() != 0) {
        er_TraceBeforeJump("rows", __LINE__);
        er_Jump(er_GetCurrEnv(), 1);
    }
    session.note(is_of_item(failure) ? Exit::kNoResult : Exit::kFailed);
    return describe(failure);
}

void append_columns(std::string &out, const Item &item, const Answer &answer, const std::string &fault) {
    append_escaped(out, item.text, kColumnSpecials);
    out += '\t';
    if (fault.empty()) {
        out += answer.column;
        out += "\tok\n";
    } else {
        out += "\terror: ";
        append_escaped(out, fault, kColumnSpecials);
        out += '\n';
    }
}

void append_object(std::string &out, const Item &item, const Answer &answer, const std::string &fault) {
    Json row;
    row["input"] = item.text;
    if (fault.empty()) {
        row["result"] = answer.result;
        row["status"] = "ok";
        if (answer.details.is_object()) {
            row.update(answer.details);
        }
    } else {
        row["result"] = nullptr;
        row["status"] = "error: " + fault;
    }
    append_json_line(out, row);
}

}  // namespace

void Answer::set(std::string_view text) {
    if (as_json) {
        result = text;
    } else {
        append_escaped(column, text, kColumnSpecials);
    }
}

void convert_items(Session &session, const std::vector<std::string> &arguments, Conversion &conversion) {
    Items items{arguments, session.rows};
    Answer answer{session.json, {}, nullptr, nullptr};
    while (session.rows.error() == 0) {
        const std::optional<Item> item = items.next();
        if (!item) {
            return;
        }
        answer.column.clear();
        answer.result = nullptr;
        answer.details = nullptr;
        const std::string fault = convert_item(session, *item, conversion, answer);
        std::string &rows = session.rows.buffer();
        if (session.json) {
            append_object(rows, *item, answer, fault);
        } else {
            append_columns(rows, *item, answer, fault);
        }
        session.rows.flush_full_block();
    }
}

}  // namespace tool
