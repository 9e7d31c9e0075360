// The character sets that the server knows.
#ifndef KV_CCS_TABLE_H
#define KV_CCS_TABLE_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ccs.h"

namespace kv {

// How a text of a set falls into characters.
enum class Shape : std::uint8_t {
    kSingle,
    kUtf8,
    kT61,
    kEuc,       // two bytes from 0xA1 on
    kEucJp,     // the same, and shifts to two other code sets for one character each
    kShiftJis,  // the second byte may be in ASCII's range
    kBig5,      // so for these, each in its own way
    kGbk,
    kGb18030,
    kUhc,
    kUtf7,
    kIso2022,
};

// The set of escape sequences of a set with CCS_FLAG_ESCAPES.
enum class Escapes : std::uint8_t { kNone, kJp, kKr, kCn };

}  // namespace kv

struct ccs_charset {
    const char *name;  // null for a set of iconv's that the server's table does not have
    const char *mime_name;
    const char *iconv_name;
    std::int32_t flags;
    std::int16_t max_bytes;  // of a character
    kv::Shape shape;
    kv::Escapes escapes;
};

namespace kv {

inline constexpr std::size_t kMaxCharsets = 96;  // rows of the table

inline constexpr const char *kInternalCharset = "T61INTL";
inline constexpr const char *kUnicodeCharset = "UTF8";

// The row of a set by the server's name, the MIME name or an alias, or null.
[[nodiscard]] const ccs_charset *find_charset(std::string_view name);

// The server's number of a row of the table, from 1 on; and the row of a number, or null.
[[nodiscard]] std::int16_t number_of(const ccs_charset &charset);
[[nodiscard]] const ccs_charset *charset_of(std::int16_t number);

// How many bytes the character at the front of `text`, which is not empty, takes in a set without escapes; 1
// when none begins there.
[[nodiscard]] std::size_t character_length(std::string_view text, Shape shape);

}  // namespace kv

#endif
