// The bytes of quoted-printable text (RFC 2045, 6.7) between blocks of memory: a plain form that obeys any
// codes, and forms for processors with AVX2, and with AVX-512 and VBMI2, that give the same for the usual
// ones.
#ifndef TEXT_QUOTED_PRINTABLE_H
#define TEXT_QUOTED_PRINTABLE_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "text/ascii.h"
#include "text/cpu.h"

namespace text::quoted_printable {

// What a byte becomes: `length` characters of `text`.
struct Code {
    std::array<char, 4> text;
    std::uint32_t length;
};

struct Codes {
    std::array<Code, kByteCount> of_byte;
    // Whether what stands as it is is a set of ASCII characters, and every other byte is encoded. For each
    // low half of a byte, `standing` then has a bit for each high half with which it stands.
    bool is_ascii_set;
    std::array<std::uint8_t, 16> standing;

    [[nodiscard]] constexpr const Code &operator[](char c) const {
        return of_byte[static_cast<unsigned char>(c)];
    }
};

inline constexpr std::size_t kEncodedLength = 3;

// "=XX" for a byte.
[[nodiscard]] constexpr Code encoded(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return {{'=', kHexDigits[byte >> 4U], kHexDigits[byte & 0x0FU], '\0'}, kEncodedLength};
}

// The codes for a set of bytes that stand as they are.
template <typename Set>
[[nodiscard]] constexpr Codes make_codes(const Set &stands) {
    constexpr std::size_t kAsciiCount = 128;
    Codes codes{};
    codes.is_ascii_set = true;
    for (std::size_t byte = 0; byte < codes.of_byte.size(); ++byte) {
        const auto c = static_cast<char>(byte);
        if (!stands(c)) {
            codes.of_byte[byte] = encoded(c);
            continue;
        }
        codes.of_byte[byte] = {{c, '\0', '\0', '\0'}, 1};
        if (byte < kAsciiCount) {
            codes.standing[byte & 0x0FU] |= static_cast<std::uint8_t>(1U << (byte >> 4U));
        } else {
            codes.is_ascii_set = false;
        }
    }
    return codes;
}

// The same codes but for a blank, which becomes `c`, as in header words.
[[nodiscard]] constexpr Codes with_blank_as(char c, Codes codes) {
    codes.of_byte[' '] = {{c, '\0', '\0', '\0'}, 1};
    codes.is_ascii_set = false;
    return codes;
}

// Line feed, tab and the printable characters stand, but for "=".
[[nodiscard]] constexpr bool stands_in_body(char c) {
    return c == '\n' || c == '\t' || (c >= ' ' && c <= '~' && c != '=');
}
inline constexpr Codes kBodyCodes = make_codes(stands_in_body);

// The same without "?" and "_".
[[nodiscard]] constexpr bool stands_strictly(char c) {
    return stands_in_body(c) && c != '?' && c != '_';
}
inline constexpr Codes kStrictCodes = make_codes(stands_strictly);

// What the functions may read and write behind the end of what they are given. The bytes written there are
// junk.
inline constexpr std::size_t kSlack = 64;

// Encodes the bytes of `in`, and returns the end of what they became.
using Encode = char *(*)(const Codes &codes, std::string_view in, char *out);

inline char *encode_plain(const Codes &codes, std::string_view in, char *out) {
    for (const char c : in) {
        const Code &code = codes[c];
        std::memcpy(out, code.text.data(), code.text.size());
        out += code.length;
    }
    return out;
}

#ifdef TEXT_HAS_AVX2

namespace detail {

constexpr std::size_t kGroup = 4;  // bytes that are spread together, into at most 16 characters

// For each set of four bytes that do not stand: where the characters of the group come from, out of the four
// bytes, their four first and four second digits, and four "="; and how many they are.
struct Spread {
    std::array<char, 16> sources;
    std::size_t length;
};
inline constexpr auto kSpread = []() {
    std::array<Spread, 16> table{};
    for (std::size_t others = 0; others < table.size(); ++others) {
        auto &[sources, length] = table[others];
        for (std::size_t i = 0; i < kGroup; ++i) {
            if ((others >> i & 1U) == 0) {
                sources[length++] = static_cast<char>(i);
                continue;
            }
            for (const std::size_t source : {3 * kGroup, kGroup + i, 2 * kGroup + i}) {
                sources[length++] = static_cast<char>(source);
            }
        }
    }
    return table;
}();

// For each high half of a byte, its bit in Codes::standing, and the hexadecimal digits: four times each, so
// that whatever is above the half does not matter.
constexpr std::size_t kHalves = 16;
inline constexpr auto kHalfBits = []() {
    std::array<std::uint8_t, 4 * kHalves> bits{};
    for (std::size_t i = 0; i < bits.size(); ++i) {
        bits[i] = static_cast<std::uint8_t>(1U << i % kHalves);
    }
    return bits;
}();
inline constexpr auto kHalfDigits = []() {
    std::array<char, 4 * kHalves> digits{};
    for (std::size_t i = 0; i < digits.size(); ++i) {
        digits[i] = kHexDigits[i % kHalves];
    }
    return digits;
}();

constexpr std::size_t kTripled = 21;  // bytes that become at most 64 characters
inline constexpr auto kThirds = []() {
    std::array<std::uint8_t, 64> thirds{};
    for (std::size_t i = 0; i < thirds.size(); ++i) {
        thirds[i] = static_cast<std::uint8_t>(i / kEncodedLength);
    }
    return thirds;
}();

}  // namespace detail

// `codes` are an ASCII set.
__attribute__((target("avx2"))) inline char *encode_avx2(const Codes &codes, std::string_view in, char *out) {
    using namespace detail;
    constexpr std::size_t kStep = 16;
    const auto standing = _mm_loadu_si128(reinterpret_cast<const __m128i *>(codes.standing.data()));
    const auto half_bits = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kHalfBits.data()));
    const auto digits = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kHexDigits.data()));
    const auto half = _mm_set1_epi8(0x0F);
    const auto equals = _mm_set1_epi8('=');
    std::size_t i = 0;
    for (; in.size() - i >= kStep; i += kStep) {
        const auto block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in.data() + i));
        const auto high = _mm_and_si128(_mm_srli_epi16(block, 4), half);
        const auto stands =
            _mm_and_si128(_mm_shuffle_epi8(standing, block), _mm_shuffle_epi8(half_bits, high));
        auto others =
            static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(stands, _mm_setzero_si128())));
        if (others == 0) {
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out), block);
            out += kStep;
            continue;
        }
        const auto first = _mm_shuffle_epi8(digits, high);
        const auto second = _mm_shuffle_epi8(digits, _mm_and_si128(block, half));
        const auto low_front = _mm_unpacklo_epi32(block, first);
        const auto low_back = _mm_unpacklo_epi32(second, equals);
        const auto high_front = _mm_unpackhi_epi32(block, first);
        const auto high_back = _mm_unpackhi_epi32(second, equals);
        const __m128i groups[] = {
            // NOLINT(*-avoid-c-arrays): of a type that std::array warns of
            _mm_unpacklo_epi64(low_front, low_back), _mm_unpackhi_epi64(low_front, low_back),
            _mm_unpacklo_epi64(high_front, high_back), _mm_unpackhi_epi64(high_front, high_back)};
        for (const __m128i &group : groups) {
            const Spread &spread = kSpread[others & 0x0FU];
            const auto sources = _mm_loadu_si128(reinterpret_cast<const __m128i *>(spread.sources.data()));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_shuffle_epi8(group, sources));
            out += spread.length;
            others >>= kGroup;
        }
    }
    return encode_plain(codes, in.substr(i), out);
}

// The same without a branch on the bytes: each of 21 is written three times, as "=" and the two digits where
// it does not stand, and the processor moves together all three of those and the first of the others.
__attribute__((target("avx512bw,avx512vbmi,avx512vbmi2,popcnt"))) inline char *encode_avx512(
    const Codes &codes, std::string_view in, char *out) {
    using namespace detail;
    constexpr std::uint64_t kFirsts = 0x1249249249249249;  // of the three
    const __m512i thirds = _mm512_loadu_si512(kThirds.data());
    const __m512i half_bits = _mm512_loadu_si512(kHalfBits.data());
    const __m512i digits = _mm512_loadu_si512(kHalfDigits.data());
    const __m512i standing = _mm512_maskz_broadcast_i32x4(
        0xFFFF, _mm_loadu_si128(reinterpret_cast<const __m128i *>(codes.standing.data())));
    for (std::size_t i = 0; i < in.size(); i += kTripled) {
        const __m512i bytes = look_up(_mm512_loadu_si512(in.data() + i), thirds);
        const __m512i high = _mm512_srli_epi16(bytes, 4);
        const std::uint64_t others =
            _mm512_testn_epi8_mask(_mm512_shuffle_epi8(standing, bytes), look_up(half_bits, high));
        const __m512i halves = _mm512_mask_mov_epi8(bytes, kFirsts << 1U, high);
        const __m512i spelt = _mm512_mask_permutexvar_epi8(_mm512_set1_epi8('='), ~kFirsts, halves, digits);
        const std::uint64_t kept = kFirsts | others;
        _mm512_storeu_si512(out,
                            _mm512_maskz_compress_epi8(kept, _mm512_mask_mov_epi8(bytes, others, spelt)));
        const std::size_t left = in.size() - i;
        const std::uint64_t within =
            (std::uint64_t{1} << (left < kTripled ? left : kTripled) * kEncodedLength) - 1;
        out += std::popcount(kept & within);
    }
    return out;
}

#else

inline constexpr Encode encode_avx2 = encode_plain;
inline constexpr Encode encode_avx512 = encode_plain;

#endif

// The fastest form for this processor and these codes.
[[nodiscard]] inline Encode encoder(const Codes &codes) {
    if (!codes.is_ascii_set) {
        return encode_plain;
    }
    return has_avx512_vbmi2() ? encode_avx512 : has_avx2() ? encode_avx2 : encode_plain;
}

}  // namespace text::quoted_printable

#endif
