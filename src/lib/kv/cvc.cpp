// Conversion between character sets by the C library's iconv, without transliteration.
//
// Most of what mail holds needs no converter: ASCII is the same in nearly every set, and a set of single
// bytes is a table, which is learnt from iconv once. Everything else goes through converters that are kept.
//
// What cannot be converted is replaced, never a reason to give up: mail must come through. A character
// without an equal becomes one "?", and so does each byte that begins no character. T.61 has no place for six
// characters of ASCII (\ ^ ` { } ~), which addresses need: they stand for themselves in T61INTL. A converter
// may hold back a letter that the next may combine with, so it is flushed before anything else is written.

#include "cvc.h"

#include <glib.h>
#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <limits>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "ccs_table.h"
#include "failures.h"
#include "heap_text.h"
#include "os.h"
#include "text/ascii.h"
#include "text/base64.h"
#include "text/scan.h"
#include "text/writer.h"

namespace {

constexpr std::size_t kCachedConverters = 16;
constexpr std::size_t kMaxCharacterLength = 4;  // bytes of a character in any set of the table
constexpr std::size_t kMaxUtf8Length = 6;       // that GLib writes for any number
constexpr std::size_t kMinOutputSize = 512;
// What is converted at once behind a loss, twice as much each time that all goes well: iconv reads all it is
// given before it tells where it stopped, so that losses in a long text would cost the square of its length.
constexpr std::size_t kSliceAfterLoss = 16;
static_assert(kSliceAfterLoss > kMaxCharacterLength);
constexpr std::size_t kMaxOutputSize = std::numeric_limits<std::int32_t>::max();
constexpr std::string_view kReplacement = "?";
constexpr std::size_t kShortText = 128;
constexpr std::size_t kKeptResult = std::size_t{64} * 1024;  // a larger block goes at the next conversion
constexpr std::size_t kMaxPlainName = 40;                    // characters of a name outside the table
constexpr std::size_t kOutsideSets = 8;
constexpr unsigned char kMaxAscii = 0x7F;

// A block of the heap service.
struct Block {
    kv::HeapText bytes;
    std::size_t size = 0;
    std::size_t length = 0;  // of the text in it

    [[nodiscard]] std::string_view view() const { return {bytes.get(), length}; }
    [[nodiscard]] bool holds(const char *place) const {
        return std::less_equal<>{}(bytes.get(), place) && std::less<>{}(place, bytes.get() + size);
    }
};

// A text that grows in a block. There is always room for the terminator.
class Output {
  public:
    // Grows in `block` where that holds `size` bytes.
    Output(std::size_t size, Block block)
        : block_(block.size >= size ? std::move(block) : allocate(size)), room_(block_.size - 1) {}

    char *&place() { return place_; }
    std::size_t &room() { return room_; }

    void grow() {
        const std::size_t used = length();
        Block larger = allocate(block_.size * 2);
        std::memcpy(larger.bytes.get(), block_.bytes.get(), used);
        block_ = std::move(larger);
        place_ = block_.bytes.get() + used;
        room_ = block_.size - used - 1;
    }

    void append(char c) {
        if (room_ == 0) {
            grow();
        }
        *place_++ = c;
        --room_;
    }

    void append(std::string_view text) {
        while (room_ < text.size()) {
            grow();
        }
        place_ = std::copy(text.begin(), text.end(), place_);
        room_ -= text.size();
    }

    // Takes what was put at the place.
    void put(std::size_t length) {
        place_ += length;
        room_ -= length;
    }

    [[nodiscard]] std::size_t length() const { return static_cast<std::size_t>(place_ - block_.bytes.get()); }
    [[nodiscard]] std::string_view view() const { return {block_.bytes.get(), length()}; }

    // Puts `c` in the place of a byte.
    void overwrite(std::size_t place, char c) { block_.bytes.get()[place] = c; }

    // Removes the first `count` bytes.
    void remove_prefix(std::size_t count) {
        std::memmove(block_.bytes.get(), block_.bytes.get() + count, length() - count);
        place_ -= count;
        room_ += count;
    }

    void clear() { remove_prefix(length()); }

    [[nodiscard]] Block release() {
        *place_ = '\0';
        block_.length = length();
        return std::move(block_);
    }

  private:
    // Lengths are 32-bit numbers with a sign.
    static Block allocate(std::size_t size) {
        if (size > kMaxOutputSize) {
            kv::raise_no_memory("cvc", __LINE__);
        }
        return {kv::HeapText{static_cast<char *>(os_malloc(size))}, size};
    }

    Block block_;
    char *place_ = block_.bytes.get();
    std::size_t room_;
};

// Why a converter stopped.
enum class Stop {
    kAtEnd,        // all was read
    kUnreadable,   // at bytes that are no character, or one that the target does not have
    kInCharacter,  // the text ends inside a character
    kFull,         // the output is full
};

// A character set that texts can be converted from and to.
struct Set {
    const ccs_charset *row = nullptr;  // null: not known
    std::int64_t id = 0;               // another one for each set, for as long as the thread lives
};

// An open converter between two sets.
class Converter {
  public:
    Converter() = default;
    Converter(const Set &source, const Set &target)
        : source_(source.id),
          target_(target.id),
          handle_(iconv_open(target.row->iconv_name, source.row->iconv_name)) {
        if (!is_open() && errno == ENOMEM) {
            kv::raise_no_memory("cvc", __LINE__);
        }
    }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;
    Converter(Converter &&other) noexcept { *this = std::move(other); }
    Converter &operator=(Converter &&other) noexcept {
        source_ = other.source_;
        target_ = other.target_;
        std::swap(handle_, other.handle_);
        is_initial_ = other.is_initial_;
        return *this;
    }
    ~Converter() {
        if (is_open()) {
            iconv_close(handle_);
        }
    }

    [[nodiscard]] bool is_open() const { return handle_ != kClosed; }
    [[nodiscard]] bool converts(const Set &source, const Set &target) const {
        return is_open() && source_ == source.id && target_ == target.id;
    }

    // Leads back to the initial state.
    void reset() {
        if (!is_initial_) {
            iconv(handle_, nullptr, nullptr, nullptr, nullptr);
            is_initial_ = true;
        }
    }

    // Converts from the front of `text`, which it shortens.
    Stop convert(std::string_view &text, char *&place, std::size_t &room) {
        char *in = const_cast<char *>(text.data());  // NOLINT(*-const-cast): iconv only reads there
        std::size_t left = text.size();
        is_initial_ = false;
        const std::size_t result = iconv(handle_, &in, &left, &place, &room);
        const Stop stop = stop_of(result);
        text.remove_prefix(text.size() - left);
        return stop;
    }

    // Writes what is held back, and switches back to the initial state.
    Stop flush(char *&place, std::size_t &room) {
        const Stop stop = stop_of(iconv(handle_, nullptr, nullptr, &place, &room));
        is_initial_ = stop == Stop::kAtEnd;
        return stop;
    }

  private:
    static Stop stop_of(std::size_t result) {
        if (result != kFailed) {
            return Stop::kAtEnd;
        }
        return errno == E2BIG ? Stop::kFull : errno == EINVAL ? Stop::kInCharacter : Stop::kUnreadable;
    }

    static constexpr std::size_t kFailed = static_cast<std::size_t>(-1);
    inline static const iconv_t kClosed = reinterpret_cast<iconv_t>(-1);  // NOLINT(*-int-to-ptr): iconv's

    std::int64_t source_ = 0;
    std::int64_t target_ = 0;
    iconv_t handle_ = kClosed;
    bool is_initial_ = true;
};

// A ring of things that are kept until their places are needed. The one that was given out last is never the
// one to go.
template <typename Thing, std::size_t kSize>
class Ring {
  public:
    // The thing that `is_wanted` accepts, or null.
    template <typename IsWanted>
    Thing *find(const IsWanted &is_wanted) {
        if (is_wanted(things_[last_used_])) {
            return &things_[last_used_];
        }
        for (std::size_t i = 0; i < kSize; ++i) {
            if (is_wanted(things_[i])) {
                last_used_ = i;
                return &things_[i];
            }
        }
        return nullptr;
    }

    Thing *add(Thing thing) {
        do {
            newest_ = (newest_ + 1) % kSize;
        } while (newest_ == last_used_);
        last_used_ = newest_;
        things_[newest_] = std::move(thing);
        return &things_[newest_];
    }

  private:
    std::array<Thing, kSize> things_;
    std::size_t newest_ = 0;
    std::size_t last_used_ = 0;
};

// The calling thread's converters.
thread_local Ring<Converter, kCachedConverters> converters;

// A converter in its initial state, valid until the next call but one; null when iconv does not have it.
Converter *find_converter(const Set &source, const Set &target) {
    Converter *found =
        converters.find([&](const Converter &converter) { return converter.converts(source, target); });
    if (found != nullptr) {
        found->reset();
        return found;
    }
    Converter opened{source, target};
    return opened.is_open() ? converters.add(std::move(opened)) : nullptr;
}

// ---- Sets ----

Set set_of(const ccs_charset &row) {
    return {&row, kv::number_of(row)};
}

Set unicode() {
    static const Set set = set_of(*kv::find_charset(kv::kUnicodeCharset));
    return set;
}

// A set of iconv's that the server's table does not have.
struct OutsideSet {
    std::array<char, kMaxPlainName + 1> name{};
    std::size_t length = 0;  // of the name
    std::int64_t id = 0;
};

// The calling thread's, with the rows made of them.
struct OutsideSets {
    Ring<OutsideSet, kOutsideSets> sets;
    Ring<OutsideSet, kOutsideSets> refused;  // names that are none, for the next word with such a one
    std::int64_t last_id = std::numeric_limits<std::int16_t>::max();  // beyond all numbers of the table
};
thread_local OutsideSets outside;

constexpr text::CharSet kPlainName = text::kLetters | text::kDigits | text::CharSet{"-_.:"};

// Beginnings of names, in upper case, of sets that are no sets of mail: of wide characters, of a locale, and
// one whose converter has been a danger.
constexpr std::array kNeverNames = std::to_array<std::string_view>(
    {"UCS", "UTF-16", "UTF16", "UTF-32", "UTF32", "UNICODE", "CSUNICODE", "CSUCS", "ISO-10646", "ISO_10646",
     "ISO10646", "10646", "OSF0001", "WCHAR", "INTERNAL", "CHAR", "LOCALE", "ISO-2022-CN-EXT",
     "ISO2022CNEXT"});

bool may_name(std::string_view name) {
    return !name.empty() && name.size() <= kMaxPlainName &&
           std::ranges::all_of(name, [](char c) { return kPlainName.contains(c); }) &&
           std::ranges::none_of(kNeverNames, [name](std::string_view never) {
               return text::equal_ignoring_case(name.substr(0, never.size()), never);
           });
}

ccs_charset row_of(const char *name) {
    return {nullptr, name, name, 0, kMaxCharacterLength, kv::Shape::kSingle, kv::Escapes::kNone};
}

// Whether each printing character of ASCII is itself in the set, both ways.
bool holds_ascii(const Set &set) {
    for (const auto &[source, target] : {std::pair{set, unicode()}, std::pair{unicode(), set}}) {
        Converter converter{source, target};
        if (!converter.is_open()) {
            return false;
        }
        for (char c = ' '; c <= '~'; ++c) {
            std::string_view text{&c, 1};
            std::array<char, kMinOutputSize> result;  // NOLINT(*-member-init): iconv writes what is read
            char *place = result.data();
            std::size_t room = result.size();
            if (converter.convert(text, place, room) != Stop::kAtEnd ||
                converter.flush(place, room) != Stop::kAtEnd || place != result.data() + 1 ||
                result[0] != c) {
                return false;
            }
        }
    }
    return true;
}

// A set by name, with the row that it may need a place for.
class NamedSet {
  public:
    explicit NamedSet(std::string_view name) {
        if (const ccs_charset *row = kv::find_charset(name)) {
            set_ = set_of(*row);
        } else {
            find_outside(name);
        }
    }
    NamedSet(const NamedSet &) = delete;
    NamedSet &operator=(const NamedSet &) = delete;
    ~NamedSet() = default;

    [[nodiscard]] const Set &get() const { return set_; }
    [[nodiscard]] bool is_known() const { return set_.row != nullptr; }

  private:
    void find_outside(std::string_view name) {
        const auto has_name = [name](const OutsideSet &set) {
            return set.length == name.size() &&
                   text::equal_ignoring_case({set.name.data(), set.length}, name);
        };
        if (name.empty() || outside.refused.find(has_name) != nullptr) {
            return;
        }
        const OutsideSet *known = outside.sets.find(has_name);
        if (known == nullptr && !may_name(name)) {
            return;
        }
        outside_.length = text::copy_text(name, outside_.name.data(), outside_.name.size());
        row_ = row_of(outside_.name.data());
        if (known != nullptr) {
            set_ = {&row_, known->id};
            return;
        }
        outside_.id = outside.last_id + 1;
        if (holds_ascii({&row_, outside_.id})) {
            outside.last_id = outside_.id;
            outside.sets.add(outside_);
            set_ = {&row_, outside_.id};
        } else {
            outside.refused.add(outside_);
        }
    }

    Set set_;
    OutsideSet outside_;
    ccs_charset row_{};
};

// Whether what a byte stands for may depend on those before it.
bool switches_state(const ccs_charset &row) {
    return row.name == nullptr || row.escapes != kv::Escapes::kNone || row.shape == kv::Shape::kUtf7;
}

// ---- Conversion without a converter ----

// What the bytes of a set of single bytes, in which ASCII stands at its places, are in UTF-8.
class ByteTable {
  public:
    static constexpr std::size_t kMaxLength = 3;

    // Of a set of single bytes; null when its characters cannot be told one by one.
    static const ByteTable *of(const Set &set) {
        ByteTable &table = tables.at(static_cast<std::size_t>(set.id));
        std::call_once(table.once_, [&] { table.learn(set); });
        return table.is_learnt_ ? &table : nullptr;
    }

    // What a byte is; nothing when the set does not have it.
    struct Text {
        std::array<char, kMaxLength> bytes;
        std::uint8_t length;
    };
    [[nodiscard]] const Text &text_of(char byte) const { return texts_[static_cast<unsigned char>(byte)]; }
    [[nodiscard]] std::string_view operator[](char byte) const {
        const Text &text = text_of(byte);
        return {text.bytes.data(), text.length};
    }

    // The byte that stands for a character beyond ASCII; 0 when the set does not have it.
    [[nodiscard]] char byte_of(gunichar character) const {
        return character <= kMaxTabled ? pages_[page_of_[character / kPageSize]][character % kPageSize]
                                       : '\0';
    }
    // Whether the bytes of characters are known.
    [[nodiscard]] bool has_bytes() const { return !pages_.empty(); }

  private:
    static constexpr gunichar kMaxTabled = 0xFFFF;  // the last of three bytes in UTF-8
    static constexpr gunichar kPageSize = 256;
    using Page = std::array<char, kPageSize>;
    using PageNumbers = std::array<std::uint8_t, kMaxTabled / kPageSize + 1>;

    void learn(const Set &set) {
        for (std::size_t i = 0; i <= kMaxAscii; ++i) {
            texts_[i] = {{static_cast<char>(i)}, 1};
        }
        Converter converter{set, unicode()};
        for (std::size_t i = kMaxAscii + 1; i < texts_.size() && converter.is_open(); ++i) {
            const char byte = static_cast<char>(i);
            std::string_view text{&byte, 1};
            char *place = texts_[i].bytes.data();
            std::size_t room = kMaxLength;
            const Stop stop = converter.convert(text, place, room);
            texts_[i].length = static_cast<std::uint8_t>(kMaxLength - room);
            if (stop == Stop::kFull || (stop == Stop::kAtEnd && texts_[i].length == 0)) {
                return;  // held back: what follows has a say
            }
            converter.reset();
        }
        is_learnt_ = converter.is_open();
        if (is_learnt_) {
            learn_bytes(set);
        }
    }

    // The way back.
    void learn_bytes(const Set &set) {
        Converter converter{unicode(), set};
        std::vector<Page> pages(1);  // the first for what the set does not have
        PageNumbers page_of{};
        for (std::size_t i = kMaxAscii + 1; i < texts_.size() && converter.is_open(); ++i) {
            const char byte = static_cast<char>(i);
            std::string_view text = (*this)[byte];
            if (text.empty()) {
                continue;
            }
            const gunichar character = g_utf8_get_char(text.data());
            char back = '\0';
            char *place = &back;
            std::size_t room = 1;
            if (converter.convert(text, place, room) != Stop::kAtEnd) {
                continue;
            }
            std::uint8_t &page = page_of[character / kPageSize];
            if (page == 0) {
                page = static_cast<std::uint8_t>(pages.size());
                pages.emplace_back();
            }
            pages[page][character % kPageSize] = back;
        }
        if (converter.is_open()) {
            page_of_ = page_of;
            pages_ = std::move(pages);
        }
    }

    static std::array<ByteTable, kv::kMaxCharsets + 1> tables;  // by the set's number

    std::once_flag once_;
    std::array<Text, text::kByteCount> texts_{};
    bool is_learnt_ = false;
    PageNumbers page_of_{};
    std::vector<Page> pages_;
};
std::array<ByteTable, kv::kMaxCharsets + 1> ByteTable::tables;

static_assert(kShortText * ByteTable::kMaxLength < kMinOutputSize);

// Appends a short text of single bytes, for which there is room whatever it holds, in UTF-8, without a branch
// on what a byte is; false when there is one that the set does not have.
bool append_short_by_table(std::string_view text, const ByteTable &table, Output &output) {
    char *const begin = output.place();
    char *place = begin;
    bool is_whole = true;
    for (const char c : text) {
        const ByteTable::Text &character = table.text_of(c);
        std::memcpy(place, &character, sizeof character);  // its length is overwritten
        place += character.length;
        is_whole = is_whole && character.length != 0;
    }
    output.put(static_cast<std::size_t>(place - begin));
    return is_whole;
}

// The same for any text.
bool append_by_table(std::string_view text, const ByteTable &table, Output &output) {
    if (text.size() <= kShortText && output.room() >= text.size() * ByteTable::kMaxLength) {
        return append_short_by_table(text, table, output);
    }
    while (!text.empty()) {
        const std::size_t ascii = text::ascii_length(text);
        output.append(text.substr(0, ascii));
        text.remove_prefix(ascii);
        for (; !text.empty() && static_cast<unsigned char>(text.front()) > kMaxAscii; text.remove_prefix(1)) {
            const std::string_view bytes = table[text.front()];
            if (bytes.empty()) {
                return false;
            }
            output.append(bytes);
        }
    }
    return true;
}

// Whether each byte of the text is a character of the set of single bytes.
bool is_text_of(std::string_view text, const ByteTable &table) {
    return std::ranges::all_of(
        text, [&](char c) { return static_cast<unsigned char>(c) <= kMaxAscii || !table[c].empty(); });
}

// What stands for itself in UTF-7, either way (RFC 2152, rules 1 and 3).
constexpr text::CharSet kDirect = text::kLetters | text::kDigits | text::CharSet{"'(),-./:? \t\r\n"};

// Whether a text of ASCII is itself in the set. T.61 has two of its characters elsewhere.
bool has_as_is(const Set &set, std::string_view text) {
    switch (set.row->shape) {
        case kv::Shape::kT61:
            return text.find_first_of("#$") == std::string_view::npos;
        case kv::Shape::kUtf7:
            return std::ranges::all_of(text, [](char c) { return kDirect.contains(c); });
        default:
            return (set.row->flags & CCS_FLAG_ASCII) != 0;
    }
}

// What became of a text.
struct Outcome {
    cvc_status status = CVC_EXACT;
    int lost = 0;
    int first_loss = -1;  // its offset

    void note_loss(std::ptrdiff_t offset, cvc_status loss) {
        status = loss;
        ++lost;
        if (first_loss < 0) {
            first_loss = static_cast<int>(offset);
        }
    }
    // A text that ends inside a character, which is left out.
    void note_cut(std::ptrdiff_t offset) { note_loss(offset, status == CVC_EXACT ? CVC_CUT : status); }
};

constexpr gunichar kCutCharacter = static_cast<gunichar>(-2);  // GLib's words for none
constexpr gunichar kNoCharacter = static_cast<gunichar>(-1);

// Bytes that begin no character (RFC 3629, 3).
constexpr text::CharSet kNeverFirst =
    text::CharSet::range('\x80', '\xC1') | text::CharSet::range('\xF5', '\xFF');

// Whether a text of which GLib says that it may be cut inside a character is.
bool is_cut_character(std::string_view text) {
    for (const char last : {'\x80', '\xBF'}) {
        std::array<char, kMaxCharacterLength> whole;  // NOLINT(*-member-init): filled by the next call
        whole.fill(last);
        text.copy(whole.data(), whole.size());
        if (g_utf8_get_char_validated(whole.data(), whole.size()) < kCutCharacter) {
            return true;
        }
    }
    return false;
}

// The character beyond ASCII at the front of a text, or one of the two words.
gunichar first_character(std::string_view text) {
    if (kNeverFirst.contains(text.front())) {
        return kNoCharacter;
    }
    const gunichar character = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
    return character == kCutCharacter && !is_cut_character(text) ? kNoCharacter : character;
}

std::size_t length_in_utf8(std::string_view text) {
    return static_cast<std::size_t>(g_utf8_skip[static_cast<unsigned char>(text.front())]);
}

// Whether iconv drops it.
bool is_language_tag(gunichar character) {
    return character >= 0xE0000 && character <= 0xE007F;
}

// Converts UTF-8 into UTF-8 or, by its table, into a set of single bytes. iconv would let numbers beyond
// Unicode's last through, and takes long for each loss.
Outcome convert_unicode(std::string_view text, const ByteTable *table, Output &output) {
    Outcome outcome;
    for (std::string_view rest = text; !rest.empty();) {
        if (static_cast<unsigned char>(rest.front()) <= kMaxAscii) {
            const std::size_t ascii = text::ascii_length(rest);
            output.append(rest.substr(0, ascii));
            rest.remove_prefix(ascii);
            continue;
        }
        const gunichar character = first_character(rest);
        if (character == kCutCharacter) {
            outcome.note_cut(rest.data() - text.data());
            break;
        }
        const std::size_t length = character == kNoCharacter ? 1 : length_in_utf8(rest);
        const char byte = table == nullptr ? '\0' : table->byte_of(character);
        if (byte != '\0') {
            output.append(byte);
        } else if (table == nullptr && character != kNoCharacter) {
            output.append(rest.substr(0, length));
        } else if (!is_language_tag(character)) {
            outcome.note_loss(rest.data() - text.data(), CVC_REPLACED);
            output.append(kReplacement.front());
        }
        rest.remove_prefix(length);
    }
    return outcome;
}

void append_character(gunichar character, Output &output) {
    std::array<char, kMaxUtf8Length> bytes;  // NOLINT(*-member-init): filled by the next call
    const gint length = g_unichar_to_utf8(character, bytes.data());
    output.append(std::string_view{bytes.data(), static_cast<std::size_t>(length)});
}

// Of UTF-7 and UTF-16.
constexpr unsigned kDigitBits = 6;
constexpr gunichar kDigitMask = 0x3F;
constexpr unsigned kUnitBits = 16;
constexpr gunichar kUnitMask = 0xFFFF;
constexpr gunichar kFirstHigh = 0xD800;
constexpr gunichar kFirstLow = 0xDC00;
constexpr gunichar kAfterLow = 0xE000;
constexpr gunichar kFirstPair = 0x10000;
constexpr unsigned kHalfBits = 10;
constexpr gunichar kHalfMask = 0x3FF;

// The characters of a run of UTF-7: the bits of its digits, 16 for each unit of UTF-16.
class Utf7Run {
  public:
    // False when it is none.
    bool take(unsigned digit, Output &output) {
        bits_ = bits_ << kDigitBits | digit;
        count_ += kDigitBits;
        if (count_ < kUnitBits) {
            return true;
        }
        count_ -= kUnitBits;
        const gunichar unit = bits_ >> count_ & kUnitMask;
        const bool is_high = unit >= kFirstHigh && unit < kFirstLow;
        const bool is_low = unit >= kFirstLow && unit < kAfterLow;
        if (unit == 0 || is_low != (high_ != 0)) {
            return false;
        }
        if (is_high) {
            high_ = unit;
            return true;
        }
        append_character(
            is_low ? kFirstPair + ((high_ - kFirstHigh) << kHalfBits) + (unit - kFirstLow) : unit, output);
        high_ = 0;
        return true;
    }
    [[nodiscard]] bool is_whole() const {
        return high_ == 0 && count_ < kDigitBits && (bits_ & ((1U << count_) - 1)) == 0;
    }

  private:
    gunichar bits_ = 0;
    unsigned count_ = 0;  // of those that no unit has
    gunichar high_ = 0;   // the first half of a character
};

// Writes a run, as iconv does.
class Utf7RunWriter {
  public:
    explicit Utf7RunWriter(Output &output) : output_(output) {}

    [[nodiscard]] bool is_open() const { return is_open_; }

    void append(gunichar character) {
        if (!is_open_) {
            output_.append('+');
            is_open_ = true;
        }
        if (character >= kFirstPair) {
            append_unit(kFirstHigh + ((character - kFirstPair) >> kHalfBits));
            character = kFirstLow + (character & kHalfMask);
        }
        append_unit(character);
    }

    // Only a "-" tells what could be a digit from one.
    void close(bool has_hyphen) {
        if (!is_open_) {
            return;
        }
        if (count_ > 0) {
            append_digit(bits_ << (kDigitBits - count_));
        }
        if (has_hyphen) {
            output_.append('-');
        }
        bits_ = 0;
        count_ = 0;
        is_open_ = false;
    }

  private:
    void append_unit(gunichar unit) {
        bits_ = bits_ << kUnitBits | unit;
        for (count_ += kUnitBits; count_ >= kDigitBits;) {
            count_ -= kDigitBits;
            append_digit(bits_ >> count_);
        }
    }
    void append_digit(gunichar bits) { output_.append(text::base64::kAlphabet[bits & kDigitMask]); }

    Output &output_;
    gunichar bits_ = 0;
    unsigned count_ = 0;  // of those that are not written
    bool is_open_ = false;
};

// Appends UTF-8 in UTF-7; false when it is no UTF-8.
bool append_as_utf7(std::string_view text, Output &output) {
    if (g_utf8_validate_len(text.data(), text.size(), nullptr) == 0) {
        return false;
    }
    Utf7RunWriter run{output};
    const char *const end = text.data() + text.size();
    for (const char *place = text.data(); place != end; place = g_utf8_next_char(place)) {
        if (kDirect.contains(*place)) {
            run.close(*place == '-' || text::base64::digit(*place) >= 0);
            output.append(*place);
        } else if (*place == '+' && !run.is_open()) {
            output.append("+-");
        } else {
            run.append(g_utf8_get_char(place));
        }
    }
    run.close(true);
    return true;
}

// Appends UTF-7 (RFC 2152) in UTF-8; false where there is more to it, such as an error.
bool append_utf7(std::string_view text, Output &output) {
    while (!text.empty()) {
        const char c = text.front();
        text.remove_prefix(1);
        if (c != '+') {
            if (!kDirect.contains(c)) {
                return false;
            }
            output.append(c);
            continue;
        }
        Utf7Run run;
        std::size_t digits = 0;
        for (; digits < text.size() && text::base64::digit(text[digits]) >= 0; ++digits) {
            if (!run.take(static_cast<unsigned>(text::base64::digit(text[digits])), output)) {
                return false;
            }
        }
        if (digits == text.size() || !run.is_whole()) {
            return false;
        }
        text.remove_prefix(digits);
        const bool is_closed = text.front() == '-';
        if (digits == 0) {
            if (!is_closed) {
                return false;
            }
            output.append('+');
        }
        text.remove_prefix(is_closed ? 1 : 0);
    }
    return true;
}

// Converts without a converter where that gives the same; nothing, with nothing of worth in the output, where
// it may not.
std::optional<Outcome> convert_directly(std::string_view text, bool is_ascii, const Set &source,
                                        const Set &target, Output &output) {
    if (source.row->shape == kv::Shape::kUtf7 && target.id == unicode().id) {
        return append_utf7(text, output) ? std::optional<Outcome>{Outcome{}} : std::nullopt;
    }
    if (source.id == unicode().id && target.row->shape == kv::Shape::kUtf7) {
        return append_as_utf7(text, output) ? std::optional<Outcome>{Outcome{}} : std::nullopt;
    }
    if (is_ascii || (source.row->flags & target.row->flags & CCS_FLAG_ASCII) == 0) {
        return std::nullopt;
    }
    if ((source.row->flags & (CCS_FLAG_SINGLE | CCS_FLAG_7BIT)) == CCS_FLAG_SINGLE) {
        const bool is_same = source.id == target.id;
        const ByteTable *table = is_same || target.id == unicode().id ? ByteTable::of(source) : nullptr;
        if (table == nullptr || (is_same && !is_text_of(text, *table))) {
            return std::nullopt;
        }
        if (is_same) {
            output.append(text);
            return Outcome{};
        }
        return append_by_table(text, *table, output) ? std::optional<Outcome>{Outcome{}} : std::nullopt;
    }
    if (source.id != unicode().id) {
        return std::nullopt;
    }
    if (target.id == source.id) {
        if (g_utf8_validate_len(text.data(), text.size(), nullptr) == 0) {
            return convert_unicode(text, nullptr, output);
        }
        output.append(text);
        return Outcome{};
    }
    const bool is_single = (target.row->flags & CCS_FLAG_SINGLE) != 0 && !switches_state(*target.row);
    const ByteTable *const table = is_single ? ByteTable::of(target) : nullptr;
    return table != nullptr && table->has_bytes() ? std::optional{convert_unicode(text, table, output)}
                                                  : std::nullopt;
}

// ---- Conversion with a converter ----

constexpr std::string_view kSingleShift = "\x1BN";
constexpr text::CharSet kNoShifts;
constexpr text::CharSet kShifts{"\x0E\x0F\x1B"};  // SO, SI, ESC
constexpr text::CharSet kShiftsAndDelete =
    kShifts | text::CharSet{"\x7F"};  // iconv does not read DEL in ISO-2022-CN

// The characters of ASCII that are no text in a set. One outside the table may have shifts.
const text::CharSet &shifts_of(const ccs_charset &row) {
    switch (row.escapes) {
        case kv::Escapes::kNone:
            return row.name == nullptr ? kShifts : kNoShifts;
        case kv::Escapes::kCn:
            return kShiftsAndDelete;
        case kv::Escapes::kJp:
        case kv::Escapes::kKr:
            break;
    }
    return kShifts;
}

std::size_t find_shift(std::string_view text, const text::CharSet &shifts, std::size_t from = 0) {
    return static_cast<std::size_t>(std::find_if(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(),
                                                 [&](char c) { return shifts.contains(c); }) -
                                    text.begin());
}

// One conversion: what was read, what came of it so far, and what was lost.
class Conversion {
  public:
    Conversion(Converter &converter, const Set &source, const Set &target, std::string_view text,
               Output &output)
        : converter_(converter),
          source_(source),
          bytes_((source.row->flags & CCS_FLAG_SINGLE) != 0 && !switches_state(*source.row)
                     ? ByteTable::of(source)
                     : nullptr),
          is_plain_((bytes_ != nullptr || source.id == unicode().id) && is_plain_target(target)),
          forgets_shifts_(target.row->escapes == kv::Escapes::kCn),
          designates_once_(target.row->escapes == kv::Escapes::kKr),
          shifts_(source.id == unicode().id ? shifts_of(*target.row) : kNoShifts),
          begin_(text.data()),
          rest_(text),
          output_(output) {}

    Outcome run() {
        const bool may_be_switched = switches_state(*source_.row);
        std::size_t slice = rest_.size();
        for (;;) {
            const bool is_last = slice >= rest_.size();
            std::string_view front = rest_.substr(0, slice);
            Stop stop = convert(front);
            rest_.remove_prefix(static_cast<std::size_t>(front.data() - rest_.data()));
            if (stop == Stop::kInCharacter && is_last && source_.id == unicode().id &&
                first_character(rest_) != kCutCharacter) {  // iconv waits for more of what none can be
                stop = Stop::kUnreadable;
            }
            if (!is_last && stop != Stop::kUnreadable) {
                slice *= 2;
                continue;
            }
            if (stop == Stop::kUnreadable && may_be_switched) {  // what it has switched to must last
                outcome_.note_loss(rest_.data() - begin_, CVC_REPLACED);
                output_.append(kReplacement);
                rest_.remove_prefix(1);
                slice = kSliceAfterLoss;
                continue;
            }
            const bool may_hold_back = !is_plain_ && !(stop == Stop::kUnreadable && designates_once_);
            const bool was_held_back = may_hold_back && !flush();
            if (stop == Stop::kAtEnd) {
                return outcome_;
            }
            if (stop == Stop::kInCharacter) {
                outcome_.note_cut(rest_.data() - begin_);
                return outcome_;
            }
            if (!was_held_back) {  // else it was that letter that could not be written, not the next
                const std::size_t length = character_length();
                replace(rest_.data(), length);
                rest_.remove_prefix(std::max<std::size_t>(length, 1));
                while (is_plain_ && begins_no_character()) {
                    replace(rest_.data(), 0);
                    rest_.remove_prefix(1);
                }
            }
            slice = kSliceAfterLoss;
        }
    }

  private:
    Stop convert(std::string_view &text) {
        const std::size_t shift = &shifts_ == &kNoShifts ? text.size() : find_shift(text, shifts_);
        if (shift == text.size()) {
            return convert_plain(text);
        }
        std::string_view front = text.substr(0, shift);
        const Stop stop = convert_plain(front);
        text.remove_prefix(static_cast<std::size_t>(front.data() - text.data()));
        return stop == Stop::kAtEnd ? Stop::kUnreadable : stop;
    }

    Stop convert_plain(std::string_view &text) {
        while (forgets_shifts_ && !text.empty()) {
            const std::size_t before = output_.length();
            std::string_view character = text.substr(0, kv::character_length(text, source_.row->shape));
            const Stop stop = convert_some(character);
            text.remove_prefix(static_cast<std::size_t>(character.data() - text.data()));
            if (stop != Stop::kAtEnd) {
                return stop;
            }
            if (output_.view().substr(before).find(kSingleShift) != std::string_view::npos) {
                flush();
            }
        }
        return convert_some(text);
    }

    Stop convert_some(std::string_view &text) {
        for (;;) {
            const Stop stop = converter_.convert(text, output_.place(), output_.room());
            if (stop != Stop::kFull) {
                return stop;
            }
            output_.grow();
        }
    }

    // False when a letter was held back that the target does not have; it is replaced.
    bool flush() {
        for (;;) {
            const Stop stop = converter_.flush(output_.place(), output_.room());
            if (stop == Stop::kUnreadable) {
                converter_.reset();
                replace(rest_.data() - 1, 1);
            }
            if (stop != Stop::kFull) {
                return stop != Stop::kUnreadable;
            }
            output_.grow();
        }
    }

    // Whether nothing is held back for such a target, and a replacement is itself in it.
    static bool is_plain_target(const Set &target) {
        return target.id == unicode().id || target.row->shape == kv::Shape::kT61 ||
               ((target.row->flags & CCS_FLAG_SINGLE) != 0 && (target.row->flags & CCS_FLAG_ASCII) != 0 &&
                !switches_state(*target.row));
    }

    // Whether the next byte of a plain source is certain to begin no character.
    [[nodiscard]] bool begins_no_character() const {
        if (rest_.empty() || static_cast<unsigned char>(rest_.front()) <= kMaxAscii) {
            return false;
        }
        return bytes_ != nullptr ? (*bytes_)[rest_.front()].empty() : kNeverFirst.contains(rest_.front());
    }

    // The bytes of the character at the front of the rest; 0 when there is none.
    [[nodiscard]] std::size_t character_length() const {
        if (bytes_ != nullptr) {
            return (*bytes_)[rest_.front()].empty() ? 0 : 1;
        }
        if (source_.id == unicode().id && first_character(rest_) < kCutCharacter) {
            return length_in_utf8(rest_);
        }
        Converter *reader = find_converter(source_, unicode());  // every character has its equal there
        std::array<char, kMinOutputSize> ignored;                // NOLINT(*-member-init)
        for (std::size_t length = 1;
             reader != nullptr && length <= std::min(kMaxCharacterLength, rest_.size()); ++length) {
            std::string_view candidate = rest_.substr(0, length);
            char *place = ignored.data();
            std::size_t room = ignored.size();
            const Stop stop = reader->convert(candidate, place, room);
            reader->reset();
            if (stop != Stop::kInCharacter) {
                return stop == Stop::kAtEnd ? length : 0;
            }
        }
        return 0;
    }

    void replace(const char *place, std::size_t length) {
        const bool is_shift = shifts_.contains(*place);
        if (length <= 1 && ccs_Is7BitAscii(place, 1) != 0 && !is_shift) {
            output_.append(*place);
            return;
        }
        outcome_.note_loss(place - begin_, CVC_REPLACED);
        if (is_plain_) {
            output_.append(kReplacement);
            return;
        }
        std::string_view replacement = kReplacement;
        convert(replacement);
    }

    Converter &converter_;
    const Set &source_;
    const ByteTable *bytes_;  // of a source of single bytes
    bool is_plain_;           // both sets have no state, and hold nothing back
    // iconv takes a single shift (of ISO-2022-CN) for a lasting one, and then leaves out the shift that the
    // next character needs: it has to begin anew behind each.
    bool forgets_shifts_;
    bool designates_once_;         // iconv would do it anew behind each flush, and holds nothing back
    const text::CharSet &shifts_;  // the characters of the source that are no text in the target
    const char *begin_;
    std::string_view rest_;
    Output &output_;
    Outcome outcome_;
};

// The designation that iconv begins each Korean text with (RFC 1557), which one without a shift does not
// need.
constexpr std::string_view kKoreanDesignation = "\x1B$)C";
constexpr char kShiftOut = '\x0E';

void remove_idle_designation(Output &output) {
    if (output.view().starts_with(kKoreanDesignation) &&
        output.view().find(kShiftOut) == std::string_view::npos) {
        output.remove_prefix(kKoreanDesignation.size());
    }
}

// What is no shift where it stands in a text that switches state is no text either, though iconv lets it
// through.
void replace_shifts(Output &output, const text::CharSet &shifts, Outcome &outcome) {
    if (&shifts == &kNoShifts) {
        return;
    }
    for (std::size_t place = 0; (place = find_shift(output.view(), shifts, place)) < output.length();
         ++place) {
        outcome.note_loss(static_cast<std::ptrdiff_t>(place), CVC_REPLACED);
        output.overwrite(place, kReplacement.front());
    }
}

std::size_t expected_size(std::string_view text) {
    return std::max(text.size() + text.size() / 2 + 1, kMinOutputSize);
}

// The two losses of a text that went through UTF-8; the offsets are those in there.
Outcome both(const Outcome &first, const Outcome &second) {
    const bool is_first_exact = first.status == CVC_EXACT;
    return {second.status == CVC_REPLACED || is_first_exact ? second.status : first.status,
            first.lost + second.lost, is_first_exact ? second.first_loss : first.first_loss};
}

// Converts into `block`, which is empty when a failure passes through. The status is CVC_FAILED, and the
// block as it was, when iconv does not have the set.
Outcome convert_text(std::string_view text, const Set &source, const Set &target, Block &block) {
    const bool is_ascii = text::ascii_length(text) == text.size();
    const bool is_as_is = is_ascii && has_as_is(source, text) && has_as_is(target, text);
    Output output{is_as_is ? std::max(text.size() + 1, kMinOutputSize) : expected_size(text),
                  std::exchange(block, {})};
    if (is_as_is) {
        output.append(text);
        block = output.release();
        return {};
    }
    std::optional<Outcome> outcome = convert_directly(text, is_ascii, source, target, output);
    if (!outcome) {
        output.clear();
        Converter *converter = find_converter(source, target);
        if (converter == nullptr) {
            return {CVC_FAILED};
        }
        outcome = Conversion{*converter, source, target, text, output}.run();
        if (target.row->escapes == kv::Escapes::kKr) {
            remove_idle_designation(output);
        }
        if (target.id == unicode().id) {
            replace_shifts(output, shifts_of(*source.row), *outcome);
        }
    }
    block = output.release();
    return *outcome;
}

// The calling thread's block for what is between two sets.
thread_local Block last_between;

// The same by names. A text that switches state is taken through UTF-8, in which a loss loses no state.
Outcome convert_named(std::string_view text, const char *source_name, const char *target_name, Block &block) {
    const NamedSet source{source_name};
    std::optional<NamedSet> other;
    if (std::strcmp(source_name, target_name) != 0) {
        other.emplace(target_name);
    }
    const NamedSet &target = other ? *other : source;
    if (!source.is_known() || !target.is_known()) {
        return {CVC_FAILED};
    }
    if (!switches_state(*source.get().row) || target.get().id == unicode().id) {
        return convert_text(text, source.get(), target.get(), block);
    }
    Block between = std::exchange(last_between, {});
    Outcome outcome = convert_text(text, source.get(), unicode(), between);
    if (outcome.status != CVC_FAILED) {
        outcome = both(outcome, convert_text(between.view(), unicode(), target.get(), block));
    }
    if (between.size <= kKeptResult) {
        last_between = std::move(between);
    }
    return outcome;
}

std::string_view view_of(const char *text, std::int32_t length) {
    return {text, length >= 0 ? static_cast<std::size_t>(length) : std::strlen(text)};
}

bool is_mode(int mode) {
    return mode == CVC_TEXT || mode == CVC_HEADER;
}

// The calling thread's last result of cvc_CnvString.
thread_local Block last_result;

}  // namespace

int cvc_ConvertString(int mode, int /*flags*/, const char *text, int32_t length, const char *source,
                      const char *target, char **converted, int32_t *converted_length, int *set, int *number,
                      int *extra) {
    *converted = nullptr;
    *converted_length = 0;
    *extra = -1;
    Block block;
    const Outcome outcome =
        is_mode(mode) ? convert_named(view_of(text, length), source, target, block) : Outcome{CVC_FAILED};
    if (outcome.status == CVC_FAILED) {
        *set = MES_SET_SERVER;
        *number = is_mode(mode) ? kv::kUnknownCharset : kv::kBadConversionMode;
        return CVC_FAILED;
    }
    *set = 0;
    *number = 0;
    *extra = outcome.first_loss;
    *converted_length = static_cast<std::int32_t>(block.length);
    *converted = block.bytes.release();
    return outcome.status;
}

int16_t cvc_CnvString(int mode, int /*flags*/, const char *text, int32_t length, const char *source,
                      const char *target, char **converted, int32_t *converted_length, int *lost,
                      int /*purpose*/) {
    *converted = nullptr;
    *converted_length = 0;
    Block previous = std::exchange(last_result, {});  // the text may stand in it
    const bool is_free = previous.size <= kKeptResult && !previous.holds(text);
    Block block = is_free ? std::move(previous) : Block{};
    const Outcome outcome =
        is_mode(mode) ? convert_named(view_of(text, length), source, target, block) : Outcome{CVC_FAILED};
    if (lost != nullptr) {
        *lost = outcome.lost;
    }
    last_result = std::move(block);
    if (outcome.status != CVC_FAILED) {
        *converted = last_result.bytes.get();
        *converted_length = static_cast<std::int32_t>(last_result.length);
    }
    return static_cast<int16_t>(outcome.status);
}

const char *cvc_iconvCharsetEquiv(const char *name, int /*flags*/) {
    const ccs_charset *charset = kv::find_charset(name);
    return charset == nullptr ? name : charset->mime_name;
}

int cvc_iconv_recognised_charset(const char *name) {
    return cvc_IsMappingAvail(name, kv::kUnicodeCharset);
}

int cvc_IsMappingAvail(const char *source, const char *target) {
    const NamedSet from{source};
    const NamedSet to{target};
    return from.is_known() && to.is_known() && find_converter(from.get(), unicode()) != nullptr &&
                   find_converter(unicode(), to.get()) != nullptr
               ? 1
               : 0;
}
