// The bytes of quoted-printable text (RFC 2045, 6.7) between blocks of memory: a plain form that obeys any
// table, and one for processors with AVX2 that gives the same for the usual tables.
#ifndef TEXT_QUOTED_PRINTABLE_H
#define TEXT_QUOTED_PRINTABLE_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "text/ascii.h"
#include "text/cpu.h"

namespace text::quoted_printable {

// What a byte becomes: `length` characters of `text`.
struct Code {
    std::array<char, 4> text;
    std::uint32_t length;
};
using Codes = std::array<Code, kByteCount>;

inline constexpr std::size_t kEncodedLength = 3;

// "=XX" for a byte.
[[nodiscard]] constexpr Code encoded(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return {{'=', kHexDigits[byte >> 4U], kHexDigits[byte & 0x0FU], '\0'}, kEncodedLength};
}

// The codes for a set of bytes that stand as they are.
template <typename Set>
[[nodiscard]] constexpr Codes make_codes(const Set &stands) {
    Codes codes{};
    for (std::size_t byte = 0; byte < codes.size(); ++byte) {
        const auto c = static_cast<char>(byte);
        codes[byte] = stands(c) ? Code{{c, '\0', '\0', '\0'}, 1} : encoded(c);
    }
    return codes;
}

// Tab and the printable characters stand, but for "=".
[[nodiscard]] constexpr bool stands_in_body(char c) {
    return c == '\t' || (c >= ' ' && c <= '~' && c != '=');
}
inline constexpr Codes kBodyCodes = make_codes(stands_in_body);

// The same without "?" and "_".
[[nodiscard]] constexpr bool stands_strictly(char c) {
    return stands_in_body(c) && c != '?' && c != '_';
}
inline constexpr Codes kStrictCodes = make_codes(stands_strictly);

// Where encoding got to.
struct Progress {
    const char *in;
    char *out;
};

// Encodes the bytes from `in` on, up to a line feed or to `end`, and not beyond the byte with which the text
// at `out` reaches `stop`, which lies ahead. May write kSlack bytes behind the text.
using Encode = Progress (*)(const Codes &codes, const char *in, const char *end, char *out, const char *stop);
inline constexpr std::size_t kSlack = 16;

// Writes no more than three bytes behind `stop`.
inline Progress encode_plain(const Codes &codes, const char *in, const char *end, char *out,
                             const char *stop) {
    while (in < end && out < stop && *in != '\n') {
        const Code &code = codes[static_cast<unsigned char>(*in++)];
        std::memcpy(out, code.text.data(), code.text.size());
        out += code.length;
    }
    return {in, out};
}

#ifdef TEXT_HAS_AVX2

namespace detail {

constexpr std::size_t kGroup = 4;  // bytes that are spread together, into at most 16 characters

// For each set of four bytes that do not stand: where the characters of the group come from, out of the four
// bytes, their four first and four second digits, and four "=".
inline constexpr auto kSpread = [] {
    std::array<std::array<char, 16>, 16> table{};
    for (std::size_t others = 0; others < table.size(); ++others) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < kGroup; ++i) {
            if ((others >> i & 1U) == 0) {
                table[others][length++] = static_cast<char>(i);
                continue;
            }
            for (const std::size_t source : {3 * kGroup, kGroup, 2 * kGroup}) {
                table[others][length++] = static_cast<char>(source + (source == 3 * kGroup ? 0 : i));
            }
        }
    }
    return table;
}();

// How many characters the first bytes of a group take, by the set and their number.
inline constexpr auto kLengths = [] {
    std::array<std::array<std::uint8_t, kGroup + 1>, 16> table{};
    for (std::size_t others = 0; others < table.size(); ++others) {
        for (std::size_t i = 0; i < kGroup; ++i) {
            const std::size_t length = (others >> i & 1U) == 0 ? 1 : kEncodedLength;
            table[others][i + 1] = static_cast<std::uint8_t>(table[others][i] + length);
        }
    }
    return table;
}();

// How many bytes of a group are taken when `room` characters are to be reached, by the set.
[[nodiscard]] inline std::size_t taken(std::uint32_t others, std::size_t room) {
    std::size_t count = 1;
    for (std::size_t i = 1; i < kGroup; ++i) {
        count += kLengths[others][i] < room ? 1 : 0;
    }
    return count;
}

}  // namespace detail

// `codes` are kBodyCodes or kStrictCodes.
__attribute__((target("avx2"))) inline Progress encode_avx2(const Codes &codes, const char *in,
                                                            const char *end, char *out, const char *stop) {
    using detail::kGroup;
    constexpr std::ptrdiff_t kBlock = 16;
    const bool is_strict = &codes == &kStrictCodes;
    const auto question = _mm_set1_epi8(is_strict ? '?' : '=');
    const auto underscore = _mm_set1_epi8(is_strict ? '_' : '=');
    const auto digits = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kHexDigits.data()));
    const auto half = _mm_set1_epi8(0x0F);
    for (; end - in >= kBlock; in += kBlock) {
        const auto block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in));
        const auto is_printable = _mm_and_si128(_mm_cmpgt_epi8(block, _mm_set1_epi8('\x1F')),
                                                _mm_cmplt_epi8(block, _mm_set1_epi8('\x7F')));
        const auto is_special =
            _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('=')),
                         _mm_or_si128(_mm_cmpeq_epi8(block, question), _mm_cmpeq_epi8(block, underscore)));
        const auto stands = _mm_or_si128(_mm_andnot_si128(is_special, is_printable),
                                         _mm_cmpeq_epi8(block, _mm_set1_epi8('\t')));
        std::uint32_t others = static_cast<std::uint32_t>(_mm_movemask_epi8(stands)) ^ 0xFFFFU;
        if (others == 0 && stop - out > kBlock) {
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out), block);
            out += kBlock;
            continue;
        }
        const auto line_feeds =
            static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8('\n'))));
        auto left = static_cast<std::size_t>(std::countr_zero(line_feeds | 0x10000U));  // before a line feed

        const auto first = _mm_shuffle_epi8(digits, _mm_and_si128(_mm_srli_epi16(block, 4), half));
        const auto second = _mm_shuffle_epi8(digits, _mm_and_si128(block, half));
        const auto equals = _mm_set1_epi8('=');
        const auto low_front = _mm_unpacklo_epi32(block, first);
        const auto low_back = _mm_unpacklo_epi32(second, equals);
        const auto high_front = _mm_unpackhi_epi32(block, first);
        const auto high_back = _mm_unpackhi_epi32(second, equals);
        const __m128i groups[] = {
            // NOLINT(*-avoid-c-arrays): of a type that std::array warns of
            _mm_unpacklo_epi64(low_front, low_back), _mm_unpackhi_epi64(low_front, low_back),
            _mm_unpacklo_epi64(high_front, high_back), _mm_unpackhi_epi64(high_front, high_back)};

        const char *at = in;
        for (const __m128i &group : groups) {
            const std::uint32_t pattern = others & 0xFU;
            const auto *spread = reinterpret_cast<const __m128i *>(detail::kSpread[pattern].data());
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out),
                             _mm_shuffle_epi8(group, _mm_loadu_si128(spread)));
            const auto room = static_cast<std::size_t>(stop - out);
            const std::size_t length = detail::kLengths[pattern][kGroup];
            if (left < kGroup || length >= room) {
                const std::size_t count = std::min(left, detail::taken(pattern, room));
                return {at + count, out + detail::kLengths[pattern][count]};
            }
            out += length;
            at += kGroup;
            left -= kGroup;
            others >>= kGroup;
        }
    }
    return encode_plain(codes, in, end, out, stop);
}

#else

inline constexpr Encode encode_avx2 = encode_plain;

#endif

// The fastest form for this processor and these codes.
[[nodiscard]] inline Encode encoder(const Codes &codes) {
    const bool is_usual = &codes == &kBodyCodes || &codes == &kStrictCodes;
    return is_usual && has_avx2() ? encode_avx2 : encode_plain;
}

}  // namespace text::quoted_printable

#endif
