// X.400 message identifiers as RFC 822 message-ids.
//
// An identifier that was made from a message-id (RFC 2156) gives that back; any other stands before "@MHS",
// quoted where it must be, with its originator so that it stays unique.

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "frame.h"
#include "mim.h"
#include "orn_field.h"
#include "orn_format.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;
using text::CharSet;

constexpr std::string_view kEscapeLetters = "apbqulr";
constexpr std::string_view kEscapedCharacters = "@%!\"_()";
static_assert(kEscapeLetters.size() == kEscapedCharacters.size());
constexpr std::size_t kLetterEscape = 3;  // "(a)"
constexpr std::size_t kNumberEscape = 5;  // "(064)"
constexpr int kMaxCode = 255;

constexpr CharSet kSpecials{" ()<>,;:[]"};
constexpr CharSet kUnquoted = text::kLetters | text::kDigits | CharSet{"."};
constexpr const char *kForeignHost = "@MHS";

// A character that was read, and how many characters stood for it.
struct Decoded {
    char character;
    std::size_t length;
};

// Reads the first character of a text that is not empty. An escape that is none of those known is no escape.
Decoded decode_first(std::string_view text) {
    const Decoded plain{text.front(), 1};
    if (text.front() != '(') {
        return plain;
    }
    if (text.size() >= kLetterEscape && text[2] == ')') {
        const std::size_t letter = kEscapeLetters.find(text[1]);
        return letter != std::string_view::npos ? Decoded{kEscapedCharacters[letter], kLetterEscape} : plain;
    }
    if (text.size() < kNumberEscape || text[4] != ')') {
        return plain;
    }
    int code = 0;
    for (const char digit : text.substr(1, 3)) {
        if (!text::kDigits.contains(digit)) {
            return plain;
        }
        code = code * 10 + (digit - '0');
    }
    return code > 0 && code <= kMaxCode ? Decoded{static_cast<char>(code), kNumberEscape} : plain;
}

// Decodes the escapes into `decoded` (MIM_MAX_MESSAGE_ID + 1 bytes), as far as it has room.
std::string_view decode(std::string_view identifier, char *decoded) {
    std::size_t length = 0;
    while (!identifier.empty() && length < MIM_MAX_MESSAGE_ID) {
        const Decoded next = decode_first(identifier);
        decoded[length++] = next.character;
        identifier.remove_prefix(next.length);
    }
    return {decoded, length};
}

bool is_message_id(std::string_view text) {
    return text.find('@') != std::string_view::npos &&
           std::none_of(text.begin(), text.end(), [](char c) { return kSpecials.contains(c); });
}

// Appends texts to one of the caller's, who knows that it has the room.
template <typename... Texts>
void write(char *out, const Texts &...texts) {
    ((out += text::copy_text(texts, out, std::string_view{texts}.size() + 1)), ...);
}

void convert_identifier(char *identifier, char *out) {
    *out = '\0';
    using Text = std::array<char, MIM_MAX_MESSAGE_ID + 1>;
    Text name;  // NOLINT(*-member-init): filled by the next calls
    name.front() = '\0';
    if (char *separator = std::strchr(identifier, mim::kNextField); separator != nullptr) {
        *separator++ = '\0';
        if (*separator != '\0') {
            mim::format_orn(separator, false, false, name.data(), MIM_MAX_MESSAGE_ID);
        }
    }
    const std::string_view text{identifier};
    Text decoded;  // NOLINT(*-member-init): filled by the next call
    const bool needs_no_quotes =
        std::all_of(text.begin(), text.end(), [](char c) { return kUnquoted.contains(c); });
    if (const std::string_view id = decode(text, decoded.data()); is_message_id(id)) {
        write(out, id);
    } else if (name.front() != '\0') {
        write(out, "\"", text, "*", name.data(), "\"", kForeignHost);
    } else if (needs_no_quotes) {
        write(out, text, kForeignHost);  // an empty one too
    } else {
        write(out, "\"", text, "*\"", kForeignHost);
    }
}

}  // namespace

int mim_ConvMsgId(char *identifier, char *out) {
    return mim::traced<TraceClass::kMain>(__func__, [&] {
        convert_identifier(identifier, out);
        return 1;
    });
}
