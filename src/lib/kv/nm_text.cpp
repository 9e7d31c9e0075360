// O/R names as people write them: /S=Smith/O=Acme/C=us/.
//
// Reading is strict, since what people write routes mail: what is not understood is refused with its place
// and a reason, never skipped. Writing gives every field, so that reading the result gives the same name.

#include "nm.h"

#include <algorithm>
#include <array>
#include <bit>
#include <bitset>
#include <charconv>
#include <cstddef>
#include <string_view>

#include "nm_internal.h"
#include "text/ascii.h"
#include "text/writer.h"

constexpr nm_keyword nm_KeywordTable[NM_KEYWORD_COUNT] = {
    {"S", NM_SURNAME},
    {"G", NM_GIVEN_NAME},
    {"I", NM_INITIALS},
    {"GQ", NM_GENERATION},
    {"OU", NM_OU4},
    {"OU", 6},
    {"OU", 5},
    {"OU", NM_OU1},
    {"O", NM_ORGANISATION},
    {"PRMD", NM_PRMD},
    {"ADMD", NM_ADMD},
    {"C", NM_COUNTRY},
    {"X121", NM_X121},
    {"UA-ID", NM_UA_ID},
    {"T-ID", NM_TERMINAL_ID},
    {"CN", NM_COMMON_NAME},
    {"NET-NUM", NM_FIRST_POSTAL},
    {"NET-SUB", 34},
    {"NET-PSAP", 35},
    {"T-TY", 36},
    {"PD-SERVICE", 37},
    {"PD-C", NM_POSTAL_COUNTRY},
    {"PD-CODE", NM_POSTAL_CODE},
    {"PD-OFFICE", 40},
    {"PD-OFFICE-NUM", 41},
    {"PD-EXT-ADDRESS", 42},
    {"PD-PN", 43},
    {"PD-O", 44},
    {"PD-EXT-DELIVERY", 45},
    {"PD-ADDRESS", 46},
    {"PD-STREET", 47},
    {"PD-BOX", 48},
    {"PD-RESTANTE", 49},
    {"PD-UNIQUE", 50},
    {"PD-LOCAL", NM_LAST_POSTAL},
    {"", -1},
};

namespace {

using kv::dda_type_field;
using kv::kDdaCount;
using kv::kDdaPrefix;
using kv::kNoField;
using kv::kT61Prefix;
using kv::take_prefix;

constexpr std::string_view kFieldPrefix = "FIELD.";
constexpr std::string_view kUnitKeyword = "OU";
constexpr std::string_view kUnitNumbers = "1234";
constexpr std::string_view kInternetKeyword = "IA";
constexpr text::CharSet kMarks{"/=\\"};
constexpr text::CharSet kEscaped = kMarks | text::kControls;
constexpr text::CharSet kSeparators{std::string_view{"\0\x17\x1D", 3}};
constexpr int kMapWordBits = 32;
constexpr std::size_t kUnitCount = NM_OU4 - NM_OU1 + 1;

constexpr std::size_t kLongestEscape = 4;    // \xHH
constexpr std::size_t kLongestKeyword = 18;  // /PD-EXT-DELIVERY= and the closing /
static_assert(NM_TEXT_SIZE > (NM_ORN_SIZE - 1) * kLongestEscape + NM_FIELD_COUNT * kLongestKeyword);

// The two forms that an attribute may have; each has its own units and DDAs.
enum class Form : std::size_t { kPlain, kT61 };
constexpr std::size_t kFormCount = 2;

// The field of `base` in a form, or kNoField.
int field_in_form(int base, Form form) {
    return form == Form::kPlain ? base : nm_GetCorrT61FNum(base);
}

constexpr bool is_unit(int field) {
    return field >= NM_OU1 && field <= NM_OU4;
}

// ---- Keywords by field ----

constexpr std::size_t kKeywordSize = 16;  // bytes that hold PD-EXT-DELIVERY

struct FieldKeyword {
    constexpr void append(std::string_view piece) {
        for (const char c : piece) {
            text.at(length++) = c;
        }
    }
    [[nodiscard]] constexpr std::string_view view() const { return {text.data(), length}; }

    std::array<char, kKeywordSize> text{};
    std::size_t length = 0;
};

consteval std::array<FieldKeyword, NM_FIELD_COUNT> keywords_by_field() {
    std::array<FieldKeyword, NM_FIELD_COUNT> table{};
    table[NM_INTERNET_ADDRESS].append(kInternetKeyword);
    for (const nm_keyword &row : nm_KeywordTable) {
        if (row.field == kNoField) {
            continue;
        }
        const auto field = static_cast<std::size_t>(row.field);
        FieldKeyword &keyword = table.at(field);
        keyword.append(row.keyword);
        if (is_unit(row.field)) {
            keyword.append(kUnitNumbers.substr(field - NM_OU1, 1));
        }
        if (kv::has_t61_form(row.field)) {
            FieldKeyword &t61_keyword = table.at(NM_T61 + field);
            t61_keyword.append(kT61Prefix);
            t61_keyword.append(keyword.view());
        }
    }
    return table;
}
constexpr std::array<FieldKeyword, NM_FIELD_COUNT> kKeywordsByField = keywords_by_field();

// ---- Writing ----

class TextWriter {
  public:
    TextWriter(const char *orn, char *out, std::size_t capacity) : orn_(orn), out_(out, capacity) {
        nm_ParseORN(orn, &index_, nullptr);
    }

    std::size_t write() {
        std::array<std::uint32_t, NM_MAP_WORDS> present{};
        nm_GetFieldMaps(&index_, present.data());
        write_form(Form::kPlain);
        write_attribute(kInternetKeyword, {}, NM_INTERNET_ADDRESS);
        if ((present[NM_T61 / kMapWordBits] | present[(NM_T61 + NM_COMMON_NAME) / kMapWordBits]) != 0) {
            write_form(Form::kT61);
        }
        for (std::size_t word = 0; word < present.size(); ++word) {
            for (std::uint32_t bits = present[word]; bits != 0; bits &= bits - 1) {
                write_if_without_keyword(static_cast<int>(word) * kMapWordBits + std::countr_zero(bits));
            }
        }
        if (wrote_any_) {
            out_.append('/');
        }
        return out_.finish();
    }

  private:
    [[nodiscard]] std::string_view value_of(int field) const { return kv::field_text(orn_, index_, field); }

    void write_if_without_keyword(int field) {
        if (!kv::has_keyword(field)) {
            std::array<char, 3> digits{};
            const char *end = std::to_chars(digits.data(), digits.data() + digits.size(), field).ptr;
            write_attribute(kFieldPrefix, {digits.data(), static_cast<std::size_t>(end - digits.data())},
                            field);
        }
    }

    void write_form(Form form) {
        for (const nm_keyword &row : nm_KeywordTable) {
            if (const int field = field_in_form(row.field, form); field != kNoField) {
                write_attribute(kv::keyword_of_field(field), {}, field);
            }
        }
        write_ddas(form);
    }

    void write_attribute(std::string_view keyword, std::string_view number, int field) {
        const std::string_view value = value_of(field);
        if (!value.empty()) {
            open(keyword, number);
            out_.append('=');
            write_escaped(value);
        }
    }

    void write_ddas(Form form) {
        const auto is_absent = [&](std::size_t dda) {
            const int type = field_in_form(dda_type_field(dda), form);
            return value_of(type).empty() && value_of(type + 1).empty();
        };
        std::size_t count = kDdaCount;
        while (count > 0 && is_absent(count - 1)) {
            --count;
        }
        for (std::size_t dda = 0; dda < count; ++dda) {
            const int type = field_in_form(dda_type_field(dda), form);
            open(form == Form::kT61 ? kT61Prefix : std::string_view{}, kDdaPrefix);
            write_escaped(value_of(type));
            out_.append('=');
            write_escaped(value_of(type + 1));
        }
    }

    void open(std::string_view keyword, std::string_view rest) {
        wrote_any_ = true;
        out_.append('/');
        out_.append(keyword);
        out_.append(rest);
    }

    void write_escaped(std::string_view value) {
        std::size_t plain = 0;  // where the run of characters begins that stand for themselves
        for (std::size_t place = 0; place < value.size(); ++place) {
            if (!kEscaped.contains(value[place])) {
                continue;
            }
            out_.append(value.substr(plain, place - plain));
            if (!text::append_if_control(out_, value[place])) {
                out_.append('\\');
                out_.append(value[place]);
            }
            plain = place + 1;
        }
        out_.append(value.substr(plain));
    }

    const char *orn_;
    nm_index index_{};
    text::Writer out_;
    bool wrote_any_ = false;
};

// ---- Reading ----

// The field of a keyword, OU1 to OU4, IA and FIELD.n included but plain OU not; kNoField when it is unknown.
int field_of_keyword(std::string_view keyword, Form form) {
    if (form == Form::kPlain && text::equal_ignoring_case(keyword, kInternetKeyword)) {
        return NM_INTERNET_ADDRESS;
    }
    if (form == Form::kPlain && take_prefix(keyword, kFieldPrefix)) {
        int field = kNoField;
        const char *end = keyword.data() + keyword.size();
        const auto [stopped, error] = std::from_chars(keyword.data(), end, field);
        const bool is_number = error == std::errc{} && stopped == end;
        return is_number && field >= 0 && field < NM_FIELD_COUNT && !kv::has_keyword(field) ? field
                                                                                            : kNoField;
    }
    if (keyword.size() == kUnitKeyword.size() + 1 && take_prefix(keyword, kUnitKeyword)) {
        const int field = NM_OU1 + (keyword.front() - '1');
        return is_unit(field) ? field_in_form(field, form) : kNoField;
    }
    for (const nm_keyword &row : nm_KeywordTable) {
        if (row.field != kNoField && !is_unit(row.field) && text::equal_ignoring_case(keyword, row.keyword)) {
            return field_in_form(row.field, form);
        }
    }
    return kNoField;
}

class TextReader {
  public:
    TextReader(std::string_view text, char *orn, nm_index *index) : text_(text), orn_(orn), index_(*index) {
        nm_InitORN(orn, index);
    }

    [[nodiscard]] const nm_text_error &error() const { return error_; }

    bool read() {
        std::size_t at = text_.substr(0, 1) == "/" ? 1 : 0;
        while (at < text_.size()) {
            const std::size_t end = find_mark(at, text_.size(), '/');
            if (!read_part(at, end)) {
                return false;
            }
            at = end + 1;
        }
        return store_units(Form::kPlain) && store_units(Form::kT61);
    }

  private:
    // What was read so far in one form.
    struct FormState {
        std::array<std::string_view, kUnitCount> units{};  // the values of plain OU, as written
        std::size_t unit_count = 0;
        bool has_numbered_units = false;
        std::size_t dda_count = 0;
    };

    FormState &state_of(Form form) { return states_[static_cast<std::size_t>(form)]; }

    bool fail(std::size_t offset, const char *reason) {
        error_ = {static_cast<int>(offset), reason};
        return false;
    }

    [[nodiscard]] std::size_t offset_of(std::string_view piece) const {
        return static_cast<std::size_t>(piece.data() - text_.data());
    }

    // The first `mark` of [from, end) that no backslash stands before, or `end`.
    [[nodiscard]] std::size_t find_mark(std::size_t from, std::size_t end, char mark) const {
        while (from < end && text_[from] != mark) {
            from += text_[from] == '\\' ? 2 : 1;
        }
        return std::min(from, end);
    }

    bool read_part(std::size_t begin, std::size_t end) {
        const std::size_t equals = find_mark(begin, end, '=');
        if (equals == end) {
            return fail(begin, "a part has no \"=\"");
        }
        std::string_view keyword = text_.substr(begin, equals - begin);
        const std::string_view value = text_.substr(equals + 1, end - equals - 1);
        const Form form = take_prefix(keyword, kT61Prefix) ? Form::kT61 : Form::kPlain;
        if (take_prefix(keyword, kDdaPrefix)) {
            return read_dda(begin, form, keyword, value);
        }
        FormState &state = state_of(form);
        if (text::equal_ignoring_case(keyword, kUnitKeyword)) {
            if (state.has_numbered_units) {
                return fail(begin, kMixedUnits);
            }
            if (state.unit_count == kUnitCount) {
                return fail(begin, "there are more than four units");
            }
            state.units[state.unit_count++] = value;
            return true;
        }
        const int field = field_of_keyword(keyword, form);
        if (field == kNoField) {
            return fail(begin, "a keyword is not known");
        }
        if (seen_.test(static_cast<std::size_t>(field))) {
            return fail(begin, "a keyword is repeated");
        }
        seen_.set(static_cast<std::size_t>(field));
        if (is_unit(field) || is_unit(field - NM_T61)) {
            state.has_numbered_units = true;
            if (state.unit_count > 0) {
                return fail(begin, kMixedUnits);
            }
        }
        return store(field, value);
    }

    bool read_dda(std::size_t begin, Form form, std::string_view type, std::string_view value) {
        std::size_t &count = state_of(form).dda_count;
        if (count == kDdaCount) {
            return fail(begin, "there are more than four domain-defined attributes");
        }
        const int field = field_in_form(dda_type_field(count), form);
        ++count;
        return store(field, type) && store(field + 1, value);
    }

    // The units stand highest last.
    bool store_units(Form form) {
        const FormState &state = state_of(form);
        int field = field_in_form(NM_OU1, form) + static_cast<int>(state.unit_count);
        for (std::size_t i = 0; i < state.unit_count; ++i) {
            if (!store(--field, state.units[i])) {
                return false;
            }
        }
        return true;
    }

    // Stores `written` without its escapes.
    bool store(int field, std::string_view written) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < written.size(); ++i) {
            const std::size_t offset = offset_of(written) + i;
            char c = written[i];
            if (c == '\\') {
                const std::string_view escape = written.substr(i + 1);
                if (!escape.empty() && kMarks.contains(escape.front())) {
                    c = escape.front();
                    i += 1;
                } else if (const int code = hex_escape(escape); code >= 0) {
                    c = static_cast<char>(code);
                    i += kLongestEscape - 1;
                } else {
                    return fail(offset, "a backslash begins no escape");
                }
            }
            if (kSeparators.contains(c)) {
                return fail(offset, "a byte 0, 23 or 29 cannot be in a value");
            }
            if (length == value_.size()) {
                return fail(offset, kTooLong);
            }
            value_[length++] = c;
        }
        return kv::try_put_field(orn_, index_, field, {value_.data(), length}) ||
               fail(offset_of(written), kTooLong);
    }

    // The byte that xHH at the begin of `text` stands for, or -1.
    static int hex_escape(std::string_view text) {
        constexpr std::size_t kLength = kLongestEscape - 1;
        unsigned code = 0;
        const char *end = text.data() + std::min(text.size(), kLength);
        return text.size() >= kLength && text.front() == 'x' &&
                       std::from_chars(text.data() + 1, end, code, 16).ptr == end
                   ? static_cast<int>(code)
                   : -1;
    }

    static constexpr const char *kMixedUnits = "OU stands beside OU1 to OU4";
    static constexpr const char *kTooLong = "the O/R name would be longer than 4096 bytes";

    std::string_view text_;
    char *orn_;
    nm_index &index_;
    nm_text_error error_{0, nullptr};
    std::bitset<NM_FIELD_COUNT> seen_;
    std::array<FormState, kFormCount> states_{};
    std::array<char, NM_ORN_SIZE - 1> value_{};  // the value being stored, without its escapes
};

}  // namespace

bool kv::take_prefix(std::string_view &text, std::string_view prefix) {
    const bool has_prefix = text::equal_ignoring_case(text.substr(0, prefix.size()), prefix);
    if (has_prefix) {
        text.remove_prefix(prefix.size());
    }
    return has_prefix;
}

std::string_view kv::keyword_of_field(int field) {
    return kKeywordsByField[static_cast<std::size_t>(field)].view();
}

int kv::field_of_keyword(std::string_view keyword) {
    const Form form = take_prefix(keyword, kT61Prefix) ? Form::kT61 : Form::kPlain;
    const int field = ::field_of_keyword(keyword, form);
    return field != kNoField && has_keyword(field) ? field : kNoField;  // FIELD.n is none
}

void nm_FormatLogORN(const char *orn, char *destination) {
    nm_FormatText(orn, destination, NM_LOG_SIZE);
}

int nm_ParseText(const char *text, char *orn, nm_index *index, nm_text_error *error) {
    TextReader reader{text, orn, index};
    if (reader.read()) {
        return 1;
    }
    nm_InitORN(orn, index);
    if (error != nullptr) {
        *error = reader.error();
    }
    return 0;
}

int nm_FormatText(const char *orn, char *out, int capacity) {
    return static_cast<int>(TextWriter{orn, out, static_cast<std::size_t>(std::max(capacity, 0))}.write());
}
