// UTF-7 (RFC 2152).
#ifndef KV_CVC_UTF7_H
#define KV_CVC_UTF7_H

#include <string_view>

#include "cvc_output.h"
#include "text/ascii.h"

namespace kv::conversion {

// What stands for itself in UTF-7, either way (RFC 2152, rules 1 and 3).
inline constexpr text::CharSet kDirect = text::kLetters | text::kDigits | text::CharSet{"'(),-./:? \t\r\n"};

// Appends UTF-7 in UTF-8; false where there is more to it, such as an error.
[[nodiscard]] bool append_utf7(std::string_view text, Output &output);

// Appends UTF-8 in UTF-7; false when it is no UTF-8.
[[nodiscard]] bool append_as_utf7(std::string_view text, Output &output);

}  // namespace kv::conversion

#endif
