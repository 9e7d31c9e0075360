// Character sets: one table of the server's names. Names from outside are only ever looked up here; what
// reaches iconv is this table's own text.

#include "ccs.h"

#include <array>
#include <cstring>
#include <string_view>

#include "ccs_table.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

constexpr std::array kCharsets = std::to_array<ccs_charset>({
    {"IA5", CCS_FLAG_7BIT | CCS_FLAG_SINGLE, "ANSI_X3.4-1968"},
    {kv::kUnicodeCharset, CCS_FLAG_MULTIBYTE, "UTF-8"},
    {kv::kInternalCharset, CCS_FLAG_MULTIBYTE, "T.61-8BIT"},
    {"ISO8859_1", CCS_FLAG_SINGLE, "ISO-8859-1"},
    {"ISO8859_2", CCS_FLAG_SINGLE, "ISO-8859-2"},
    {"ISO8859_3", CCS_FLAG_SINGLE, "ISO-8859-3"},
    {"ISO8859_4", CCS_FLAG_SINGLE, "ISO-8859-4"},
    {"ISO8859_5", CCS_FLAG_SINGLE, "ISO-8859-5"},
    {"ISO8859_6", CCS_FLAG_SINGLE, "ISO-8859-6"},
    {"ISO8859_7", CCS_FLAG_SINGLE, "ISO-8859-7"},
    {"ISO8859_8", CCS_FLAG_SINGLE, "ISO-8859-8"},
    {"ISO8859_9", CCS_FLAG_SINGLE, "ISO-8859-9"},
    {"ISO8859_10", CCS_FLAG_SINGLE, "ISO-8859-10"},
    {"ISO8859_11", CCS_FLAG_SINGLE, "ISO-8859-11"},
    {"ISO8859_13", CCS_FLAG_SINGLE, "ISO-8859-13"},  // there is no 12
    {"ISO8859_14", CCS_FLAG_SINGLE, "ISO-8859-14"},
    {"ISO8859_15", CCS_FLAG_SINGLE, "ISO-8859-15"},
    {"ISO8859_16", CCS_FLAG_SINGLE, "ISO-8859-16"},
    {"WINDOWS_1250", CCS_FLAG_SINGLE, "CP1250"},
    {"WINDOWS_1251", CCS_FLAG_SINGLE, "CP1251"},
    {"WINDOWS_1252", CCS_FLAG_SINGLE, "CP1252"},
    {"WINDOWS_1253", CCS_FLAG_SINGLE, "CP1253"},
    {"WINDOWS_1254", CCS_FLAG_SINGLE, "CP1254"},
    {"WINDOWS_1255", CCS_FLAG_SINGLE, "CP1255"},
    {"WINDOWS_1256", CCS_FLAG_SINGLE, "CP1256"},
    {"WINDOWS_1257", CCS_FLAG_SINGLE, "CP1257"},
    {"WINDOWS_1258", CCS_FLAG_SINGLE, "CP1258"},
    {"KOI8_R", CCS_FLAG_SINGLE, "KOI8-R"},
    {"KOI8_U", CCS_FLAG_SINGLE, "KOI8-U"},
});

constexpr const ccs_charset *find_in_table(std::string_view name) {
    for (const ccs_charset &row : kCharsets) {
        if (text::equal_ignoring_case(row.name, name)) {
            return &row;
        }
    }
    return nullptr;
}

// Each name fits a descriptor and stands once; a set is single-byte or multi-byte, and 7-bit only if single.
consteval bool table_holds() {
    for (const ccs_charset &row : kCharsets) {
        const bool is_single = (row.flags & CCS_FLAG_SINGLE) != 0;
        const bool is_multibyte = (row.flags & CCS_FLAG_MULTIBYTE) != 0;
        const bool is_7bit = (row.flags & CCS_FLAG_7BIT) != 0;
        if (std::string_view{row.name}.size() >= CCS_NAME_SIZE || find_in_table(row.name) != &row ||
            is_single == is_multibyte || (is_7bit && !is_single)) {
            return false;
        }
    }
    return true;
}
static_assert(table_holds());

}  // namespace

const ccs_charset *kv::find_charset(std::string_view name) {
    return find_in_table(name);
}

const ccs_charset *ccs_GetICCharset2(const char *name, const char *family) {
    return text::equal_ignoring_case(family, kv::kInternalCharset) ? find_in_table(name) : nullptr;
}

const char *ccs_GetInternalCharset(const ccs_charset *charset, int kind) {
    return charset != nullptr && kind == CCS_INTERNAL ? kv::kInternalCharset : nullptr;
}

int ccs_GetCSDescriptor(const char *name, ccs_descriptor *descriptor) {
    const ccs_charset *charset = find_in_table(name);
    *descriptor = {};
    if (charset == nullptr) {
        return 0;
    }
    text::copy_text(charset->name, descriptor->name, sizeof descriptor->name);
    descriptor->charset = static_cast<std::int16_t>(charset - kCharsets.data() + 1);
    descriptor->flags = charset->flags;
    return 1;
}

int ccs_Is7BitAscii(const char *text, int length) {
    constexpr std::size_t kTopBits = ~std::size_t{0} / 0xFF * 0x80;
    const char *end = text + (length >= 0 ? static_cast<std::size_t>(length) : std::strlen(text));
    std::size_t seen = 0;
    for (; static_cast<std::size_t>(end - text) >= sizeof seen && (seen & kTopBits) == 0;
         text += sizeof seen) {
        std::memcpy(&seen, text, sizeof seen);
    }
    for (; text < end; ++text) {
        seen |= static_cast<unsigned char>(*text);
    }
    return (seen & kTopBits) == 0 ? 1 : 0;
}
