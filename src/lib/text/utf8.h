// Whether bytes are UTF-8 (RFC 3629): a plain form, and one for processors with AVX2 that gives the same.
#ifndef TEXT_UTF8_H
#define TEXT_UTF8_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/cpu.h"

namespace text::utf8 {

// What the functions may read behind the end of what they are given.
inline constexpr std::size_t kSlack = 32;

// Whether the bytes are characters, none of them U+0000.
using IsText = bool (*)(std::string_view bytes);

[[nodiscard]] inline bool is_text_plain(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto at = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
        const unsigned first = at(0);
        const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        if (first == 0 || (first >= 0x80 && first < 0xC2) || first > 0xF4 || bytes.size() < length) {
            return false;
        }
        // The first byte says where the second may lie.
        const unsigned lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
        const unsigned highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
        for (std::size_t i = 1; i < length; ++i) {
            if (at(i) < (i == 1 ? lowest : 0x80) || at(i) > (i == 1 ? highest : 0xBF)) {
                return false;
            }
        }
        bytes.remove_prefix(length);
    }
    return true;
}

#ifdef TEXT_HAS_AVX2

namespace detail {

constexpr std::size_t kBlock = 32;

// What can be wrong with two bytes that follow each other. It is wrong when the high half of the first, its
// low half, and the high half of the second all allow it.
enum Fault : std::uint8_t {
    kTooShort = 1U << 0U,   // a character's first byte, and no byte that goes on
    kTooLong = 1U << 1U,    // ASCII, and a byte that goes on
    kOverlong3 = 1U << 2U,  // E0 with 80 to 9F: two bytes would do
    kTooLarge = 1U << 3U,   // beyond U+10FFFF: F4 with 90 to BF, F5 and up with any
    kSurrogate = 1U << 4U,  // ED with A0 to BF
    kOverlong2 = 1U << 5U,  // C0 and C1: one byte would do
    kOverlong4 = 1U << 6U,  // F0 with 80 to 8F: three bytes would do; F5 and up with them are too large
    kTwoGoOn = 1U << 7U,    // two bytes that go on: right behind the first byte of three or four only
};
constexpr std::uint8_t kAnyLow = kTooShort | kTooLong | kTwoGoOn;
constexpr std::uint8_t kBeyond = kAnyLow | kTooLarge | kOverlong4;
constexpr std::uint8_t kAnyGoesOn = kTooLong | kOverlong2 | kTwoGoOn;

using Faults = std::array<std::uint8_t, 16>;
struct Run {
    std::size_t length;
    std::uint8_t faults;
};
template <std::size_t kRuns>
consteval Faults of_runs(const Run (&runs)[kRuns]) {  // NOLINT(*-avoid-c-arrays): a list
    Faults faults{};
    std::size_t place = 0;
    for (const Run &run : runs) {
        for (std::size_t i = 0; i < run.length; ++i) {
            faults[place++] = run.faults;
        }
    }
    return faults;
}
inline constexpr Faults kFirstHigh = of_runs({{8, kTooLong},
                                              {4, kTwoGoOn},
                                              {1, kTooShort | kOverlong2},
                                              {1, kTooShort},
                                              {1, kTooShort | kOverlong3 | kSurrogate},
                                              {1, kTooShort | kTooLarge | kOverlong4}});
inline constexpr Faults kFirstLow = of_runs({{1, kAnyLow | kOverlong2 | kOverlong3 | kOverlong4},
                                             {1, kAnyLow | kOverlong2},
                                             {2, kAnyLow},
                                             {1, kAnyLow | kTooLarge},
                                             {8, kBeyond},
                                             {1, kBeyond | kSurrogate},
                                             {2, kBeyond}});
inline constexpr Faults kSecondHigh = of_runs({{8, kTooShort},
                                               {1, kAnyGoesOn | kOverlong3 | kOverlong4},
                                               {1, kAnyGoesOn | kOverlong3 | kTooLarge},
                                               {2, kAnyGoesOn | kSurrogate | kTooLarge},
                                               {4, kTooShort}});

__attribute__((target("avx2"), always_inline)) inline __m256i look_up(const Faults &faults, __m256i halves) {
    const __m128i table = _mm_loadu_si128(reinterpret_cast<const __m128i *>(faults.data()));
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(table), halves);
}

__attribute__((target("avx2"), always_inline)) inline __m256i high_halves(__m256i bytes) {
    return _mm256_and_si256(_mm256_srli_epi16(bytes, 4), _mm256_set1_epi8(0x0F));
}

// The faults in a block that follows the block `before`.
__attribute__((target("avx2"), always_inline)) inline __m256i faults_in(__m256i block, __m256i before) {
    const __m256i across = _mm256_permute2x128_si256(before, block, 0x21);
    const __m256i one_before = _mm256_alignr_epi8(block, across, 15);
    const __m256i two_before = _mm256_alignr_epi8(block, across, 14);
    const __m256i three_before = _mm256_alignr_epi8(block, across, 13);
    const __m256i of_pairs = _mm256_and_si256(
        _mm256_and_si256(look_up(kFirstHigh, high_halves(one_before)),
                         look_up(kFirstLow, _mm256_and_si256(one_before, _mm256_set1_epi8(0x0F)))),
        look_up(kSecondHigh, high_halves(block)));
    // Two bytes that go on are no fault but a need in the third and fourth place of a character.
    const __m256i is_third = _mm256_subs_epu8(two_before, _mm256_set1_epi8(0xE0 - 0x80));
    const __m256i is_fourth = _mm256_subs_epu8(three_before, _mm256_set1_epi8(0xF0 - 0x80));
    const __m256i needed =
        _mm256_and_si256(_mm256_or_si256(is_third, is_fourth), _mm256_set1_epi8(static_cast<char>(kTwoGoOn)));
    return _mm256_xor_si256(of_pairs, needed);
}

}  // namespace detail

__attribute__((target("avx2"))) inline bool is_text_avx2(std::string_view bytes) {
    __m256i faults = _mm256_setzero_si256();
    __m256i before = _mm256_setzero_si256();
    for (std::size_t done = 0; done <= bytes.size(); done += detail::kBlock) {  // the last ends in blanks
        __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data() + done));
        if (const std::size_t left = bytes.size() - done; left < detail::kBlock) {
            const __m256i places =
                _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
                                 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
            const __m256i is_left = _mm256_cmpgt_epi8(_mm256_set1_epi8(static_cast<char>(left)), places);
            block = _mm256_blendv_epi8(_mm256_set1_epi8(' '), block, is_left);
        }
        faults = _mm256_or_si256(faults, _mm256_cmpeq_epi8(block, _mm256_setzero_si256()));
        faults = _mm256_or_si256(faults, detail::faults_in(block, before));
        before = block;
    }
    return _mm256_testz_si256(faults, faults) != 0;
}

#else

inline constexpr IsText is_text_avx2 = is_text_plain;

#endif

// The fastest form for this processor.
[[nodiscard]] inline IsText validator() {
    return has_avx2() ? is_text_avx2 : is_text_plain;
}

}  // namespace text::utf8

#endif
