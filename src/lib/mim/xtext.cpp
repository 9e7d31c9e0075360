// Xtext (RFC 3461, 4): printable ASCII as it is, every other byte as "+" and two hexadecimal digits.

#include <cstring>

#include "mim.h"
#include "text/ascii.h"

namespace {

constexpr char kEscape = '+';
constexpr text::CharSet kPlain = ~(~text::CharSet::range('!', '~') | text::CharSet{"+="});

// The byte that the two digits at `digits`, a terminated text, spell; no byte when they are none.
unsigned spelt_byte(const char *digits) {
    const unsigned high = text::hex_value(digits[0]);
    return high == text::kNoHexDigit ? high : high << 4U | text::hex_value(digits[1]);
}

}  // namespace

int mim_XtextString(const char *text, char *out) {
    out += std::strlen(out);
    for (; *text != '\0'; ++text) {
        if (kPlain.contains(*text)) {
            *out++ = *text;
            continue;
        }
        const auto byte = static_cast<unsigned char>(*text);
        *out++ = kEscape;
        *out++ = text::kHexDigits[byte >> 4U];
        *out++ = text::kHexDigits[byte & 0x0FU];
    }
    *out = '\0';
    return 0;
}

int mim_DecodeXtextString(const char *source, char *destination) {
    while (*source != '\0') {
        if (*source == kEscape) {
            if (const unsigned byte = spelt_byte(source + 1); byte < text::kByteCount) {
                *destination++ = static_cast<char>(byte);
                source += 3;
                continue;
            }
        }
        *destination++ = *source++;
    }
    *destination = '\0';
    return 0;
}
