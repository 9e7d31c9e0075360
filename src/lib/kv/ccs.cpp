// Facts of character sets.

#include "ccs.h"

#include <cstddef>
#include <cstring>

#include "ccs_table.h"
#include "text/ascii.h"
#include "text/writer.h"

const ccs_charset *ccs_GetICCharset2(const char *name, const char *family) {
    return text::equal_ignoring_case(family, kv::kInternalCharset) ? kv::find_charset(name) : nullptr;
}

const char *ccs_GetInternalCharset(const ccs_charset *charset, int kind) {
    return charset != nullptr && kind == CCS_INTERNAL ? kv::kInternalCharset : nullptr;
}

int ccs_GetCSDescriptor(const char *name, ccs_descriptor *descriptor) {
    const ccs_charset *charset = kv::find_charset(name);
    *descriptor = {};
    if (charset == nullptr) {
        return 0;
    }
    descriptor->charset = kv::number_of(*charset);
    descriptor->flags = charset->flags;
    text::copy_text(charset->name, descriptor->name, sizeof descriptor->name);
    return 1;
}

const char *ccs_GetCSName(const ccs_descriptor *descriptor) {
    const ccs_charset *charset = kv::charset_of(descriptor->charset);
    return charset == nullptr ? nullptr : charset->name;
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
