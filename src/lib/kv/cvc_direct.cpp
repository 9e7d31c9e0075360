// A set of single bytes is a table, which is learnt from iconv once; UTF-8 and UTF-7 are read and written
// here.

#include "cvc_direct.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "cvc_utf7.h"
#include "text/scan.h"

namespace kv::conversion {

namespace {

constexpr std::size_t kShortText = 128;

std::array<ByteTable, kMaxCharsets + 1> tables;  // by the set's number

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

}  // namespace

// ---- Sets of single bytes ----

const ByteTable *ByteTable::of(const Set &set) {
    ByteTable &table = tables.at(static_cast<std::size_t>(set.id));
    std::call_once(table.once_, [&] { table.learn(set); });
    return table.is_learnt_ ? &table : nullptr;
}

void ByteTable::learn(const Set &set) {
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
void ByteTable::learn_bytes(const Set &set) {
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

// ---- Any text ----

gunichar first_character(std::string_view text) {
    if (kNeverFirst.contains(text.front())) {
        return kNoCharacter;
    }
    const gunichar character = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
    return character == kCutCharacter && !is_cut_character(text) ? kNoCharacter : character;
}

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

std::optional<Outcome> convert_directly(std::string_view text, bool is_ascii, const Set &source,
                                        const Set &target, Output &output) {
    if (source.row->shape == kv::Shape::kUtf7 && is_unicode(target)) {
        return append_utf7(text, output) ? std::optional<Outcome>{Outcome{}} : std::nullopt;
    }
    if (is_unicode(source) && target.row->shape == kv::Shape::kUtf7) {
        return append_as_utf7(text, output) ? std::optional<Outcome>{Outcome{}} : std::nullopt;
    }
    if (is_ascii || (source.row->flags & target.row->flags & CCS_FLAG_ASCII) == 0) {
        return std::nullopt;
    }
    if ((source.row->flags & (CCS_FLAG_SINGLE | CCS_FLAG_7BIT)) == CCS_FLAG_SINGLE) {
        const bool is_same = source.id == target.id;
        const ByteTable *table = is_same || is_unicode(target) ? ByteTable::of(source) : nullptr;
        if (table == nullptr || (is_same && !is_text_of(text, *table))) {
            return std::nullopt;
        }
        if (is_same) {
            output.append(text);
            return Outcome{};
        }
        return append_by_table(text, *table, output) ? std::optional<Outcome>{Outcome{}} : std::nullopt;
    }
    if (!is_unicode(source)) {
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

}  // namespace kv::conversion
