// Included first when the AVX-512 codelets are compiled for processors without AVX-512: the
// intrinsics that they use, made of two halves each, for AVX2. Short, as compiling the codelets is
// what takes the time.
#pragma once

#include <immintrin.h>

#define LYR_EMULATED static inline __attribute__((always_inline))

typedef long long lyr_emulated_indices __attribute__((vector_size(64)));

LYR_EMULATED __m256d lyr_half(__m512d a, int which) {
    return which ? __builtin_shufflevector(a, a, 4, 5, 6, 7)
                 : __builtin_shufflevector(a, a, 0, 1, 2, 3);
}
LYR_EMULATED __m512d lyr_join(__m256d low, __m256d high) {
    return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
}

// f of both halves.
#define LYR_EMULATE_BY_HALVES(name, f)                                                         \
    LYR_EMULATED __m512d name(__m512d a, __m512d b) {                                          \
        return lyr_join(f(lyr_half(a, 0), lyr_half(b, 0)), f(lyr_half(a, 1), lyr_half(b, 1))); \
    }
#define LYR_EMULATE_FUSED(name, f)                                          \
    LYR_EMULATED __m512d name(__m512d a, __m512d b, __m512d c) {            \
        return lyr_join(f(lyr_half(a, 0), lyr_half(b, 0), lyr_half(c, 0)),  \
                        f(lyr_half(a, 1), lyr_half(b, 1), lyr_half(c, 1))); \
    }
LYR_EMULATE_BY_HALVES(lyr_unpackhi, _mm256_unpackhi_pd)
LYR_EMULATE_BY_HALVES(lyr_unpacklo, _mm256_unpacklo_pd)
LYR_EMULATE_FUSED(lyr_fmadd, _mm256_fmadd_pd)
LYR_EMULATE_FUSED(lyr_fmaddsub, _mm256_fmaddsub_pd)
LYR_EMULATE_FUSED(lyr_fmsubadd, _mm256_fmsubadd_pd)

LYR_EMULATED __m512d lyr_loadu(const void *p) {
    const double *from = static_cast<const double *>(p);
    return lyr_join(_mm256_loadu_pd(from), _mm256_loadu_pd(from + 4));
}
LYR_EMULATED void lyr_storeu(void *p, __m512d a) {
    double *to = static_cast<double *>(p);
    _mm256_storeu_pd(to, lyr_half(a, 0));
    _mm256_storeu_pd(to + 4, lyr_half(a, 1));
}
LYR_EMULATED __m512d lyr_set1(double x) {
    return __m512d{x, x, x, x, x, x, x, x};
}
LYR_EMULATED __m512d lyr_setr(double a, double b, double c, double d, double e, double f, double g,
                              double h) {
    return __m512d{a, b, c, d, e, f, g, h};
}
LYR_EMULATED __m512d lyr_insert(__m512d a, __m256d b, int which) {
    return which ? lyr_join(lyr_half(a, 0), b) : lyr_join(b, lyr_half(a, 1));
}
LYR_EMULATED __m512d lyr_permutex2var(__m512d a, __m512i indices, __m512d b) {
    const lyr_emulated_indices from = (lyr_emulated_indices)indices;
    __m512d result = a;
    for (int j = 0; j < 8; ++j) result[j] = from[j] & 8 ? b[from[j] & 7] : a[from[j] & 7];
    return result;
}
LYR_EMULATED __m512d lyr_maskz_loadu(int mask, const double *p) {
    __m512d result = {};
    for (int j = 0; j < 8; ++j)
        if (mask >> j & 1) result[j] = p[j];
    return result;
}
LYR_EMULATED void lyr_mask_storeu(double *p, int mask, __m512d a) {
    for (int j = 0; j < 8; ++j)
        if (mask >> j & 1) p[j] = a[j];
}
// Two bits of the immediate operand for each pair of doubles: the lower two pairs from a.
LYR_EMULATED __m512d lyr_shuffle_pairs(__m512d a, __m512d b, int control) {
    __m512d result = a;
    for (int j = 0; j < 8; ++j) {
        const int from = 2 * (control >> j / 2 * 2 & 3) + j % 2;
        result[j] = j < 4 ? a[from] : b[from];
    }
    return result;
}
// The immediate operand has a bit for each of the eight doubles.
template <int Control>
LYR_EMULATED __m512d lyr_permute(__m512d a) {
    return lyr_join(_mm256_permute_pd(lyr_half(a, 0), Control & 15),
                    _mm256_permute_pd(lyr_half(a, 1), Control >> 4));
}

LYR_EMULATED __m512d lyr_broadcast(__m128d a) {
    return __m512d{a[0], a[1], a[0], a[1], a[0], a[1], a[0], a[1]};
}
// Quarters of a, then of b: two bits of the immediate operand for each.
template <int Control>
LYR_EMULATED __m512d lyr_shuffle_quarters(__m512d a, __m512d b) {
    constexpr int p = 2 * (Control & 3), q = 2 * (Control >> 2 & 3), r = 8 + 2 * (Control >> 4 & 3),
                  s = 8 + 2 * (Control >> 6 & 3);
    return __builtin_shufflevector(a, b, p, p + 1, q, q + 1, r, r + 1, s, s + 1);
}
LYR_EMULATED __m512d lyr_maskz_loadu(int mask, const void *from) {
    const double *p = static_cast<const double *>(from);
    __m512d x = lyr_set1(0);
    for (int j = 0; j < 8; ++j)
        if (mask >> j & 1) x[j] = p[j];
    return x;
}
LYR_EMULATED void lyr_mask_storeu(void *to, int mask, __m512d a) {
    double *p = static_cast<double *>(to);
    for (int j = 0; j < 8; ++j)
        if (mask >> j & 1) p[j] = a[j];
}

#define _mm512_add_pd(a, b) ((__m512d)((a) + (b)))
#define _mm512_sub_pd(a, b) ((__m512d)((a) - (b)))
#define _mm512_mul_pd(a, b) ((__m512d)((a) * (b)))
#define _mm512_fmadd_pd lyr_fmadd
#define _mm512_fmaddsub_pd lyr_fmaddsub
#define _mm512_fmsubadd_pd lyr_fmsubadd
#define _mm512_loadu_pd lyr_loadu
#define _mm512_storeu_pd lyr_storeu
#define _mm512_stream_pd lyr_storeu
#define _mm512_set1_pd lyr_set1
#define _mm512_setr_pd lyr_setr
#define _mm512_setr_epi64(...) ((__m512i)(lyr_emulated_indices{__VA_ARGS__}))
#define _mm512_castpd256_pd512(a) lyr_join(a, a)
#define _mm512_castpd512_pd256(a) lyr_half(a, 0)
#define _mm512_castpd512_pd128(a) _mm256_castpd256_pd128(lyr_half(a, 0))
#define _mm512_zextpd256_pd512(a) lyr_join(a, _mm256_setzero_pd())
#define _mm512_zextpd128_pd512(a) _mm512_zextpd256_pd512(_mm256_zextpd128_pd256(a))
#define _mm512_setzero_pd() lyr_set1(0)
#define _mm512_broadcast_f64x2(a) lyr_join(_mm256_set_m128d(a, a), _mm256_set_m128d(a, a))
#define _mm512_maskz_loadu_pd lyr_maskz_loadu
#define _mm512_mask_storeu_pd lyr_mask_storeu
#define _mm512_shuffle_f64x2 lyr_shuffle_pairs
#define _mm512_extractf64x4_pd(a, which) lyr_half(a, which)
#define _mm512_insertf64x4(a, b, which) lyr_insert(a, b, which)
#define _mm512_permute_pd(a, control) lyr_permute<control>(a)
#define _mm512_permutex2var_pd lyr_permutex2var
#define _mm512_permutexvar_pd(indices, a) lyr_permutex2var(a, indices, a)
#define _mm512_unpackhi_pd lyr_unpackhi
#define _mm512_unpacklo_pd lyr_unpacklo
#define _mm512_setzero_pd() lyr_set1(0)
#define _mm512_castpd512_pd128(a) _mm256_castpd256_pd128(lyr_half(a, 0))
#define _mm512_zextpd256_pd512(a) lyr_join(a, _mm256_setzero_pd())
#define _mm512_zextpd128_pd512(a) _mm512_zextpd256_pd512(_mm256_zextpd128_pd256(a))
#define _mm512_broadcast_f64x2(a) lyr_broadcast(a)
#define _mm512_shuffle_f64x2(a, b, control) lyr_shuffle_quarters<control>(a, b)
#define _mm512_maskz_loadu_pd lyr_maskz_loadu
#define _mm512_mask_storeu_pd lyr_mask_storeu
