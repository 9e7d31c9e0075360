// Bodies in a MIME content transfer encoding (RFC 2045): quoted-printable, base64, and the pass-through of
// every other encoding, which only sees to line ends, leading dots and lines that begin with a guard string.
//
// One engine serves descriptors, block by block in fixed memory, and single texts. An encoding goes over the
// input byte by byte in principle: after each step the output is looked at, and sent off when it is nearly
// full. In fact it takes a run at once wherever no step of the run could have made a difference.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "frame.h"
#include "mim.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/scan.h"

namespace {

using mim::TraceClass;
using text::base64::LineEnd;

constexpr std::size_t kBlockSize = 1023;  // of input; whole groups of base64
constexpr std::size_t kFileLimit = 1024;  // of output: a block, or what the caller's buffer holds
constexpr std::size_t kTextLimit = MIM_ENCODED_SIZE;
constexpr std::size_t kReserve = 8;  // the output is full when less than this is left
constexpr std::size_t kWindow = 64;  // bytes of quoted-printable that are looked at together
constexpr std::size_t kSlack = std::max(text::base64::kSlack, kWindow);  // behind each block

// ---- Output ----

// What has been encoded: sent to a descriptor in blocks, or kept in the caller's buffer.
class Output {
  public:
    Output(int descriptor, char *buffer, std::size_t limit, bool is_file)
        : descriptor_(descriptor),
          begin_(buffer),
          end_(buffer),
          full_(buffer + limit - kReserve),
          is_file_(is_file) {}

    // Where the next byte goes, and the place from which on the output is full.
    [[nodiscard]] char *place() const { return end_; }
    [[nodiscard]] const char *begin() const { return begin_; }
    [[nodiscard]] const char *full() const { return full_; }
    void set_place(char *place) { end_ = place; }
    [[nodiscard]] bool is_empty() const { return end_ == begin_; }
    [[nodiscard]] bool is_file() const { return is_file_; }

    // How many bytes fit before it is full.
    [[nodiscard]] std::size_t room() const {
        return end_ < full_ ? static_cast<std::size_t>(full_ - end_) : 0;
    }

    void append(char c) { *end_++ = c; }

    void end_line(LineEnd end) {
        end_ = end.write(end_);
        ++lines_;
    }

    void count_lines(std::size_t count) { lines_ += static_cast<unsigned>(count); }

    // Looks at the output after a step; false when encoding must end.
    [[nodiscard]] bool step() { return end_ < full_ || (is_file_ && send()); }

    // Sends off the block; false when it could not be written.
    bool send() {
        const auto size = static_cast<int>(end_ - begin_);
        sent_ += static_cast<unsigned>(size);
        end_ = begin_;
        return os_write(descriptor_, begin_, size) == size;
    }

    // The bytes that were produced, and the line ends among them.
    [[nodiscard]] unsigned total() const { return sent_ + static_cast<unsigned>(end_ - begin_); }
    [[nodiscard]] unsigned lines() const { return lines_; }

  private:
    int descriptor_;
    char *begin_;
    char *end_;
    char *full_;
    bool is_file_;
    unsigned sent_ = 0;
    unsigned lines_ = 0;
};

LineEnd line_end(bool crlf) {
    return crlf ? LineEnd{{'\r', '\n'}, 2} : LineEnd{{'\n', '\0'}, 1};
}

// ---- Quoted-printable ----

constexpr std::size_t kLastColumn = 71;  // a line that is longer gets a soft line break
constexpr std::size_t kEncodedLength = 3;

using SafeTable = std::array<int, text::kByteCount>;

constexpr SafeTable kBodySafe = [] {
    SafeTable table{};
    for (std::size_t c = ' '; c <= '~'; ++c) {
        table[c] = c != '=' ? 1 : 0;
    }
    table['\t'] = 1;
    return table;
}();

// What a byte becomes. A store of all four bytes writes junk behind it.
struct Code {
    std::array<char, 4> text;
    std::uint32_t length;
};
using CodeTable = std::array<Code, text::kByteCount>;

constexpr CodeTable make_codes(const SafeTable &safe) {
    CodeTable codes{};
    for (std::size_t byte = 0; byte < codes.size(); ++byte) {
        codes[byte] = safe[byte] != 0
                          ? Code{{static_cast<char>(byte), '\0', '\0', '\0'}, 1}
                          : Code{{'=', text::kHexDigits[byte >> 4U], text::kHexDigits[byte & 0x0FU], '\0'},
                                 kEncodedLength};
    }
    return codes;
}

constexpr CodeTable kBodyCodes = make_codes(kBodySafe);
constexpr CodeTable kAllEncoded = make_codes({});
constexpr Code kHeaderBlank{{'_', '\0', '\0', '\0'}, 1};

// As it is once a header word has been encoded in the process.
constexpr CodeTable kStrictCodes = [] {
    SafeTable safe = kBodySafe;
    safe['?'] = 0;
    safe['_'] = 0;
    return make_codes(safe);
}();

// Which bytes may stand as they are, as the table that everybody may change says at the start of the call.
// Its usual states are told from any other, since they can be looked for many bytes at a time.
class SafeBytes {
  public:
    SafeBytes() {
        constexpr std::size_t kQuestion = '?';
        constexpr std::size_t kUnderscore = '_';
        is_usual_ = equals(0, kQuestion) && equals(kQuestion + 1, kUnderscore) &&
                    equals(kUnderscore + 1, text::kByteCount) &&
                    safe_char[kQuestion] == safe_char[kUnderscore] &&
                    (safe_char[kQuestion] == 0 || safe_char[kQuestion] == 1);
        if (is_usual_) {
            const bool is_strict = safe_char[kQuestion] == 0;
            codes_ = is_strict ? &kStrictCodes : &kBodyCodes;
            question_ = is_strict ? '?' : '=';
            underscore_ = is_strict ? '_' : '=';
        } else {
            SafeTable safe;  // NOLINT(*-member-init): filled by the next call
            std::copy_n(safe_char, safe.size(), safe.begin());
            own_codes_ = make_codes(safe);
            codes_ = &own_codes_;
        }
    }
    SafeBytes(const SafeBytes &) = delete;
    SafeBytes &operator=(const SafeBytes &) = delete;
    ~SafeBytes() = default;

    [[nodiscard]] const Code &code(char c) const { return (*codes_)[static_cast<unsigned char>(c)]; }

    // Whether others() may be asked.
    [[nodiscard]] bool is_usual() const { return is_usual_; }

    // A bit for each of the kWindow bytes at `text` that does not stand as it is.
    [[nodiscard]] std::uint64_t others(const char *text) const {
        std::uint64_t bits = 0;
        for (std::size_t place = 0; place < kWindow; place += text::kBlock) {
            bits |= std::uint64_t{others_in_block(text + place)} << place;
        }
        return bits;
    }

  private:
    [[nodiscard]] std::uint32_t others_in_block(const char *text) const {
#ifdef __SSE2__
        const auto block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text));
        const auto is_printable = _mm_and_si128(_mm_cmpgt_epi8(block, _mm_set1_epi8('\x1F')),
                                                _mm_cmplt_epi8(block, _mm_set1_epi8('\x7F')));
        const auto is_special = _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('=')),
                                             _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(question_)),
                                                          _mm_cmpeq_epi8(block, _mm_set1_epi8(underscore_))));
        const auto stands = _mm_or_si128(_mm_andnot_si128(is_special, is_printable),
                                         _mm_cmpeq_epi8(block, _mm_set1_epi8('\t')));
        return static_cast<std::uint32_t>(_mm_movemask_epi8(stands)) ^ 0xFFFFU;
#else
        std::uint32_t bits = 0;
        for (std::size_t place = 0; place < text::kBlock; ++place) {
            bits |= (code(text[place]).length == 1 ? 0U : 1U) << place;
        }
        return bits;
#endif
    }

    static bool equals(std::size_t from, std::size_t to) {
        return std::memcmp(safe_char + from, kBodySafe.data() + from, (to - from) * sizeof safe_char[0]) == 0;
    }

    bool is_usual_ = true;
    char question_ = '=';  // "=", which never stands, unless they do not
    char underscore_ = '=';
    const CodeTable *codes_ = nullptr;
    CodeTable own_codes_;  // NOLINT(*-member-init): only of an unusual table
};

class QuotedPrintable {
  public:
    QuotedPrintable(Output &out, bool header_mode, bool crlf, bool fold)
        : out_(out), end_(line_end(crlf)), header_mode_(header_mode), crlf_(crlf), fold_(fold) {}

    // Encodes a block; false when encoding must end. With `padded`, kSlack bytes can be read behind it, and
    // written behind the output.
    [[nodiscard]] bool encode(std::string_view block, bool padded) {
        return padded && !header_mode_ && safe_.is_usual() ? encode_windows(block) : encode_bytes(block);
    }

    void finish() {}

  private:
    // ---- Byte by byte ----

    bool encode_bytes(std::string_view block) {
        for (std::size_t i = 0; i < block.size(); ++i) {
            if (block[i] == '\n') {
                end_hard_line();
            } else {
                encode_byte(block[i]);
                end_soft_line_if_due();
            }
            if (!look_at_output(block, i)) {
                return false;
            }
        }
        return true;
    }

    void encode_byte(char c) {
        if (header_mode_ && c == ' ') {
            append(kHeaderBlank);
        } else if (column_ == 0 && (c == '-' || c == '.')) {
            append(kAllEncoded[static_cast<unsigned char>(c)]);
        } else {
            append(safe_.code(c));
        }
    }

    void append(const Code &code) {
        char *const place = out_.place();
        std::memcpy(place, code.text.data(), code.text.size());
        out_.set_place(place + code.length);
        column_ += code.length;
    }

    // ---- Window by window ----

    // In a window the bytes that stand are runs between those that do not. Only where the line may get a soft
    // line break or the output may be full need anything be looked at after a step: that place is kept, and a
    // run goes no further. The output is told where its end is only then, so that the place stays in a
    // register.
    bool encode_windows(std::string_view block) {
        char *place = out_.place();
        begin_line(place, column_);
        for (std::size_t begin = 0; begin < block.size(); begin += kWindow) {
            const char *const window = block.data() + begin;
            const std::size_t size = std::min(block.size() - begin, kWindow);
            std::uint64_t others = safe_.others(window);
            std::size_t i = 0;
            for (;;) {
                const std::size_t next = std::min(static_cast<std::size_t>(std::countr_zero(others)), size);
                if (place == line_start_ && i < next && (window[i] == '-' || window[i] == '.')) {
                    place = write(kAllEncoded, window[i++], place);
                } else {
                    const std::size_t run = std::min(next - i, static_cast<std::size_t>(watched_ - place));
                    copy_blocks(window + i, run, place);
                    place += run;
                    i += run;
                }
                if (place == watched_) {
                    if (!look_at(place, block, begin + i)) {
                        return false;
                    }
                    continue;
                }
                if (i < next) {
                    continue;
                }
                if (i == size) {
                    break;
                }
                others &= others - 1;
                place = window[i] == '\n' ? end_hard_line_at(place) : write(kAllEncoded, window[i], place);
                ++i;
                if (place >= watched_ && !look_at(place, block, begin + i)) {
                    return false;
                }
            }
        }
        out_.set_place(place);
        column_ = column_at(place);
        return true;
    }

    static char *write(const CodeTable &codes, char c, char *place) {
        const Code &code = codes[static_cast<unsigned char>(c)];
        std::memcpy(place, code.text.data(), code.text.size());
        return place + code.length;
    }

    // Copies `length` bytes in whole blocks, at least one.
    static void copy_blocks(const char *in, std::size_t length, char *place) {
        std::memcpy(place, in, text::kBlock);
        for (std::size_t done = text::kBlock; done < length; done += text::kBlock) {
            std::memcpy(place + done, in + done, text::kBlock);
        }
    }

    // The line begins at `place`, or has `column` characters before it.
    void begin_line(char *place, std::size_t column = 0) {
        mark_ = place;
        mark_column_ = column;
        line_start_ = column == 0 ? place : nullptr;
        watch();
    }

    void watch() {
        watched_ = out_.full();
        if (const auto left = static_cast<std::ptrdiff_t>(kLastColumn + 1 - mark_column_);
            fold_ && left < watched_ - mark_) {
            watched_ = mark_ + left;
        }
    }

    [[nodiscard]] std::size_t column_at(const char *place) const {
        return mark_column_ + static_cast<std::size_t>(place - mark_);
    }

    char *end_hard_line_at(char *place) {
        place = write_line_end(place, column_at(place) > 0);
        begin_line(place);
        return place;
    }

    // Looks at line and output after a step; `next` is the place of the byte that is taken next. False when
    // encoding must end.
    [[nodiscard]] bool look_at(char *&place, std::string_view block, std::size_t next) {
        out_.set_place(place);
        column_ = column_at(place);
        end_soft_line_if_due();
        if (!look_at_output(block, next - 1)) {
            return false;
        }
        place = out_.place();
        begin_line(place, column_);
        if (watched_ <= place) {
            watched_ = place + 1;  // it waits for a line end
        }
        return true;
    }

    // ---- Lines ----

    // A blank before the line end would be lost on the way. Only a blank that stands as it is ends in one; in
    // header mode only a blank ends in "_".
    char *write_line_end(char *place, bool line_has_text) {
        out_.count_lines(1);
        if (place == out_.begin()) {
            return end_.write(place);
        }
        if (line_has_text && (place[-1] == ' ' || place[-1] == '\t' || (header_mode_ && place[-1] == '_'))) {
            const char blank = place[-1] == '\t' ? '\t' : ' ';
            place = write(kAllEncoded, blank, place - 1);
        }
        if (crlf_ && place[-1] != '\r') {
            *place++ = '\r';
        }
        *place++ = '\n';
        return place;
    }

    void end_hard_line() {
        out_.set_place(write_line_end(out_.place(), column_ > 0));
        column_ = 0;
    }

    void end_soft_line_if_due() {
        if (fold_ && column_ > kLastColumn) {
            out_.append('=');
            out_.end_line(end_);
            column_ = 0;
        }
    }

    // Looks at the output after the byte at `i`; a blank waits for the line end behind it. False when
    // encoding must end.
    [[nodiscard]] bool look_at_output(std::string_view block, std::size_t i) {
        if (out_.room() > 0) {
            return true;
        }
        const bool waits = block[i] == ' ' && i + 1 < block.size() && block[i + 1] == '\n';
        return waits || out_.step();
    }

    Output &out_;
    SafeBytes safe_;
    LineEnd end_;
    bool header_mode_;
    bool crlf_;
    bool fold_;
    std::size_t column_ = 0;  // characters of the line so far; window by window, those at the last look

    // Window by window: the line has `mark_column_` characters before `mark_`.
    char *mark_ = nullptr;
    std::size_t mark_column_ = 0;
    const char *line_start_ = nullptr;  // where the line begins, unless that was sent off
    const char *watched_ = nullptr;     // from where on a look is needed
};

// ---- Base64 ----

class Base64 {
  public:
    Base64(Output &out, bool crlf, bool fold)
        : out_(out), end_(line_end(crlf)), fold_(fold && out.is_file()) {}

    // Encodes a block; false when encoding must end. With `padded`, kSlack bytes can be read behind it.
    [[nodiscard]] bool encode(std::string_view block, bool padded) {
        using namespace text::base64;
        const auto *in = reinterpret_cast<const unsigned char *>(block.data());
        std::size_t groups = block.size() / kGroupBytes;
        while (groups > 0) {
            const std::size_t done = padded && fold_ && column_ == 0 ? encode_lines(in, groups) : 0;
            const std::size_t taken = done > 0 ? done : encode_groups(in, groups, padded);
            in += taken * kGroupBytes;
            groups -= taken;
            if (!out_.step()) {
                return false;
            }
        }
        if (const std::size_t rest = block.size() % kGroupBytes; rest > 0) {
            encode_rest(in, rest);
            return out_.step();
        }
        return true;
    }

    // The last line ends too.
    void finish() {
        if (out_.is_file() && column_ > 0) {
            out_.end_line(end_);
        }
    }

  private:
    static constexpr std::size_t kLineGroups = text::base64::kLineBytes / text::base64::kGroupBytes;

    // Encodes the lines that the output has room for: before the last group of each it is not full. Returns
    // how many groups they are.
    std::size_t encode_lines(const unsigned char *in, std::size_t groups) {
        using namespace text::base64;
        constexpr std::size_t kBeforeLast = kLineCharacters - kGroupCharacters;
        const std::size_t room = out_.room();
        if (room <= kBeforeLast) {
            return 0;
        }
        const std::size_t lines =
            std::min(groups / kLineGroups, (room - kBeforeLast - 1) / (kLineCharacters + end_.length) + 1);
        encode_lines_(in, lines, end_, out_.place());
        out_.set_place(out_.place() + lines * (kLineCharacters + end_.length));
        out_.count_lines(lines);
        return lines * kLineGroups;
    }

    // Encodes groups up to the end of the line or a full output. Returns how many they are.
    std::size_t encode_groups(const unsigned char *in, std::size_t groups, bool padded) {
        using namespace text::base64;
        groups = std::min(groups, (out_.room() + kGroupCharacters - 1) / kGroupCharacters);
        if (fold_) {
            groups = std::min(groups, (kLineCharacters - column_) / kGroupCharacters);
        }
        (padded ? encode_ : encode_plain)(in, groups, out_.place());
        out_.set_place(out_.place() + groups * kGroupCharacters);
        end_group(groups);
        return groups;
    }

    void encode_rest(const unsigned char *in, std::size_t rest) {
        using namespace text::base64;
        std::array<unsigned char, kGroupBytes> group{};
        std::copy_n(in, rest, group.begin());
        char *const place = out_.place();
        encode_plain(group.data(), 1, place);
        std::fill(place + rest + 1, place + kGroupCharacters, kPad);
        out_.set_place(place + kGroupCharacters);
        end_group(1);
    }

    void end_group(std::size_t groups) {
        column_ += groups * text::base64::kGroupCharacters;
        if (fold_ && column_ == text::base64::kLineCharacters) {
            out_.end_line(end_);
            column_ = 0;
        }
    }

    Output &out_;
    LineEnd end_;
    bool fold_;
    std::size_t column_ = 0;
    text::base64::Encode encode_ = text::base64::encoder();
    text::base64::EncodeLines encode_lines_ = text::base64::line_encoder();
};

// ---- Pass-through ----

class PassThrough {
  public:
    PassThrough(Output &out, std::string_view guard, bool crlf, bool at_line_start)
        : out_(out), guard_(guard), crlf_(crlf), previous_(at_line_start ? '\n' : 'x') {}

    // Encodes a block, behind which text::kBlock bytes can be read; false when encoding must end.
    [[nodiscard]] bool encode(std::string_view block) {
        std::size_t place = 0;
        while (place < block.size()) {
            place += block[place] == '\r' || block[place] == '\n' ? end_line(block[place])
                                                                  : copy_some(block, place);
            if (!out_.step()) {
                return false;
            }
        }
        return true;
    }

  private:
    std::size_t end_line(char c) {
        if (is_guarded_ && guard_index_ == guard_.size()) {
            out_.append(' ');
        }
        if (c == '\n') {
            if (crlf_ && previous_ != '\r') {
                out_.append('\r');
            }
            out_.count_lines(1);
        }
        is_guarded_ = !guard_.empty();
        guard_index_ = 0;
        out_.append(c);
        previous_ = c;
        return 1;
    }

    // Takes at least one byte of those before the line's end. Returns how many.
    std::size_t copy_some(std::string_view block, std::size_t place) {
        if (block[place] == '.' && previous_ == '\n' && !crlf_) {
            out_.append('.');
            return copy_byte(block[place]);
        }
        if (is_guarded_) {
            return copy_byte(block[place]);
        }
        const std::string_view ahead = block.substr(0, std::min(block.size(), place + out_.room()));
        const std::size_t end = text::find_any<'\r', '\n'>(ahead, place);
        char *const to = out_.place();
        std::memcpy(to, block.data() + place, end - place);
        out_.set_place(to + (end - place));
        previous_ = block[end - 1];
        return end - place;
    }

    std::size_t copy_byte(char c) {
        if (c == ' ') {
            is_guarded_ = false;
        } else if (is_guarded_ && guard_index_ < guard_.size()) {
            is_guarded_ = guard_[guard_index_++] == c;
        }
        out_.append(c);
        previous_ = c;
        return 1;
    }

    Output &out_;
    std::string_view guard_;
    bool crlf_;
    char previous_;
    bool is_guarded_ = false;      // the line agrees with the guard string so far, and holds no blank
    std::size_t guard_index_ = 0;  // how much of the guard string it has shown
};

// ---- The engine ----

struct Request {
    int in;
    int out;
    const char *encoding;
    const char *guard;
    const char *text;
    char *buffer;
    bool header_mode;
    bool crlf;
    bool at_line_start;
    bool fold;
};

// Blocks of input, with room for what may be read behind them.
class Input {
  public:
    explicit Input(const Request &request)
        : descriptor_(request.in),
          text_(request.text != nullptr ? request.text : ""),
          is_file_(request.text == nullptr) {}

    [[nodiscard]] bool is_file() const { return is_file_; }

    // The whole text.
    [[nodiscard]] std::string_view text() const { return text_; }

    // The next block, in memory of its own; empty at the end.
    std::span<char> next() {
        std::size_t length = 0;
        if (is_file_) {
            length = static_cast<std::size_t>(std::max(os_read(descriptor_, block_.data(), kBlockSize), 0));
        } else {
            length = text_.copy(block_.data(), kBlockSize);
            text_.remove_prefix(length);
        }
        return {block_.data(), length};
    }

  private:
    int descriptor_;
    std::string_view text_;
    bool is_file_;
    std::array<char, kBlockSize + kSlack> block_;  // NOLINT(*-member-init): filled by next
};

// Runs an encoding whose blocks are those of the descriptor, or the whole text; false when it had to end.
template <typename Encoding>
bool encode_blocks(Input &input, Encoding &&encoding) {
    if (!input.is_file()) {
        return encoding.encode(input.text(), false);
    }
    for (;;) {
        const auto block = input.next();
        if (block.empty()) {
            encoding.finish();
            return true;
        }
        if (!encoding.encode({block.data(), block.size()}, true)) {
            return false;
        }
    }
}

// Runs the pass-through, which changes the block.
bool pass_blocks(Input &input, PassThrough encoding, bool strips_high_bits) {
    constexpr int kSevenBits = 0x7F;
    for (;;) {
        const auto block = input.next();
        if (block.empty()) {
            return true;
        }
        if (strips_high_bits) {
            std::transform(block.begin(), block.end(), block.begin(),
                           [](char c) { return static_cast<char>(c & kSevenBits); });
        }
        if (!encoding.encode({block.data(), block.size()})) {
            return false;
        }
    }
}

bool run(const Request &request, Input &input, Output &out) {
    const std::string_view name = request.encoding;
    if (text::equal_ignoring_case(name, "QUOTED-PRINTABLE")) {
        if (request.header_mode) {
            safe_char['?'] = 0;
            safe_char['_'] = 0;
        }
        return encode_blocks(input, QuotedPrintable{out, request.header_mode, request.crlf, request.fold});
    }
    if (text::equal_ignoring_case(name, "BASE64")) {
        return encode_blocks(input, Base64{out, request.crlf, request.fold});
    }
    const std::string_view guard = request.guard != nullptr ? request.guard : "";
    const bool at_line_start = input.is_file() || request.at_line_start;
    return pass_blocks(input, PassThrough{out, guard, request.crlf, at_line_start},
                       text::equal_ignoring_case(name, "7BIT"));
}

void encode(const Request &request, unsigned *total_out, unsigned *lines_out) {
    Input input{request};
    std::array<char, kFileLimit + kSlack> block;  // NOLINT(*-member-init): filled by the encodings
    Output out{request.out, input.is_file() ? block.data() : request.buffer,
               input.is_file() ? kFileLimit : kTextLimit, input.is_file()};
    const bool at_end = run(request, input, out);
    if (!input.is_file()) {
        *out.place() = '\0';
    } else if (at_end && !out.is_empty()) {
        static_cast<void>(out.send());
    }
    *total_out = out.total();
    *lines_out = out.lines();
}

}  // namespace

// Tab, and 0x20 to 0x7E without "=". Checked against kBodySafe by the compiler, which cannot fill an exported
// array of C from one of C++.
int safe_char[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
};

void mim_EncMimeData2(int fd_in, int fd_out, const char *encoding, const char *guard, const char *text,
                      char *out, int header_mode, int crlf, int at_line_start, unsigned *total_out,
                      unsigned *lines_out, int fold) {
    mim::traced<TraceClass::kMain>(__func__, [&] {
        encode({fd_in, fd_out, encoding, guard, text, out, header_mode != 0, crlf != 0, at_line_start != 0,
                fold != 0},
               total_out, lines_out);
    });
}

void mim_EncodeMimeData(int fd_in, int fd_out, const char *encoding, const char *guard, const char *text,
                        char *out, int header_mode, int crlf, int at_line_start, int fold) {
    mim::traced<TraceClass::kMain>(__func__, [&] {
        unsigned total = 0;
        unsigned lines = 0;
        mim_EncMimeData2(fd_in, fd_out, encoding, guard, text, out, header_mode, crlf, at_line_start, &total,
                         &lines, fold);
    });
}

void mim_EncMimeFile2(int fd_in, int fd_out, const char *encoding, const char *guard, int crlf,
                      unsigned *total_out, unsigned *lines_out) {
    mim::traced<TraceClass::kWords>(__func__, [&] {
        mim_EncMimeData2(fd_in, fd_out, encoding, guard, nullptr, nullptr, 0, crlf, 1, total_out, lines_out,
                         1);
    });
}

void mim_EncodeMimeFile(int fd_in, int fd_out, const char *encoding, const char *guard, int crlf) {
    mim::traced<TraceClass::kWords>(__func__, [&] {
        unsigned total = 0;
        unsigned lines = 0;
        mim_EncMimeFile2(fd_in, fd_out, encoding, guard, crlf, &total, &lines);
    });
}
