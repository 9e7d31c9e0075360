// Header values with encoded words (RFC 2047) as plain text in one character set.
//
// What looks like an encoded word and is none, or cannot be read, stays as it stands: nothing that came in a
// header is lost. White space between two words is no text; it is held back until it is known what follows.

#include <glib.h>

#include <array>
#include <bit>
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
#include "text/scan.h"
#include "text/writer.h"
#include "work_string.h"

namespace {

using mim::TraceClass;
using text::EncodedWord;

constexpr const char *kAscii = "IA5";
constexpr const char *kUnicode = "UTF8";
constexpr const char *kNoTextCharset = "US-ASCII";  // reported when there is no text at all
constexpr char kDecodeAlways[] = "DECODEIT";        // in a character set's place  NOLINT(*-avoid-c-arrays)
constexpr char kLanguageMark = '*';                 // ends the set's name in a word (RFC 2231, 5)
constexpr int kPurpose = 21;                        // as the conversion service keeps it
constexpr std::size_t kMaxExpansion = 4;            // bytes out of one, when a text is converted
constexpr std::size_t kShortWord = 256;             // bytes of a word that are decoded without the heap
constexpr std::size_t kLongValue = 1024;            // for which room is made before it is decoded

// ---- Q ----

constexpr char kEscape = '=';
constexpr char kBlank = '_';
constexpr std::size_t kEscapeLength = 3;

// What a character behind "=" counts as. Any character does, as if the letters went on behind F and before A.
constexpr auto kHexValues = []() {
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

// Copies the characters that come before the next "=", or a block of them, with blanks for "_". Returns their
// number. What follows them in `out` is junk, as far as `in` is long.
std::size_t copy_to_escape(std::string_view in, char *out) {
#ifdef __SSE2__
    if (in.size() >= text::kBlock) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in.data()));
        const __m128i change =
            _mm_and_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(kBlank)), _mm_set1_epi8(kBlank ^ ' '));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_xor_si128(block, change));
        const auto escapes =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(kEscape))));
        return static_cast<std::size_t>(std::countr_zero(escapes | 1U << text::kBlock));
    }
#endif
    std::size_t length = 0;
    for (; length < in.size() && in[length] != kEscape; ++length) {
        out[length] = in[length] == kBlank ? ' ' : in[length];
    }
    return length;
}

// Decodes the Q text `in` into `out`, which holds as many bytes. Returns their number.
std::size_t decode_q(std::string_view in, char *out) {
    constexpr unsigned kDigitBits = 4;
    char *end = out;
    while (!in.empty()) {
        const std::size_t length = copy_to_escape(in, end);
        end += length;
        in.remove_prefix(length);
        for (; in.size() >= kEscapeLength && in.front() == kEscape; in.remove_prefix(kEscapeLength)) {
            *end++ = static_cast<char>(hex_value(in[1]) << kDigitBits | hex_value(in[2]));
        }
        if (in.starts_with(kEscape) && in.size() < kEscapeLength) {
            *end++ = kEscape;
            in.remove_prefix(1);
        }
    }
    return static_cast<std::size_t>(end - out);
}

// ---- Character sets ----

// The name of a character set as its service prefers it, cut to MIM_CHARSET_SIZE.
class SetName {
  public:
    SetName() = default;  // UTF-8
    explicit SetName(std::string_view name) {
        if (name != kUnicodeMimeName &&
            !text::equal_ignoring_case(name, kUnicodeMimeName)) {  // the most frequent one needs no asking
            text::copy_text(name, own_.data(), own_.size());
            text_ = cvc_iconvCharsetEquiv(own_.data(), 0);  // static text, or what it was given
        }
    }

    // The name in a word, which may have a language behind it (RFC 2231, 5).
    static SetName of_word(std::string_view charset) {
        return SetName{charset == kUnicodeMimeName ? charset
                                                   : charset.substr(0, charset.find(kLanguageMark))};
    }

    SetName(const SetName &other) = delete;
    SetName &operator=(const SetName &other) {
        if (this != &other) {
            const bool is_own = other.text_ == other.own_.data();
            if (is_own) {
                text::copy_text(other.text_, own_.data(), own_.size());
            }
            text_ = is_own ? own_.data() : other.text_;
        }
        return *this;
    }
    ~SetName() = default;

    [[nodiscard]] const char *c_str() const { return text_; }
    [[nodiscard]] std::string_view view() const { return text_; }
    [[nodiscard]] bool is_unicode() const {
        return text_ == kUnicodeMimeName || text::equal_ignoring_case(text_, kUnicodeMimeName);
    }

  private:
    static constexpr const char *kUnicodeMimeName = "UTF-8";

    const char *text_ = kUnicodeMimeName;
    std::array<char, MIM_CHARSET_SIZE> own_;  // NOLINT(*-member-init): filled as far as it is read
};

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
        if (bytes.ends_with('\0') && bytes.find('\0') + 1 == length) {
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
        : out_(out), detects_(detects), charset_(charset), current_(detects ? kAscii : charset) {
        if (detects) {
            previous_ = current_;
        }
    }

    void decode(const char *text) {
        // Most values are plain: one search finds where theirs end.
        const char *const mark = strchrnul(text, text::kWordBegin.front());
        const std::string_view value{text, static_cast<std::size_t>(mark - text) + std::strlen(mark)};
        std::size_t place = 0;
        if (value.size() > kLongValue) {
            mim::reserve(out_, value.size());
        }
        auto search_from = static_cast<std::size_t>(mark - text);
        bool follows_word = false;
        for (;;) {
            const auto word = text::find_encoded_word(value, search_from);
            const std::string_view between = value.substr(place, word ? word->begin - place : value.size());
            // White space behind a word is no text when another word follows.
            const bool is_held = follows_word && skip_white_space(between) == between.size();
            if (!is_held) {
                append_plain(between, follows_word);
            }
            if (!word) {
                if (is_held) {
                    mim::append(out_, between);
                }
                return;
            }
            const std::size_t begin = is_held ? place : word->begin;
            place = word->end();
            append_word(word->word, value.substr(begin, place - begin));
            follows_word = true;
            search_from = place;
        }
    }

    [[nodiscard]] const SetName &charset() const { return current_; }

  private:
    static std::size_t skip_white_space(std::string_view text) {
        std::size_t place = 0;
        while (place < text.size() && text::kWhiteSpace.contains(text[place])) {
            ++place;
        }
        return place;
    }

    [[nodiscard]] bool current_holds_ascii() {
        if (!holds_ascii_) {
            holds_ascii_ = current_.is_unicode() || holds_ascii(current_);
        }
        return *holds_ascii_;
    }

    void set_current(const SetName &set) {
        current_ = set;
        holds_ascii_.reset();
    }

    // Text between words. Where it is not appended as it is, it is converted byte by byte, but for the white
    // space that was held back behind a word.
    void append_plain(std::string_view text, bool follows_word) {
        if (text.empty()) {
            return;
        }
        if (current_holds_ascii()) {
            mim::append(out_, text);
            return;
        }
        std::size_t length = follows_word ? skip_white_space(text) + 1 : 1;
        for (; !text.empty(); length = 1) {
            append_piece(text.substr(0, length));
            text.remove_prefix(length);
        }
    }

    void append_piece(std::string_view text) {
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
        if (current_.view() == previous_.view()) {
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

    [[nodiscard]] bool decodes_always() const {
        return charset_ != nullptr && std::strncmp(charset_, kDecodeAlways, sizeof kDecodeAlways) == 0;
    }

    // False when the bytes cannot be read.
    bool append_converted(std::string_view bytes, const SetName &set) {
        if (set.is_unicode()) {
            if (g_utf8_validate(bytes.data(), static_cast<gssize>(bytes.size()), nullptr) == 0) {
                return false;
            }
            if (current_.is_unicode()) {
                mim::append(out_, bytes);
                return true;
            }
        }
        const Converted converted = convert(bytes, set.c_str(), current_.c_str());
        if (converted.status == CVC_EXACT) {
            mim::append(out_, converted.text);
        } else if (decodes_always()) {
            mim::append(out_, bytes);
        } else {
            return false;
        }
        return true;
    }

    dstring *out_;
    bool detects_;
    const char *charset_;              // as it is given; in a set's place it may ask for all words
    SetName current_;                  // that the output is in
    SetName previous_;                 // that it was in behind the last word, when the set is to be found
    std::optional<bool> holds_ascii_;  // of the current set, once that was asked
    bool seen_word_ = false;
    WordBytes bytes_;
};

void decode_value(const char *text, dstring *out, char *charset, bool detects) {
    Decoder decoder{out, charset, detects};
    decoder.decode(text);
    if (detects && charset != nullptr) {
        text::copy_text(decoder.charset().view(), charset, MIM_CHARSET_SIZE);
    }
}

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
    mim::traced<TraceClass::kWords>(__func__, [=] { decode_value(text, out, charset, convert == 0); });
}

void mim_DecodeMimeCharStr(const char *text, char *out, char *charset) {
    mim::traced<TraceClass::kWords>(__func__, [&] { decode_text(text, out, charset); });
}

void mim_ConvertMimeCharStr(const char *text, char *out, const char *target_charset) {
    mim::traced<TraceClass::kWords>(__func__, [&] { convert_text(text, out, target_charset); });
}
