// The character sets that texts are converted between, by name, and iconv's converters between them.
#ifndef KV_CVC_SETS_H
#define KV_CVC_SETS_H

#include <iconv.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "ccs_table.h"
#include "failures.h"

namespace kv::conversion {

inline constexpr std::size_t kMaxCharacterLength = 4;  // bytes of a character in any set of the table
inline constexpr std::size_t kMaxPlainName = 40;       // characters of a name outside the table

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

// A converter in its initial state, the calling thread's, valid until the next call but one; null when iconv
// does not have it.
[[nodiscard]] Converter *find_converter(const Set &source, const Set &target);

// Unicode's set, which is UTF-8.
[[nodiscard]] Set unicode();
[[nodiscard]] inline bool is_unicode(const Set &set) {
    return set.row->shape == Shape::kUtf8;
}

// A set of iconv's that the server's table does not have.
struct OutsideSet {
    std::array<char, kMaxPlainName + 1> name{};
    std::size_t length = 0;  // of the name
    std::int64_t id = 0;
};

// A set by name, with the row that it may need a place for.
class NamedSet {
  public:
    explicit NamedSet(std::string_view name);
    NamedSet(const NamedSet &) = delete;
    NamedSet &operator=(const NamedSet &) = delete;
    ~NamedSet() = default;

    [[nodiscard]] const Set &get() const { return set_; }
    [[nodiscard]] bool is_known() const { return set_.row != nullptr; }

  private:
    void find_outside(std::string_view name);

    Set set_;
    OutsideSet outside_;
    ccs_charset row_{};
};

// Whether what a byte stands for may depend on those before it.
[[nodiscard]] inline bool switches_state(const ccs_charset &row) {
    return row.name == nullptr || row.escapes != Escapes::kNone || row.shape == Shape::kUtf7;
}

}  // namespace kv::conversion

#endif
