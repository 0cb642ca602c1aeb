// AVX-512 F/DQ/VL, single precision: eight complex numbers in a 512-bit register; the narrower
// vectors are those of AVX2, with twice the registers.
#pragma once

#define LYR_WIDER_THAN_AVX2
#include "codelets/simd/vec_avx2_single.h"

namespace lyr::LYR_ISA {
namespace {

template <int N>
constexpr __mmask16 first_parts = static_cast<__mmask16>((1U << 2 * N) - 1);
template <int N>
constexpr __mmask8 first_reals = static_cast<__mmask8>((1U << N) - 1);

// N real numbers from the first on, or from number N-1 down.
template <int N>
LYR_INLINE void store_reals(float *p, __m256 a) {
    if constexpr (N == 8)
        _mm256_storeu_ps(p, a);
    else
        _mm256_mask_storeu_ps(p, first_reals<N>, a);
}
LYR_INLINE __m512 swapped(__m512 a) {
    return _mm512_permute_ps(a, 0xb1);
}
LYR_INLINE __m512 alternating_512(float x, float y) {
    return _mm512_setr_ps(x, y, x, y, x, y, x, y, x, y, x, y, x, y, x, y);
}
LYR_INLINE __m512 two_halves_512(__m256 low, __m256 high) {
    return _mm512_insertf32x8(_mm512_castps256_ps512(low), high, 1);
}

struct vec8 {
    static constexpr int lanes = 8, register_bits = 512;
    static constexpr bool gathers_pairs = true;
    using half = vec4;
    __m512 v;
    struct tw {
        __m512 re, im;
    };

    LYR_INLINE static vec8 load(const float *p) { return {_mm512_loadu_ps(p)}; }
    LYR_INLINE void store(float *p) const { _mm512_storeu_ps(p, v); }
    LYR_INLINE void store_far(float *p) const { _mm512_stream_ps(p, v); }
    static void finish_far() { _mm_sfence(); }
    LYR_INLINE static vec8 zero() { return {_mm512_setzero_ps()}; }
    template <int N>
    LYR_INLINE static vec8 load_first(const float *p) {
        if constexpr (N == 8)
            return load(p);
        else if constexpr (N == 4)
            return {_mm512_zextps256_ps512(_mm256_loadu_ps(p))};
        else
            return {_mm512_maskz_loadu_ps(first_parts<N>, p)};
    }
    template <int N>
    LYR_INLINE void store_first(float *p) const {
        if constexpr (N == 8)
            store(p);
        else if constexpr (N == 4)
            _mm256_storeu_ps(p, _mm512_castps512_ps256(v));
        else
            _mm512_mask_storeu_ps(p, first_parts<N>, v);
    }
    LYR_INLINE static __mmask16 first(int64_t n) {
        return static_cast<__mmask16>((1U << 2 * n) - 1);
    }
    LYR_INLINE static vec8 load_part(const float *p, int64_t n) {
        return {_mm512_maskz_loadu_ps(first(n), p)};
    }
    LYR_INLINE void store_part(float *p, int64_t n) const { _mm512_mask_storeu_ps(p, first(n), v); }
    LYR_INLINE static vec8 repeat(const float *p) {
        return {_mm512_castpd_ps(_mm512_set1_pd(bits_at(p)))};
    }
    LYR_INLINE static vec8 spread(const float *p) { return {_mm512_set1_ps(*p)}; }
    LYR_INLINE vec1 first_lane() const { return {_mm512_castps512_ps128(v)}; }
    LYR_INLINE static vec8 sum_and_difference(const float *p, const float *q) {
        return {_mm512_fmsubadd_ps(_mm512_set1_ps(*p), _mm512_set1_ps(1.0F), _mm512_set1_ps(*q))};
    }
    // All real parts, then all imaginary parts.
    LYR_INLINE __m512 parted() const {
        return _mm512_permutexvar_ps(
            _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15), v);
    }
    template <int N>
    LYR_INLINE void store_mirrored(float *p, float *q) const {
        const __m512 w = parted();
        const __m256 a = _mm512_castps512_ps256(w), b = _mm512_extractf32x8_ps(w, 1);
        store_reals<N>(p, _mm256_add_ps(a, b));
        const __m256i order =
            _mm256_setr_epi32(N - 1, N - 2, N - 3, N - 4, N - 5, N - 6, N - 7, N - 8);
        store_reals<N>(q, _mm256_permutevar8x32_ps(_mm256_sub_ps(a, b), order));
    }
    LYR_INLINE static vec8 gather(const float *p, int64_t s) {
        return {two_halves_512(vec4::gather(p, s).v, vec4::gather(p + 4 * s, s).v)};
    }
    LYR_INLINE static void gather_pair(const float *p, int64_t s, vec8 &a, vec8 &b) {
        const __m512d even = _mm512_castps_pd(four_quarters(p, 2 * s));
        const __m512d odd = _mm512_castps_pd(four_quarters(p + s, 2 * s));
        a.v = _mm512_castpd_ps(_mm512_unpacklo_pd(even, odd));
        b.v = _mm512_castpd_ps(_mm512_unpackhi_pd(even, odd));
    }
    LYR_INLINE static __m512 four_quarters(const float *p, int64_t s) {
        return two_halves_512(two_halves(p, p + s), two_halves(p + 2 * s, p + 3 * s));
    }
    LYR_INLINE void scatter(float *p, int64_t s) const {
        vec4{_mm512_castps512_ps256(v)}.scatter(p, s);
        vec4{_mm512_extractf32x8_ps(v, 1)}.scatter(p + 4 * s, s);
    }
    LYR_INLINE static tw tw_one(const float *re, const float *im) {
        return {_mm512_set1_ps(*re), _mm512_set1_ps(*im)};
    }
    LYR_INLINE static tw tw_lanes(const float *p) {
        return {_mm512_loadu_ps(p), _mm512_loadu_ps(p + 16)};
    }
    LYR_INLINE static tw parts(__m512 w) { return {_mm512_moveldup_ps(w), _mm512_movehdup_ps(w)}; }
    LYR_INLINE static tw tw_plain(const float *p) { return parts(_mm512_loadu_ps(p)); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t s) { return parts(gather(p, s).v); }
    LYR_INLINE static void join(float *p, const float *re, const float *im) {
        const __m512 x = _mm512_loadu_ps(re), y = _mm512_loadu_ps(im);
        const __m512i low =
            _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
        const __m512i high =
            _mm512_setr_epi32(8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
        _mm512_storeu_ps(p, _mm512_permutex2var_ps(x, low, y));
        _mm512_storeu_ps(p + 16, _mm512_permutex2var_ps(x, high, y));
    }
    LYR_INLINE static void part(float *re, float *im, const float *p) {
        const __m512 a = _mm512_loadu_ps(p), b = _mm512_loadu_ps(p + 16);
        const __m512i even =
            _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
        const __m512i odd =
            _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
        _mm512_storeu_ps(re, _mm512_permutex2var_ps(a, even, b));
        _mm512_storeu_ps(im, _mm512_permutex2var_ps(a, odd, b));
    }
    LYR_INLINE static vec8 load_split(const float *re, const float *im) {
        const __m512 both = two_halves_512(_mm256_loadu_ps(re), _mm256_loadu_ps(im));
        return {_mm512_permutexvar_ps(
            _mm512_setr_epi32(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15), both)};
    }
    LYR_INLINE void store_split(float *re, float *im) const {
        const __m512 w = parted();
        _mm256_storeu_ps(re, _mm512_castps512_ps256(w));
        _mm256_storeu_ps(im, _mm512_extractf32x8_ps(w, 1));
    }
    LYR_INLINE void store_split_alternating(const float *p, float *re, float *im) const {
        const __m512 even = _mm512_loadu_ps(p);
        _mm512_storeu_ps(re, _mm512_mask_moveldup_ps(even, 0xaaaa, v));
        _mm512_storeu_ps(im, _mm512_mask_movehdup_ps(v, 0x5555, even));
    }
};
using vec = vec8;

LYR_INLINE vec8 operator+(vec8 a, vec8 b) {
    return {_mm512_add_ps(a.v, b.v)};
}
LYR_INLINE vec8 operator-(vec8 a, vec8 b) {
    return {_mm512_sub_ps(a.v, b.v)};
}
LYR_INLINE vec8 scale(vec8 a, float s) {
    return {_mm512_mul_ps(a.v, _mm512_set1_ps(s))};
}
LYR_INLINE vec8 fma(vec8 a, vec8 b, float s) {
    return {_mm512_fmadd_ps(b.v, _mm512_set1_ps(s), a.v)};
}
LYR_INLINE vec8 fma_i(vec8 a, vec8 b, float s) {
    return {_mm512_fmadd_ps(swapped(b.v), alternating_512(-s, s), a.v)};
}
LYR_INLINE vec8 add_i(vec8 a, vec8 b) {
    return fma_i(a, b, 1.0F);
}
LYR_INLINE vec8 sub_i(vec8 a, vec8 b) {
    return fma_i(a, b, -1.0F);
}
LYR_INLINE vec8 cmul(vec8 a, vec8::tw w) {
    return {_mm512_fmaddsub_ps(a.v, w.re, _mm512_mul_ps(swapped(a.v), w.im))};
}
// Lanes N-1, .., 0; those behind are undefined.
template <int N>
LYR_INLINE vec8 reversed_first(vec8 a) {
    if constexpr (N == 1) return a;
    const __m512i order = _mm512_setr_epi64(N - 1, N - 2, N - 3, N - 4, N - 5, N - 6, N - 7, N - 8);
    return {_mm512_castpd_ps(_mm512_permutexvar_pd(order, _mm512_castps_pd(a.v)))};
}
LYR_INLINE vec8 reversed(vec8 a) {
    return reversed_first<8>(a);
}
LYR_INLINE void transpose(vec8 (&x)[8]) {
    // Pairs of rows, then quarters of registers twice.
    __m512d even[4], odd[4];
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
        const __m512d a = _mm512_castps_pd(x[2 * i].v), b = _mm512_castps_pd(x[2 * i + 1].v);
        even[i] = _mm512_unpacklo_pd(a, b);
        odd[i] = _mm512_unpackhi_pd(a, b);
    }
#pragma GCC unroll 2
    for (int k = 0; k < 2; ++k) {
        const __m512d(&p)[4] = k == 0 ? even : odd;
        const __m512d a = _mm512_shuffle_f64x2(p[0], p[1], 0x44);  // columns k, k + 2
        const __m512d b = _mm512_shuffle_f64x2(p[0], p[1], 0xee);  // columns k + 4, k + 6
        const __m512d c = _mm512_shuffle_f64x2(p[2], p[3], 0x44);
        const __m512d d = _mm512_shuffle_f64x2(p[2], p[3], 0xee);
        x[k].v = _mm512_castpd_ps(_mm512_shuffle_f64x2(a, c, 0x88));
        x[k + 2].v = _mm512_castpd_ps(_mm512_shuffle_f64x2(a, c, 0xdd));
        x[k + 4].v = _mm512_castpd_ps(_mm512_shuffle_f64x2(b, d, 0x88));
        x[k + 6].v = _mm512_castpd_ps(_mm512_shuffle_f64x2(b, d, 0xdd));
    }
}
LYR_INLINE vec8 exchanged(vec8 a) {
    return {swapped(a.v)};
}
LYR_INLINE vec8 fma_parts(vec8 a, vec8 b, const float *s) {
    return {_mm512_fmadd_ps(b.v, _mm512_loadu_ps(s), a.v)};
}
LYR_INLINE vec1 lane_sum(vec8 a) {
    return lane_sum(
        vec4{_mm256_add_ps(_mm512_castps512_ps256(a.v), _mm512_extractf32x8_ps(a.v, 1))});
}
LYR_INLINE vec8 add_conj(vec8 a, vec8 b) {
    return {_mm512_fmadd_ps(b.v, alternating_512(1, -1), a.v)};
}
LYR_INLINE vec8 sub_conj(vec8 a, vec8 b) {
    return {_mm512_fmadd_ps(b.v, alternating_512(-1, 1), a.v)};
}
LYR_INLINE vec8 scale_conj(vec8 a, float s) {
    return {_mm512_mul_ps(a.v, alternating_512(s, -s))};
}
// The rotation by a right angle costs nothing: the parts of w change places.
LYR_INLINE void twist_back(vec8 e, vec8 d, vec8::tw w, vec8 &a, vec8 &b) {
    const vec8 u = {_mm512_fmaddsub_ps(d.v, w.im, _mm512_mul_ps(swapped(d.v), w.re))};
    a = e + u;
    b = e - u;
}

}  // namespace
}  // namespace lyr::LYR_ISA
