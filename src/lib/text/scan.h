// Finding characters a block at a time.
#ifndef TEXT_SCAN_H
#define TEXT_SCAN_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace text {

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

}  // namespace text

#endif
