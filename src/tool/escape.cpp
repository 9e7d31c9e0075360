// Escapes run by run: most text holds nothing to escape, and is copied at once.

#include "escape.h"

#include <algorithm>

namespace tool {

namespace {

void append_escape(std::string &out, char c) {
    out += '\\';
    if (c == '\t') {
        out += 't';
    } else if (c == '\n') {
        out += 'n';
    } else if (text::kControls.contains(c)) {
        const auto code = static_cast<unsigned char>(c);
        out += 'x';
        out += text::kHexDigits[code >> 4U];
        out += text::kHexDigits[code & 0x0FU];
    } else {
        out += c;
    }
}

}  // namespace

void append_escaped(std::string &out, std::string_view text, const text::CharSet &specials) {
    const char *position = text.data();
    const char *const end = position + text.size();
    while (position != end) {
        const char *special =
            std::find_if(position, end, [&specials](char c) { return specials.contains(c); });
        out.append(position, special);
        if (special == end) {
            return;
        }
        append_escape(out, *special);
        position = special + 1;
    }
}

}  // namespace tool
