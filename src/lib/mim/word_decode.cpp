// Header values with encoded words (RFC 2047) as plain text in one character set.
//
// What looks like an encoded word and is none, or cannot be read, stays as it stands: nothing that came in a
// header is lost. White space between two words is no text; it is held back until it is known what follows.

#include <glib.h>

#include <array>
#include <cstring>
#include <optional>
#include <string_view>

#include "cvc.h"
#include "frame.h"
#include "inet.h"
#include "mdc.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/encoded_word.h"
#include "text/writer.h"
#include "work_string.h"

namespace {

using mim::TraceClass;
using text::EncodedWord;

constexpr const char *kAscii = "IA5";
constexpr const char *kUnicode = "UTF8";
constexpr std::string_view kUnicodeMimeName = "UTF-8";
constexpr const char *kNoTextCharset = "US-ASCII";  // reported when there is no text at all
constexpr char kDecodeAlways[] = "DECODEIT";        // in a character set's place  NOLINT(*-avoid-c-arrays)
constexpr int kPurpose = 21;                        // as the conversion service keeps it
constexpr std::size_t kMaxExpansion = 4;            // bytes out of one, when a text is converted
constexpr std::size_t kShortWord = 256;             // bytes of a word that are decoded without the heap

// ---- Q ----

// What a character behind "=" counts as. Any character does, as if the letters went on behind F and before A.
constexpr auto kHexValues = [] {
    std::array<unsigned char, text::kByteCount> values{};
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto c = static_cast<char>(i);
        const std::size_t lower = text::kUpperCase.contains(c) ? i - 'A' + 'a' : i;
        values[i] = static_cast<unsigned char>(text::kDigits.contains(c) ? i - '0' : lower - 'a' + 10);
    }
    return values;
}();

unsigned hex_value(char c) {
    return kHexValues[static_cast<unsigned char>(c)];
}

// Decodes the Q text `in` into `out`, which holds as many bytes. Returns their number.
std::size_t decode_q(std::string_view in, char *out) {
    constexpr std::size_t kEscapeLength = 3;
    constexpr unsigned kDigitBits = 4;
    char *end = out;
    for (std::size_t i = 0; i < in.size(); ++i) {
        const char c = in[i];
        if (c == '=' && in.size() - i >= kEscapeLength) {
            *end++ = static_cast<char>(hex_value(in[i + 1]) << kDigitBits | hex_value(in[i + 2]));
            i += kEscapeLength - 1;
        } else {
            *end++ = c == '_' ? ' ' : c;
        }
    }
    return static_cast<std::size_t>(end - out);
}

// ---- Character sets ----

// The name of a character set, as its service prefers it, cut to MIM_CHARSET_SIZE.
class SetName {
  public:
    explicit SetName(const char *name) { set(cvc_iconvCharsetEquiv(name, 0)); }

    // The name in a word, without its language (RFC 2231, 5).
    static SetName of_word(std::string_view charset) {
        std::array<char, MIM_CHARSET_SIZE> name;  // NOLINT(*-member-init): filled by the next call
        text::copy_text(charset.substr(0, charset.find('*')), name.data(), name.size());
        return SetName{name.data()};
    }

    SetName(const SetName &other) { *this = other; }
    SetName &operator=(const SetName &other) {
        if (this != &other) {
            set(other.view());
        }
        return *this;
    }
    ~SetName() = default;

    [[nodiscard]] const char *c_str() const { return text_.data(); }
    [[nodiscard]] std::string_view view() const { return {text_.data(), length_}; }

    friend bool operator==(const SetName &a, const SetName &b) { return a.view() == b.view(); }

  private:
    void set(std::string_view name) { length_ = text::copy_text(name, text_.data(), text_.size()); }

    std::array<char, MIM_CHARSET_SIZE> text_;  // NOLINT(*-member-init): filled as far as it is read
    std::size_t length_ = 0;
};

bool is_unicode(const SetName &set) {
    return text::equal_ignoring_case(set.view(), kUnicodeMimeName);
}

// What came of a conversion: its status, and the text, which the service holds until the next.
struct Converted {
    int status;
    std::string_view text;

    [[nodiscard]] bool is_usable() const {
        return status == CVC_EXACT || status == CVC_REPLACED || status == CVC_CUT;
    }
};

Converted convert(std::string_view text, const char *source, const char *target) {
    char *converted = nullptr;
    std::int32_t length = 0;
    const int status = cvc_CnvString(CVC_TEXT, 0, text.data(), mim::service_length(text.size()), source,
                                     target, &converted, &length, nullptr, kPurpose);
    return {status, {converted, static_cast<std::size_t>(length)}};
}

// Whether ASCII characters become themselves in the set, whatever stands around them. They stay as they are
// in a set that is not known, too.
bool holds_ascii(const SetName &set) {
    ccs_descriptor descriptor;
    return ccs_GetCSDescriptor(set.c_str(), &descriptor) == 0 || (descriptor.flags & CCS_FLAG_ASCII) != 0;
}

// ---- Values ----

// The bytes of the words, one after the other.
class WordBytes {
  public:
    // The bytes of a word, valid until the next. A zero byte that ends them, and is the only one, is no text.
    std::string_view decode(const EncodedWord &word) {
        char *place = reserve(word.text.size() + 1);
        std::size_t length = 0;
        if (word.encoding == text::WordEncoding::kBase64) {
            std::int32_t decoded = 0;
            inet_base642bin(word.text.data(), mim::service_length(word.text.size()), place, &decoded);
            length = static_cast<std::size_t>(decoded);
        } else {
            length = decode_q(word.text, place);
        }
        std::string_view bytes{place, length};
        if (const std::size_t zero = bytes.find('\0'); zero != std::string_view::npos && zero + 1 == length) {
            bytes.remove_suffix(1);
        }
        return bytes;
    }

  private:
    char *reserve(std::size_t size) {
        if (size <= short_.size()) {
            return short_.data();
        }
        if (!long_) {
            long_.emplace();
        }
        dstring_setLength(long_->get(), mim::service_length(size));
        return long_->get()->data;
    }

    std::array<char, kShortWord> short_;  // NOLINT(*-member-init): filled as far as it is read
    std::optional<mim::WorkString> long_;
};

// The decoding of one value.
class Decoder {
  public:
    Decoder(dstring *out, const char *charset, bool detects)
        : out_(out),
          detects_(detects),
          decodes_always_(charset != nullptr &&
                          std::strncmp(charset, kDecodeAlways, sizeof kDecodeAlways) == 0),
          current_(detects ? kAscii : charset),
          previous_(current_) {}

    void decode(std::string_view value) {
        std::size_t place = 0;
        bool follows_word = false;
        while (place < value.size()) {
            // From `place` to `token` is white space that is no text when the token is a word.
            std::size_t token = place;
            while (follows_word && token < value.size() && text::kWhiteSpace.contains(value[token])) {
                ++token;
            }
            const auto word = text::read_encoded_word(value.substr(token));
            follows_word = word.has_value();
            std::size_t end = value.size();
            if (word) {
                end = token + word->length;
                append_word(*word, value.substr(place, end - place));
            } else if (token == value.size() || current_holds_ascii()) {
                end = find_word(value, token);
                mim::append(out_, value.substr(place, end - place));
            } else {
                end = token + 1;
                append_plain(value.substr(place, end - place));
            }
            place = end;
        }
    }

    [[nodiscard]] const SetName &charset() const { return current_; }

  private:
    // The place of the first word behind the character at `from`; the size when there is none.
    static std::size_t find_word(std::string_view value, std::size_t from) {
        do {
            from = text::find_word_begin(value, from + 1);
        } while (from < value.size() && !text::read_encoded_word(value.substr(from)));
        return from;
    }

    [[nodiscard]] bool current_holds_ascii() {
        if (!holds_ascii_) {
            holds_ascii_ = holds_ascii(current_);
        }
        return *holds_ascii_;
    }

    void set_current(const SetName &set) {
        current_ = set;
        holds_ascii_.reset();
    }

    // A character of plain text with the white space held back before it.
    void append_plain(std::string_view text) {
        if (ccs_Is7BitAscii(text.data(), mim::service_length(text.size())) != 0) {
            if (const Converted converted = convert(text, kAscii, current_.c_str()); converted.is_usable()) {
                text = converted.text;
            }
        }
        mim::append(out_, text);
    }

    // A word; `raw` is what stays when it cannot be read.
    void append_word(const EncodedWord &word, std::string_view raw) {
        const SetName set = SetName::of_word(word.charset);
        const std::string_view bytes = bytes_.decode(word);
        if (detects_) {
            choose_current(set, bytes);
        }
        if (!append_converted(bytes, set)) {
            mim::append(out_, raw);
        }
    }

    // The first word's set is that of the text, unless one comes that it does not fit.
    void choose_current(const SetName &set, std::string_view bytes) {
        if (!seen_word_) {
            set_current(set);
            seen_word_ = true;
        }
        if (!text::equal_ignoring_case(set.view(), current_.view()) ||
            bytes.find('\0') != std::string_view::npos) {
            set_current(SetName{kUnicode});
        }
        if (current_ == previous_) {
            return;
        }
        if (out_->length > 0) {
            const Converted converted = convert(mim::view_of(*out_), previous_.c_str(), current_.c_str());
            if (converted.is_usable()) {
                dstring_set1(out_, converted.text.data());
            }
        }
        previous_ = current_;
    }

    // False when the bytes cannot be read.
    bool append_converted(std::string_view bytes, const SetName &set) {
        if (is_unicode(set)) {
            if (g_utf8_validate(bytes.data(), static_cast<gssize>(bytes.size()), nullptr) == 0) {
                return false;
            }
            if (is_unicode(current_)) {
                mim::append(out_, bytes);
                return true;
            }
        }
        const Converted converted = convert(bytes, set.c_str(), current_.c_str());
        if (converted.status == CVC_EXACT) {
            mim::append(out_, converted.text);
        } else if (decodes_always_) {
            mim::append(out_, bytes);
        } else {
            return false;
        }
        return true;
    }

    dstring *out_;
    bool detects_;
    bool decodes_always_;
    SetName current_;                  // that the output is in
    SetName previous_;                 // that it was in behind the last word
    std::optional<bool> holds_ascii_;  // of the current set, once that was asked
    bool seen_word_ = false;
    WordBytes bytes_;
};

void decode_text(const char *text, char *out, char *charset) {
    if (text == nullptr) {
        if (out != nullptr) {
            *out = '\0';
            if (charset != nullptr) {
                mdc_strlcpy(charset, kNoTextCharset, MIM_CHARSET_SIZE);
            }
        }
        return;
    }
    *out = '\0';
    mim::WorkString decoded;
    mim_2047_to_string_and_cset_dstring(text, decoded.get(), charset, 0);
    mdc_strlcpy(out, decoded.c_str(), std::strlen(text) + 1);
}

void convert_text(const char *text, char *out, const char *target) {
    std::array<char, MIM_CHARSET_SIZE> charset;  // NOLINT(*-member-init): filled by the next call
    charset.front() = '\0';
    mim_DecodeMimeCharStr(text, out, charset.data());
    const std::size_t limit = std::strlen(text) * kMaxExpansion;
    char *converted = nullptr;
    std::int32_t length = 0;
    int lost = -1;
    const int status =
        cvc_CnvString(CVC_TEXT, 0, out, -1, charset.data(), target, &converted, &length, &lost, kPurpose);
    if (status == CVC_EXACT && static_cast<std::size_t>(length) <= limit) {
        mdc_strlcpy(out, converted, limit + 1);
    }
}

}  // namespace

void mim_2047_to_string_and_cset_dstring(const char *text, dstring *out, char *charset, int convert) {
    mim::traced<TraceClass::kWords>(__func__, [&] {
        Decoder decoder{out, charset, convert == 0};
        decoder.decode(text);
        if (convert == 0 && charset != nullptr) {
            text::copy_text(decoder.charset().view(), charset, MIM_CHARSET_SIZE);
        }
    });
}

void mim_DecodeMimeCharStr(const char *text, char *out, char *charset) {
    mim::traced<TraceClass::kWords>(__func__, [&] { decode_text(text, out, charset); });
}

void mim_ConvertMimeCharStr(const char *text, char *out, const char *target_charset) {
    mim::traced<TraceClass::kWords>(__func__, [&] { convert_text(text, out, target_charset); });
}
