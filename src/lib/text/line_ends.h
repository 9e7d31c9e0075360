// Line ends of text between blocks of memory, for processors with AVX-512 and VBMI2.
#ifndef TEXT_LINE_ENDS_H
#define TEXT_LINE_ENDS_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "text/cpu.h"

namespace text {

// Where it got to, and how many line feeds there were.
struct LinesTaken {
    const char *in;
    char *out;
    std::size_t line_feeds;
};

// What the functions may read and write behind the end of what they are given. The bytes written there are
// junk.
inline constexpr std::size_t kLineEndSlack = 64;

// Copies the bytes from `in` on, with a CR before each LF that has none, up to `end`, and not beyond the byte
// with which the text at `out` reaches `stop`, which lies ahead. `previous` is the byte before them.
using AddReturns = LinesTaken (*)(const char *in, const char *end, char previous, char *out,
                                  const char *stop);

#ifdef TEXT_HAS_AVX2

// Each of 32 bytes is put behind a CR, and the processor moves together what is to stay of both.
__attribute__((target("avx512bw,avx512vbmi2,popcnt"))) inline LinesTaken add_returns_avx512(
    const char *in, const char *end, char previous, char *out, const char *stop) {
    constexpr std::ptrdiff_t kStep = 32;
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    constexpr std::uint64_t kBytes = 0xAAAAAAAAAAAAAAAA;  // behind the places of the CRs
    constexpr unsigned kCarry = 63;
    std::uint64_t carried = previous == '\r' ? 1 : 0;
    std::size_t line_feeds = 0;
    while (in < end && out < stop) {
        const __m512i wide = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(in)));
        const __m512i bytes = _mm512_slli_epi16(wide, 8);
        const std::uint64_t feeds = _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8('\n'));
        const std::uint64_t returns = _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8('\r'));
        const std::uint64_t kept = kBytes | (feeds >> 1U & ~(returns << 1U | carried));
        carried = returns >> kCarry;
        _mm512_storeu_si512(
            out, _mm512_maskz_compress_epi8(kept, _mm512_or_si512(bytes, _mm512_set1_epi16('\r'))));
        std::ptrdiff_t count = kStep;
        std::uint64_t within = kAll;
        if (end - in < kStep || stop - out < 2 * kStep) {
            count = std::min(end - in, kStep);
            within >>= 2 * (kStep - count);
            if (const std::ptrdiff_t room = stop - out; std::popcount(kept & within) > room) {
                // Up to the byte whose last character is the last one that there is room for, or is behind
                // that.
                std::uint64_t left = kept;
                for (std::ptrdiff_t i = 1; i < room; ++i) {
                    left &= left - 1;
                }
                count = std::countr_zero(left) / 2 + 1;
                within = kAll >> 2 * (kStep - count);
            }
        }
        in += count;
        out += std::popcount(kept & within);
        line_feeds += static_cast<std::size_t>(std::popcount(feeds & within));
    }
    return {in, out, line_feeds};
}

#endif

// The form for this processor, if there is one that is worth it.
[[nodiscard]] inline AddReturns return_adder() {
#ifdef TEXT_HAS_AVX2
    if (has_avx512_vbmi2()) {
        return add_returns_avx512;
    }
#endif
    return nullptr;
}

}  // namespace text

#endif
