// JSON is Unicode, and text from mail is bytes: this is where the one becomes the other without loss.
// The rows that the command builds are a few levels deep, whatever the input.

#include "json_line.h"

#include <glib.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

namespace tool {

namespace {

// g_utf8_validate stops at a zero byte, which JSON can hold.
bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const char *end = text.data();
        if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), &end) != FALSE) {
            return true;
        }
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (text.front() != '\0') {
            return false;
        }
        text.remove_prefix(1);
    }
    return true;
}

bool is_all_utf8(const Json &value) {
    if (value.is_string()) {
        return is_utf8(value.get_ref<const std::string &>());
    }
    return !value.is_structured() || std::all_of(value.begin(), value.end(), is_all_utf8);
}

std::string from_latin1(std::string_view bytes) {
    std::string utf8;
    utf8.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x80U) {
            utf8 += c;
        } else {
            utf8 += static_cast<char>(0xC0U | (code >> 6U));
            utf8 += static_cast<char>(0x80U | (code & 0x3FU));
        }
    }
    return utf8;
}

void read_as_latin1(Json &value) {
    if (value.is_string()) {
        value = from_latin1(value.get_ref<const std::string &>());
    } else if (value.is_structured()) {
        for (Json &member : value) {
            read_as_latin1(member);
        }
    }
}

}  // namespace

void append_json_line(std::string &out, Json &row) {
    if (!is_all_utf8(row)) {
        read_as_latin1(row);
        row["latin1"] = true;
    }
    out += row.dump();
    out += '\n';
}

}  // namespace tool
