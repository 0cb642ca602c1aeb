// AVX-512 F/DQ/VL: four complex numbers in a 512-bit register; the narrower vectors are those of
// AVX2, with twice the registers.
#pragma once

// For tests on machines without AVX-512 the compiler includes
// tests/emulated_avx512.h first, with the intrinsics used here
// made for AVX2.
//
// Whatever is used here for the first time belongs there, too.

#define LYR_WIDER_THAN_AVX2
#include "codelets/simd/vec_avx2.h"

namespace lyr::LYR_ISA {
namespace {

template <int N>
LYR_INLINE void store_reals(double *p, __m256d a) {
    if constexpr (N == 4) _mm256_storeu_pd(p, a);
    if constexpr (N == 2 || N == 3) _mm_storeu_pd(p, _mm256_castpd256_pd128(a));
    if constexpr (N == 3) _mm_storel_pd(p + 2, _mm256_extractf128_pd(a, 1));
    if constexpr (N == 1) _mm_storel_pd(p, _mm256_castpd256_pd128(a));
}

struct vec4 {
    static constexpr int lanes = 4;
    static constexpr bool gathers_pairs = true;
    using half = vec2;
    __m512d v;
    struct tw {
        __m512d re, im;
    };

    LYR_INLINE static vec4 load(const double *p) { return {_mm512_loadu_pd(p)}; }
    LYR_INLINE void store(double *p) const { _mm512_storeu_pd(p, v); }
    LYR_INLINE void store_far(double *p) const { _mm512_stream_pd(p, v); }
    static void finish_far() { _mm_sfence(); }
    LYR_INLINE static vec4 zero() { return {_mm512_setzero_pd()}; }
    template <int N>
    LYR_INLINE static vec4 load_first(const double *p) {
        if constexpr (N == 4) return load(p);
        if constexpr (N == 3) return {_mm512_maskz_loadu_pd(0x3f, p)};
        if constexpr (N == 2) return {_mm512_zextpd256_pd512(_mm256_loadu_pd(p))};
        if constexpr (N == 1) return {_mm512_zextpd128_pd512(_mm_loadu_pd(p))};
    }
    template <int N>
    LYR_INLINE void store_first(double *p) const {
        if constexpr (N == 4) store(p);
        if constexpr (N == 3) _mm512_mask_storeu_pd(p, 0x3f, v);
        if constexpr (N == 2) _mm256_storeu_pd(p, _mm512_castpd512_pd256(v));
        if constexpr (N == 1) _mm_storeu_pd(p, _mm512_castpd512_pd128(v));
    }
    LYR_INLINE static vec4 repeat(const double *p) {
        return {_mm512_broadcast_f64x2(_mm_loadu_pd(p))};
    }
    LYR_INLINE static vec4 spread(const double *p) { return {_mm512_set1_pd(*p)}; }
    LYR_INLINE vec1 first_lane() const { return {_mm512_castpd512_pd128(v)}; }
    LYR_INLINE static vec4 sum_and_difference(const double *p, const double *q) {
        return {_mm512_fmsubadd_pd(_mm512_set1_pd(*p), _mm512_set1_pd(1.0), _mm512_set1_pd(*q))};
    }
    template <int N>
    LYR_INLINE void store_mirrored(double *p, double *q) const {
        const __m512d w = _mm512_permutexvar_pd(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), v);
        const __m256d a = _mm512_castpd512_pd256(w), b = _mm512_extractf64x4_pd(w, 1);
        store_reals<N>(p, _mm256_add_pd(a, b));
        const __m256d d = _mm256_sub_pd(a, b);
        if constexpr (N == 4) store_reals<4>(q, _mm256_permute4x64_pd(d, 0x1b));
        if constexpr (N == 3) store_reals<3>(q, _mm256_permute4x64_pd(d, 0xc6));
        if constexpr (N == 2) store_reals<2>(q, _mm256_permute4x64_pd(d, 0xe1));
        if constexpr (N == 1) store_reals<1>(q, d);
    }
    LYR_INLINE static vec4 gather(const double *p, int64_t s) {
        const __m256d low = vec2::gather(p, s).v;
        const __m256d high = vec2::gather(p + 2 * s, s).v;
        return {_mm512_insertf64x4(_mm512_castpd256_pd512(low), high, 1)};
    }
    LYR_INLINE static void gather_pair(const double *p, int64_t s, vec4 &a, vec4 &b) {
        const __m512d even = two_halves(p, p + s), odd = two_halves(p + 2 * s, p + 3 * s);
        a.v = _mm512_shuffle_f64x2(even, odd, 0x88);
        b.v = _mm512_shuffle_f64x2(even, odd, 0xdd);
    }
    LYR_INLINE static __m512d two_halves(const double *low, const double *high) {
        return _mm512_insertf64x4(_mm512_castpd256_pd512(_mm256_loadu_pd(low)),
                                  _mm256_loadu_pd(high), 1);
    }
    LYR_INLINE void scatter(double *p, int64_t s) const {
        vec2{_mm512_castpd512_pd256(v)}.scatter(p, s);
        vec2{_mm512_extractf64x4_pd(v, 1)}.scatter(p + 2 * s, s);
    }
    LYR_INLINE static tw tw_one(const double *re, const double *im) {
        return {_mm512_set1_pd(*re), _mm512_set1_pd(*im)};
    }
    LYR_INLINE static tw tw_lanes(const double *p) {
        return {_mm512_loadu_pd(p), _mm512_loadu_pd(p + 8)};
    }
    LYR_INLINE static tw tw_plain(const double *p) {
        const __m512d w = _mm512_loadu_pd(p);
        return {_mm512_permute_pd(w, 0), _mm512_permute_pd(w, 0xff)};
    }
    LYR_INLINE static void join(double *p, const double *re, const double *im) {
        const __m512d x = _mm512_loadu_pd(re), y = _mm512_loadu_pd(im);
        const __m512i low = _mm512_setr_epi64(0, 8, 1, 9, 2, 10, 3, 11);
        const __m512i high = _mm512_setr_epi64(4, 12, 5, 13, 6, 14, 7, 15);
        _mm512_storeu_pd(p, _mm512_permutex2var_pd(x, low, y));
        _mm512_storeu_pd(p + 8, _mm512_permutex2var_pd(x, high, y));
    }
    LYR_INLINE static void part(double *re, double *im, const double *p) {
        const __m512d a = _mm512_loadu_pd(p), b = _mm512_loadu_pd(p + 8);
        const __m512i even = _mm512_setr_epi64(0, 2, 4, 6, 8, 10, 12, 14);
        const __m512i odd = _mm512_setr_epi64(1, 3, 5, 7, 9, 11, 13, 15);
        _mm512_storeu_pd(re, _mm512_permutex2var_pd(a, even, b));
        _mm512_storeu_pd(im, _mm512_permutex2var_pd(a, odd, b));
    }
    LYR_INLINE static vec4 load_split(const double *re, const double *im) {
        const __m512d x = _mm512_castpd256_pd512(_mm256_loadu_pd(re));
        const __m512d y = _mm512_castpd256_pd512(_mm256_loadu_pd(im));
        return {_mm512_permutex2var_pd(x, _mm512_setr_epi64(0, 8, 1, 9, 2, 10, 3, 11), y)};
    }
    LYR_INLINE void store_split(double *re, double *im) const {
        const __m512d w = _mm512_permutexvar_pd(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), v);
        _mm256_storeu_pd(re, _mm512_castpd512_pd256(w));
        _mm256_storeu_pd(im, _mm512_extractf64x4_pd(w, 1));
    }
    LYR_INLINE void store_split_alternating(const double *p, double *re, double *im) const {
        const __m512d even = _mm512_loadu_pd(p);
        _mm512_storeu_pd(re, _mm512_unpacklo_pd(even, v));
        _mm512_storeu_pd(im, _mm512_unpackhi_pd(even, v));
    }
};
using vec = vec4;

LYR_INLINE __m512d swapped(vec4 a) {
    return _mm512_permute_pd(a.v, 0x55);
}

LYR_INLINE vec4 operator+(vec4 a, vec4 b) {
    return {_mm512_add_pd(a.v, b.v)};
}
LYR_INLINE vec4 operator-(vec4 a, vec4 b) {
    return {_mm512_sub_pd(a.v, b.v)};
}
LYR_INLINE vec4 scale(vec4 a, double s) {
    return {_mm512_mul_pd(a.v, _mm512_set1_pd(s))};
}
LYR_INLINE vec4 fma(vec4 a, vec4 b, double s) {
    return {_mm512_fmadd_pd(b.v, _mm512_set1_pd(s), a.v)};
}
LYR_INLINE vec4 fma_i(vec4 a, vec4 b, double s) {
    return {_mm512_fmadd_pd(swapped(b), _mm512_setr_pd(-s, s, -s, s, -s, s, -s, s), a.v)};
}
LYR_INLINE vec4 add_i(vec4 a, vec4 b) {
    return fma_i(a, b, 1.0);
}
LYR_INLINE vec4 sub_i(vec4 a, vec4 b) {
    return fma_i(a, b, -1.0);
}
LYR_INLINE vec4 cmul(vec4 a, vec4::tw w) {
    return {_mm512_fmaddsub_pd(a.v, w.re, _mm512_mul_pd(swapped(a), w.im))};
}
LYR_INLINE vec4 reversed(vec4 a) {
    return {_mm512_permutexvar_pd(_mm512_setr_epi64(6, 7, 4, 5, 2, 3, 0, 1), a.v)};
}
LYR_INLINE void transpose(vec4 (&x)[4]) {
    const __m512d a = _mm512_shuffle_f64x2(x[0].v, x[1].v, 0x44);
    const __m512d b = _mm512_shuffle_f64x2(x[0].v, x[1].v, 0xee);
    const __m512d c = _mm512_shuffle_f64x2(x[2].v, x[3].v, 0x44);
    const __m512d d = _mm512_shuffle_f64x2(x[2].v, x[3].v, 0xee);
    x[0].v = _mm512_shuffle_f64x2(a, c, 0x88);
    x[1].v = _mm512_shuffle_f64x2(a, c, 0xdd);
    x[2].v = _mm512_shuffle_f64x2(b, d, 0x88);
    x[3].v = _mm512_shuffle_f64x2(b, d, 0xdd);
}
template <int N>
LYR_INLINE vec4 reversed_first(vec4 a) {
    if constexpr (N == 1) return a;
    const __m512i order = N == 4   ? _mm512_setr_epi64(6, 7, 4, 5, 2, 3, 0, 1)
                          : N == 3 ? _mm512_setr_epi64(4, 5, 2, 3, 0, 1, 6, 7)
                                   : _mm512_setr_epi64(2, 3, 0, 1, 4, 5, 6, 7);
    return {_mm512_permutexvar_pd(order, a.v)};
}
LYR_INLINE vec4 exchanged(vec4 a) {
    return {swapped(a)};
}
LYR_INLINE vec4 fma_parts(vec4 a, vec4 b, const double *s) {
    return {_mm512_fmadd_pd(b.v, _mm512_loadu_pd(s), a.v)};
}
LYR_INLINE vec1 lane_sum(vec4 a) {
    const __m256d b = _mm256_add_pd(_mm512_castpd512_pd256(a.v), _mm512_extractf64x4_pd(a.v, 1));
    return {_mm_add_pd(_mm256_castpd256_pd128(b), _mm256_extractf128_pd(b, 1))};
}
LYR_INLINE vec4 add_conj(vec4 a, vec4 b) {
    return {_mm512_fmadd_pd(b.v, _mm512_setr_pd(1, -1, 1, -1, 1, -1, 1, -1), a.v)};
}
LYR_INLINE vec4 sub_conj(vec4 a, vec4 b) {
    return {_mm512_fmadd_pd(b.v, _mm512_setr_pd(-1, 1, -1, 1, -1, 1, -1, 1), a.v)};
}
LYR_INLINE vec4 scale_conj(vec4 a, double s) {
    return {_mm512_mul_pd(a.v, _mm512_setr_pd(s, -s, s, -s, s, -s, s, -s))};
}
// The rotation by a right angle costs nothing: the parts of w change places.
LYR_INLINE void twist_back(vec4 e, vec4 d, vec4::tw w, vec4 &a, vec4 &b) {
    const vec4 u = {_mm512_fmaddsub_pd(d.v, w.im, _mm512_mul_pd(swapped(d), w.re))};
    a = e + u;
    b = e - u;
}

}  // namespace
}  // namespace lyr::LYR_ISA
