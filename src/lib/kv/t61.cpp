// The character set of a T.61 string, by the designation at its start (ISO 2022).

#include "t61.h"

#include <array>
#include <cstring>
#include <string_view>

#include "ccs_table.h"

namespace {

struct Designation {
    std::string_view escape;
    const char *charset;
};

// ESC % G selects UTF-8; ESC - designates the right-hand part of an ISO 8859 set.
constexpr std::array kDesignations = std::to_array<Designation>({
    {"\x1B%G", kv::kUnicodeCharset},
    {"\x1B-A", "ISO8859_1"},
    {"\x1B-B", "ISO8859_2"},
    {"\x1B-C", "ISO8859_3"},
    {"\x1B-D", "ISO8859_4"},
    {"\x1B-F", "ISO8859_7"},
    {"\x1B-G", "ISO8859_6"},
    {"\x1B-H", "ISO8859_8"},
    {"\x1B-L", "ISO8859_5"},
    {"\x1B-M", "ISO8859_9"},
});

}  // namespace

const char *t61_ParseO61Str(const char *text, int length) {
    const std::string_view view{text, length >= 0 ? static_cast<std::size_t>(length) : std::strlen(text)};
    for (const Designation &designation : kDesignations) {
        if (view.starts_with(designation.escape)) {
            return designation.charset;
        }
    }
    return kv::kInternalCharset;
}
