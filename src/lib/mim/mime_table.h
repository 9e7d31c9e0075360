// What the tables of MIME names have in common: rows as a file of the home lists them, read once and kept,
// and indexes that find the first row with a key. Looking up allocates nothing.
#ifndef MIM_MIME_TABLE_H
#define MIM_MIME_TABLE_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <type_traits>

#include "frame.h"
#include "text/ascii.h"
#include "text/tokens.h"
#include "text/writer.h"

namespace mim {

// Begins the MIME names that stand for the server's own types and character sets.
inline constexpr std::string_view kPrivatePrefix = "x-korvan-";

// What separates the names of character sets in ~/sys/mime.cs, and ends one in a Content-Type.
inline constexpr text::Tokens kCharsetTokens{text::CharSet{" \t=\";"}};

// A text of at most kMax characters within a row.
template <std::size_t kMax>
class ShortText {
    static_assert(kMax <= UINT8_MAX);

  public:
    // False, with nothing changed, when `text` is too long.
    [[nodiscard]] bool set(std::string_view text) {
        if (text.size() > kMax) {
            return false;
        }
        length_ = static_cast<std::uint8_t>(text::copy_text(text, text_.data(), text_.size()));
        return true;
    }

    [[nodiscard]] const char *c_str() const { return text_.data(); }
    [[nodiscard]] std::string_view view() const { return {text_.data(), length_}; }
    [[nodiscard]] bool empty() const { return length_ == 0; }
    [[nodiscard]] bool is(std::string_view text) const { return text::equal_ignoring_case(view(), text); }

  private:
    std::uint8_t length_ = 0;
    std::array<char, kMax + 1> text_{};
};

// A block of the heap service.
template <typename Item>
using Block = std::unique_ptr<Item[], Release<os_free>>;

template <typename Item>
[[nodiscard]] Block<Item> allocate_block(std::size_t count) {
    static_assert(std::is_trivially_copyable_v<Item>);
    return Block<Item>{static_cast<Item *>(os_malloc(count * sizeof(Item)))};
}

// Rows in the order in which they were added. When memory is exhausted, those that there are stay.
template <typename Row>
class Rows {
  public:
    // Makes room for the first rows.
    void start() { grow(kFirstCapacity); }

    void add(const Row &row) {
        if (size_ == capacity_) {
            grow(capacity_ * 2);
        }
        rows_[size_++] = row;
    }

    [[nodiscard]] std::uint32_t size() const { return size_; }
    [[nodiscard]] const Row &operator[](std::uint32_t number) const { return rows_[number]; }

  private:
    static constexpr std::uint32_t kFirstCapacity = 16;

    void grow(std::uint32_t capacity) {
        Block<Row> larger = allocate_block<Row>(capacity);
        std::copy_n(rows_.get(), size_, larger.get());
        rows_ = std::move(larger);
        capacity_ = capacity;
    }

    Block<Row> rows_;
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = 0;
};

// A hash of a key of several texts, without regard to case: the two cases of a letter differ in one bit,
// which is set in all bytes.
[[nodiscard]] inline std::uint32_t hash_texts(std::initializer_list<std::string_view> texts) {
    constexpr std::uint64_t kCaseBits = 0x2020202020202020;
    constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;  // 2^64 divided by the golden ratio
    constexpr unsigned kHalf = 32;
    std::uint64_t hash = 0;
    for (std::string_view text : texts) {
        hash += text.size();
        while (!text.empty()) {
            std::uint64_t word = 0;
            const std::size_t length = std::min(text.size(), sizeof word);
            std::memcpy(&word, text.data(), length);
            text.remove_prefix(length);
            hash = (hash ^ (word | kCaseBits)) * kSpread;
            hash ^= hash >> kHalf;
        }
    }
    return static_cast<std::uint32_t>(hash);
}

// Finds the first of a table's rows that has a key, by its number. A function object tells whether a row has
// it. Rows are added in their order, one with several keys under each: any later row with a key stands behind
// the first one, or not at all.
class RowIndex {
  public:
    static constexpr std::uint32_t kNone = UINT32_MAX;

    // Makes an empty index with room for `keys` keys. Failure: memory exhausted, with nothing changed.
    void reserve(std::size_t keys) {
        const std::size_t size = std::bit_ceil(2 * keys + 1);
        slots_ = allocate_block<Slot>(size);
        std::fill_n(slots_.get(), size, Slot{0, kNone});
        mask_ = size - 1;
    }

    template <typename Row, typename HasKey>
    void add(const Rows<Row> &rows, std::uint32_t number, std::uint32_t hash, const HasKey &has_key) {
        Slot &slot = find_slot(rows, hash, has_key);
        if (slot.row == kNone) {
            slot = {hash, number};
        }
    }

    // kNone when there is no such row.
    template <typename Row, typename HasKey>
    [[nodiscard]] std::uint32_t find(const Rows<Row> &rows, std::uint32_t hash, const HasKey &has_key) const {
        return find_slot(rows, hash, has_key).row;
    }

  private:
    struct Slot {
        std::uint32_t hash;
        std::uint32_t row;
    };

    // The slot of the key, or the empty one where it would stand. At most half of the slots are taken.
    template <typename Row, typename HasKey>
    [[nodiscard]] Slot &find_slot(const Rows<Row> &rows, std::uint32_t hash, const HasKey &has_key) const {
        std::size_t place = hash & mask_;
        while (slots_[place].row != kNone &&
               (slots_[place].hash != hash || !has_key(rows[slots_[place].row]))) {
            place = (place + 1) & mask_;
        }
        return slots_[place];
    }

    Block<Slot> slots_;
    std::size_t mask_ = 0;
};

inline constexpr char kTableComment = '#';  // begins a line that is none

// How far a table has come.
enum class TableState { kNew, kRead, kIndexed };

// Reads `table` from the file `path`, at the first call. A failure passes through: the rows that were read by
// then are the table from the next call on, which makes the indexes for them. While memory is exhausted it
// has none.
template <int kLineCapacity, typename Table>
void make_table(Table &table, const char *path) {
    if (table.state == TableState::kNew) {
        table.rows.start();
        table.state = TableState::kRead;
        LineFile file;
        for_each_line<kLineCapacity>(file, path, [&table](const char *line, std::size_t) {
            if (*line != kTableComment) {
                table.add_line(line);
            }
        });
    }
    if (table.state == TableState::kRead) {
        table.make_indexes();
        table.state = TableState::kIndexed;
    }
}

}  // namespace mim

#endif
