// Reads LDIF strictly: what a directory says of an address is either understood or refused with its line.
//
// A line is known to be whole when the one behind it has been read and is no continuation. So each line of
// the file is read into the buffer right behind the current one: a continuation then only closes the gap of
// its blank, and any other becomes the current line where it stands.
//
// Where RFC 2849 leaves room: a value may hold bytes above 127, which are kept as they stand; the options of
// an attribute's name are dropped, so that its value is one more of the attribute's; the names of records
// (dn) are neither kept nor compared.

#include "ldif.h"

#include <array>
#include <cstring>
#include <memory>

#include "da_internal.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/scan.h"

namespace {

constexpr std::int64_t kMaxFile = std::int64_t{1} << 30;  // so that 32 bits hold a place in any of its texts
constexpr std::size_t kReadSize = kv::kMaxLdifLine + sizeof "\r\n";  // holds the longest line, terminated

constexpr const char *kBadName = "that is no name of an attribute";
constexpr const char *kBadBase64 = "the value is no base64";
constexpr const char *kNoDn = "a record does not begin with dn:";
constexpr const char *kTooLong = "the line is longer than 65536 characters";
static_assert(kv::kMaxLdifLine == 65536, "as the text says");

// ---- Base64 (RFC 4648, 4) ----

constexpr unsigned kDigitBits = 6;
constexpr unsigned kByteBits = 8;

// Decodes `encoded` into `out`, which may be where it stands. False when it is no base64.
bool decode_base64(std::string_view encoded, char *out, std::size_t &length) {
    if (encoded.size() % text::base64::kGroupCharacters != 0) {
        return false;
    }
    for (int padding = 0; padding < 2 && encoded.ends_with(text::base64::kPad); ++padding) {
        encoded.remove_suffix(1);
    }
    length = 0;
    unsigned bits = 0;
    unsigned bit_count = 0;
    for (const char c : encoded) {
        const int digit = text::base64::digit(c);
        if (digit < 0) {
            return false;
        }
        bits = bits << kDigitBits | static_cast<unsigned>(digit);
        bit_count += kDigitBits;
        if (bit_count >= kByteBits) {
            bit_count -= kByteBits;
            out[length++] = static_cast<char>(static_cast<unsigned char>(bits >> bit_count));
        }
    }
    return true;
}

bool is_option(std::string_view option) {
    constexpr text::CharSet kOptionCharacters = text::kLetters | text::kDigits | text::CharSet{"-"};
    return !option.empty() && text::trim(option, kOptionCharacters).empty();
}

// Takes the options (";lang-en;x") off an attribute's name; false when they are none.
bool drop_options(std::string_view &name) {
    const std::size_t begin = name.find(';');
    std::string_view rest = name.substr(std::min(begin, name.size()));
    name = name.substr(0, begin);
    while (!rest.empty()) {
        rest.remove_prefix(1);
        const std::size_t end = std::min(rest.find(';'), rest.size());
        if (!is_option(rest.substr(0, end))) {
            return false;
        }
        rest.remove_prefix(end);
    }
    return true;
}

bool is_one_of(std::string_view name, std::string_view a, std::string_view b) {
    return text::equal_ignoring_case(name, a) || text::equal_ignoring_case(name, b);
}

}  // namespace

namespace kv {

// The current line ends before kReadSize when another is read behind it, and find_any looks past the last.
LdifReader::LdifReader(os_file *file)
    : file_(file), buffer_(std::make_unique_for_overwrite<char[]>(2 * kReadSize + text::kBlock)) {
    line_.text = buffer_.get();
    fetch();
}

bool LdifReader::fail(const char *reason) {
    reason_ = reason;
    return false;
}

// Reads the next line of the file behind the current one.
void LdifReader::fetch() {
    if (line_.text + line_.length > buffer_.get() + kReadSize) {
        std::memmove(buffer_.get(), line_.text, line_.length);
        line_.text = buffer_.get();
    }
    upcoming_.text = line_.text + line_.length;
    const int stored = os_fgets(upcoming_.text, static_cast<int>(kReadSize), file_);
    has_upcoming_ = stored > 0;
    if (!has_upcoming_) {
        return;
    }
    ++upcoming_.number;
    bytes_read_ += stored;
    std::string_view text{upcoming_.text, static_cast<std::size_t>(stored)};
    for (const char end : {'\n', '\r'}) {
        if (text.ends_with(end)) {
            text.remove_suffix(1);
        }
    }
    upcoming_.length = text.size();
}

// Makes the next line the current one. False at the end of the file, or when it is broken.
bool LdifReader::read_line() {
    if (!has_upcoming_) {
        return false;
    }
    line_ = upcoming_;
    if (line_.view().starts_with(' ')) {
        return fail("a continuation follows no line");
    }
    if (line_.length > kMaxLdifLine) {
        return fail(kTooLong);
    }
    fetch();
    while (line_.length > 0 && has_upcoming_ && upcoming_.view().starts_with(' ')) {
        std::memmove(line_.text + line_.length, upcoming_.text + 1, upcoming_.length - 1);
        line_.length += upcoming_.length - 1;
        if (line_.length > kMaxLdifLine) {
            return fail(kTooLong);
        }
        fetch();
    }
    return bytes_read_ <= kMaxFile || fail("the file is larger than 1 GiB");
}

LdifReader::Item LdifReader::next() {
    while (read_line()) {
        if (line_.length == 0) {
            inside_record_ = false;
        } else if (line_.view().front() != '#') {
            const bool was_inside = inside_record_;
            if (!parse_line()) {
                return Item::kBroken;
            }
            if (inside_record_) {
                return was_inside ? Item::kAttribute : Item::kRecord;
            }
        }
    }
    return reason_ == nullptr ? Item::kEnd : Item::kBroken;
}

// Reads the current line, which is neither blank nor a comment.
bool LdifReader::parse_line() {
    const std::string_view text = line_.view();
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        return fail("the line has no colon");
    }
    name_ = text.substr(0, colon);
    if (!drop_options(name_) || !is_attribute_name(name_)) {
        return fail(kBadName);
    }
    if (!read_value(text.substr(colon + 1))) {
        return false;
    }
    const bool at_begin = at_begin_;
    at_begin_ = false;
    if (!inside_record_) {
        if (at_begin && text::equal_ignoring_case(name_, "version")) {
            return value_ == "1" || fail("only version 1 is known");
        }
        inside_record_ = after_dn_ = text::equal_ignoring_case(name_, "dn");
        return inside_record_ || fail(kNoDn);
    }
    if (text::equal_ignoring_case(name_, "dn")) {
        return fail("a second dn: in a record; is a blank line missing?");
    }
    if (after_dn_ && is_one_of(name_, "changetype", "control")) {
        return fail("change records are not supported");
    }
    after_dn_ = false;
    return true;
}

// Reads what follows the colon of the current line.
bool LdifReader::read_value(std::string_view value_spec) {
    if (value_spec.starts_with('<')) {
        return fail("values from URLs are not supported");
    }
    const bool is_base64 = value_spec.starts_with(':');
    value_spec.remove_prefix(is_base64 ? 1 : 0);
    value_spec.remove_prefix(std::min(value_spec.find_first_not_of(' '), value_spec.size()));
    std::size_t length = value_spec.size();
    char *text = line_.text + (line_.length - length);
    if (is_base64 && !decode_base64(value_spec, text, length)) {
        return fail(kBadBase64);
    }
    value_ = {text, length};
    return text::find_any<'\0', '\x17', kValueSeparator>(value_, 0) == length ||
           fail("the value holds a byte 0, 23 or 29");
}

}  // namespace kv
