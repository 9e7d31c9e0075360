// Bodies in a MIME content transfer encoding (RFC 2045): quoted-printable, base64, and the pass-through of
// every other encoding, which only sees to line ends, leading dots and lines that begin with a guard string.
//
// One engine serves descriptors, block by block in fixed memory, and single texts. An encoding goes over the
// input byte by byte in principle: after each step the output is looked at, and sent off when it is nearly
// full. In fact quoted-printable and base64 first turn a block into the characters that it becomes, and then
// copy those to the output a line at a time, or as far as no step could have made a difference.

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
#include "text/line_ends.h"
#include "text/quoted_printable.h"
#include "text/scan.h"

namespace {

using mim::TraceClass;
using text::base64::LineEnd;

constexpr std::size_t kBlockSize = 1023;  // of input; whole groups of base64
constexpr std::size_t kFileLimit = 1024;  // of output: a block, or what the caller's buffer holds
constexpr std::size_t kTextLimit = MIM_ENCODED_SIZE;
constexpr std::size_t kReserve = 8;  // the output is full when less than this is left
constexpr std::size_t kPiece = 80;   // characters that are copied at once: most lines are shorter
static_assert(kPiece % text::base64::kGroupCharacters == 0);
constexpr std::size_t kSlack =
    std::max({text::quoted_printable::kSlack, text::kLineEndSlack, kPiece});  // behind each block

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

    // How many bytes fit at `place` before it is full.
    [[nodiscard]] std::size_t room(const char *place) const {
        return place < full_ ? static_cast<std::size_t>(full_ - place) : 0;
    }

    // Copies `count` bytes, at most kPiece, to `place`. In a file's block, junk may follow them, and `from`
    // has kSlack readable bytes behind it: that is copied in one size.
    void copy(const char *from, std::size_t count, char *place) const {
        if (is_file_) {
            std::memcpy(place, from, kPiece);
        } else {
            std::memmove(place, from,
                         count);  // GCC turns a short memcpy into an instruction that starts slowly
        }
    }

    void count_lines(std::size_t count) { lines_ += static_cast<unsigned>(count); }

    // Looks at the output after a step that ended at `place`, which moves to the begin when the block is sent
    // off. False when encoding must end.
    [[nodiscard]] bool look(char *&place) {
        if (place < full_) {
            return true;
        }
        end_ = place;
        const bool goes_on = is_file_ && send();
        place = end_;
        return goes_on;
    }

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

constexpr char kBlankInHeaders = '_';

constexpr qp::Codes kHeaderCodes = qp::with_blank_as(kBlankInHeaders, qp::kStrictCodes);

// The table that codes come from.
using SafeEntries = std::array<int, text::kByteCount>;
constexpr SafeEntries entries_of(const qp::Codes &codes) {
    SafeEntries entries{};
    for (std::size_t byte = 0; byte < entries.size(); ++byte) {
        entries[byte] = codes.of_byte[byte].length == 1 && byte != '\n' ? 1 : 0;
    }
    return entries;
}
constexpr SafeEntries kStrictEntries = entries_of(qp::kStrictCodes);
constexpr SafeEntries kBodyEntries = entries_of(qp::kBodyCodes);

// What each byte becomes, as the table that everybody may change says at the start of the call. Its usual
// states are told from any other, for which there are faster ways.
class ByteCodes {
  public:
    explicit ByteCodes(bool header_mode) {
        if (agrees_with(kStrictEntries)) {
            codes_ = header_mode ? &kHeaderCodes : &qp::kStrictCodes;
        } else if (agrees_with(kBodyEntries)) {  // never in header mode
            codes_ = &qp::kBodyCodes;
        } else {
            own_codes_ = qp::make_codes(stands);
            if (header_mode) {
                own_codes_ = qp::with_blank_as(kBlankInHeaders, own_codes_);
            }
            codes_ = &own_codes_;
        }
    }
    ByteCodes(const ByteCodes &) = delete;
    ByteCodes &operator=(const ByteCodes &) = delete;
    ~ByteCodes() = default;

    [[nodiscard]] const qp::Codes &get() const { return *codes_; }

  private:
    // A line feed is a line end whatever its entry says.
    static bool stands(char c) { return c == '\n' || safe_char[static_cast<unsigned char>(c)] != 0; }

    static bool agrees_with(const SafeEntries &entries) {
        return std::memcmp(&safe_char, entries.data(), sizeof safe_char) == 0;
    }

    const qp::Codes *codes_ = nullptr;
    qp::Codes own_codes_;  // NOLINT(*-member-init): only of an unusual table
};

class QuotedPrintable {
  public:
    // NOLINTNEXTLINE(*-member-init): the text is filled by encode
    QuotedPrintable(Output &out, bool header_mode, bool crlf, bool fold)
        : out_(out),
          codes_(header_mode),
          encode_(qp::encoder(codes_.get())),
          end_(line_end(crlf)),
          blank_(header_mode ? kBlankInHeaders : ' '),
          crlf_(crlf),
          line_limit_(fold ? kLastColumn + 1 : UINT64_MAX) {
        text_.front() = '\0';
        // A "=" that stands would be taken for an escape, and a blank that does not is not seen in the text.
        if (codes_.get()['='].length == 1 || codes_.get()[' '].length != 1) {
            piece_size_ = 1;
        }
    }

    // Encodes a block, behind which kSlack bytes can be read; `following` is the byte that comes after it, if
    // that is to be known. False when encoding must end.
    [[nodiscard]] bool encode(std::string_view block, char following) {
        while (!block.empty()) {
            const std::string_view piece = block.substr(0, piece_size_);
            block.remove_prefix(piece.size());
            char *const begin = text_.data() + 1;
            char *const end = encode_(codes_.get(), piece, begin);
            *end = block.empty() ? following : block.front();
            line_feeds_.find<'\n'>({begin, end});
            if (!put_lines(begin, end, piece.back() == ' ')) {
                return false;
            }
        }
        return true;
    }

    void finish() {}

  private:
    static char *write(const qp::Code &code, char *place) {
        std::memcpy(place, code.text.data(), code.text.size());
        return place + code.length;
    }

    // Puts out the text up to `end`, where the byte stands that comes next. False when encoding must end.
    [[nodiscard]] bool put_lines(const char *const begin, const char *const end, bool ends_in_blank) {
        const char *next = begin;
        char *place = out_.place();
        std::uint64_t column = column_;
        while (next < end) {
            if (column == 0 && (*next == '-' || *next == '.')) {
                place = write(qp::encoded(*next++), place);
                column = qp::kEncodedLength;
            } else {
                const std::size_t length = line_feeds_.next() - static_cast<std::size_t>(next - begin);
                const std::size_t count =
                    whole_codes(next, end, std::min<std::uint64_t>(line_limit_ - column, out_.room(place)));
                if (length < count) {
                    out_.copy(next, length, place);
                    place = end_hard_line(place + length, column + length);
                    next += length + 1;
                    column = 0;
                    line_feeds_.pass();
                } else {
                    out_.copy(next, count, place);
                    next += count;
                    place += count;
                    column += count;
                    if (column >= line_limit_) {
                        *place++ = '=';
                        place = end_.write(place);
                        out_.count_lines(1);
                        column = 0;
                    }
                }
            }
            // A blank waits for the line end behind it.
            const auto waits = [&] {
                return *next == '\n' && (next < end ? next[-1] == blank_ : ends_in_blank);
            };
            if (place >= out_.full() && !waits() && !out_.look(place)) {
                return false;
            }
        }
        out_.set_place(place);
        column_ = column;
        return true;
    }

    // The least number of characters, `at_least` so many, that does not end within an escape; but at least
    // one, and not too many.
    static std::size_t whole_codes(const char *next, const char *end, std::uint64_t at_least) {
        constexpr std::size_t kRest = qp::kEncodedLength - 1;
        const auto wanted = static_cast<std::size_t>(std::clamp<std::uint64_t>(at_least, 1, kPiece - kRest));
        if (const auto left = static_cast<std::size_t>(end - next); left <= wanted) {
            return left;
        }
        const char *const last = next + wanted - 1;
        return wanted + (last[0] == '=' ? kRest : 0U) + (last[-1] == '=' ? kRest - 1 : 0U);
    }

    // A blank before the line end would be lost on the way. Only a blank that stands as it is ends in one; in
    // header mode only a blank ends in "_".
    char *end_hard_line(char *place, std::uint64_t column) {
        if (place == out_.begin()) {
            place = end_.write(place);
        } else {
            if (column > 0 && (place[-1] == blank_ || place[-1] == '\t')) {
                place = write(qp::encoded(place[-1] == '\t' ? '\t' : ' '), place - 1);
            }
            if (crlf_ && place[-1] != '\r') {
                *place++ = '\r';
            }
            *place++ = '\n';
        }
        out_.count_lines(1);
        return place;
    }

    Output &out_;
    ByteCodes codes_;
    qp::Encode encode_;
    LineEnd end_;
    char blank_;  // as it stands in the text
    bool crlf_;
    std::uint64_t line_limit_;
    std::size_t piece_size_ = kBlockSize;
    std::uint64_t column_ = 0;  // without line ends it grows with the body
    // What a piece becomes; the character before it can be looked at.
    std::array<char, 1 + kBlockSize * qp::kEncodedLength + kSlack> text_;
    text::Places<kBlockSize * qp::kEncodedLength> line_feeds_;
};

// ---- Base64 ----

class Base64 {
  public:
    Base64(Output &out, bool crlf, bool fold)
        : out_(out),
          end_(line_end(crlf)),
          line_limit_(fold && out.is_file() ? kLineCharacters : UINT64_MAX) {}

    // Encodes a block, behind which kSlack bytes can be read. False when encoding must end.
    [[nodiscard]] bool encode(std::string_view block, char /*following*/) {
        using namespace text::base64;
        const auto *in = reinterpret_cast<const unsigned char *>(block.data());
        const std::size_t groups = block.size() / kGroupBytes;
        encode_(in, groups, text_.data());
        char *end = text_.data() + groups * kGroupCharacters;
        if (const std::size_t rest = block.size() % kGroupBytes; rest > 0) {
            std::array<unsigned char, kGroupBytes> group{};
            std::copy_n(in + groups * kGroupBytes, rest, group.begin());
            encode_plain(group.data(), 1, end);
            std::fill(end + rest + 1, end + kGroupCharacters, kPad);
            end += kGroupCharacters;
        }
        return put_lines(end);
    }

    // The last line ends too.
    void finish() {
        if (out_.is_file() && column_ > 0) {
            out_.set_place(end_.write(out_.place()));
            out_.count_lines(1);
        }
    }

  private:
    static constexpr std::size_t kLineCharacters = 72;

    // Puts out the text up to `end`. False when encoding must end.
    [[nodiscard]] bool put_lines(const char *end) {
        using text::base64::kGroupCharacters;
        char *place = out_.place();
        std::uint64_t column = column_;
        for (const char *next = text_.data(); next < end;) {
            const std::size_t room =
                (out_.room(place) + kGroupCharacters - 1) / kGroupCharacters * kGroupCharacters;
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(
                {static_cast<std::size_t>(end - next), line_limit_ - column, room, kPiece}));
            out_.copy(next, count, place);
            next += count;
            place += count;
            column += count;
            if (column == line_limit_) {
                place = end_.write(place);
                out_.count_lines(1);
                column = 0;
            }
            if (!out_.look(place)) {
                return false;
            }
        }
        out_.set_place(place);
        column_ = column;
        return true;
    }

    Output &out_;
    LineEnd end_;
    std::uint64_t line_limit_;
    std::uint64_t column_ = 0;  // without line ends it grows with the body
    text::base64::Encode encode_ = text::base64::encoder();
    std::array<char, kBlockSize / text::base64::kGroupBytes * text::base64::kGroupCharacters + kSlack>
        text_;  // NOLINT(*-member-init): filled by encode
};

// ---- Pass-through ----

class PassThrough {
  public:
    PassThrough(Output &out, std::string_view guard, bool crlf, bool at_line_start)
        : out_(out),
          guard_(guard),
          crlf_(crlf),
          add_returns_(out.is_file() && crlf && guard.empty() ? text::return_adder() : nullptr),
          previous_(at_line_start ? '\n' : 'x') {}

    // Encodes a block, behind which kSlack bytes can be read; false when encoding must end.
    [[nodiscard]] bool encode(std::string_view block) {
        const char *const begin = block.data();
        const char *const end = begin + block.size();
        if (add_returns_ == nullptr) {
            line_ends_.find<'\r', '\n'>(block);
        }
        char *place = out_.place();
        char previous = previous_;
        for (const char *next = begin; next < end; previous = next[-1]) {
            if (add_returns_ != nullptr) {
                const auto [in, out, line_feeds] = add_returns_(next, end, previous, place, out_.full());
                next = in;
                place = out;
                out_.count_lines(line_feeds);
            } else if (*next == '.' && previous == '\n' && !crlf_) {
                *place++ = '.';
                *place++ = '.';
                match(*next++);
            } else if (is_guarded_ && !is_line_end(*next)) {
                *place++ = *next;
                match(*next++);
            } else {
                const std::size_t length = line_ends_.next() - static_cast<std::size_t>(next - begin);
                const std::size_t count =
                    std::min({static_cast<std::size_t>(end - next), out_.room(place), kPiece});
                if (length < count) {
                    out_.copy(next, length, place);
                    place = end_line(next[length], length > 0 ? next[length - 1] : previous, place + length);
                    next += length + 1;
                    line_ends_.pass();
                } else {
                    out_.copy(next, count, place);
                    next += count;
                    place += count;
                }
            }
            if (!out_.look(place)) {
                return false;
            }
        }
        out_.set_place(place);
        previous_ = previous;
        return true;
    }

  private:
    static bool is_line_end(char c) { return c == '\r' || c == '\n'; }

    char *end_line(char c, char previous, char *place) {
        if (is_guarded_ && guard_index_ == guard_.size()) {
            *place++ = ' ';
        }
        if (c == '\n') {
            if (crlf_ && previous != '\r') {
                *place++ = '\r';
            }
            out_.count_lines(1);
        }
        is_guarded_ = !guard_.empty();
        guard_index_ = 0;
        *place++ = c;
        return place;
    }

    // Holds a byte of the line against the guard string.
    void match(char c) {
        if (c == ' ') {
            is_guarded_ = false;
        } else if (is_guarded_ && guard_index_ < guard_.size()) {
            is_guarded_ = guard_[guard_index_++] == c;
        }
    }

    Output &out_;
    std::string_view guard_;
    bool crlf_;
    text::AddReturns add_returns_;  // where nothing else is to be done
    char previous_;
    bool is_guarded_ = false;      // the line agrees with the guard string so far, and holds no blank
    std::size_t guard_index_ = 0;  // how much of the guard string it has shown
    text::Places<kBlockSize> line_ends_;
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

    // The next block of a descriptor, or piece of a text, in memory of its own; empty at the end.
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

    // The byte of the text behind the piece.
    [[nodiscard]] char following() const { return text_.empty() ? '\0' : text_.front(); }

  private:
    int descriptor_;
    std::string_view text_;
    bool is_file_;
    std::array<char, kBlockSize + kSlack> block_;  // NOLINT(*-member-init): filled by next
};

// False when the encoding had to end.
template <typename Encoding>
bool encode_blocks(Input &input, Encoding &&encoding) {
    for (;;) {
        const auto block = input.next();
        if (block.empty()) {
            encoding.finish();
            return true;
        }
        if (!encoding.encode({block.data(), block.size()}, input.following())) {
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
