// Bodies out of a MIME content transfer encoding (RFC 2045) or uuencode, as they stand in a message that
// comes over SMTP.
//
// Everything goes line by line: a line is taken as it lies in the input's buffer, and what it stands for is
// put into the output's. A line is bytes: a NUL byte is a byte like any other, which is copied where bytes
// are copied and is no digit of base64, and a line that holds one is no boundary. The pieces of a line that
// is longer than is read at once count as lines, but a "." does not end the message behind such a piece.

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

#include "frame.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/quoted_printable_decode.h"
#include "text/uuencode.h"

namespace {

using mim::TraceClass;
using text::base64::LineEnd;

constexpr int kMaxRead = 1023;                    // bytes of a line, its line end included
constexpr std::size_t kMaxJoined = 1024;          // characters of a base64 line and those that continue it
constexpr std::size_t kMaxOutput = kMaxRead + 2;  // bytes that a line may become, with the line end before it

constexpr std::size_t kSlack =
    std::max({text::base64::kSlack, text::uuencode::kSlack, text::quoted_printable::kDecodeSlack});
static_assert(kSlack <= OS_LINE_SLACK, "lines are decoded from buffer to buffer");

// ---- Input ----

// The lines of the part.
class Lines {
  public:
    Lines(os_file *in, const char *boundary, const char *closing_boundary, int *message_end,
          int *closing_boundary_seen)
        : in_(in),
          boundary_(boundary != nullptr ? boundary : ""),
          closing_boundary_(closing_boundary != nullptr ? closing_boundary : ""),
          message_end_(message_end),
          closing_boundary_seen_(closing_boundary_seen) {}

    // Reads the next line, without its line end; false when there is none left in the part.
    [[nodiscard]] bool next() {
        goes_on_ =
            goes_on_ && mim::traced<TraceClass::kHelper>("mim_get_next_line", [this] { return read(); });
        return goes_on_;
    }

    // Reads the rest of the part.
    void skip() {
        while (next()) {
        }
    }

    // The line that was read last, valid until the next one is read. kSlack bytes behind it can be read.
    [[nodiscard]] std::string_view line() const { return line_; }

  private:
    bool read() {
        int length = 0;
        const char *bytes = os_fline(in_, kMaxRead, &length);
        if (bytes == nullptr) {
            return false;
        }
        std::string_view line{bytes, static_cast<std::size_t>(length)};
        const bool follows_whole_line = is_whole_;
        is_whole_ = line.back() == '\n';
        if (is_whole_) {
            do {
                line.remove_suffix(1);
            } while (!line.empty() && line.back() == '\r');
        }
        if (follows_whole_line && line == ".") {
            *message_end_ = 1;
            return false;
        }
        if (!boundary_.empty() && line == boundary_) {
            return false;
        }
        if (!closing_boundary_.empty() && line == closing_boundary_) {
            *closing_boundary_seen_ = 1;
            return false;
        }
        if (line.starts_with("..")) {
            line.remove_prefix(1);
        }
        line_ = line;
        return true;
    }

    os_file *in_;
    std::string_view boundary_;
    std::string_view closing_boundary_;
    int *message_end_;
    int *closing_boundary_seen_;
    std::string_view line_;
    bool is_whole_ = true;  // the last line ended in a line end
    bool goes_on_ = true;
};

// ---- Output ----

// The bytes that the lines stand for, put into the stream's buffer line by line. Room is made there, and what
// was put there is taken, for many lines at once.
class Output {
  public:
    explicit Output(os_file *out) : out_(out) {}
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;
    ~Output() {
        if (begin_ != end_) {  // a failure unwinds
            mim::clean_up_quietly([this] { commit(); });
        }
    }

    // Returns the place for the bytes of a line, at most kMaxOutput, behind which kSlack bytes may be
    // overwritten; null when they cannot be written.
    [[nodiscard]] char *place() {
        if (static_cast<std::size_t>(limit_ - end_) < kMaxOutput) {
            commit();
            begin_ = end_ = os_freserve(out_, OS_MAX_LINE);
            limit_ = begin_ != nullptr ? begin_ + OS_MAX_LINE : nullptr;
        }
        return end_;
    }

    // Puts there what stands at the place, up to `end`.
    void put(char *end) { end_ = end; }

    // Lets the stream take what was put there.
    void commit() {
        if (begin_ != end_) {
            const auto length = static_cast<std::size_t>(end_ - std::exchange(begin_, end_));
            os_fcommit(out_, length);
        }
    }

  private:
    os_file *out_;
    char *begin_ = nullptr;  // [begin, end) was put there
    char *end_ = nullptr;
    char *limit_ = nullptr;
};

// ---- Text ----

// Lines with a line end between them.
class TextOutput {
  public:
    TextOutput(Output &out, LineEnd end) : out_(out), end_(end) {}

    // Returns the place for a line, behind the line end that is owed to the one before; null when it cannot
    // be written.
    [[nodiscard]] char *begin_line() {
        char *const place = out_.place();
        if (place == nullptr) {
            return nullptr;
        }
        char *const behind = end_.write(place);
        return owes_line_end_ ? behind : place;
    }

    // Puts the line there, up to `end`.
    void end_line(char *end, bool owes_line_end) {
        out_.put(end);
        owes_line_end_ = owes_line_end;
    }

    // Ends the last line, too.
    void finish() {
        if (char *const place = begin_line(); place != nullptr) {
            out_.put(place);
        }
    }

  private:
    Output &out_;
    LineEnd end_;
    bool owes_line_end_ = false;
};

bool copy_line(std::string_view line, TextOutput &out) {
    char *const place = out.begin_line();
    if (place == nullptr) {
        return false;
    }
    std::memcpy(place, line.data(), line.size());
    out.end_line(place + line.size(), true);
    return true;
}

// Blanks at the end of a line are not the sender's, and "=" before them joins it to the next.
bool decode_quoted_printable(std::string_view line, text::quoted_printable::Decode decode, TextOutput &out) {
    char *const place = out.begin_line();
    if (place == nullptr) {
        return false;
    }
    while (!line.empty() && text::kBlanks.contains(line.back())) {
        line.remove_suffix(1);
    }
    const bool is_joined = line.ends_with(text::quoted_printable::kEscape);
    line.remove_suffix(is_joined ? 1 : 0);
    char *const end =
        mim::traced<TraceClass::kWords>("mim_DecodeMimeCharWord", [=] { return decode(line, place); });
    out.end_line(end, !is_joined);
    return true;
}

void decode_text(Lines &lines, Output &out, bool is_quoted, bool crlf, const int &message_end) {
    constexpr LineEnd kLineFeed{{'\n', '\0'}, 1};
    constexpr LineEnd kCrLf{{'\r', '\n'}, 2};
    TextOutput text{out, is_quoted && crlf ? kCrLf : kLineFeed};
    if (is_quoted) {
        const auto decode = text::quoted_printable::decoder();
        while (lines.next() && decode_quoted_printable(lines.line(), decode, text)) {
        }
    } else {
        while (lines.next() && copy_line(lines.line(), text)) {
        }
    }
    if (message_end != 0) {
        text.finish();
    }
}

// ---- Base64 ----

class Base64 {
  public:
    Base64(Lines &lines, Output &out) : lines_(lines), out_(out) {}

    // Decodes the line just read, with those that continue it; false when it cannot be written.
    [[nodiscard]] bool decode_line() { return decode_whole_groups(lines_.line()) || decode_joined(); }

  private:
    static constexpr std::size_t kGroup = text::base64::kGroupCharacters;

    // Decodes a line of whole groups and nothing else; false when it is not one.
    bool decode_whole_groups(std::string_view line) {
        char *const place = out_.place();
        if (place == nullptr || line.size() % kGroup != 0 || is_traced() ||
            decode_(line.data(), line.size(), reinterpret_cast<unsigned char *>(place)) != line.size()) {
            return false;
        }
        out_.put(place + line.size() / kGroup * text::base64::kGroupBytes);
        return true;
    }

    // Any line. "=" stands in the last one only: what follows it in the part is no data.
    bool decode_joined() {
        std::array<char, kMaxJoined + kSlack> joined;  // NOLINT(*-member-init): filled as far as it is read
        std::size_t length = lines_.line().copy(joined.data(), kMaxJoined);
        bool is_last = holds_pad(lines_.line());
        while (!is_last && length % kGroup != 0 && lines_.next()) {
            const std::string_view more = lines_.line();
            if (more.size() <= kMaxJoined - length) {  // else it is dropped
                length += more.copy(joined.data() + length, more.size());
            }
            is_last = holds_pad(more);
        }
        if (is_last) {
            lines_.skip();
        }
        char *const place = out_.place();
        if (place == nullptr) {
            return false;
        }
        out_.put(mim::traced<TraceClass::kWords>("mim_DecodeMimeCharWord", [&] {
            return decode_groups({joined.data(), length}, place);
        }));
        return true;
    }

    static bool holds_pad(std::string_view line) {
        return line.find(text::base64::kPad) != std::string_view::npos;
    }

    static bool is_traced() { return er_SubSystemLoggingLevel > mim::kLastPlainTraceLevel; }

    // Decodes a line from group to group, and returns the end of the bytes. A character that is no digit ends
    // its group.
    char *decode_groups(std::string_view text, char *end) const {
        constexpr unsigned kByteBits = 8;
        constexpr unsigned kDigitBits = 6;
        constexpr unsigned kGroupBits = kDigitBits * kGroup;
        std::size_t i = 0;
        while (i < text.size()) {
            if (!is_traced()) {
                const std::size_t done =
                    decode_(text.data() + i, text.size() - i, reinterpret_cast<unsigned char *>(end));
                end += done / kGroup * text::base64::kGroupBytes;
                i += done;
            }
            unsigned bits = 0;
            unsigned count = 0;
            while (i < text.size() && count < kGroupBits) {
                const int digit = decode_character(text[i++]);
                if (digit < 0) {
                    break;
                }
                count += kDigitBits;
                bits |= static_cast<unsigned>(digit) << (kGroupBits - count);
            }
            for (; count >= kByteBits; count -= kByteBits, bits <<= kByteBits) {
                *end++ = static_cast<char>(bits >> (kGroupBits - kByteBits));
            }
        }
        return end;
    }

    static int decode_character(char c) {
        return mim::traced<TraceClass::kWords>("mim_DecodeMimeBase64Char",
                                               [c] { return text::base64::digit(c); });
    }

    Lines &lines_;
    Output &out_;
    text::base64::Decode decode_ = text::base64::decoder();
};

void decode_base64(Lines &lines, Output &out) {
    Base64 base64{lines, out};
    while (lines.next() && base64.decode_line()) {
    }
}

// ---- Uuencode ----

// Decodes a line of data; false when it is too short for its count. Characters that it lacks at its end count
// as the blanks that a mailer takes away there.
bool decode_uuencoded(std::string_view line, text::uuencode::Decode decode, Output &out) {
    using namespace text::uuencode;
    if (line.starts_with("..")) {
        line.remove_prefix(1);
    }
    const std::size_t count = line.empty() ? 0 : digit(line.front());
    if (count >= line.size()) {
        return false;
    }
    line.remove_prefix(1);
    char *const place = out.place();
    if (place == nullptr) {
        return true;
    }
    auto *const bytes = reinterpret_cast<unsigned char *>(place);
    if (line.size() >= encoded_length(count)) {
        decode(line.data(), count, bytes);
    } else {
        std::array<char, encoded_length(kMaxCount) + kSlack> filled{};
        std::fill(filled.begin() + line.copy(filled.data(), filled.size()), filled.end(), ' ');
        decode(filled.data(), count, bytes);
    }
    out.put(place + count);
    return true;
}

void decode_uuencoded_block(Lines lines, os_file *stream) {
    const text::uuencode::Decode decode = text::uuencode::decoder();
    Output out{stream};
    bool in_block = false;
    bool is_over = false;
    while (lines.next()) {
        const std::string_view line = lines.line();
        if (line.starts_with("end")) {
            is_over = true;
        } else if (!in_block) {
            in_block = line.starts_with("begin");
        } else if (!is_over &&
                   (stream == nullptr || !mim::traced<TraceClass::kMain>("mim_DecodeUUEncodedLine", [&] {
                        return decode_uuencoded(line, decode, out);
                    }))) {
            break;
        }
    }
    out.commit();
}

// ---- The encodings ----

void decode_part(Lines lines, os_file *stream, std::string_view encoding, bool crlf, const int &message_end) {
    Output out{stream};
    if (text::equal_ignoring_case(encoding, "BASE64")) {
        decode_base64(lines, out);
    } else {
        decode_text(lines, out, text::equal_ignoring_case(encoding, "QUOTED-PRINTABLE"), crlf, message_end);
    }
    out.commit();
}

}  // namespace

void mim_DecodeMimeFile(os_file *in, os_file *out, const char *encoding, const char *boundary,
                        const char *closing_boundary, int *message_end, int *closing_boundary_seen,
                        int crlf) {
    mim::traced<TraceClass::kMain>(__func__, [&] {
        *message_end = 0;
        *closing_boundary_seen = 0;
        if (text::equal_ignoring_case(encoding, "X-UUENCODE")) {
            mim_DecodeUUencodeFile(in, out, boundary, closing_boundary, message_end, closing_boundary_seen);
            return;
        }
        decode_part({in, boundary, closing_boundary, message_end, closing_boundary_seen}, out, encoding,
                    crlf != 0, *message_end);
    });
}

void mim_DecodeUUencodeFile(os_file *in, os_file *out, const char *boundary, const char *closing_boundary,
                            int *message_end, int *closing_boundary_seen) {
    mim::traced<TraceClass::kMain>(__func__, [&] {
        decode_uuencoded_block({in, boundary, closing_boundary, message_end, closing_boundary_seen}, out);
    });
}
