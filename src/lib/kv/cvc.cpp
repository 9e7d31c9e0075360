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

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "ccs_table.h"
#include "cvc_direct.h"
#include "cvc_output.h"
#include "cvc_sets.h"
#include "failures.h"
#include "text/ascii.h"
#include "text/scan.h"

using namespace kv::conversion;

namespace {

// What is converted at once behind a loss, twice as much each time that all goes well: iconv reads all it is
// given before it tells where it stopped, so that losses in a long text would cost the square of its length.
constexpr std::size_t kSliceAfterLoss = 16;
static_assert(kSliceAfterLoss > kMaxCharacterLength);
constexpr std::size_t kKeptResult = std::size_t{64} * 1024;  // a larger block goes at the next conversion

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
          is_plain_((bytes_ != nullptr || is_unicode(source)) && is_plain_target(target)),
          forgets_shifts_(target.row->escapes == kv::Escapes::kCn),
          designates_once_(target.row->escapes == kv::Escapes::kKr),
          shifts_(is_unicode(source) ? shifts_of(*target.row) : kNoShifts),
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
            if (stop == Stop::kInCharacter && is_last && is_unicode(source_) &&
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
        return is_unicode(target) || target.row->shape == kv::Shape::kT61 ||
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
        if (is_unicode(source_) && first_character(rest_) < kCutCharacter) {
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
        if (is_unicode(target)) {
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
    if (!switches_state(*source.get().row) || is_unicode(target.get())) {
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
