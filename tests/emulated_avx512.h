// Included first when the AVX-512 codelets are compiled for processors without AVX-512: SIMDe's
// emulation of the intrinsics, and the ones that SIMDe 0.7 lacks.
#pragma once

#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/x86/avx512.h>
#include <simde/x86/fma.h>

#define LYR_EMULATED static inline __attribute__((always_inline))

// The immediate operand has a bit for each of the eight doubles.
template <int Control>
LYR_EMULATED __m512d lyr_emulated_permute(__m512d a) {
    return simde_mm512_insertf64x4(
        simde_mm512_castpd256_pd512(
            _mm256_permute_pd(simde_mm512_castpd512_pd256(a), Control & 15)),
        _mm256_permute_pd(simde_mm512_extractf64x4_pd(a, 1), Control >> 4), 1);
}
#undef _mm512_permute_pd
#define _mm512_permute_pd(a, control) lyr_emulated_permute<control>(a)

#undef _mm512_fmaddsub_pd
#define _mm512_fmaddsub_pd lyr_emulated_fmaddsub
LYR_EMULATED __m512d lyr_emulated_fmaddsub(__m512d a, __m512d b, __m512d c) {
    const __m256d low =
        _mm256_fmaddsub_pd(simde_mm512_castpd512_pd256(a), simde_mm512_castpd512_pd256(b),
                           simde_mm512_castpd512_pd256(c));
    const __m256d high =
        _mm256_fmaddsub_pd(simde_mm512_extractf64x4_pd(a, 1), simde_mm512_extractf64x4_pd(b, 1),
                           simde_mm512_extractf64x4_pd(c, 1));
    return simde_mm512_insertf64x4(simde_mm512_castpd256_pd512(low), high, 1);
}

#undef _mm512_fmsubadd_pd
#define _mm512_fmsubadd_pd lyr_emulated_fmsubadd
LYR_EMULATED __m512d lyr_emulated_fmsubadd(__m512d a, __m512d b, __m512d c) {
    return lyr_emulated_fmaddsub(a, b, simde_mm512_sub_pd(simde_mm512_set1_pd(-0.0), c));
}

// Quarters of a, then of b: two bits of the immediate operand for each.
template <int Control>
LYR_EMULATED __m512d lyr_emulated_shuffle_quarters(__m512d a, __m512d b) {
    double from[16], to[8];
    simde_mm512_storeu_pd(from, a);
    simde_mm512_storeu_pd(from + 8, b);
    for (int i = 0; i < 4; ++i) {
        const int quarter = (Control >> 2 * i & 3) + (i < 2 ? 0 : 4);
        to[2 * i] = from[2 * quarter];
        to[2 * i + 1] = from[2 * quarter + 1];
    }
    return simde_mm512_loadu_pd(to);
}
#undef _mm512_shuffle_f64x2
#define _mm512_shuffle_f64x2(a, b, control) lyr_emulated_shuffle_quarters<control>(a, b)
