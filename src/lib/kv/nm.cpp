// The fields of O/R names: reading the separator form, and storing in it.
//
// A field is stored in place. All that can change is the gap between the field present before it and the one
// present after it: the gap becomes separators, the text, separators, in the shortest form, and what follows
// moves. Separators elsewhere stay as they are, whoever wrote them.
//
// A text may be malformed from some place on (see nm_ParseORN). That rest is kept and treated as a field that
// stands where reading stopped: the separators before it are kept up with, so that it can never be read as a
// field that it was not.

#include "nm.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <string_view>

#include "failures.h"
#include "nm_internal.h"
#include "text/ascii.h"
#include "text/writer.h"

namespace {

using kv::kNoField;

constexpr char kNextField = 29;
constexpr char kNextBlock = 23;
constexpr int kSecondBlock = NM_COMMON_NAME;  // the fields that kNextBlock skips to
constexpr int kThirdBlock = NM_T61;
constexpr std::size_t kMaxNameLength = NM_ORN_SIZE - 1;
constexpr unsigned kMapWordBits = 32;
static_assert(NM_FIELD_COUNT <= NM_MAP_WORDS * kMapWordBits);

// What a stored byte becomes: the terminator and the separators become blanks.
constexpr std::array<char, text::kByteCount> kStoredByte = []() {
    std::array<char, text::kByteCount> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        const auto c = static_cast<char>(i);
        table[i] = c == '\0' || c == kNextField || c == kNextBlock ? ' ' : c;
    }
    return table;
}();

char stored_byte(char c) {
    return kStoredByte[static_cast<unsigned char>(c)];
}

bool is_field(int field) {
    return field >= 0 && field < NM_FIELD_COUNT;
}

// ---- Field maps ----

std::size_t map_word(int field) {
    return static_cast<std::size_t>(field) / kMapWordBits;
}

std::uint32_t map_bit(int field) {
    return std::uint32_t{1} << (static_cast<unsigned>(field) % kMapWordBits);
}

bool is_present(const nm_index &index, int field) {
    return (index.present[map_word(field)] & map_bit(field)) != 0;
}

constexpr int field_of(std::size_t word, int bit) {
    return static_cast<int>(word * kMapWordBits) + bit;
}

// The last present field before `field`, or kNoField.
int field_before(const nm_index &index, int field) {
    std::size_t word = map_word(field);
    std::uint32_t bits = index.present[word] & (map_bit(field) - 1);
    while (bits == 0) {
        if (word == 0) {
            return kNoField;
        }
        bits = index.present[--word];
    }
    return field_of(word, static_cast<int>(std::bit_width(bits)) - 1);
}

// The first present field after `field`, or kNoField.
int field_after(const nm_index &index, int field) {
    std::size_t word = map_word(field);
    std::uint32_t bits = index.present[word] & ~(map_bit(field) | (map_bit(field) - 1));
    while (bits == 0) {
        if (++word == NM_MAP_WORDS) {
            return kNoField;
        }
        bits = index.present[word];
    }
    return field_of(word, std::countr_zero(bits));
}

// ---- Separators ----

// The field that a separator leads to from `field`, or kNoField.
int next_field(int field, char separator) {
    if (separator == kNextField) {
        return field + 1 < NM_FIELD_COUNT ? field + 1 : kNoField;
    }
    return field < kSecondBlock ? kSecondBlock : field < kThirdBlock ? kThirdBlock : kNoField;
}

// The shortest way from one field to a later one: first the blocks, then the single steps.
struct Separators {
    std::size_t blocks;
    std::size_t steps;

    static Separators between(int from, int to) {
        std::size_t blocks = 0;
        for (const int block : {kSecondBlock, kThirdBlock}) {
            if (from < block && to >= block) {
                ++blocks;
                from = block;
            }
        }
        return {blocks, static_cast<std::size_t>(to - from)};
    }

    [[nodiscard]] std::size_t count() const { return blocks + steps; }

    // Returns the place after them.
    char *write(char *place) const {
        place = std::fill_n(place, blocks, kNextBlock);
        return std::fill_n(place, steps, kNextField);
    }
};

bool is_separator(char c) {
    return c == kNextField || c == kNextBlock;
}

// The first separator of [from, limit), or `limit`.
std::size_t find_separator(const char *orn, std::size_t from, std::size_t limit) {
    using Word = std::size_t;
    constexpr Word kEachByte = ~Word{0} / 0xFF;
    constexpr Word kTopBits = kEachByte * 0x80;
    constexpr Word kFirstText = kEachByte * (kNextField + 1);
    for (; limit - from >= sizeof(Word); from += sizeof(Word)) {
        Word word = 0;
        std::memcpy(&word, orn + from, sizeof(Word));
        if (((word - kFirstText) & ~word & kTopBits) != 0) {  // some byte may be below kNextField + 1
            break;
        }
    }
    while (from < limit && !is_separator(orn[from])) {
        ++from;
    }
    return from;
}

bool is_own_value(std::string_view own, std::string_view bytes) {
    return std::equal(own.begin(), own.end(), bytes.begin(), bytes.end(),
                      [](char a, char b) { return a == stored_byte(b); });
}

void set_field(nm_index &index, int field, std::size_t start, std::size_t length) {
    index.start[field] = static_cast<std::uint16_t>(start);
    index.length[field] = static_cast<std::uint16_t>(length);
    index.present[map_word(field)] |= map_bit(field);
}

// The surname, the common name and their T.61 forms are each the first field of a word of the map.
static_assert(field_of(0, 0) == NM_SURNAME && field_of(1, 0) == NM_COMMON_NAME &&
              field_of(2, 0) == NM_T61 + NM_SURNAME && field_of(3, 0) == NM_T61 + NM_COMMON_NAME);

// To be called whenever the map has changed.
void note_kind(nm_index &index) {
    const auto &words = index.present;
    const bool has_name = ((words[0] | words[1] | words[2] | words[3]) & 1U) != 0;
    index.kind = is_present(index, NM_UA_ID) && !has_name ? NM_KIND_NUMERIC : NM_KIND_NAMED;
}

bool lies_within(std::string_view bytes, const char *begin, const char *end) {
    const std::less<> before;
    return before(begin, bytes.data() + bytes.size()) && before(bytes.data(), end);
}

}  // namespace

std::string_view kv::field_text(const char *orn, const nm_index &index, int field) {
    if (!is_field(field) || !is_present(index, field)) {
        return {};
    }
    return {orn + index.start[field], index.length[field]};
}

bool kv::try_put_field(char *orn, nm_index &index, int field, std::string_view bytes) {
    if (is_own_value(field_text(orn, index, field), bytes)) {
        return true;
    }
    const bool has_rest = orn[index.end] != '\0';
    const std::size_t old_end = has_rest ? index.end + std::strlen(orn + index.end) : index.end;
    if (old_end > kMaxNameLength || bytes.size() > kMaxNameLength) {
        return false;
    }
    const int before = field_before(index, field);
    const int after = field_after(index, field);
    const int end_field = bytes.empty() ? index.end_field : std::max<int>(index.end_field, field);

    const std::size_t gap_begin = before == kNoField ? 0 : index.start[before] + index.length[before];
    const std::size_t gap_end = after == kNoField ? index.end : index.start[after];
    const int gap_first = std::max(before, 0);
    const int text_field = bytes.empty() ? gap_first : field;
    const int gap_last = after != kNoField ? after : has_rest ? end_field : text_field;
    const Separators leading = Separators::between(gap_first, text_field);
    const Separators trailing = Separators::between(text_field, gap_last);

    const std::size_t text_start = gap_begin + leading.count();
    const std::size_t new_gap_end = text_start + bytes.size() + trailing.count();
    const std::size_t new_end = old_end - gap_end + new_gap_end;
    if (new_end > kMaxNameLength) {
        return false;
    }
    std::array<char, kMaxNameLength> copy;  // NOLINT(*-member-init): of a text inside orn, which moves
    if (lies_within(bytes, orn, orn + std::max(old_end, new_end) + 1)) {
        std::memcpy(copy.data(), bytes.data(), bytes.size());
        bytes = {copy.data(), bytes.size()};
    }

    if (new_gap_end == new_end) {
        orn[new_end] = '\0';
    } else {
        std::memmove(orn + new_gap_end, orn + gap_end, old_end - gap_end + 1);
    }
    char *place = leading.write(orn + gap_begin);
    place = std::transform(bytes.begin(), bytes.end(), place, stored_byte);
    trailing.write(place);

    const auto shift = static_cast<std::uint16_t>(new_gap_end - gap_end);  // modulo 2^16, so down as well
    for (int later = after; later != kNoField; later = field_after(index, later)) {
        index.start[later] = static_cast<std::uint16_t>(index.start[later] + shift);
    }
    index.end = static_cast<std::uint16_t>(index.end + shift);
    index.end_field = static_cast<std::uint16_t>(end_field);
    if (bytes.empty()) {
        index.present[map_word(field)] &= ~map_bit(field);
    } else {
        set_field(index, field, text_start, bytes.size());
    }
    note_kind(index);
    return true;
}

void nm_InitORN(char *orn, nm_index *index) {
    *orn = '\0';
    index->kind = NM_KIND_NAMED;
    index->end = 0;
    index->end_field = 0;
    std::fill_n(index->present, NM_MAP_WORDS, 0);
}

int nm_ParseORN(const char *orn, nm_index *index, uint32_t *presence) {
    const std::size_t length = strnlen(orn, NM_ORN_SIZE);
    const std::size_t limit = std::min(length, kMaxNameLength);
    std::fill_n(index->present, NM_MAP_WORDS, 0);
    int field = 0;
    std::size_t end = 0;
    bool understood = false;
    for (;;) {
        const std::size_t start = end;
        end = find_separator(orn, start, limit);
        if (end == limit && length > kMaxNameLength) {
            break;  // rather no field than the half of one
        }
        if (end > start) {
            set_field(*index, field, start, end - start);
        }
        if (end == limit) {
            understood = true;
            break;
        }
        const int next = next_field(field, orn[end]);
        if (next == kNoField) {
            break;
        }
        field = next;
        ++end;
        // Fields that are absent come in runs: before the Internet address, one of some sixty.
        while (field + 1 < NM_FIELD_COUNT && end < limit && orn[end] == kNextField) {
            ++field;
            ++end;
        }
    }
    index->end = static_cast<std::uint16_t>(end);
    index->end_field = static_cast<std::uint16_t>(field);
    note_kind(*index);
    if (presence != nullptr) {
        nm_GetFieldMaps(index, presence);
    }
    return understood ? 1 : 0;
}

int nm_CheckBit(int field, const uint32_t *presence) {
    return is_field(field) && (presence[map_word(field)] & map_bit(field)) != 0 ? 1 : 0;
}

void nm_GetFieldMaps(const nm_index *index, uint32_t *maps) {
    std::copy_n(index->present, NM_MAP_WORDS, maps);
}

void nm_GetFieldStr(const char *orn, const nm_index *index, int field, char *destination, int capacity) {
    text::Writer out{destination, static_cast<std::size_t>(std::max(capacity, 0))};
    out.append(kv::field_text(orn, *index, field));
    out.finish();
}

const char *nm_GetFieldMemPtr(const char *orn, const nm_index *index, int field, int *length) {
    const std::string_view text = kv::field_text(orn, *index, field);
    *length = static_cast<int>(text.size());
    return text.data();
}

void nm_PutFieldStr(char *orn, nm_index *index, int field, const char *text) {
    nm_PutFieldMem(orn, index, field, text,
                   text != nullptr ? static_cast<int>(strnlen(text, NM_ORN_SIZE)) : 0);
}

void nm_PutFieldMem(char *orn, nm_index *index, int field, const char *bytes, int length) {
    if (!is_field(field)) {
        er_TracedEscape(MES_SET_SERVER, kv::kNoSuchField, "nm", __LINE__);
    }
    const bool is_empty = bytes == nullptr || length <= 0;
    const std::string_view text =
        is_empty ? std::string_view{} : std::string_view{bytes, static_cast<std::size_t>(length)};
    if (!kv::try_put_field(orn, *index, field, text)) {
        er_TracedEscape(MES_SET_SERVER, kv::kNameTooLong, "nm", __LINE__);
    }
}

int nm_GetCorrT61FNum(int field) {
    return kv::has_t61_form(field) ? NM_T61 + field : kv::kNoField;
}
