// Quoted-printable text (RFC 2045, 6.7) into the bytes that it stands for, within a line: a plain form, and
// forms for processors with AVX2, and with AVX-512 and VBMI2, that give the same.
//
// "=" and two hexadecimal digits, of either case, are the byte that they spell; every other character, and
// any other "=", stands for itself.
#ifndef TEXT_QUOTED_PRINTABLE_DECODE_H
#define TEXT_QUOTED_PRINTABLE_DECODE_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "text/ascii.h"
#include "text/cpu.h"
#include "text/scan.h"

namespace text::quoted_printable {

inline constexpr char kEscape = '=';
inline constexpr std::size_t kEscapeLength = 3;

// What the functions may read and write behind the end of what they are given. The bytes written there are
// junk.
inline constexpr std::size_t kDecodeSlack = 80;

// Decodes the text at `in`, and returns the end of what it became.
using Decode = char *(*)(std::string_view in, char *out);

[[nodiscard]] inline char *decode_plain(std::string_view in, char *out) {
    std::size_t i = 0;
    for (;;) {
        const std::size_t escape = find_any<kEscape>(in, i);
        std::memcpy(out, in.data() + i, escape - i);
        out += escape - i;
        if (escape == in.size()) {
            return out;
        }
        i = escape + 1;
        *out = kEscape;
        if (in.size() - escape >= kEscapeLength) {
            const unsigned value = hex_value(in[escape + 1]) << 4U | hex_value(in[escape + 2]);
            if (value < kByteCount) {
                *out = static_cast<char>(value);
                i = escape + kEscapeLength;
            }
        }
        ++out;
    }
}

#ifdef TEXT_HAS_AVX2

namespace detail {

constexpr std::size_t kStep = 32;  // characters that are looked at together
constexpr std::size_t kWideStep = 64;
constexpr std::size_t kCompressed = 8;  // of which as many are moved together

// For each set of places in kCompressed bytes, which byte comes first, second and so on of those that stay.
inline constexpr auto kStaying = []() {
    std::array<std::array<std::uint8_t, kCompressed>, kByteCount> orders{};
    for (std::size_t set = 0; set < orders.size(); ++set) {
        std::size_t count = 0;
        for (std::size_t place = 0; place < kCompressed; ++place) {
            if ((set >> place & 1U) != 0) {
                orders[set][count++] = static_cast<std::uint8_t>(place);
            }
        }
    }
    return orders;
}();

struct HexDigits {
    __m256i values;
    __m256i are_digits;
};

__attribute__((target("avx2"), always_inline)) inline HexDigits hex_digits(__m256i text) {
    const __m256i decimal = _mm256_sub_epi8(text, _mm256_set1_epi8('0'));
    const __m256i letter =
        _mm256_sub_epi8(_mm256_or_si256(text, _mm256_set1_epi8('a' ^ 'A')), _mm256_set1_epi8('a'));
    const __m256i is_decimal = _mm256_cmpeq_epi8(_mm256_min_epu8(decimal, _mm256_set1_epi8(9)), decimal);
    const __m256i is_letter = _mm256_cmpeq_epi8(_mm256_min_epu8(letter, _mm256_set1_epi8(5)), letter);
    // Of a digit one of the two is its value, and the other is greater.
    return {_mm256_min_epu8(decimal, _mm256_add_epi8(letter, _mm256_set1_epi8(10))),
            _mm256_or_si256(is_decimal, is_letter)};
}

struct WideHexDigits {
    __m512i values;
    std::uint64_t are_digits;
};

__attribute__((target("avx512bw"), always_inline)) inline WideHexDigits wide_hex_digits(__m512i text) {
    const __m512i decimal = _mm512_sub_epi8(text, _mm512_set1_epi8('0'));
    const __m512i letter =
        _mm512_sub_epi8(_mm512_or_si512(text, _mm512_set1_epi8('a' ^ 'A')), _mm512_set1_epi8('a'));
    const std::uint64_t are_decimal = _mm512_cmplt_epu8_mask(decimal, _mm512_set1_epi8(10));
    const std::uint64_t are_letters = _mm512_cmplt_epu8_mask(letter, _mm512_set1_epi8(6));
    return {_mm512_mask_add_epi8(decimal, are_letters, letter, _mm512_set1_epi8(10)),
            are_decimal | are_letters};
}

// A bit for each of the first `count` places of a wide step.
[[nodiscard]] inline std::uint64_t first_places(std::size_t count) {
    return count < kWideStep ? (std::uint64_t{1} << count) - 1 : ~std::uint64_t{0};
}

// Stores those of eight bytes that `stays` has a bit for, and junk behind them.
__attribute__((target("avx2"), always_inline)) inline void compress(__m128i bytes, std::uint32_t stays,
                                                                    char *out) {
    const __m128i order = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(kStaying[stays].data()));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(out), _mm_shuffle_epi8(bytes, order));
}

}  // namespace detail

// Each step turns the escapes that begin in it into their bytes, where they begin, and moves together what
// does not belong to the rest of an escape; which places in the next step do is carried over.
__attribute__((target("avx2,popcnt"))) inline char *decode_avx2(std::string_view in, char *out) {
    using namespace detail;
    constexpr std::uint64_t kAll = 0xFFFFFFFF;
    constexpr std::uint32_t kLowest = 0xFF;
    constexpr std::size_t kMuch = 64;  // that an escape in the step is not near the end
    const __m256i places = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18,
                                            19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
    std::uint64_t carried = 0;
    for (std::size_t i = 0; i < in.size(); i += kStep) {
        const char *const place = in.data() + i;
        const std::size_t left = in.size() - i;
        const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(place));
        const __m256i is_escape = _mm256_cmpeq_epi8(text, _mm256_set1_epi8(kEscape));
        const HexDigits high = hex_digits(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(place + 1)));
        const HexDigits low = hex_digits(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(place + 2)));
        const __m256i are_digits = _mm256_and_si256(high.are_digits, low.are_digits);
        // An escape that goes past the end of the text is none.
        const auto whole =
            static_cast<char>(static_cast<int>(std::min(left, kMuch)) - int{kEscapeLength} + 1);
        const __m256i is_whole = _mm256_cmpgt_epi8(_mm256_set1_epi8(whole), places);
        const __m256i is_spelt = _mm256_and_si256(_mm256_and_si256(is_escape, is_whole), are_digits);
        const std::uint64_t spelt = static_cast<std::uint32_t>(_mm256_movemask_epi8(is_spelt));
        const std::uint64_t rests = spelt << 1U | spelt << 2U | carried;
        carried = rests >> kStep;
        std::uint64_t stays = ~rests & kAll;
        if (left < kStep) {
            stays &= (std::uint64_t{1} << left) - 1;
        }
        const __m256i high_half =
            _mm256_and_si256(_mm256_slli_epi16(high.values, 4), _mm256_set1_epi8('\xF0'));
        // Not by a blend: with an unsigned plain char g++ 12 takes no mask of it for set.
        const __m256i spelt_bytes = _mm256_and_si256(is_spelt, _mm256_or_si256(high_half, low.values));
        const __m256i bytes = _mm256_or_si256(_mm256_andnot_si256(is_spelt, text), spelt_bytes);
        const __m128i first = _mm256_castsi256_si128(bytes);
        const __m128i second = _mm256_extracti128_si256(bytes, 1);
        const auto set = static_cast<std::uint32_t>(stays);
        compress(first, set & kLowest, out);
        compress(_mm_unpackhi_epi64(first, first), set >> 8U & kLowest, out + std::popcount(set & 0xFFU));
        compress(second, set >> 16U & kLowest, out + std::popcount(set & 0xFFFFU));
        compress(_mm_unpackhi_epi64(second, second), set >> 24U, out + std::popcount(set & 0xFFFFFFU));
        out += std::popcount(set);
    }
    return out;
}

// The same in steps of 64 characters: the processor itself moves together what stays.
__attribute__((target("avx512bw,avx512vbmi2,popcnt"))) inline char *decode_avx512(std::string_view in,
                                                                                  char *out) {
    using namespace detail;
    std::uint64_t carried = 0;
    for (std::size_t i = 0; i < in.size(); i += kWideStep) {
        const char *const place = in.data() + i;
        const std::size_t left = in.size() - i;
        const __m512i text = _mm512_loadu_si512(place);
        const WideHexDigits high = wide_hex_digits(_mm512_loadu_si512(place + 1));
        const WideHexDigits low = wide_hex_digits(_mm512_loadu_si512(place + 2));
        const std::uint64_t escapes = _mm512_cmpeq_epi8_mask(text, _mm512_set1_epi8(kEscape));
        const std::uint64_t whole = first_places(left < kEscapeLength ? 0 : left - kEscapeLength + 1);
        const std::uint64_t spelt = escapes & high.are_digits & low.are_digits & whole;
        const std::uint64_t stays = first_places(left) & ~(spelt << 1U | spelt << 2U | carried);
        carried = spelt >> (kWideStep - 1) | spelt >> (kWideStep - 2);
        const __m512i high_half =
            _mm512_and_si512(_mm512_slli_epi16(high.values, 4), _mm512_set1_epi8('\xF0'));
        const __m512i bytes = _mm512_mask_mov_epi8(text, spelt, _mm512_or_si512(high_half, low.values));
        _mm512_storeu_si512(out, _mm512_maskz_compress_epi8(stays, bytes));
        out += std::popcount(stays);
    }
    return out;
}

#else

inline constexpr Decode decode_avx2 = decode_plain;
inline constexpr Decode decode_avx512 = decode_plain;

#endif

// The fastest form for this processor.
[[nodiscard]] inline Decode decoder() {
    return has_avx512_vbmi2() ? decode_avx512 : has_avx2() ? decode_avx2 : decode_plain;
}

}  // namespace text::quoted_printable

#endif
