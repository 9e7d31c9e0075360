// The transfer encoding of text bodies.

#include "ccs.h"
#include "frame.h"
#include "mim.h"
#include "text/ascii.h"

namespace {

using mim::TraceClass;

constexpr const char *k7Bit = "7bit";
constexpr const char *k8Bit = "8bit";
constexpr const char *kAscii = "IA5";

// A set that switches its state by escape sequences holds no byte above 127.
bool has_escapes(const char *charset) {
    ccs_descriptor descriptor;
    return ccs_GetCSDescriptor(charset, &descriptor) != 0 &&
           (ccs_GetCSFlags(&descriptor) & CCS_FLAG_ESCAPES) != 0;
}

const char *choose_encoding(char choice, const char *charset) {
    if (text::equal_ignoring_case(charset, kAscii)) {
        return k7Bit;
    }
    switch (text::to_upper(choice)) {
        case 'B':
            return "base64";
        case 'N':
            return has_escapes(charset) ? k7Bit : k8Bit;
        default:
            return "quoted-printable";
    }
}

}  // namespace

const char *mim_GetTextEncoding(char choice, const char *charset_name) {
    return mim::traced<TraceClass::kHelper>(__func__, [&] { return choose_encoding(choice, charset_name); });
}
