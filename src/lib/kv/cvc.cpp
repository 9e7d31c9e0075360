// Conversion between character sets by the C library's iconv, without transliteration.
//
// What cannot be converted is replaced, never a reason to give up: mail must come through. A character
// without an equal becomes one "?", and so does each byte that begins no character. T.61 has no place for six
// characters of ASCII (\ ^ ` { } ~), which addresses need: they stand for themselves in T61INTL. A converter
// may hold back a letter that the next may combine with, so it is flushed before anything else is written.

#include "cvc.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "ccs_table.h"
#include "failures.h"
#include "heap_text.h"
#include "os.h"

namespace {

constexpr std::size_t kCachedConverters = 16;
constexpr std::size_t kMaxCharacterLength = 4;  // bytes of a character in any set of the table
constexpr std::size_t kMinOutputSize = 64;
// What is converted at once behind a loss, twice as much each time that all goes well: iconv reads all it is
// given before it tells where it stopped, so that losses in a long text would cost the square of its length.
constexpr std::size_t kSliceAfterLoss = 16;
static_assert(kSliceAfterLoss > kMaxCharacterLength);
constexpr std::size_t kMaxOutputSize = std::numeric_limits<std::int32_t>::max();
constexpr std::string_view kReplacement = "?";

// A text that grows in a block of the heap service. There is always room for the terminator.
class Output {
  public:
    explicit Output(std::size_t size) : block_(allocate(size)), size_(size) {}

    char *&place() { return place_; }
    std::size_t &room() { return room_; }

    void grow() {
        const std::size_t used = length();
        kv::HeapText larger = allocate(size_ * 2);
        std::memcpy(larger.get(), block_.get(), used);
        block_ = std::move(larger);
        size_ *= 2;
        place_ = block_.get() + used;
        room_ = size_ - used - 1;
    }

    void append(char c) {
        if (room_ == 0) {
            grow();
        }
        *place_++ = c;
        --room_;
    }

    [[nodiscard]] std::size_t length() const { return static_cast<std::size_t>(place_ - block_.get()); }

    [[nodiscard]] char *release() {
        *place_ = '\0';
        return block_.release();
    }

  private:
    // Lengths are 32-bit numbers with a sign.
    static kv::HeapText allocate(std::size_t size) {
        if (size > kMaxOutputSize) {
            kv::raise_no_memory("cvc", __LINE__);
        }
        return kv::HeapText{static_cast<char *>(os_malloc(size))};
    }

    kv::HeapText block_;
    std::size_t size_;
    char *place_ = block_.get();
    std::size_t room_ = size_ - 1;
};

// Why a converter stopped.
enum class Stop {
    kAtEnd,        // all was read
    kUnreadable,   // at bytes that are no character, or one that the target does not have
    kInCharacter,  // the text ends inside a character
    kFull,         // the output is full
};

// An open converter between two sets of the table.
class Converter {
  public:
    Converter() = default;
    Converter(const ccs_charset &source, const ccs_charset &target)
        : source_(&source), target_(&target), handle_(iconv_open(target.iconv_name, source.iconv_name)) {
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
        return *this;
    }
    ~Converter() {
        if (is_open()) {
            iconv_close(handle_);
        }
    }

    [[nodiscard]] bool is_open() const { return handle_ != kClosed; }
    [[nodiscard]] bool converts(const ccs_charset &source, const ccs_charset &target) const {
        return is_open() && source_ == &source && target_ == &target;
    }

    void reset() { iconv(handle_, nullptr, nullptr, nullptr, nullptr); }

    // Converts from the front of `text`, which it shortens.
    Stop convert(std::string_view &text, char *&place, std::size_t &room) {
        char *in = const_cast<char *>(text.data());  // NOLINT(*-const-cast): iconv only reads there
        std::size_t left = text.size();
        const std::size_t result = iconv(handle_, &in, &left, &place, &room);
        const Stop stop = stop_of(result);
        text.remove_prefix(text.size() - left);
        return stop;
    }

    // Writes what is held back.
    Stop flush(char *&place, std::size_t &room) {
        return stop_of(iconv(handle_, nullptr, nullptr, &place, &room));
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

    const ccs_charset *source_ = nullptr;
    const ccs_charset *target_ = nullptr;
    iconv_t handle_ = kClosed;
};

// The calling thread's converters; each is kept until its place is needed, the last until the thread ends.
struct ConverterCache {
    std::array<Converter, kCachedConverters> converters;
    std::size_t newest = 0;     // the place filled last; the next after it is the oldest
    std::size_t last_used = 0;  // the place given out last, which is never the one to go
};
thread_local ConverterCache cache;

// A converter in its initial state, valid until the next call but one; null when iconv does not have it.
Converter *find_converter(const ccs_charset &source, const ccs_charset &target) {
    for (std::size_t i = 0; i < kCachedConverters; ++i) {
        if (cache.converters[i].converts(source, target)) {
            cache.last_used = i;
            cache.converters[i].reset();
            return &cache.converters[i];
        }
    }
    Converter opened{source, target};
    if (!opened.is_open()) {
        return nullptr;
    }
    do {
        cache.newest = (cache.newest + 1) % kCachedConverters;
    } while (cache.newest == cache.last_used);
    cache.last_used = cache.newest;
    cache.converters[cache.newest] = std::move(opened);
    return &cache.converters[cache.newest];
}

// One conversion: what was read, what came of it so far, and what was lost.
class Conversion {
  public:
    Conversion(Converter &converter, const ccs_charset &source, std::string_view text)
        : converter_(converter),
          source_(source),
          begin_(text.data()),
          rest_(text),
          output_(std::max(text.size() + text.size() / 2 + 1, kMinOutputSize)) {}

    void run() {
        std::size_t slice = rest_.size();
        for (;;) {
            const bool is_last = slice >= rest_.size();
            std::string_view front = rest_.substr(0, slice);
            const Stop stop = convert(front);
            rest_.remove_prefix(static_cast<std::size_t>(front.data() - rest_.data()));
            if (!is_last && stop != Stop::kUnreadable) {
                slice *= 2;
                continue;
            }
            const bool was_held_back = !flush();
            if (stop == Stop::kAtEnd) {
                return;
            }
            if (stop == Stop::kInCharacter) {
                note_loss(rest_.data(), status_ == CVC_EXACT ? CVC_CUT : status_);
                return;
            }
            if (!was_held_back) {  // else it was that letter that could not be written, not the next
                const std::size_t length = character_length();
                replace(rest_.data(), length);
                rest_.remove_prefix(std::max<std::size_t>(length, 1));
            }
            slice = kSliceAfterLoss;
        }
    }

    [[nodiscard]] cvc_status status() const { return status_; }
    [[nodiscard]] int first_loss() const { return first_loss_; }
    Output &output() { return output_; }

  private:
    Stop convert(std::string_view &text) {
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

    // The bytes of the character at the front of the rest; 0 when there is none.
    [[nodiscard]] std::size_t character_length() const {
        // Every character of every set has its equal there.
        const ccs_charset *unicode = kv::find_charset(kv::kUnicodeCharset);
        Converter *reader = find_converter(source_, *unicode);
        std::array<char, kMinOutputSize> ignored;  // NOLINT(*-member-init)
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
        if (length <= 1 && ccs_Is7BitAscii(place, 1) != 0) {
            output_.append(*place);
            return;
        }
        note_loss(place, CVC_REPLACED);
        std::string_view replacement = kReplacement;
        convert(replacement);
    }

    void note_loss(const char *place, cvc_status status) {
        status_ = status;
        if (first_loss_ < 0) {
            first_loss_ = static_cast<int>(place - begin_);
        }
    }

    Converter &converter_;
    const ccs_charset &source_;
    const char *begin_;
    std::string_view rest_;
    Output output_;
    cvc_status status_ = CVC_EXACT;
    int first_loss_ = -1;
};

}  // namespace

int cvc_ConvertString(int mode, int /*flags*/, const char *text, int32_t length, const char *source,
                      const char *target, char **converted, int32_t *converted_length, int *set, int *number,
                      int *extra) {
    *converted = nullptr;
    *converted_length = 0;
    *extra = -1;
    *set = MES_SET_SERVER;
    if (mode != CVC_TEXT) {
        *number = kv::kBadConversionMode;
        return CVC_FAILED;
    }
    const ccs_charset *source_set = kv::find_charset(source);
    const ccs_charset *target_set = kv::find_charset(target);
    Converter *converter =
        source_set != nullptr && target_set != nullptr ? find_converter(*source_set, *target_set) : nullptr;
    if (converter == nullptr) {
        *number = kv::kUnknownCharset;
        return CVC_FAILED;
    }
    const std::size_t size = length >= 0 ? static_cast<std::size_t>(length) : std::strlen(text);
    Conversion conversion{*converter, *source_set, {text, size}};
    conversion.run();
    *set = 0;
    *number = 0;
    *extra = conversion.first_loss();
    *converted_length = static_cast<std::int32_t>(conversion.output().length());
    *converted = conversion.output().release();
    return conversion.status();
}
