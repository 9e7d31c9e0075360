// Uuencoded lines (POSIX uuencode, the historical algorithm): a plain form, and one for processors with AVX2
// that gives the same.
#ifndef TEXT_UUENCODE_H
#define TEXT_UUENCODE_H

#include <cstddef>

#include "text/base64.h"
#include "text/cpu.h"

namespace text::uuencode {

using base64::kGroupBytes;
using base64::kGroupCharacters;

// The six bits that a character stands for, whatever it is; "`" is a blank's twin.
[[nodiscard]] inline unsigned digit(char c) {
    return (static_cast<unsigned char>(c) - unsigned{' '}) & base64::detail::kSixBits;
}

inline constexpr std::size_t kMaxCount = 63;  // bytes of a line

// How many characters stand for `count` bytes.
[[nodiscard]] constexpr std::size_t encoded_length(std::size_t count) {
    return (count + kGroupBytes - 1) / kGroupBytes * kGroupCharacters;
}

// What the functions may read and write behind the end of what they are given. The bytes written there are
// junk.
inline constexpr std::size_t kSlack = 32;

// Decodes the characters that stand for `count` bytes.
using Decode = void (*)(const char *in, std::size_t count, unsigned char *out);

inline void decode_plain(const char *in, std::size_t count, unsigned char *out) {
    for (std::size_t done = 0; done < count;
         done += kGroupBytes, in += kGroupCharacters, out += kGroupBytes) {
        const unsigned bits = digit(in[0]) << 18U | digit(in[1]) << 12U | digit(in[2]) << 6U | digit(in[3]);
        out[0] = static_cast<unsigned char>(bits >> 16U);
        out[1] = static_cast<unsigned char>(bits >> 8U);
        out[2] = static_cast<unsigned char>(bits);
    }
}

#ifdef TEXT_HAS_AVX2

__attribute__((target("avx2"))) inline void decode_avx2(const char *in, std::size_t count,
                                                        unsigned char *out) {
    for (std::size_t done = 0; done < count; done += base64::kStepBytes) {
        const __m256i text =
            _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in + done / kGroupBytes * kGroupCharacters));
        const __m256i digits = _mm256_and_si256(_mm256_sub_epi8(text, _mm256_set1_epi8(' ')),
                                                _mm256_set1_epi8(base64::detail::kSixBits));
        base64::pack_step(digits, out + done);
    }
}

#else

inline constexpr Decode decode_avx2 = decode_plain;

#endif

// The fastest form for this processor.
[[nodiscard]] inline Decode decoder() {
    return has_avx2() ? decode_avx2 : decode_plain;
}

}  // namespace text::uuencode

#endif
