// UTF-7 is plain ASCII, and runs of base64 in which all else stands as UTF-16.

#include "cvc_utf7.h"

#include <glib.h>

#include <array>

#include "text/base64.h"

namespace kv::conversion {

namespace {

constexpr std::size_t kMaxUtf8Length = 6;  // that GLib writes for any number

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

}  // namespace

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

}  // namespace kv::conversion
