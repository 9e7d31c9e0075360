// Header values as encoded words (RFC 2047, 2), one word per call.
//
// A word takes as many units of the text as fit: characters, which must stay whole, and in a set that
// switches state the escape sequences with what they introduce. Such a word begins and ends in ASCII, so room
// is kept for the sequence that leads back, and the next word begins with the one that leads to where this
// was cut. In other sets too there is room kept for one byte more.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include "ccs.h"
#include "frame.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/encoded_word.h"
#include "text/writer.h"

namespace {

using mim::TraceClass;

constexpr char kBase64 = 'B';
constexpr char kQuotedPrintable = 'Q';
constexpr char kPlaceholder = '\xCC';  // a byte that is only counted
constexpr char kSeparator = '?';
constexpr std::string_view kUnknownCharset = "UNKNOWN-8BIT";  // RFC 1428
constexpr int kLongestText = MIM_ENCODED_SIZE - 16;           // that the encoder is sure to write whole
constexpr int kCodedLength = 3;                               // "=XX"
// The most that a line end can add, so that no word is too long whatever stands around it. In
// quoted-printable: CR LF, and the codes of a blank before it and of a "-" or "." behind it, each of which
// counts as one already.
constexpr int kLineEndWeight = 2 + 2 * (kCodedLength - 1);
constexpr int kPlainLineEndWeight =
    3;  // where nothing is encoded: CR LF, and a "." behind it that is doubled

struct Escape {
    std::array<char, CCS_ESCAPE_SIZE> text{};
    std::size_t length = 0;

    [[nodiscard]] std::string_view view() const { return {text.data(), length}; }
    void set(std::string_view escape) { length = text::copy_text(escape, text.data(), text.size()); }
    void clear() { length = 0; }
};

// What stays from one call to the next of those that encode one value.
struct Sequence {
    Escape to_ascii;  // of the value's character set; empty for one that does not switch state
    Escape resume;    // leads to the state in which the last word was cut, if that was not ASCII
};
Sequence sequence;

bool is_high(char c) {
    return static_cast<signed char>(c) < 0;
}

// ---- Quoted-printable ----

constexpr unsigned char kQuestion = '?';
constexpr unsigned char kUnderscore = '_';

// What stands in bodies stands for something else in words.
void reserve_word_characters() {
    safe_char[kQuestion] = 0;
    safe_char[kUnderscore] = 0;
}

// What each byte is written as in a word, and what it counts for in the fitting test, as safe_char says. They
// differ only for a blank that somebody declared unsafe, which is written "_" all the same.
class Codes {
  public:
    static constexpr std::size_t kSpill = 4;  // bytes that are written for each, the code first

    template <typename SafeTable>
    explicit constexpr Codes(const SafeTable &safe) {
        for (std::size_t byte = 0; byte < text::kByteCount; ++byte) {
            const bool is_safe = safe[byte] != 0;
            codes_[byte] = is_safe ? Text{static_cast<char>(byte)} : coded(byte);
            weights_[byte] = lengths_[byte] = is_safe ? 1 : kCodedLength;
        }
        codes_[' '] = {'_'};
        lengths_[' '] = 1;
        weights_['\n'] = kLineEndWeight;
    }

    [[nodiscard]] int weight(char c) const { return weights_[static_cast<unsigned char>(c)]; }
    [[nodiscard]] int length(char c) const { return lengths_[static_cast<unsigned char>(c)]; }

    // Returns the place behind what counts.
    char *write(char c, char *place) const {
        std::memcpy(place, codes_[static_cast<unsigned char>(c)].data(), kSpill);
        return place + length(c);
    }

    // The same for "=XX", whatever the byte.
    static char *write_coded(char c, char *place) {
        std::memcpy(place, coded(static_cast<unsigned char>(c)).data(), kSpill);
        return place + kCodedLength;
    }

  private:
    using Text = std::array<char, kSpill>;

    static constexpr Text coded(std::size_t byte) {
        return {'=', text::kHexDigits[byte >> 4U], text::kHexDigits[byte & 0x0FU]};
    }

    std::array<Text, text::kByteCount> codes_{};
    std::array<std::uint8_t, text::kByteCount> lengths_{};
    std::array<std::uint8_t, text::kByteCount> weights_{};
};
// What is written beyond the last code falls where the closing and the terminator come.
static_assert(Codes::kSpill - 1 <= text::kWordEnd.size() + 1);

// The usual state of safe_char in words, and the codes that come of it.
constexpr auto kUsualSafe = []() {
    std::array<int, text::kByteCount> safe{};
    for (std::size_t byte = ' '; byte <= '~'; ++byte) {
        safe[byte] = byte == '=' || byte == kQuestion || byte == kUnderscore ? 0 : 1;
    }
    safe['\t'] = 1;
    return safe;
}();
constexpr Codes kUsualCodes{kUsualSafe};

bool is_usual() {
    return std::memcmp(&safe_char, kUsualSafe.data(), sizeof safe_char) == 0;
}

// ---- The tails of units ----

// What comes behind a unit when the word ends there.
struct Tail {
    int placeholders = 0;
    bool is_closed = false;  // by the escape sequence to ASCII
    int resume = 0;          // the code page that the next word resumes
};

// Of a unit of state 0 in a set that does not switch: room for a byte more.
constexpr Tail kSimpleTail{1, true, 0};

// Tells the tails of all other units.
class Tails {
  public:
    Tails(const ccs_descriptor &charset, bool switches) : charset_(charset), switches_(switches) {}

    [[nodiscard]] Tail behind(int state) {
        if (state == 0) {
            std::int32_t scratch = 0;
            current_ = ccs_GetCP(0, &scratch);
        }
        const int in_force = state == 0 ? current_ : state;
        const bool is_plain = in_force > 0 && is_plain_page(in_force);
        const ccs_descriptor descriptor = page(in_force);
        plain_bytes_ = is_plain ? ccs_GetWholeBytes(&descriptor) : nullptr;
        if (switches_ && state > 0 && !is_plain) {
            return {0, true, state};
        }
        if (state != 0 || is_plain) {
            return {};
        }
        return {current_ > 0 ? bytes_of(current_) : 1, true, current_};
    }

    // When the set is in ASCII behind that unit, with nothing to lead back to: the bytes that stay in it.
    [[nodiscard]] const bool *plain_bytes() const { return plain_bytes_; }

  private:
    [[nodiscard]] ccs_descriptor page(int code_page) const {
        ccs_descriptor descriptor{};
        descriptor.code_page = static_cast<std::int16_t>(code_page);
        descriptor.charset = charset_.charset;
        return descriptor;
    }

    [[nodiscard]] bool is_plain_page(int code_page) const {
        const ccs_descriptor descriptor = page(code_page);
        return (ccs_GetCSFlags(&descriptor) & CCS_FLAG_PLAIN) != 0;
    }

    [[nodiscard]] int bytes_of(int code_page) const {
        const ccs_descriptor descriptor = page(code_page);
        return ccs_GetNumBytes(&descriptor);
    }

    const ccs_descriptor &charset_;
    bool switches_;
    int current_ = 0;
    const bool *plain_bytes_ = nullptr;
};

// ---- One word ----

struct Value {
    std::string_view text;  // what is left of it
    const ccs_descriptor &charset;
    int flags;  // of the set
    bool is_begun_here;
};

struct Form {
    char mode;
    int crlf;
    int at_line_start;

    [[nodiscard]] bool is_word() const { return mode == kBase64 || mode == kQuotedPrintable; }
};

// A word in the making: what a cut before left to resume, the units that were taken, and what closes it. In
// quoted-printable they are written as they are taken, and weigh what they are counted as; else their bytes.
class Word {
  public:
    // `place` is where the encoded text goes, for which there is `room`; below 0 not even for nothing.
    Word(const Value &value, const Form &form, int room, const Codes &codes, char *place)
        : text_(value.text),
          charset_(value.charset),
          codes_(codes),
          switches_((value.flags & CCS_FLAG_ESCAPES) != 0),
          is_simple_(!switches_ && form.is_word()),
          is_quoted_(form.mode == kQuotedPrintable),
          needs_first_(value.is_begun_here),
          form_(form),
          whole_bytes_(is_simple_ ? ccs_GetWholeBytes(&value.charset) : nullptr),
          tails_(value.charset, switches_),
          resume_(sequence.resume.view()),
          begin_(place),
          place_(place),
          limit_(form.mode == kBase64 && room >= 0 ? room / kGroupCharacters * kGroupBytes : room),
          closing_weight_(weight_of(sequence.to_ascii.view())),
          placeholder_weight_(weight_of({&kPlaceholder, 1})),
          simple_limit_(limit_ - weight_of(kSimpleTail)),
          weight_(weight_of(resume_)) {}

    // Takes units until the next does not fit; true when all of the text was taken.
    bool take() {
        while (taken_ < text_.size()) {
            if (whole_bytes_ != nullptr && is_whole(text_[taken_]) && take_run()) {
                continue;
            }
            int state = 0;
            int length = 0;
            const char *unit =
                ccs_GetNextMimeUnit(text_.data() + taken_, static_cast<int>(text_.size() - taken_), &charset_,
                                    std::exchange(needs_first_, false) ? 1 : 0, &state, &length);
            if (unit == nullptr) {
                return true;
            }
            const std::string_view bytes{unit, static_cast<std::size_t>(length)};
            if (is_simple_ && length == 1 && state == 0 && taken_ > 0 && *unit != '\0') {
                if (!take_byte(*unit)) {
                    return false;
                }
                continue;
            }
            high_run_ = length == 1 && is_high(bytes.front()) ? high_run_ + 1 : 0;
            const Tail tail = switches_ || state != 0 ? tails_.behind(state) : kSimpleTail;
            if (switches_ && form_.is_word()) {
                whole_bytes_ = tails_.plain_bytes();
            }
            if (bytes.front() == '\0') {  // ends the word's text, whatever comes
                return weight_ <= limit_;
            }
            const int weight = weight_of_unit(bytes);
            if (weight_ + weight + weight_of(tail) > limit_) {
                return false;
            }
            write(bytes);
            weight_ += weight;
            taken_ += bytes.size();
            last_ = tail;
        }
        return true;
    }

    // After the next unit did not fit: a character of two units is not split, and the word ends in ASCII.
    void cut() {
        if (is_quoted_ && high_run_ > 0 && high_run_ % 2 == 0 && taken_ > 0) {
            --taken_;
            place_ -= codes_.length(text_[taken_]);
        }
        is_cut_ = true;
    }

    [[nodiscard]] std::size_t taken() const { return taken_; }

    // Writes what is not yet written, and returns the place behind the text.
    char *finish() {
        const std::string_view text = text_.substr(0, taken_);
        const std::string_view closing = is_closed() ? sequence.to_ascii.view() : std::string_view{};
        if (is_quoted_ && text.find('\n') == std::string_view::npos) {
            write(closing);
            return place_;
        }
        if (form_.mode == kBase64 && resume_.empty() && closing.empty()) {
            return text::base64::encode_whole(text, begin_);
        }
        std::array<char, MIM_ENCODED_SIZE + 2 * CCS_ESCAPE_SIZE> raw;  // NOLINT(*-member-init)
        text::Writer writer{raw.data(), raw.size()};
        writer.append(resume_);
        writer.append(text);
        writer.append(closing);
        writer.finish();
        return encode(raw.data());
    }

    // Notes what leads back to where the word was cut.
    void note_resume() const {
        sequence.resume.clear();
        if (is_closed() && last_.resume > 0) {
            std::array<char, CCS_ESCAPE_SIZE> escape{};
            ccs_Get1CfgEsc(last_.resume, CCS_CONFIGURED, escape.data(), 0);
            sequence.resume.set(escape.data());
        }
    }

  private:
    static constexpr int kGroupBytes = text::base64::kGroupBytes;
    static constexpr int kGroupCharacters = text::base64::kGroupCharacters;

    [[nodiscard]] bool is_closed() const { return is_cut_ && last_.is_closed; }
    [[nodiscard]] bool is_at_start() const { return taken_ == 0 && resume_.empty(); }

    // The encoder never lets a line begin with these as they stand.
    static bool needs_code_at_start(char c) { return c == '.' || c == '-'; }

    [[nodiscard]] int weight_of(std::string_view bytes) const {
        if (!is_quoted_) {
            // A shift may stand before the line end.
            const bool has_line_end = !form_.is_word() && bytes.ends_with('\n');
            return static_cast<int>(bytes.size()) + (has_line_end ? kPlainLineEndWeight - 1 : 0);
        }
        int weight = 0;
        for (const char c : bytes) {
            weight += codes_.weight(c);
        }
        return weight;
    }

    [[nodiscard]] int weight_of(const Tail &tail) const {
        return tail.placeholders * placeholder_weight_ + (tail.is_closed ? closing_weight_ : 0);
    }

    // Where no room is kept for a byte more, what the start of a line adds counts.
    [[nodiscard]] int weight_of_unit(std::string_view bytes) const {
        if (!switches_ || !is_at_start()) {
            return weight_of(bytes);
        }
        const bool has_code = is_quoted_ && needs_code_at_start(bytes.front());
        const bool is_doubled = !form_.is_word() && bytes.front() == '.';
        return weight_of(bytes) + (has_code ? kCodedLength - codes_.weight(bytes.front()) : 0) +
               (is_doubled ? 1 : 0);
    }

    // Takes a unit of one byte of a set that does not switch, behind others; false when it does not fit.
    bool take_byte(char c) {
        high_run_ = is_high(c) ? high_run_ + 1 : 0;
        const int weight = is_quoted_ ? codes_.weight(c) : 1;
        if (weight_ + weight > simple_limit_) {
            return false;
        }
        if (is_quoted_) {
            place_ = codes_.write(c, place_);
        }
        weight_ += weight;
        ++taken_;
        last_ = kSimpleTail;
        return true;
    }

    // Whether the byte is a unit with the same tail as others of its kind. A text may end at a NUL byte
    // before its length says so.
    [[nodiscard]] bool is_whole(char c) const {
        return c != '\0' && whole_bytes_[static_cast<unsigned char>(c)];
    }

    // Takes a run of such bytes; false when none was taken.
    bool take_run() {
        const char *const begin = text_.data() + taken_;
        const char *const end = text_.data() + text_.size();
        const Tail tail = switches_ ? Tail{} : kSimpleTail;
        if (taken_ == 0 && (!resume_.empty() || needs_code_at_start(*begin))) {
            return false;
        }
        const int limit = limit_ - weight_of(tail);
        const char *const place = is_quoted_ ? take_quoted(begin, end, limit) : take_plain(begin, end, limit);
        if (place == begin) {
            return false;
        }
        const char *const high =
            std::find_if_not(std::reverse_iterator{place}, std::reverse_iterator{begin}, is_high).base();
        high_run_ = static_cast<int>(place - high) + (high == begin ? high_run_ : 0);
        taken_ += static_cast<std::size_t>(place - begin);
        needs_first_ = false;
        last_ = tail;
        return true;
    }

    const char *take_quoted(const char *in, const char *end, int limit) {
        const Codes &codes = codes_;  // what is written could be this object, for all the compiler knows
        const bool *const whole_bytes = whole_bytes_;
        char *place = place_;
        int weight = weight_;
        for (; in != end && *in != '\0' && whole_bytes[static_cast<unsigned char>(*in)]; ++in) {
            const int grown = weight + codes.weight(*in);
            if (grown > limit) {
                break;
            }
            weight = grown;
            place = codes.write(*in, place);
        }
        place_ = place;
        weight_ = weight;
        return in;
    }

    const char *take_plain(const char *in, const char *end, int limit) {
        if (weight_ >= limit) {
            return in;
        }
        const char *const last = in + std::min<std::ptrdiff_t>(end - in, limit - weight_);
        const char *const place = std::find_if_not(in, last, [this](char c) { return is_whole(c); });
        weight_ += static_cast<int>(place - in);
        return place;
    }

    // In quoted-printable: writes bytes that are taken, and before the first what resumes.
    void write(std::string_view bytes) {
        if (!is_quoted_ || bytes.empty()) {
            return;
        }
        if (place_ == begin_) {
            for (const char c : resume_) {
                place_ = codes_.write(c, place_);
            }
        }
        const Codes &codes = codes_;
        char *place = place_;
        if (place == begin_ && needs_code_at_start(bytes.front())) {
            place = Codes::write_coded(bytes.front(), place);
            bytes.remove_prefix(1);
        }
        for (const char c : bytes) {
            place = codes.write(c, place);
        }
        place_ = place;
    }

    char *encode(const char *raw) const {
        const char *encoding = form_.mode == kBase64 ? "BASE64" : is_quoted_ ? "QUOTED-PRINTABLE" : "NONE";
        std::array<char, MIM_ENCODED_SIZE> encoded;  // NOLINT(*-member-init)
        unsigned length = 0;
        unsigned lines = 0;
        mim_EncMimeData2(-1, -1, encoding, "", raw, encoded.data(), 1, form_.crlf, form_.at_line_start,
                         &length, &lines, 0);
        return std::copy_n(encoded.data(), length, begin_);
    }

    std::string_view text_;
    const ccs_descriptor &charset_;
    const Codes &codes_;
    bool switches_;
    bool is_simple_;  // nothing is switched, and line ends need no look
    bool is_quoted_;
    bool needs_first_;
    bool is_cut_ = false;
    Form form_;
    const bool *whole_bytes_;  // in what is in force; null when each unit has to be asked for
    Tails tails_;
    std::string_view resume_;
    char *begin_;
    char *place_;
    int limit_;
    int closing_weight_;
    int placeholder_weight_;
    int simple_limit_;  // of the weight of what comes before a simple tail
    int weight_;
    std::size_t taken_ = 0;
    int high_run_ = 0;  // units of one byte above 127, the one that did not fit included
    Tail last_;
};

std::string_view name_of(const ccs_descriptor &charset, const char *charset_name) {
    if (charset_name != nullptr) {
        return charset_name;
    }
    const char *server_name = ccs_GetCSName(&charset);
    return server_name == nullptr ? kUnknownCharset : mim_GetCharSetName(server_name, nullptr);
}

// Writes the prefix of a word, and returns the place behind it.
char *write_prefix(std::string_view name, char mode, char *place) {
    place = std::ranges::copy(text::kWordBegin, place).out;
    place = std::ranges::copy(name, place).out;
    *place++ = kSeparator;
    *place++ = mode;
    *place++ = kSeparator;
    return place;
}

void start_sequence(const Value &value) {
    sequence.to_ascii.clear();
    sequence.resume.clear();
    if ((value.flags & CCS_FLAG_ESCAPES) != 0) {
        int length = 0;
        const char *escape = ccs_GetConfAsciiEscs(&value.charset, CCS_CONFIGURED, &length);
        sequence.to_ascii.set({escape, static_cast<std::size_t>(length)});
    }
}

// Writes the beginning of the value as one word of at most `max_length` characters, with these codes. Returns
// where the next begins, or null.
const char *write_word(const Value &value, const Form &form, int max_length, const char *charset_name,
                       const Codes &codes, char *out) {
    const std::string_view name = form.is_word()
                                      ? name_of(value.charset, charset_name).substr(0, MIM_MAX_WORD_CHARSET)
                                      : std::string_view{};
    const auto prefix_length =
        form.is_word() ? static_cast<int>(text::kWordBegin.size() + name.size() + 3) : 0;
    const auto frame = form.is_word() ? prefix_length + static_cast<int>(text::kWordEnd.size()) : 0;
    Word word{value, form, max_length < frame ? -1 : std::min(max_length - frame, kLongestText), codes,
              out + prefix_length};
    const bool is_whole = word.take();
    if (!is_whole) {
        word.cut();
    }
    if (word.taken() > 0) {
        char *end = word.finish();
        if (form.is_word()) {
            write_prefix(name, form.mode, out);
            end = std::ranges::copy(text::kWordEnd, end).out;
        }
        *end = '\0';
    } else {
        *out = '\0';
    }
    if (word.taken() > 0 || is_whole) {
        word.note_resume();
    }
    return is_whole ? nullptr : value.text.data() + word.taken();
}

}  // namespace

unsigned mim_GetEncLen(const char *text, char mode) {
    return mim::traced<TraceClass::kHelper>(__func__, [&]() -> unsigned {
        const std::string_view view{text};
        if (mode == kBase64) {
            return static_cast<unsigned>((view.size() + 2) / 3 * 4);
        }
        if (mode != kQuotedPrintable) {
            return static_cast<unsigned>(view.size());
        }
        reserve_word_characters();
        unsigned length = 0;
        for (const char c : view) {
            length += safe_char[static_cast<unsigned char>(c)] != 0 ? 1 : kCodedLength;
        }
        return length;
    });
}

const char *mim_EncodeFold(const char *text, int text_len, char *out, int max_len, int start,
                           ccs_descriptor *cs, char mode, int want_rest, const char *charset_name, int crlf,
                           int at_line_start) {
    return mim::traced<TraceClass::kMain>(__func__, [&]() -> const char * {
        const Value value{
            {text, static_cast<std::size_t>(std::max(text_len, 0))}, *cs, ccs_GetCSFlags(cs), start != 0};
        const Form form{mode, crlf, at_line_start};
        if (value.is_begun_here) {
            start_sequence(value);
        }
        if (mode == kQuotedPrintable && text_len > 0) {
            reserve_word_characters();
        }
        const char *rest = mode != kQuotedPrintable || is_usual()
                               ? write_word(value, form, max_len, charset_name, kUsualCodes, out)
                               : write_word(value, form, max_len, charset_name, Codes{safe_char}, out);
        return want_rest == 0 ? nullptr : rest;
    });
}
