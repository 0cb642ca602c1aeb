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

#undef _mm512_maskz_loadu_pd
#define _mm512_maskz_loadu_pd lyr_emulated_maskz_loadu
LYR_EMULATED __m512d lyr_emulated_maskz_loadu(int mask, const double *p) {
    double x[8] = {};
    for (int i = 0; i < 8; ++i)
        if (mask >> i & 1) x[i] = p[i];
    return simde_mm512_loadu_pd(x);
}

#undef _mm512_mask_storeu_pd
#define _mm512_mask_storeu_pd lyr_emulated_mask_storeu
LYR_EMULATED void lyr_emulated_mask_storeu(double *p, int mask, __m512d a) {
    double x[8];
    simde_mm512_storeu_pd(x, a);
    for (int i = 0; i < 8; ++i)
        if (mask >> i & 1) p[i] = x[i];
}

#undef _mm512_zextpd256_pd512
#define _mm512_zextpd256_pd512(a) simde_mm512_insertf64x4(simde_mm512_setzero_pd(), a, 0)
#undef _mm512_zextpd128_pd512
#define _mm512_zextpd128_pd512(a) _mm512_zextpd256_pd512(_mm256_zextpd128_pd256(a))

// Two bits of the immediate operand for each of the four pairs of doubles, the lower two from a.
template <int Place>
LYR_EMULATED __m128d lyr_emulated_pair(__m512d a) {
    const __m256d half =
        Place < 2 ? simde_mm512_castpd512_pd256(a) : simde_mm512_extractf64x4_pd(a, 1);
    return _mm256_extractf128_pd(half, Place % 2);
}
template <int Control>
LYR_EMULATED __m512d lyr_emulated_shuffle(__m512d a, __m512d b) {
    const __m256d low = _mm256_set_m128d(lyr_emulated_pair<(Control >> 2 & 3)>(a),
                                         lyr_emulated_pair<(Control & 3)>(a));
    const __m256d high = _mm256_set_m128d(lyr_emulated_pair<(Control >> 6 & 3)>(b),
                                          lyr_emulated_pair<(Control >> 4 & 3)>(b));
    return simde_mm512_insertf64x4(simde_mm512_castpd256_pd512(low), high, 1);
}
#undef _mm512_shuffle_f64x2
#define _mm512_shuffle_f64x2(a, b, control) lyr_emulated_shuffle<control>(a, b)
