// What the processor can do, asked when the program runs. TEXT_HAS_AVX2 says that code for AVX2, and for
// AVX-512 with VBMI and VBMI2, can be compiled.
#ifndef TEXT_CPU_H
#define TEXT_CPU_H

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define TEXT_HAS_AVX2 1
#endif

namespace text {

[[nodiscard]] inline bool has_avx2() {
#ifdef TEXT_HAS_AVX2
    return __builtin_cpu_supports("avx2") != 0;
#else
    return false;
#endif
}

[[nodiscard]] inline bool has_avx512_vbmi2() {
#ifdef TEXT_HAS_AVX2
    return __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vbmi") != 0 &&
           __builtin_cpu_supports("avx512vbmi2") != 0;
#else
    return false;
#endif
}

#ifdef TEXT_HAS_AVX2

// Each byte of `places` replaced by the one of `table` at its low six bits. The masks of all ones keep GCC 12
// from its warning of the unmasked form.
__attribute__((target("avx512bw,avx512vbmi"), always_inline)) inline __m512i look_up(__m512i table,
                                                                                     __m512i places) {
    return _mm512_maskz_permutexvar_epi8(~__mmask64{0}, places, table);
}

#endif

}  // namespace text

#endif
