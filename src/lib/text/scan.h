// Finding characters a block at a time.
#ifndef TEXT_SCAN_H
#define TEXT_SCAN_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace text {

// How many bytes of ASCII `text` begins with.
[[nodiscard]] inline std::size_t ascii_length(std::string_view text) {
    constexpr std::uint64_t kTopBits = 0x8080808080808080U;
    constexpr std::size_t kWord = sizeof kTopBits;
    // The places of the next eight bytes that end the run.
    const auto ends_at = [&](std::size_t place) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + place, kWord);
        return word & kTopBits;
    };
    const auto first_of = [](std::uint64_t ends) {
        return static_cast<std::size_t>(std::countr_zero(ends)) / kWord;
    };
    std::size_t length = 0;
    for (; text.size() - length >= kWord; length += kWord) {
        if (const std::uint64_t ends = ends_at(length); ends != 0) {
            return length + first_of(ends);
        }
    }
    if (length > 0) {  // the last eight, of which some are known to be in the run
        const std::size_t last = text.size() - kWord;
        const std::uint64_t ends = ends_at(last);
        return ends == 0 ? text.size() : last + first_of(ends);
    }
    while (length < text.size() && static_cast<signed char>(text[length]) >= 0) {
        ++length;
    }
    return length;
}
static_assert(std::endian::native == std::endian::little);

inline constexpr std::size_t kBlock = 16;  // bytes that are looked at together

// A text with kBlock readable bytes behind its end.
using PaddedView = std::string_view;

// The first place from `from` on that holds one of `kStops`; the size when there is none.
template <char... kStops>
[[nodiscard]] std::size_t find_any(PaddedView text, std::size_t from) {
#ifdef __SSE2__
    for (; from < text.size(); from += kBlock) {
        const auto block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text.data() + from));
        const auto hits = (_mm_cmpeq_epi8(block, _mm_set1_epi8(kStops)) | ...);
        const auto places = static_cast<unsigned>(_mm_movemask_epi8(hits));
        if (places != 0) {
            return std::min(text.size(), from + static_cast<std::size_t>(std::countr_zero(places)));
        }
    }
#else
    for (; from < text.size(); ++from) {
        if (((text[from] == kStops) || ...)) {
            return from;
        }
    }
#endif
    return text.size();
}

inline constexpr std::size_t kWideBlock = 64;

// Where in a text something stands, in order, and then kNowhere.
template <std::size_t kMaxSize>
class Places {
  public:
    static constexpr std::size_t kNowhere = UINT16_MAX;
    static_assert(kMaxSize + kWideBlock < kNowhere);

    // Finds the places of `kStops` in a text of at most kMaxSize bytes, with kWideBlock readable ones behind
    // it.
    template <char... kStops>
    void find(std::string_view text) {
        std::uint16_t *end = places_.data();
        const auto note = [&end](std::size_t place) { *end = static_cast<std::uint16_t>(place); };
#ifdef __SSE2__
        for (std::size_t from = 0; from < text.size(); from += kWideBlock) {
            std::uint64_t left = 0;
            for (std::size_t i = 0; i < kWideBlock; i += kBlock) {
                const auto block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text.data() + from + i));
                const auto hits = (_mm_cmpeq_epi8(block, _mm_set1_epi8(kStops)) | ...);
                left |= std::uint64_t{static_cast<std::uint32_t>(_mm_movemask_epi8(hits))} << i;
            }
            if (const std::size_t rest = text.size() - from; rest < kWideBlock) {
                left &= (std::uint64_t{1} << rest) - 1;
            }
            // No branch on whether there is one or two, but on whether there are more.
            for (int i = 0; i < 2 || left != 0; ++i) {
                note(from + static_cast<std::size_t>(std::countr_zero(left)));
                end += left != 0 ? 1 : 0;
                left &= left - 1;
            }
        }
#else
        for (std::size_t place = 0; place < text.size(); ++place) {
            note(place);
            end += ((text[place] == kStops) || ...) ? 1 : 0;
        }
#endif
        note(kNowhere);
        next_ = 0;
    }

    // The first that has not been passed.
    [[nodiscard]] std::size_t next() const {
        return places_[next_];
    }
    void pass() {
        ++next_;
    }

  private:
    std::size_t next_ = 0;
    std::array<std::uint16_t, kMaxSize + kWideBlock + 1> places_;  // NOLINT(*-member-init): filled by find
};

}  // namespace text

#endif
