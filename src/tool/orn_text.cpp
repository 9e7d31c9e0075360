// The text form of an O/R name, and its fields under the keywords of that form.

#include "orn_text.h"

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace tool {

namespace {

constexpr int kDdaCount = (NM_DDA4_VALUE - NM_DDA1_VALUE) / 2 + 1;

// The keyword of a field below NM_T61, or the empty text.
std::string base_keyword(int field) {
    if (field >= NM_OU1 && field <= NM_OU4) {
        return "OU" + std::to_string(field - NM_OU1 + 1);
    }
    for (const nm_keyword &row : nm_KeywordTable) {
        if (row.field == field) {
            return row.keyword;
        }
    }
    return {};
}

// The domain-defined attributes whose first field is `first`.
Json dda_array(const OrName &orn, int first) {
    Json array = Json::array();
    for (int i = 0; i < kDdaCount; ++i) {
        const std::string_view type = field_text(orn, first + 2 * i);
        const std::string_view value = field_text(orn, first + 2 * i + 1);
        if (!type.empty() || !value.empty()) {
            array.push_back({{"type", type}, {"value", value}});
        }
    }
    return array;
}

Json fields_by_keyword(const OrName &orn) {
    Json fields = Json::object();
    for (int field = 0; field < NM_FIELD_COUNT; ++field) {
        const std::string_view text = field_text(orn, field);
        if (!text.empty() && !is_dda_field(field)) {
            fields[field_keyword(field)] = text;
        }
    }
    const Json ddas = dda_array(orn, NM_DDA1_TYPE);
    if (!ddas.empty()) {
        fields["DD"] = ddas;
    }
    const Json t61_ddas = dda_array(orn, NM_T61 + NM_DDA1_TYPE);
    if (!t61_ddas.empty()) {
        fields["T61.DD"] = t61_ddas;
    }
    return fields;
}

}  // namespace

std::string field_keyword(int field) {
    if (field == NM_INTERNET_ADDRESS) {
        return "IA";
    }
    const bool is_t61 = field >= NM_T61;
    std::string base = base_keyword(is_t61 ? field - NM_T61 : field);
    if (base.empty()) {
        return "FIELD." + std::to_string(field);
    }
    return is_t61 ? "T61." + base : base;
}

bool is_dda_field(int field) {
    const int base = field >= NM_T61 ? field - NM_T61 : field;
    return base >= NM_DDA1_TYPE && base <= NM_DDA4_VALUE;
}

std::string_view field_text(const OrName &orn, int field) {
    int length = 0;
    const char *bytes = nm_GetFieldMemPtr(orn.text.data(), &orn.index, field, &length);
    return {bytes != nullptr ? bytes : "", static_cast<std::size_t>(length)};
}

bool read_orn(const char *text, OrName &orn, std::string &fault) {
    nm_text_error error{};
    if (nm_ParseText(text, orn.text.data(), &orn.index, &error) != 0) {
        return true;
    }
    fault = error.reason;
    fault += " at character " + std::to_string(error.offset + 1);
    return false;
}

void answer_orn(OrName &orn, Answer &answer) {
    const int length = nm_FormatText(orn.text.data(), orn.form.data(), NM_TEXT_SIZE);
    answer.set({orn.form.data(), static_cast<std::size_t>(length)});
    if (answer.as_json) {
        answer.details["fields"] = fields_by_keyword(orn);
    }
}

}  // namespace tool
