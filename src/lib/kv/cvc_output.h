// Where a conversion puts its text, and what became of it.
#ifndef KV_CVC_OUTPUT_H
#define KV_CVC_OUTPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string_view>
#include <utility>

#include "cvc.h"
#include "failures.h"
#include "heap_text.h"
#include "os.h"

namespace kv::conversion {

inline constexpr std::size_t kMinOutputSize = 512;
inline constexpr std::size_t kMaxOutputSize = std::numeric_limits<std::int32_t>::max();
inline constexpr std::string_view kReplacement = "?";

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
    // NOLINTNEXTLINE(*-member-function-const): it changes the text
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

}  // namespace kv::conversion

#endif
