// Base64 (RFC 4648, 4) between blocks of memory: a plain form, and forms for processors with AVX2, and with
// AVX-512 and VBMI2, that give the same.
#ifndef TEXT_BASE64_H
#define TEXT_BASE64_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "text/ascii.h"
#include "text/cpu.h"

namespace text::base64 {

inline constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr char kPad = '=';
inline constexpr std::size_t kGroupBytes = 3;
inline constexpr std::size_t kGroupCharacters = 4;

inline constexpr std::size_t kSlack = 32;  // of decoders

// Encodes `groups` whole groups of three bytes at `in` into four characters each at `out`, and touches
// nothing else.
using Encode = void (*)(const unsigned char *in, std::size_t groups, char *out);

// The line end of encoded text: LF, or CR LF.
struct LineEnd {
    std::array<char, 2> text;
    std::size_t length;

    // Returns the place after it; the byte behind it may be overwritten.
    char *write(char *place) const {
        std::memcpy(place, text.data(), text.size());
        return place + length;
    }
};

// Decodes the whole groups of four characters of the alphabet that `length` characters at `in` begin with,
// into three bytes each at `out`. Returns how many characters they are. Nothing behind the text is read, and
// what is written behind its bytes, of no use, lies within `length` bytes.
using Decode = std::size_t (*)(const char *in, std::size_t length, unsigned char *out);

namespace detail {

constexpr unsigned kSixBits = 0x3F;
constexpr std::uint8_t kNoDigit = 0xFF;

// The two characters of each run of twelve bits.
inline constexpr auto kPairs = []() {
    std::array<std::array<char, 2>, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        pairs[i] = {kAlphabet[i >> 6U], kAlphabet[i & kSixBits]};
    }
    return pairs;
}();

// The six bits of each character, or kNoDigit.
inline constexpr auto kDigits = []() {
    std::array<std::uint8_t, kByteCount> digits{};
    digits.fill(kNoDigit);
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        digits[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return digits;
}();

}  // namespace detail

// The six bits that a character stands for, or -1.
[[nodiscard]] inline int digit(char c) {
    const std::uint8_t value = detail::kDigits[static_cast<unsigned char>(c)];
    return value == detail::kNoDigit ? -1 : value;
}

inline void encode_plain(const unsigned char *in, std::size_t groups, char *out) {
    for (; groups > 0; --groups, in += kGroupBytes, out += kGroupCharacters) {
        const std::size_t bits = std::size_t{in[0]} << 16U | std::size_t{in[1]} << 8U | in[2];
        std::memcpy(out, detail::kPairs[bits >> 12U].data(), 2);
        std::memcpy(out + 2, detail::kPairs[bits & 0xFFFU].data(), 2);
    }
}

inline std::size_t decode_plain(const char *in, std::size_t length, unsigned char *out) {
    std::size_t done = 0;
    for (; length - done >= kGroupCharacters; done += kGroupCharacters, out += kGroupBytes) {
        std::array<unsigned, kGroupCharacters> values{};
        unsigned all = 0;
        for (std::size_t i = 0; i < kGroupCharacters; ++i) {
            values[i] = detail::kDigits[static_cast<unsigned char>(in[done + i])];
            all |= values[i];
        }
        if (all > detail::kSixBits) {
            break;
        }
        const unsigned bits = values[0] << 18U | values[1] << 12U | values[2] << 6U | values[3];
        out[0] = static_cast<unsigned char>(bits >> 16U);
        out[1] = static_cast<unsigned char>(bits >> 8U);
        out[2] = static_cast<unsigned char>(bits);
    }
    return done;
}

#ifdef TEXT_HAS_AVX2

namespace detail {

// For 16 groups, which bytes the four characters of each are in.
inline constexpr auto kWideSpread = []() {
    constexpr std::array<std::size_t, kGroupCharacters> kOrder = {1, 0, 2, 1};
    std::array<std::uint8_t, 64> places{};
    for (std::size_t i = 0; i < places.size(); ++i) {
        places[i] =
            static_cast<std::uint8_t>(i / kGroupCharacters * kGroupBytes + kOrder[i % kGroupCharacters]);
    }
    return places;
}();

// For 16 groups of 24 bits, which stand in four bytes each with the lowest first, where their bytes are.
inline constexpr auto kWideGather = []() {
    std::array<std::uint8_t, 64> places{};
    for (std::size_t i = 0; i < places.size() / kGroupCharacters * kGroupBytes; ++i) {
        const std::size_t group = i / kGroupBytes * kGroupCharacters;
        places[i] = static_cast<std::uint8_t>(group + (kGroupBytes - 1 - i % kGroupBytes));
    }
    return places;
}();

}  // namespace detail

inline constexpr std::size_t kStepGroups = 8;
inline constexpr std::size_t kStepBytes = kStepGroups * kGroupBytes;
inline constexpr std::size_t kStepCharacters = kStepGroups * kGroupCharacters;

// Turns 24 bytes into 32 characters: the bytes of four groups are spread over each half of the register,
// shifted into place by multiplications, and the four ranges of the alphabet are told apart by a table of
// offsets.
__attribute__((target("avx2"), always_inline)) inline void encode_step(const unsigned char *in, char *out) {
    constexpr std::size_t kHalfBytes = 12;
    const __m256i spread = _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10,  //
                                            1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
    const __m256i offsets =
        _mm256_setr_epi8(71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 65, 0, 0,  //
                         71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 65, 0, 0);
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + kHalfBytes));
    const __m256i bytes =
        _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1), spread);
    const __m256i odd = _mm256_mulhi_epu16(_mm256_and_si256(bytes, _mm256_set1_epi32(0x0FC0FC00)),
                                           _mm256_set1_epi32(0x04000040));
    const __m256i even = _mm256_mullo_epi16(_mm256_and_si256(bytes, _mm256_set1_epi32(0x003F03F0)),
                                            _mm256_set1_epi32(0x01000010));
    const __m256i digits = _mm256_or_si256(odd, even);
    // 0 for 26 to 51, 1 to 12 for what comes after, 13 for the upper-case letters.
    const __m256i after_letters = _mm256_subs_epu8(digits, _mm256_set1_epi8(51));
    const __m256i is_upper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), digits);
    const __m256i range = _mm256_or_si256(after_letters, _mm256_and_si256(is_upper, _mm256_set1_epi8(13)));
    const __m256i text = _mm256_add_epi8(_mm256_shuffle_epi8(offsets, range), digits);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), text);
}

__attribute__((target("avx2"))) inline void encode_avx2(const unsigned char *in, std::size_t groups,
                                                        char *out) {
    constexpr std::size_t kReadGroups = 10;  // that a step reads, some of the last in part
    std::size_t done = 0;
    for (; groups - done >= kReadGroups; done += kStepGroups) {
        encode_step(in + done * kGroupBytes, out + done * kGroupCharacters);
    }
    encode_plain(in + done * kGroupBytes, groups - done, out + done * kGroupCharacters);
}

// The same for 48 bytes: the processor shifts each run of six bits to its place, and takes the characters
// from the alphabet.
__attribute__((target("avx512bw,avx512vbmi"))) inline void encode_avx512(const unsigned char *in,
                                                                         std::size_t groups, char *out) {
    constexpr std::size_t kWideGroups = 16;
    constexpr std::size_t kReadGroups = 22;  // that a step reads, the last in part
    constexpr __mmask64 kAll = ~__mmask64{0};
    constexpr unsigned kBits = 64;
    const __m512i spread = _mm512_loadu_si512(detail::kWideSpread.data());
    const __m512i shifts = _mm512_set1_epi64(0x3036242A1016040A);
    const __m512i alphabet = _mm512_loadu_si512(kAlphabet.data());
    const auto encode = [&](__m512i bytes) __attribute__((target("avx512bw,avx512vbmi"), always_inline)) {
        const __m512i digits = _mm512_maskz_multishift_epi64_epi8(kAll, shifts, look_up(bytes, spread));
        return look_up(alphabet, digits);
    };
    std::size_t done = 0;
    for (; groups - done >= kReadGroups; done += kWideGroups) {
        _mm512_storeu_si512(out + done * kGroupCharacters,
                            encode(_mm512_loadu_si512(in + done * kGroupBytes)));
    }
    for (; done < groups; done += kWideGroups) {
        const auto left = static_cast<unsigned>(std::min(groups - done, kWideGroups));
        const __m512i bytes =
            _mm512_maskz_loadu_epi8(kAll >> (kBits - left * kGroupBytes), in + done * kGroupBytes);
        _mm512_mask_storeu_epi8(out + done * kGroupCharacters, kAll >> (kBits - left * kGroupCharacters),
                                encode(bytes));
    }
}

// Packs the six bits that each of 32 characters stands for into 24 bytes.
__attribute__((target("avx2"), always_inline)) inline void pack_step(__m256i digits, unsigned char *out) {
    const __m256i gather = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,  //
                                            2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
    const __m256i pairs = _mm256_maddubs_epi16(digits, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, gather),
                                                      _mm256_setr_epi32(0, 1, 2, 4, 5, 6, -1, -1));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), bytes);
}

// Turns 32 characters into 24 bytes; false when there is one outside the alphabet: it is in it when the sets
// that its high and its low half allow have nothing forbidden in common.
__attribute__((target("avx2"), always_inline)) inline bool decode_step(const char *in, unsigned char *out) {
    const __m256i low_sets = _mm256_setr_epi8(
        0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A, 0x15,
        0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    const __m256i high_sets = _mm256_setr_epi8(
        0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10,
        0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    const __m256i offsets = _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                             0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i low_half = _mm256_set1_epi8(0x0F);
    const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(in));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(text, 4), low_half);
    const __m256i low = _mm256_and_si256(text, low_half);
    if (_mm256_testz_si256(_mm256_shuffle_epi8(low_sets, low), _mm256_shuffle_epi8(high_sets, high)) == 0) {
        return false;
    }
    const __m256i is_slash = _mm256_cmpeq_epi8(text, _mm256_set1_epi8('/'));
    pack_step(_mm256_add_epi8(text, _mm256_shuffle_epi8(offsets, _mm256_add_epi8(is_slash, high))), out);
    return true;
}

// The last step begins within the one before.
__attribute__((target("avx2"))) inline std::size_t decode_avx2(const char *in, std::size_t length,
                                                               unsigned char *out) {
    std::size_t done = 0;
    while (length - done >= kStepCharacters) {
        if (!decode_step(in + done, out + done / kGroupCharacters * kGroupBytes)) {
            break;
        }
        done += kStepCharacters;
    }
    const std::size_t end = length - length % kGroupCharacters;
    if (const std::size_t begin = end - kStepCharacters;
        done > 0 && end - done < kStepCharacters &&
        decode_step(in + begin, out + begin / kGroupCharacters * kGroupBytes)) {
        return end;
    }
    return done + decode_plain(in + done, length - done, out + done / kGroupCharacters * kGroupBytes);
}

// Packs 64 characters into 48 bytes, or what is left of whole groups into as many as they make.
__attribute__((target("avx512bw,avx512vbmi"))) inline std::size_t decode_avx512(const char *in,
                                                                                std::size_t length,
                                                                                unsigned char *out) {
    constexpr std::size_t kStep = 64;
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    constexpr std::size_t kHalfTable = 64;
    const __m512i low_digits = _mm512_loadu_si512(detail::kDigits.data());
    const __m512i high_digits = _mm512_loadu_si512(detail::kDigits.data() + kHalfTable);
    const __m512i gather = _mm512_loadu_si512(detail::kWideGather.data());
    const std::size_t end = length - length % kGroupCharacters;
    std::size_t done = 0;
    for (; done < end; done += kStep, out += kStep / kGroupCharacters * kGroupBytes) {
        const std::uint64_t taken = end - done < kStep ? (std::uint64_t{1} << (end - done)) - 1 : kAll;
        const __m512i text = _mm512_maskz_loadu_epi8(taken, in + done);
        const __m512i digits = _mm512_permutex2var_epi8(low_digits, text, high_digits);
        // The highest bit tells what is no digit, and what is no ASCII.
        if ((_mm512_movepi8_mask(_mm512_or_si512(digits, text)) & taken) != 0) {
            return done + decode_plain(in + done, end - done, out);
        }
        const __m512i pairs = _mm512_maddubs_epi16(digits, _mm512_set1_epi32(0x01400140));
        const __m512i groups = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
        const __m512i bytes = look_up(groups, gather);
        if (taken == kAll) {  // in an ordinary store, which is faster
            _mm512_storeu_si512(out, bytes);
        } else {
            _mm512_mask_storeu_epi8(out, taken, bytes);
        }
    }
    return end;
}

#else

inline constexpr Encode encode_avx2 = encode_plain;
inline constexpr Encode encode_avx512 = encode_plain;
inline constexpr Decode decode_avx2 = decode_plain;
inline constexpr Decode decode_avx512 = decode_plain;

#endif

// The fastest form for this processor.
[[nodiscard]] inline Encode encoder() {
    return has_avx512_vbmi2() ? encode_avx512 : has_avx2() ? encode_avx2 : encode_plain;
}
[[nodiscard]] inline Decode decoder() {
    return has_avx512_vbmi2() ? decode_avx512 : has_avx2() ? decode_avx2 : decode_plain;
}

// Encodes all of `bytes`, with what pads the last group, into (size + 2) / 3 * 4 characters at `out`, and
// touches nothing else. Returns the place behind them.
inline char *encode_whole(std::string_view bytes, char *out) {
    const auto *in = reinterpret_cast<const unsigned char *>(bytes.data());
    const std::size_t groups = bytes.size() / kGroupBytes;
    encoder()(in, groups, out);
    out += groups * kGroupCharacters;
    if (const std::size_t left = bytes.size() % kGroupBytes; left > 0) {
        std::array<unsigned char, kGroupBytes> last{};
        std::memcpy(last.data(), in + groups * kGroupBytes, left);
        encode_plain(last.data(), 1, out);
        std::memset(out + left + 1, kPad, kGroupBytes - left);
        out += kGroupCharacters;
    }
    return out;
}

}  // namespace text::base64

#endif
