// The names of character sets: the server's, and those of MIME (RFC 2045, 5.1).
//
// An administrator's table comes first, then what the conversion service knows, then what the forms of the
// names tell. A name that nobody knows stands for itself, and is logged: mail goes on either way.

#include <array>
#include <cstring>
#include <string_view>

#include "ccs.h"
#include "cvc.h"
#include "dstring.h"
#include "er.h"
#include "frame.h"
#include "mes.h"
#include "mim.h"
#include "mime_table.h"
#include "text/ascii.h"
#include "text/writer.h"
#include "work_string.h"

namespace {

using mim::RowIndex;
using mim::TraceClass;
using text::equal_ignoring_case;
using text::starts_with_ignoring_case;

constexpr const char *kTableFile = "~/sys/mime.cs";
constexpr int kLineCapacity = 256;  // a line of at most 255 characters and its terminator
constexpr std::size_t kMaxServerName = 15;
constexpr std::size_t kMaxMimeName = 31;
static_assert(kMaxMimeName < CCS_NAME_SIZE);

constexpr std::string_view kServerAscii = "IA5";
constexpr std::string_view kMimeAscii = "US-ASCII";
constexpr std::string_view kServerIso8859 = "ISO8859_";
constexpr std::string_view kMimeIso8859 = "ISO-8859-";
constexpr std::string_view kMimePrefix = "MIME-";  // begins server names that are MIME names otherwise
constexpr const char *kUnicodeCharset = "UTF8";

constexpr int kNameUnknown = 24149;
constexpr int kNameUnknownSeverity = 7;

// Why a conversion is asked for, to the service's own records.
constexpr int kConversionPurpose = 21;

constexpr std::string_view kCharsetParameter = "charset";

// ---- Table ----

struct Row {
    mim::ShortText<kMaxServerName> server;
    mim::ShortText<kMaxMimeName> mime;
};

auto has_any_name(std::string_view name) {
    return [name](const Row &row) { return row.server.is(name) || row.mime.is(name); };
}

auto has_mime_name(std::string_view name) {
    return [name](const Row &row) { return row.mime.is(name); };
}

struct Table {
    mim::TableState state = mim::TableState::kNew;
    mim::Rows<Row> rows;
    RowIndex by_any_name;
    RowIndex by_mime_name;

    [[nodiscard]] const Row *find_by_any_name(std::string_view name) const {
        return row_or_null(by_any_name.find(rows, mim::hash_texts({name}), has_any_name(name)));
    }

    [[nodiscard]] const Row *find_by_mime_name(std::string_view name) const {
        return row_or_null(by_mime_name.find(rows, mim::hash_texts({name}), has_mime_name(name)));
    }

    void add_line(const char *line) {
        Row row;
        const std::string_view server = mim::kCharsetTokens.take(line);
        const std::string_view mime = mim::kCharsetTokens.take(line);
        if (!mime.empty() && row.server.set(server) && row.mime.set(mime)) {
            rows.add(row);
        }
    }

    void make_indexes() {
        by_any_name.reserve(2 * std::size_t{rows.size()});
        by_mime_name.reserve(rows.size());
        for (std::uint32_t i = 0; i < rows.size(); ++i) {
            const std::string_view server = rows[i].server.view();
            const std::string_view mime = rows[i].mime.view();
            by_any_name.add(rows, i, mim::hash_texts({server}), has_any_name(server));
            by_any_name.add(rows, i, mim::hash_texts({mime}), has_any_name(mime));
            by_mime_name.add(rows, i, mim::hash_texts({mime}), has_mime_name(mime));
        }
    }

  private:
    [[nodiscard]] const Row *row_or_null(std::uint32_t i) const {
        return i != RowIndex::kNone ? &rows[i] : nullptr;
    }
};

// Read at the first use, kept for the life of the process.
const Table &name_table() {
    static Table table;
    mim::make_table<kLineCapacity>(table, kTableFile);
    return table;
}

// ---- Names ----

// The last name that was no entry of the table.
std::array<char, CCS_NAME_SIZE> made_name;

const char *make_name(std::string_view beginning, std::string_view rest) {
    std::array<char, CCS_NAME_SIZE> name;  // NOLINT(*-member-init): filled by the writer
    text::Writer out{name.data(), name.size()};
    out.append(beginning);
    out.append(rest);
    out.finish();
    made_name = name;
    return made_name.data();
}

void log_unknown(const char *name) {
    er_LogMsg(kNameUnknownSeverity, MES_SET_SERVER, kNameUnknown, name, nullptr);
}

const char *mime_name_of(const char *server_name) {
    const std::string_view name{server_name};
    if (const Row *row = name_table().find_by_any_name(name); row != nullptr) {
        return row->mime.c_str();
    }
    const char *equivalent = cvc_iconvCharsetEquiv(server_name, 1);
    if (name != equivalent) {
        return make_name("", equivalent);
    }
    if (equal_ignoring_case(name, kServerAscii)) {
        return make_name("", kMimeAscii);
    }
    if (starts_with_ignoring_case(name, kServerIso8859)) {
        return make_name(kMimeIso8859, name.substr(kServerIso8859.size()));
    }
    if (starts_with_ignoring_case(name, kMimePrefix)) {
        return make_name("", name.substr(kMimePrefix.size()));
    }
    if (cvc_iconv_recognised_charset(equivalent) == 0) {
        log_unknown(server_name);
    }
    return make_name("", name);
}

const char *server_name_of(const char *mime_name) {
    const std::string_view name{mime_name};
    if (const Row *row = name_table().find_by_mime_name(name); row != nullptr) {
        return row->server.c_str();
    }
    if (starts_with_ignoring_case(name, mim::kPrivatePrefix)) {
        return make_name("", name.substr(mim::kPrivatePrefix.size()));
    }
    if (equal_ignoring_case(name, kMimeAscii)) {
        return make_name("", kServerAscii);
    }
    if (cvc_IsMappingAvail(mime_name, kUnicodeCharset) == 0) {
        log_unknown(mime_name);
    }
    return make_name("", name);
}

// ---- The charset parameter ----

// The value that mim_InsertNewCSName made last.
std::array<char, MIM_CONTENT_TYPE_SIZE> rewritten_value;

std::size_t skip_spaces(std::string_view text, std::size_t from) {
    while (from < text.size() && text::kWhiteSpace.contains(text[from])) {
        ++from;
    }
    return from;
}

// The place behind the next "=" or ";" and the blanks after it; a quoted string at the beginning is passed
// over whole.
std::size_t next_parameter_token(std::string_view text, std::size_t from) {
    from = skip_spaces(text, from);
    if (from < text.size() && text[from] == '"') {
        ++from;
        while (from < text.size() && text[from] != '"') {
            from += text[from] == '\\' ? 2 : 1;
        }
    }
    while (from < text.size() && text[from] != '=' && text[from] != ';') {
        ++from;
    }
    return from < text.size() ? skip_spaces(text, from + 1) : text.size();
}

// Where the parameter stands: its name, and the "=" behind it.
struct Parameter {
    std::size_t name;
    std::size_t equals;
};

// At the end of the text when there is none. Names and values are looked at alike.
Parameter find_charset_parameter(std::string_view text) {
    std::size_t place = next_parameter_token(text, 0);
    while (place < text.size()) {
        if (starts_with_ignoring_case(text.substr(place), kCharsetParameter)) {
            const std::size_t behind = skip_spaces(text, place + kCharsetParameter.size());
            if (behind == text.size() || text[behind] == '=') {
                return {behind == text.size() ? behind : place, behind};
            }
            place = behind;
            continue;
        }
        place = next_parameter_token(text, place);
        if (place < text.size() && text[place] == '=') {
            place = next_parameter_token(text, place + 1);
        }
    }
    return {text.size(), text.size()};
}

void rewrite_charset(std::string_view value, std::string_view charset) {
    const Parameter parameter = find_charset_parameter(value);
    std::array<char, MIM_CONTENT_TYPE_SIZE> result;  // NOLINT(*-member-init): filled by the writer
    text::Writer out{result.data(), result.size()};
    out.append(value.substr(0, parameter.name));
    if (parameter.name == value.size()) {
        out.append("; ");
    }
    out.append("charset=");
    out.append(charset);
    if (parameter.equals < value.size()) {
        const std::string_view rest = value.substr(next_parameter_token(value, parameter.equals + 1));
        if (!rest.empty()) {
            out.append("; ");
            out.append(rest);
        }
    }
    out.finish();
    rewritten_value = result;
}

// ---- The first lossless set ----

char *convert_to_first_lossless(char *text, const char *text_charset, char *chosen_charset,
                                const char *candidates) {
    const char *present = cvc_iconvCharsetEquiv(text_charset, 1);
    text::copy_text(present, chosen_charset, CCS_NAME_SIZE);
    if (candidates == nullptr || *candidates == '\0') {
        return text;
    }
    mim::WorkString list;
    dstring_set1(list.get(), candidates);
    for (char *item = list.get()->data; item != nullptr;) {
        char *const comma = std::strchr(item, ',');
        char *const next = comma != nullptr ? comma + 1 : nullptr;
        if (comma != nullptr) {
            *comma = '\0';
        }
        if (*item != '\0') {
            const char *name = mim_GetCharSetName(nullptr, item);
            if (std::strcmp(cvc_iconvCharsetEquiv(name, 0), present) == 0) {
                return text;
            }
            char *converted = nullptr;
            std::int32_t length = 0;
            int lost = 0;
            if (cvc_CnvString(CVC_HEADER, 0, text, -1, kUnicodeCharset, name, &converted, &length, &lost,
                              kConversionPurpose) == CVC_EXACT &&
                lost == 0) {
                text::copy_text(name, chosen_charset, CCS_NAME_SIZE);
                return converted;
            }
        }
        item = next;
    }
    return text;
}

}  // namespace

const char *mim_GetCharSetName(const char *internal_name, const char *mime_name) {
    return mim::traced<TraceClass::kMain>(__func__, [&]() -> const char * {
        if (internal_name != nullptr) {
            return mime_name_of(internal_name);
        }
        return mime_name != nullptr ? server_name_of(mime_name) : nullptr;
    });
}

char *mim_InsertNewCSName(const char *content_type, const char *charset_name, int convert) {
    rewrite_charset(content_type, convert != 0 ? mim_GetCharSetName(charset_name, nullptr) : charset_name);
    return rewritten_value.data();
}

char *mim_CnvStringTo1stLossless(char *text, const char *text_charset, char *chosen_charset,
                                 const char *candidates) {
    return convert_to_first_lossless(text, text_charset, chosen_charset, candidates);
}
