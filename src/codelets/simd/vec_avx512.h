// AVX-512 F/DQ/VL: four complex numbers in a 512-bit register; the narrower vectors are those of
// AVX2, with twice the registers.
#pragma once

#ifdef LYR_EMULATE_AVX512  // tests on machines without AVX-512
    #define SIMDE_ENABLE_NATIVE_ALIASES
    #include <simde/x86/avx512.h>
    #include <simde/x86/fma.h>
#endif

#define LYR_WIDER_THAN_AVX2
#include "codelets/simd/vec_avx2.h"

namespace lyr::LYR_ISA {
namespace {

struct vec4 {
    static constexpr int lanes = 4;
    __m512d v;
    struct tw {
        __m512d re, im;
    };

    LYR_INLINE static vec4 load(const double *p) { return {_mm512_loadu_pd(p)}; }
    LYR_INLINE void store(double *p) const { _mm512_storeu_pd(p, v); }
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
using vec_half = vec2;

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
LYR_INLINE void twist(vec4 e, vec4 d, vec4::tw w, vec4 &a, vec4 &b) {
    const vec4 u = {_mm512_fmsubadd_pd(d.v, w.im, _mm512_mul_pd(swapped(d), w.re))};
    a = e + u;
    b = e - u;
}
LYR_INLINE void twist_back(vec4 e, vec4 d, vec4::tw w, vec4 &a, vec4 &b) {
    const vec4 u = {_mm512_fmaddsub_pd(d.v, w.im, _mm512_mul_pd(swapped(d), w.re))};
    a = e + u;
    b = e - u;
}

}  // namespace
}  // namespace lyr::LYR_ISA
