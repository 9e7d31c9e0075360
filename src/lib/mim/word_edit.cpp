// Header values with encoded words (RFC 2047) joined, encoded anew, compared, and cut to a size.

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "cvc.h"
#include "frame.h"
#include "inet.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/writer.h"
#include "work_string.h"

namespace {

using mim::TraceClass;

constexpr const char *kAscii = "IA5";
constexpr const char *kUnicode = "UTF8";
constexpr std::string_view kUnicodeMimeName = "UTF-8";
constexpr char kJoinEncoding = 'q';
constexpr int kComparePurpose = 3;  // as the conversion service keeps it

using HeapText = std::unique_ptr<char, mim::Release<os_free>>;

// What the last join returned.
HeapText held_join;

// A value decoded, in the set of its own.
struct Decoded {
    explicit Decoded(const char *value) {
        charset.front() = '\0';
        mim_2047_to_string_and_cset_dstring(value, work.get(), charset.data(), 0);
    }

    [[nodiscard]] const char *text() const { return work.c_str(); }
    [[nodiscard]] bool has_set_of(const Decoded &other) const {
        return std::strcmp(charset.data(), other.charset.data()) == 0;
    }

    mim::WorkString work;
    std::array<char, MIM_CHARSET_SIZE> charset;  // NOLINT(*-member-init): filled as far as it is read
};

// ---- Join ----

// A text converted; null when that is not possible without loss.
HeapText convert(const char *text, const char *source, const char *target) {
    char *converted = nullptr;
    std::int32_t length = 0;
    int set = 0;
    int number = 0;
    int extra = 0;
    const int status = cvc_ConvertString(CVC_HEADER, 0, text, mim::service_length(std::strlen(text)), source,
                                         target, &converted, &length, &set, &number, &extra);
    HeapText block{converted};
    return status == CVC_EXACT ? std::move(block) : nullptr;
}

bool is_empty(const char *text) {
    return text == nullptr || *text == '\0';
}

bool is_unicode(const char *charset) {
    return cvc_iconvCharsetEquiv(charset, 0) == kUnicodeMimeName;
}

// Appends the two texts to `out` as words of one set. What is no longer needed is released, for values may be
// long.
void encode_joined(Decoded &first, Decoded &second, const char *raw_first, const char *raw_second,
                   dstring *out) {
    for (Decoded *decoded : {&first, &second}) {
        if (decoded->charset.front() == '\0') {
            text::copy_text(kAscii, decoded->charset.data(), MIM_CHARSET_SIZE);
        }
    }
    HeapText front = convert(first.text(), first.charset.data(), kUnicode);
    first.work.clear();
    HeapText back = front ? convert(second.text(), second.charset.data(), kUnicode) : nullptr;
    second.work.clear();
    if (!back) {
        dstring_append1(out, raw_first);
        dstring_append1(out, raw_second);
        return;
    }
    mim::WorkString joined;
    dstring_append1(joined.get(), front.get());
    front.reset();
    dstring_append1(joined.get(), back.get());
    back.reset();
    const char *const charset = first.charset.data();
    if (first.has_set_of(second) && !is_unicode(charset)) {
        if (const HeapText text = convert(joined.c_str(), kUnicode, charset)) {
            joined.clear();
            inet_encodeHeader(charset, 0, text.get(), kJoinEncoding, 0, out);
            return;
        }
    }
    inet_encodeHeader(kUnicode, 0, joined.c_str(), kJoinEncoding, 0, out);
}

const char *join(const char *first, const char *second) {
    held_join.reset();
    if (is_empty(first) || is_empty(second)) {
        const char *only = is_empty(first) ? second : first;
        held_join.reset(os_strdup(only != nullptr ? only : ""));
    } else {
        Decoded decoded_first{first};
        Decoded decoded_second{second};
        mim::WorkString encoded;
        encode_joined(decoded_first, decoded_second, first, second, encoded.get());
        held_join.reset(encoded.view().empty() ? os_strdup("") : encoded.release());
    }
    return held_join.get();
}

// ---- Compare ----

// Sets `unicode` to the text in UTF-8; false when that is not possible without loss.
bool convert_to_unicode(const Decoded &decoded, mim::WorkString &unicode) {
    char *converted = nullptr;
    std::int32_t length = 0;
    const int status = cvc_CnvString(CVC_HEADER, 0, decoded.text(), -1, decoded.charset.data(), kUnicode,
                                     &converted, &length, nullptr, kComparePurpose);
    if (status != CVC_EXACT) {
        return false;
    }
    dstring_setN(unicode.get(), converted, length);
    return true;
}

bool carry_same_text(const Decoded &first, const Decoded &second) {
    if (first.has_set_of(second)) {
        return std::strcmp(first.text(), second.text()) == 0;
    }
    mim::WorkString a;
    mim::WorkString b;
    return convert_to_unicode(first, a) && convert_to_unicode(second, b) && a.view() == b.view();
}

// ---- Truncate ----

constexpr std::string_view kQBegin = "=?UTF-8?Q?";
constexpr std::string_view kBase64Begin = "=?UTF-8?B?";
constexpr std::string_view kWordEnd = "?=";
constexpr std::size_t kFrameSize = kQBegin.size() + kWordEnd.size() + 1;  // of an empty word, terminated
static_assert(kQBegin.size() == kBase64Begin.size());

constexpr std::size_t kEscapeLength = 3;  // characters of a byte in Q, at most

// What a text is taken to take in base64; a little more for one that goes on.
constexpr std::uint64_t base64_room(std::uint64_t length) {
    return 4 * length / 3 + 4;
}
constexpr std::uint64_t base64_room_when_cut(std::uint64_t length) {
    return base64_room(length) + 1;
}

// Where the UTF-8 character at `place` ends. Bytes that go on with no character end with it.
std::size_t after_character(std::string_view text, std::size_t place) {
    constexpr unsigned kContinuationMask = 0xC0;
    constexpr unsigned kContinuation = 0x80;
    do {
        ++place;
    } while (place < text.size() &&
             (static_cast<unsigned char>(text[place]) & kContinuationMask) == kContinuation);
    return place;
}

// The end of the last whole character up to which `fits(length)` holds, from a place where it does.
template <typename Fits>
std::size_t longest_run(std::string_view text, std::size_t from, Fits fits) {
    while (from < text.size()) {
        const std::size_t next = after_character(text, from);
        if (!fits(next)) {
            break;
        }
        from = next;
    }
    return from;
}

// A text in Q beside the text.
class QText {
  public:
    explicit QText(std::string_view text) {
        dstring_setLength(q_.get(), mim::service_length(text.size() * kEscapeLength + 1));
        inet_text2Q(text.data(), mim::service_length(text.size()), q_.get()->data);
    }

    // How many characters the bytes up to `end` take, when those up to a place before take `length`.
    [[nodiscard]] std::size_t length_after(std::size_t length, std::size_t bytes) const {
        for (; bytes > 0 && q_.c_str()[length] != '\0'; --bytes) {
            length += q_.c_str()[length] == '=' ? kEscapeLength : 1;
        }
        return length;
    }

    [[nodiscard]] std::string_view front(std::size_t length) const { return {q_.c_str(), length}; }

  private:
    mim::WorkString q_;
};

void write_q(std::string_view text, char *out) {
    char *place = out + text::copy_text(kQBegin, out, kQBegin.size() + 1);
    inet_text2Q(text.data(), mim::service_length(text.size()), place);
    place += std::strlen(place);
    text::copy_text(kWordEnd, place, kWordEnd.size() + 1);
}

void write_base64(std::string_view text, char *out) {
    char *place = out + text::copy_text(kBase64Begin, out, kBase64Begin.size() + 1);
    inet_bin2base64(text.data(), mim::service_length(text.size()), place);
    place += std::strlen(place);
    text::copy_text(kWordEnd, place, kWordEnd.size() + 1);
}

// Writes as much of `text`, which does not fit, as one word holds. `budget` is the room for its text.
void write_front(std::string_view text, std::size_t budget, char *out) {
    // A byte takes a character at least, so that no more of the text can stand in Q.
    const QText q{text.substr(0, budget + kFrameSize)};
    std::size_t end =
        longest_run(text, 0, [budget](std::size_t length) { return length <= budget / kEscapeLength; });
    std::size_t length = q.length_after(0, end);
    for (std::size_t next = after_character(text, end); next < text.size();
         next = after_character(text, next)) {
        const std::size_t longer = q.length_after(length, next - end);
        end = next;
        if (longer > budget) {
            break;
        }
        length = longer;
    }
    const auto fits = [budget](std::size_t bytes) { return budget > base64_room_when_cut(bytes); };
    if (fits(end)) {
        write_base64(text.substr(0, longest_run(text, end, fits)), out);
        return;
    }
    text::Writer writer{out, budget + kFrameSize};
    writer.append(kQBegin);
    writer.append(q.front(length));
    writer.append(kWordEnd);
    writer.finish();
}

void truncate(const char *value, std::size_t size, char *out) {
    const std::string_view view{value != nullptr ? value : ""};
    if (out == nullptr || size == 0) {
        return;
    }
    if (view.size() < size) {
        text::copy_text(view, out, size);
        return;
    }
    *out = '\0';
    if (size < kFrameSize) {
        return;
    }
    mim::WorkString decoded;
    std::array<char, MIM_CHARSET_SIZE> charset;  // NOLINT(*-member-init): filled by the next call
    text::copy_text(kUnicode, charset.data(), charset.size());
    mim_2047_to_string_and_cset_dstring(value, decoded.get(), charset.data(), 1);
    const std::string_view text = decoded.view();
    const std::size_t budget = size - kFrameSize;
    if (budget / kEscapeLength >= text.size()) {
        write_q(text, out);
    } else if (budget > base64_room(text.size())) {
        write_base64(text, out);
    } else {
        write_front(text, budget, out);
    }
}

}  // namespace

const char *mim_joinRfc2047Strings(const char *first, const char *second) {
    return mim::traced<TraceClass::kWords>(__func__, [&] { return join(first, second); });
}

void mim_reEncodeRfc2047String(const char *value, char encoding, int32_t encoder_argument, dstring *out) {
    const char letter = text::to_upper(encoding);
    if (inet_is2047Encoded(value) == 0 || (letter != 'Q' && letter != 'B')) {
        dstring_set1(out, value);
        return;
    }
    const Decoded decoded{value};
    inet_encodeHeader(decoded.charset.data(), 0, decoded.text(), encoding, encoder_argument, out);
}

int mim_equivRfc2047Strings(const char *first, const char *second) {
    if (first == nullptr || second == nullptr) {
        return first == second ? 1 : 0;
    }
    return std::strcmp(first, second) == 0 || carry_same_text(Decoded{first}, Decoded{second}) ? 1 : 0;
}

char *mim_truncate_2047_string(const char *value, uint32_t size, char *out) {
    return mim::traced<TraceClass::kWords>(__func__, [&] {
        truncate(value, size, out);
        return out;
    });
}
