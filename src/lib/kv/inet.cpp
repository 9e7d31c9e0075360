// What the customisation says of Internet mail, and the forms of encoded words.

#include "inet.h"

#include <cstring>
#include <string_view>

#include "cust.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/encoded_word.h"
#include "text/quoted_printable.h"

namespace {

using text::base64::kGroupBytes;
using text::base64::kGroupCharacters;

// ---- Q ----

constexpr char kBlankInQ = '_';

constexpr auto kQCodes = text::quoted_printable::with_blank_as(
    kBlankInQ, text::quoted_printable::make_codes([](char c) { return text::kStandsInWord.contains(c); }));

// ---- Base64 ----

// Base64 text, decoded group by group.
class Base64Decoder {
  public:
    explicit Base64Decoder(char *out) : out_(reinterpret_cast<unsigned char *>(out)), end_(out_) {}

    void decode(std::string_view text) {
        while (!text.empty()) {
            if (count_ == 0) {
                const std::size_t done = decode_groups_(text.data(), text.size(), end_);
                end_ += done / kGroupCharacters * kGroupBytes;
                text.remove_prefix(done);
            }
            if (!text.empty()) {
                take(text.front());
                text.remove_prefix(1);
            }
        }
        is_clean_ = is_clean_ && count_ == 0;
        end_group();
    }

    [[nodiscard]] bool is_clean() const { return is_clean_; }
    [[nodiscard]] std::size_t length() const { return static_cast<std::size_t>(end_ - out_); }

  private:
    void take(char c) {
        if (c == text::base64::kPad) {
            end_group();
            return;
        }
        const int digit = text::base64::digit(c);
        if (digit < 0) {
            is_clean_ = false;
            return;
        }
        bits_ = bits_ << kDigitBits | static_cast<unsigned>(digit);
        if (++count_ == kGroupCharacters) {
            end_group();
        }
    }

    // Writes the whole bytes of the group.
    void end_group() {
        is_clean_ = is_clean_ && count_ != 1;
        bits_ <<= (kGroupCharacters - count_) * kDigitBits;
        for (std::size_t i = 0; i + 1 < count_; ++i) {
            *end_++ = static_cast<unsigned char>(bits_ >> (kGroupBytes - 1 - i) * kByteBits);
        }
        bits_ = 0;
        count_ = 0;
    }

    static constexpr unsigned kDigitBits = 6;
    static constexpr unsigned kByteBits = 8;

    text::base64::Decode decode_groups_ = text::base64::decoder();
    unsigned char *out_;
    unsigned char *end_;
    unsigned bits_ = 0;  // of the group begun, of which there are `count_` digits
    std::size_t count_ = 0;
    bool is_clean_ = true;  // nothing was passed over
};

std::string_view view_of(const char *bytes, std::int32_t length) {
    return {bytes, static_cast<std::size_t>(length)};
}

}  // namespace

int inet_AutoIamOn(void) {
    return cust_PresentAndTrue("INET_AUTO_IAM");
}

int inet_is2047Encoded(const char *value) {
    return value != nullptr && text::find_encoded_word(value, 0) ? 1 : 0;
}

void inet_text2Q(const char *bytes, int32_t length, char *out) {
    for (const char c : view_of(bytes, length)) {
        // Four characters at most come of each byte, one of them behind its code.
        const auto &code = kQCodes[c];
        std::memcpy(out, code.text.data(), code.text.size());
        out += code.length;
    }
    *out = '\0';
}

void inet_bin2base64(const char *bytes, int32_t length, char *out) {
    *text::base64::encode_whole(view_of(bytes, length), out) = '\0';
}

int inet_base642bin(const char *text, int32_t length, char *out, int32_t *decoded_length) {
    Base64Decoder decoder{out};
    decoder.decode(view_of(text, length));
    out[decoder.length()] = '\0';
    *decoded_length = static_cast<std::int32_t>(decoder.length());
    return decoder.is_clean() ? 0 : 1;
}
