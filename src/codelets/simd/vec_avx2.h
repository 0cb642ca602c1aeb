// AVX2 + FMA: two complex numbers in a 256-bit register, and one in a 128-bit register.
#pragma once

#include <immintrin.h>

#include "codelets/simd/contract.h"

namespace lyr::LYR_ISA {
namespace {

struct vec1 {
    static constexpr int lanes = 1;
    __m128d v;
    struct tw {
        __m128d re, im;
    };

    LYR_INLINE static vec1 load(const double *p) { return {_mm_loadu_pd(p)}; }
    LYR_INLINE void store(double *p) const { _mm_storeu_pd(p, v); }
    LYR_INLINE static vec1 gather(const double *p, int64_t) { return load(p); }
    LYR_INLINE void scatter(double *p, int64_t) const { store(p); }
    LYR_INLINE static tw tw_one(const double *re, const double *im) {
        return {_mm_loaddup_pd(re), _mm_loaddup_pd(im)};
    }
    LYR_INLINE static tw tw_lanes(const double *p) { return tw_one(p, p + 1); }
    LYR_INLINE static tw tw_plain(const double *p) { return tw_one(p, p + 1); }
    LYR_INLINE static void join(double *p, const double *re, const double *im) {
        const __m128d x = _mm_loadu_pd(re), y = _mm_loadu_pd(im);
        _mm_storeu_pd(p, _mm_unpacklo_pd(x, y));
        _mm_storeu_pd(p + 2, _mm_unpackhi_pd(x, y));
    }
    LYR_INLINE static void part(double *re, double *im, const double *p) {
        const __m128d a = _mm_loadu_pd(p), b = _mm_loadu_pd(p + 2);
        _mm_storeu_pd(re, _mm_unpacklo_pd(a, b));
        _mm_storeu_pd(im, _mm_unpackhi_pd(a, b));
    }
    LYR_INLINE static vec1 load_split(const double *re, const double *im) {
        return {_mm_loadh_pd(_mm_load_sd(re), im)};
    }
    LYR_INLINE void store_split(double *re, double *im) const {
        _mm_storel_pd(re, v);
        _mm_storeh_pd(im, v);
    }
    LYR_INLINE void store_split_alternating(const double *p, double *re, double *im) const {
        const __m128d a = _mm_loadu_pd(p);
        _mm_storeu_pd(re, _mm_unpacklo_pd(a, v));
        _mm_storeu_pd(im, _mm_unpackhi_pd(a, v));
    }
};

LYR_INLINE __m128d swapped(vec1 a) {
    return _mm_permute_pd(a.v, 1);
}

LYR_INLINE vec1 operator+(vec1 a, vec1 b) {
    return {_mm_add_pd(a.v, b.v)};
}
LYR_INLINE vec1 operator-(vec1 a, vec1 b) {
    return {_mm_sub_pd(a.v, b.v)};
}
LYR_INLINE vec1 scale(vec1 a, double s) {
    return {_mm_mul_pd(a.v, _mm_set1_pd(s))};
}
LYR_INLINE vec1 fma(vec1 a, vec1 b, double s) {
    return {_mm_fmadd_pd(b.v, _mm_set1_pd(s), a.v)};
}
LYR_INLINE vec1 fma_i(vec1 a, vec1 b, double s) {
    return {_mm_fmadd_pd(swapped(b), _mm_setr_pd(-s, s), a.v)};
}
LYR_INLINE vec1 add_i(vec1 a, vec1 b) {
    return {_mm_addsub_pd(a.v, swapped(b))};
}
LYR_INLINE vec1 sub_i(vec1 a, vec1 b) {
    return fma_i(a, b, -1.0);
}
LYR_INLINE vec1 cmul(vec1 a, vec1::tw w) {
    return {_mm_fmaddsub_pd(a.v, w.re, _mm_mul_pd(swapped(a), w.im))};
}
LYR_INLINE vec1 reversed(vec1 a) {
    return a;
}
LYR_INLINE vec1 add_conj(vec1 a, vec1 b) {
    return {_mm_fmadd_pd(b.v, _mm_setr_pd(1, -1), a.v)};
}
LYR_INLINE vec1 sub_conj(vec1 a, vec1 b) {
    return {_mm_fmadd_pd(b.v, _mm_setr_pd(-1, 1), a.v)};
}
LYR_INLINE vec1 scale_conj(vec1 a, double s) {
    return {_mm_mul_pd(a.v, _mm_setr_pd(s, -s))};
}
// The rotation by a right angle costs nothing: the parts of w change places.
LYR_INLINE void twist_back(vec1 e, vec1 d, vec1::tw w, vec1 &a, vec1 &b) {
    const vec1 u = {_mm_fmaddsub_pd(d.v, w.im, _mm_mul_pd(swapped(d), w.re))};
    a = e + u;
    b = e - u;
}

struct vec2 {
    static constexpr int lanes = 2;
    static constexpr bool gathers_pairs = false;
    using half = vec1;
    __m256d v;
    struct tw {
        __m256d re, im;
    };

    // Opaque, or the compiler loads a value twice instead of keeping it for its permutation.
    LYR_INLINE static vec2 load(const double *p) {
        __m256d v = _mm256_loadu_pd(p);
        __asm__("" : "+x"(v));
        return {v};
    }
    LYR_INLINE void store(double *p) const { _mm256_storeu_pd(p, v); }
    LYR_INLINE void store_far(double *p) const { _mm256_stream_pd(p, v); }
    static void finish_far() { _mm_sfence(); }
    LYR_INLINE static vec2 zero() { return {_mm256_setzero_pd()}; }
    template <int N>
    LYR_INLINE static vec2 load_first(const double *p) {
        if constexpr (N == 2) return load(p);
        if constexpr (N == 1) return {_mm256_zextpd128_pd256(_mm_loadu_pd(p))};
    }
    template <int N>
    LYR_INLINE void store_first(double *p) const {
        if constexpr (N == 2) store(p);
        if constexpr (N == 1) _mm_storeu_pd(p, _mm256_castpd256_pd128(v));
    }
    LYR_INLINE static vec2 repeat(const double *p) {
        return {_mm256_broadcast_pd(reinterpret_cast<const __m128d *>(p))};
    }
    LYR_INLINE static vec2 spread(const double *p) { return {_mm256_broadcast_sd(p)}; }
    LYR_INLINE vec1 first_lane() const { return {_mm256_castpd256_pd128(v)}; }
    LYR_INLINE static vec2 sum_and_difference(const double *p, const double *q) {
        return {_mm256_fmsubadd_pd(_mm256_broadcast_sd(p), _mm256_set1_pd(1.0),
                                   _mm256_broadcast_sd(q))};
    }
    template <int N>
    LYR_INLINE void store_mirrored(double *p, double *q) const {
        const __m128d x = _mm256_castpd256_pd128(v), y = _mm256_extractf128_pd(v, 1);
        const __m128d a = _mm_unpacklo_pd(x, y), b = _mm_unpackhi_pd(x, y);
        const __m128d sum = _mm_add_pd(a, b), d = _mm_sub_pd(a, b);
        if constexpr (N == 2) {
            _mm_storeu_pd(p, sum);
            _mm_storeu_pd(q, _mm_permute_pd(d, 1));
        } else {
            _mm_storel_pd(p, sum);
            _mm_storel_pd(q, d);
        }
    }
    LYR_INLINE static vec2 gather(const double *p, int64_t s) {
        return {
            _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(p)), _mm_loadu_pd(p + s), 1)};
    }
    LYR_INLINE void scatter(double *p, int64_t s) const {
        _mm_storeu_pd(p, _mm256_castpd256_pd128(v));
        _mm_storeu_pd(p + s, _mm256_extractf128_pd(v, 1));
    }
    LYR_INLINE static tw tw_one(const double *re, const double *im) {
        return {_mm256_broadcast_sd(re), _mm256_broadcast_sd(im)};
    }
    LYR_INLINE static tw tw_lanes(const double *p) {
        return {_mm256_loadu_pd(p), _mm256_loadu_pd(p + 4)};
    }
    LYR_INLINE static tw tw_plain(const double *p) {
        const __m256d w = _mm256_loadu_pd(p);
        return {_mm256_movedup_pd(w), _mm256_permute_pd(w, 15)};
    }
    LYR_INLINE static tw tw_gather(const double *p, int64_t s) {
        const __m256d w = gather(p, s).v;
        return {_mm256_movedup_pd(w), _mm256_permute_pd(w, 15)};
    }
    LYR_INLINE static void join(double *p, const double *re, const double *im) {
        const __m256d x = _mm256_loadu_pd(re), y = _mm256_loadu_pd(im);
        const __m256d even = _mm256_unpacklo_pd(x, y), odd = _mm256_unpackhi_pd(x, y);
        _mm256_storeu_pd(p, _mm256_permute2f128_pd(even, odd, 0x20));
        _mm256_storeu_pd(p + 4, _mm256_permute2f128_pd(even, odd, 0x31));
    }
    LYR_INLINE static void part(double *re, double *im, const double *p) {
        const __m256d even = gather(p, 4).v, odd = gather(p + 2, 4).v;
        _mm256_storeu_pd(re, _mm256_unpacklo_pd(even, odd));
        _mm256_storeu_pd(im, _mm256_unpackhi_pd(even, odd));
    }
    // Loads that fill both halves leave one shuffle within halves.
    LYR_INLINE static vec2 load_split(const double *re, const double *im) {
        const __m256d x = _mm256_broadcast_pd(reinterpret_cast<const __m128d *>(re));
        const __m256d y = _mm256_broadcast_pd(reinterpret_cast<const __m128d *>(im));
        return {_mm256_shuffle_pd(x, y, 12)};
    }
    LYR_INLINE void store_split(double *re, double *im) const {
        const __m128d a = _mm256_castpd256_pd128(v), b = _mm256_extractf128_pd(v, 1);
        _mm_storeu_pd(re, _mm_unpacklo_pd(a, b));
        _mm_storeu_pd(im, _mm_unpackhi_pd(a, b));
    }
    LYR_INLINE void store_split_alternating(const double *p, double *re, double *im) const {
        const __m256d even = _mm256_loadu_pd(p);
        _mm256_storeu_pd(re, _mm256_unpacklo_pd(even, v));
        _mm256_storeu_pd(im, _mm256_unpackhi_pd(even, v));
    }
};

LYR_INLINE __m256d swapped(vec2 a) {
    return _mm256_permute_pd(a.v, 5);
}

LYR_INLINE vec2 operator+(vec2 a, vec2 b) {
    return {_mm256_add_pd(a.v, b.v)};
}
LYR_INLINE vec2 operator-(vec2 a, vec2 b) {
    return {_mm256_sub_pd(a.v, b.v)};
}
LYR_INLINE vec2 scale(vec2 a, double s) {
    return {_mm256_mul_pd(a.v, _mm256_set1_pd(s))};
}
LYR_INLINE vec2 fma(vec2 a, vec2 b, double s) {
    return {_mm256_fmadd_pd(b.v, _mm256_set1_pd(s), a.v)};
}
LYR_INLINE vec2 fma_i(vec2 a, vec2 b, double s) {
    return {_mm256_fmadd_pd(swapped(b), _mm256_setr_pd(-s, s, -s, s), a.v)};
}
LYR_INLINE vec2 add_i(vec2 a, vec2 b) {
    return {_mm256_addsub_pd(a.v, swapped(b))};
}
LYR_INLINE vec2 sub_i(vec2 a, vec2 b) {
    return fma_i(a, b, -1.0);
}
LYR_INLINE vec2 cmul(vec2 a, vec2::tw w) {
    return {_mm256_fmaddsub_pd(a.v, w.re, _mm256_mul_pd(swapped(a), w.im))};
}
LYR_INLINE vec2 reversed(vec2 a) {
    return {_mm256_permute2f128_pd(a.v, a.v, 1)};
}
LYR_INLINE void transpose(vec2 (&x)[2]) {
    const __m256d a = _mm256_permute2f128_pd(x[0].v, x[1].v, 0x20);
    x[1].v = _mm256_permute2f128_pd(x[0].v, x[1].v, 0x31);
    x[0].v = a;
}
template <int N>
LYR_INLINE vec2 reversed_first(vec2 a) {
    if constexpr (N == 1) return a;
    return reversed(a);
}
LYR_INLINE vec2 exchanged(vec2 a) {
    return {swapped(a)};
}
LYR_INLINE vec2 fma_parts(vec2 a, vec2 b, const double *s) {
    return {_mm256_fmadd_pd(b.v, _mm256_loadu_pd(s), a.v)};
}
LYR_INLINE vec1 lane_sum(vec2 a) {
    return {_mm_add_pd(_mm256_castpd256_pd128(a.v), _mm256_extractf128_pd(a.v, 1))};
}
LYR_INLINE vec2 add_conj(vec2 a, vec2 b) {
    return {_mm256_fmadd_pd(b.v, _mm256_setr_pd(1, -1, 1, -1), a.v)};
}
LYR_INLINE vec2 sub_conj(vec2 a, vec2 b) {
    return {_mm256_fmadd_pd(b.v, _mm256_setr_pd(-1, 1, -1, 1), a.v)};
}
LYR_INLINE vec2 scale_conj(vec2 a, double s) {
    return {_mm256_mul_pd(a.v, _mm256_setr_pd(s, -s, s, -s))};
}
// The rotation by a right angle costs nothing: the parts of w change places.
LYR_INLINE void twist_back(vec2 e, vec2 d, vec2::tw w, vec2 &a, vec2 &b) {
    const vec2 u = {_mm256_fmaddsub_pd(d.v, w.im, _mm256_mul_pd(swapped(d), w.re))};
    a = e + u;
    b = e - u;
}

constexpr int accesses_per_pointer = 4;

#ifndef LYR_WIDER_THAN_AVX2
using vec = vec2;
#endif

}  // namespace
}  // namespace lyr::LYR_ISA
