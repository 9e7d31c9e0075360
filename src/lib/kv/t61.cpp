// The character set of a T.61 string, by the designation at its start (ISO 2022), and of other texts by what
// they hold.

#include "t61.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "ccs.h"
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

constexpr const char *kAsciiCharset = "IA5";
constexpr const char *kByteCharset = "ISO8859_1";  // which every byte is a character of

// The set that is designated, or null.
const char *designated_charset(std::string_view text) {
    const auto *found =
        std::find_if(kDesignations.begin(), kDesignations.end(),
                     [text](const Designation &designation) { return text.starts_with(designation.escape); });
    return found != kDesignations.end() ? found->charset : nullptr;
}

// GLib's check ends at a zero byte, which is a character as well.
bool is_utf8(std::string_view text) {
    for (;;) {
        const std::string_view run = text.substr(0, text.find('\0'));
        if (g_utf8_validate(run.data(), static_cast<gssize>(run.size()), nullptr) == 0) {
            return false;
        }
        if (run.size() == text.size()) {
            return true;
        }
        text.remove_prefix(run.size() + 1);
    }
}

const char *charset_by_content(std::string_view text) {
    if (ccs_Is7BitAscii(text.data(), static_cast<int>(text.size())) != 0) {
        return kAsciiCharset;
    }
    return is_utf8(text) ? kv::kUnicodeCharset : kByteCharset;
}

std::string_view view_of(const char *text, int length) {
    return {text, length >= 0 ? static_cast<std::size_t>(length) : std::strlen(text)};
}

// The names of the sets with a blank and a digit behind them.
constexpr int kKinds = 10;
using KindName = std::array<char, 16>;
struct KindNames {
    std::string_view charset;
    std::array<KindName, kKinds> names;
};

constexpr KindNames kind_names(std::string_view charset) {
    KindNames row{charset, {}};
    for (int kind = 0; kind < kKinds; ++kind) {
        KindName &name = row.names[static_cast<std::size_t>(kind)];
        *std::copy(charset.begin(), charset.end(), name.begin()) = ' ';
        name[charset.size() + 1] = static_cast<char>('0' + kind);
    }
    return row;
}

constexpr auto kKindNames = []() {
    std::array<KindNames, kDesignations.size() + 1> rows{kind_names(kAsciiCharset)};
    for (std::size_t i = 0; i < kDesignations.size(); ++i) {
        rows[i + 1] = kind_names(kDesignations[i].charset);
    }
    return rows;
}();

}  // namespace

const char *t61_ParseO61Str(const char *text, int length) {
    const char *charset = designated_charset(view_of(text, length));
    return charset != nullptr ? charset : kv::kInternalCharset;
}

const char *t61_RealParseStr(const char *text, int length, int kind) {
    const std::string_view view = view_of(text, length);
    const char *designated = designated_charset(view);
    const std::string_view charset = designated != nullptr ? designated : charset_by_content(view);
    const auto *row = std::find_if(kKindNames.begin(), kKindNames.end(),
                                   [charset](const KindNames &names) { return names.charset == charset; });
    return row->names[static_cast<std::size_t>(std::clamp(kind, 0, kKinds - 1))].data();
}
