// What the processor can do, asked when the program runs. TEXT_HAS_AVX2 says that code for AVX2, and for
// AVX-512 with VBMI2, can be compiled.
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
    return __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vbmi2") != 0;
#else
    return false;
#endif
}

}  // namespace text

#endif
