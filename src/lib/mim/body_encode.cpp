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
#include "text/quoted_printable.h"
#include "text/scan.h"

namespace {

using mim::TraceClass;
using text::base64::LineEnd;

constexpr std::size_t kBlockSize = 1023;  // of input; whole groups of base64
constexpr std::size_t kFileLimit = 1024;  // of output: a block, or what the caller's buffer holds
constexpr std::size_t kTextLimit = MIM_ENCODED_SIZE;
constexpr std::size_t kReserve = 8;  // the output is full when less than this is left
constexpr std::size_t kSlack =
    std::max(text::base64::kSlack, text::quoted_printable::kSlack);  // behind each block

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

namespace qp = text::quoted_printable;

// The bytes that stand in bodies, but not in header words.
constexpr std::size_t kQuestion = '?';
constexpr std::size_t kUnderscore = '_';

constexpr std::size_t kLastColumn = 71;  // a line that is longer gets a soft line break

constexpr qp::Codes kHeaderCodes = [] {
    qp::Codes codes = qp::kStrictCodes;
    codes[' '] = {{'_', '\0', '\0', '\0'}, 1};
    return codes;
}();

// What each byte becomes, as the table that everybody may change says at the start of the call. Its usual
// states are told from any other, for which there are faster ways.
class ByteCodes {
  public:
    explicit ByteCodes(bool header_mode) {
        if (agrees_with(qp::kStrictCodes)) {
            codes_ = header_mode ? &kHeaderCodes : &qp::kStrictCodes;
        } else if (agrees_with(qp::kBodyCodes)) {  // never in header mode
            codes_ = &qp::kBodyCodes;
        } else {
            own_codes_ = qp::make_codes([](char c) { return stands(c); });
            if (header_mode) {
                own_codes_[' '] = kHeaderCodes[' '];
            }
            codes_ = &own_codes_;
        }
    }
    ByteCodes(const ByteCodes &) = delete;
    ByteCodes &operator=(const ByteCodes &) = delete;
    ~ByteCodes() = default;

    [[nodiscard]] const qp::Codes &get() const { return *codes_; }

  private:
    static bool stands(char c) { return safe_char[static_cast<unsigned char>(c)] != 0; }

    static bool agrees_with(const qp::Codes &codes) {
        for (std::size_t byte = 0; byte < codes.size(); ++byte) {
            if ((safe_char[byte] != 0) != (codes[byte].length == 1)) {
                return false;
            }
        }
        return true;
    }

    const qp::Codes *codes_ = nullptr;
    qp::Codes own_codes_;  // NOLINT(*-member-init): only of an unusual table
};

class QuotedPrintable {
  public:
    QuotedPrintable(Output &out, bool header_mode, bool crlf, bool fold)
        : out_(out),
          codes_(header_mode),
          encode_(out.is_file() ? qp::encoder(codes_.get()) : qp::encode_plain),
          end_(line_end(crlf)),
          header_mode_(header_mode),
          crlf_(crlf),
          fold_(fold) {}

    // Encodes a block; false when encoding must end.
    //
    // Only where the line may get a soft line break or the output may be full need anything be looked at
    // after a step: that place is watched, and the bytes up to it are taken together.
    [[nodiscard]] bool encode(std::string_view block, bool /*padded*/) {
        const char *in = block.data();
        const char *const end = in + block.size();
        char *place = out_.place();
        begin_line(place, column_);
        while (in < end) {
            if (*in == '\n') {
                place = end_hard_line(place);
                ++in;
            } else if (place == line_start_ && (*in == '-' || *in == '.')) {
                place = write(qp::encoded(*in++), place);
            } else {
                const qp::Progress progress = encode_(codes_.get(), in, end, place, watched_);
                in = progress.in;
                place = progress.out;
            }
            if (place >= watched_ && !look_at(place, in, end)) {
                return false;
            }
        }
        out_.set_place(place);
        column_ = column_at(place);
        return true;
    }

    void finish() {}

  private:
    static char *write(const qp::Code &code, char *place) {
        std::memcpy(place, code.text.data(), code.text.size());
        return place + code.length;
    }

    // The line begins at `place`, or has `column` characters before it.
    void begin_line(char *place, std::size_t column) {
        mark_ = place;
        mark_column_ = column;
        line_start_ = column == 0 ? place : nullptr;
        watched_ = out_.full();
        if (const auto left = static_cast<std::ptrdiff_t>(kLastColumn + 1 - column);
            fold_ && left < watched_ - place) {
            watched_ = place + left;
        }
    }

    [[nodiscard]] std::size_t column_at(const char *place) const {
        return mark_column_ + static_cast<std::size_t>(place - mark_);
    }

    // A blank before the line end would be lost on the way. Only a blank that stands as it is ends in one; in
    // header mode only a blank ends in "_".
    char *end_hard_line(char *place) {
        if (place == out_.begin()) {
            place = end_.write(place);
        } else {
            if (column_at(place) > 0 &&
                (place[-1] == ' ' || place[-1] == '\t' || (header_mode_ && place[-1] == '_'))) {
                place = write(qp::encoded(place[-1] == '\t' ? '\t' : ' '), place - 1);
            }
            if (crlf_ && place[-1] != '\r') {
                *place++ = '\r';
            }
            *place++ = '\n';
        }
        out_.count_lines(1);
        begin_line(place, 0);
        return place;
    }

    // Breaks the line that is too long, and sends off the output that is full, unless its last byte, a blank,
    // waits for the line end behind it. False when encoding must end.
    [[nodiscard]] bool look_at(char *&place, const char *next, const char *end) {
        std::size_t column = column_at(place);
        if (fold_ && column > kLastColumn) {
            *place++ = '=';
            place = end_.write(place);
            out_.count_lines(1);
            column = 0;
        }
        const bool waits = next[-1] == ' ' && next < end && *next == '\n';
        if (!waits) {
            out_.set_place(place);
            if (!out_.step()) {
                return false;
            }
            place = out_.place();
        }
        begin_line(place, column);
        if (watched_ <= place) {
            watched_ = place + 1;  // the line end comes next
        }
        return true;
    }

    Output &out_;
    ByteCodes codes_;
    qp::Encode encode_;
    LineEnd end_;
    bool header_mode_;
    bool crlf_;
    bool fold_;
    std::size_t column_ = 0;  // characters of the line, between two blocks

    // Within a block, the line has `mark_column_` characters before `mark_`.
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
            safe_char[kQuestion] = 0;
            safe_char[kUnderscore] = 0;
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
    const bool is_file = request.text == nullptr;
    Output out{request.out, is_file ? block.data() : request.buffer, is_file ? kFileLimit : kTextLimit,
               is_file};
    const bool at_end = run(request, input, out);
    if (!is_file) {
        *out.place() = '\0';
    } else if (at_end && !out.is_empty()) {
        static_cast<void>(out.send());
    }
    *total_out = out.total();
    *lines_out = out.lines();
}

}  // namespace

// Tab, and 0x20 to 0x7E without "=".
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
