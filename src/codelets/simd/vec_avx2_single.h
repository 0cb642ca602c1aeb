// AVX2 + FMA, single precision: four complex numbers in a 256-bit register, two in a 128-bit
// register, and one in half of it. A complex number is moved about as the double that has its 64
// bits.
#pragma once

#include <immintrin.h>

#include "codelets/simd/contract.h"

namespace lyr::LYR_ISA {
namespace {

// The 64 bits of the complex number, or the two real ones, at p.
LYR_INLINE double bits_at(const float *p) {
    double bits;
    __builtin_memcpy(&bits, p, sizeof bits);
    return bits;
}
LYR_INLINE __m128 load_low(const float *p) {
    return _mm_castpd_ps(_mm_set_sd(bits_at(p)));
}
LYR_INLINE __m128 load_two(const float *p, const float *q) {
    return _mm_castpd_ps(_mm_setr_pd(bits_at(p), bits_at(q)));
}
LYR_INLINE void store_low(float *p, __m128 v) {
    _mm_storel_pi(reinterpret_cast<__m64 *>(p), v);
}
LYR_INLINE void store_high(float *p, __m128 v) {
    _mm_storeh_pi(reinterpret_cast<__m64 *>(p), v);
}
// Real parts or imaginary parts of the four numbers of x and y.
LYR_INLINE __m128 reals_of(__m128 x, __m128 y) {
    return _mm_shuffle_ps(x, y, 0x88);
}
LYR_INLINE __m128 imags_of(__m128 x, __m128 y) {
    return _mm_shuffle_ps(x, y, 0xdd);
}
template <int N>
LYR_INLINE void store_reals(float *p, __m128 a) {
    if constexpr (N == 4) _mm_storeu_ps(p, a);
    if constexpr (N == 2 || N == 3) store_low(p, a);
    if constexpr (N == 3) _mm_store_ss(p + 2, _mm_movehl_ps(a, a));
    if constexpr (N == 1) _mm_store_ss(p, a);
}

// ---- 128-bit registers --------------------------------------------------------------------------

struct tw_128 {
    __m128 re, im;
};

struct vec1 {
    static constexpr int lanes = 1, register_bits = 128;
    __m128 v;
    using tw = tw_128;

    LYR_INLINE static vec1 load(const float *p) { return {load_low(p)}; }
    LYR_INLINE void store(float *p) const { store_low(p, v); }
    LYR_INLINE static vec1 gather(const float *p, int64_t) { return load(p); }
    LYR_INLINE void scatter(float *p, int64_t) const { store(p); }
    LYR_INLINE static tw tw_one(const float *re, const float *im) {
        return {_mm_set1_ps(*re), _mm_set1_ps(*im)};
    }
    LYR_INLINE static tw tw_lanes(const float *p) { return tw_one(p, p + 1); }
    LYR_INLINE static tw tw_plain(const float *p) { return tw_one(p, p + 1); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t) { return tw_one(p, p + 1); }
    LYR_INLINE static void join(float *p, const float *re, const float *im) {
        _mm_storeu_ps(p, _mm_unpacklo_ps(load_low(re), load_low(im)));
    }
    LYR_INLINE static void part(float *re, float *im, const float *p) {
        const __m128 a = _mm_permute_ps(_mm_loadu_ps(p), 0xd8);
        store_low(re, a);
        store_high(im, a);
    }
    LYR_INLINE static vec1 load_split(const float *re, const float *im) {
        return {_mm_unpacklo_ps(_mm_load_ss(re), _mm_load_ss(im))};
    }
    LYR_INLINE void store_split(float *re, float *im) const {
        _mm_store_ss(re, v);
        _mm_store_ss(im, _mm_movehdup_ps(v));
    }
    LYR_INLINE void store_split_alternating(const float *p, float *re, float *im) const {
        const __m128 a = _mm_unpacklo_ps(load_low(p), v);
        store_low(re, a);
        store_high(im, a);
    }
};

struct vec2 {
    static constexpr int lanes = 2, register_bits = 128;
    static constexpr bool gathers_pairs = true;
    using half = vec1;
    __m128 v;
    using tw = tw_128;

    LYR_INLINE static vec2 load(const float *p) { return {_mm_loadu_ps(p)}; }
    LYR_INLINE void store(float *p) const { _mm_storeu_ps(p, v); }
    LYR_INLINE static vec2 zero() { return {_mm_setzero_ps()}; }
    template <int N>
    LYR_INLINE static vec2 load_first(const float *p) {
        if constexpr (N == 2) return load(p);
        if constexpr (N == 1) return {load_low(p)};
    }
    template <int N>
    LYR_INLINE void store_first(float *p) const {
        if constexpr (N == 2) store(p);
        if constexpr (N == 1) store_low(p, v);
    }
    LYR_INLINE static vec2 repeat(const float *p) {
        return {_mm_castpd_ps(_mm_set1_pd(bits_at(p)))};
    }
    LYR_INLINE static vec2 spread(const float *p) { return {_mm_set1_ps(*p)}; }
    LYR_INLINE vec1 first_lane() const { return {v}; }
    LYR_INLINE static vec2 sum_and_difference(const float *p, const float *q) {
        return {_mm_fmsubadd_ps(_mm_set1_ps(*p), _mm_set1_ps(1.0F), _mm_set1_ps(*q))};
    }
    template <int N>
    LYR_INLINE void store_mirrored(float *p, float *q) const {
        const __m128 a = reals_of(v, v), b = imags_of(v, v);
        store_reals<N>(p, _mm_add_ps(a, b));
        const __m128 d = _mm_sub_ps(a, b);
        store_reals<N>(q, N == 2 ? _mm_permute_ps(d, 0xb1) : d);
    }
    LYR_INLINE static vec2 gather(const float *p, int64_t s) { return {load_two(p, p + s)}; }
    LYR_INLINE static void gather_pair(const float *p, int64_t s, vec2 &a, vec2 &b) {
        const __m128 x = _mm_loadu_ps(p), y = _mm_loadu_ps(p + s);
        a.v = _mm_movelh_ps(x, y);
        b.v = _mm_movehl_ps(y, x);
    }
    LYR_INLINE void scatter(float *p, int64_t s) const {
        store_low(p, v);
        store_high(p + s, v);
    }
    LYR_INLINE static tw tw_one(const float *re, const float *im) {
        return {_mm_set1_ps(*re), _mm_set1_ps(*im)};
    }
    LYR_INLINE static tw tw_lanes(const float *p) { return {_mm_loadu_ps(p), _mm_loadu_ps(p + 4)}; }
    LYR_INLINE static tw parts(__m128 w) { return {_mm_moveldup_ps(w), _mm_movehdup_ps(w)}; }
    LYR_INLINE static tw tw_plain(const float *p) { return parts(_mm_loadu_ps(p)); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t s) { return parts(gather(p, s).v); }
    LYR_INLINE static void join(float *p, const float *re, const float *im) {
        const __m128 x = _mm_loadu_ps(re), y = _mm_loadu_ps(im);
        _mm_storeu_ps(p, _mm_unpacklo_ps(x, y));
        _mm_storeu_ps(p + 4, _mm_unpackhi_ps(x, y));
    }
    LYR_INLINE static void part(float *re, float *im, const float *p) {
        const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
        _mm_storeu_ps(re, reals_of(a, b));
        _mm_storeu_ps(im, imags_of(a, b));
    }
    LYR_INLINE static vec2 load_split(const float *re, const float *im) {
        return {_mm_unpacklo_ps(load_low(re), load_low(im))};
    }
    LYR_INLINE void store_split(float *re, float *im) const {
        const __m128 a = _mm_permute_ps(v, 0xd8);
        store_low(re, a);
        store_high(im, a);
    }
    LYR_INLINE void store_split_alternating(const float *p, float *re, float *im) const {
        const __m128 even = _mm_loadu_ps(p);
        _mm_storeu_ps(re, _mm_blend_ps(even, _mm_moveldup_ps(v), 0xa));
        _mm_storeu_ps(im, _mm_blend_ps(_mm_movehdup_ps(even), v, 0xa));
    }
};

template <class V>
concept in_128_bits = V::register_bits == 128;

LYR_INLINE __m128 swapped(__m128 a) {
    return _mm_permute_ps(a, 0xb1);
}
LYR_INLINE __m128 alternating_128(float x, float y) {
    return _mm_setr_ps(x, y, x, y);
}

template <in_128_bits V>
LYR_INLINE V operator+(V a, V b) {
    return {_mm_add_ps(a.v, b.v)};
}
template <in_128_bits V>
LYR_INLINE V operator-(V a, V b) {
    return {_mm_sub_ps(a.v, b.v)};
}
template <in_128_bits V>
LYR_INLINE V scale(V a, float s) {
    return {_mm_mul_ps(a.v, _mm_set1_ps(s))};
}
template <in_128_bits V>
LYR_INLINE V fma(V a, V b, float s) {
    return {_mm_fmadd_ps(b.v, _mm_set1_ps(s), a.v)};
}
template <in_128_bits V>
LYR_INLINE V fma_i(V a, V b, float s) {
    return {_mm_fmadd_ps(swapped(b.v), alternating_128(-s, s), a.v)};
}
template <in_128_bits V>
LYR_INLINE V add_i(V a, V b) {
    return {_mm_addsub_ps(a.v, swapped(b.v))};
}
template <in_128_bits V>
LYR_INLINE V sub_i(V a, V b) {
    return fma_i(a, b, -1.0F);
}
template <in_128_bits V>
LYR_INLINE V cmul(V a, tw_128 w) {
    return {_mm_fmaddsub_ps(a.v, w.re, _mm_mul_ps(swapped(a.v), w.im))};
}
template <in_128_bits V>
LYR_INLINE V add_conj(V a, V b) {
    return {_mm_fmadd_ps(b.v, alternating_128(1, -1), a.v)};
}
template <in_128_bits V>
LYR_INLINE V sub_conj(V a, V b) {
    return {_mm_fmadd_ps(b.v, alternating_128(-1, 1), a.v)};
}
template <in_128_bits V>
LYR_INLINE V scale_conj(V a, float s) {
    return {_mm_mul_ps(a.v, alternating_128(s, -s))};
}
// The rotation by a right angle costs nothing: the parts of w change places.
template <in_128_bits V>
LYR_INLINE void twist_back(V e, V d, tw_128 w, V &a, V &b) {
    const V u = {_mm_fmaddsub_ps(d.v, w.im, _mm_mul_ps(swapped(d.v), w.re))};
    a = e + u;
    b = e - u;
}

LYR_INLINE vec1 reversed(vec1 a) {
    return a;
}
LYR_INLINE vec2 reversed(vec2 a) {
    return {_mm_permute_ps(a.v, 0x4e)};
}
LYR_INLINE void transpose(vec2 (&x)[2]) {
    const __m128 a = _mm_movelh_ps(x[0].v, x[1].v);
    x[1].v = _mm_movehl_ps(x[1].v, x[0].v);
    x[0].v = a;
}
template <int N>
LYR_INLINE vec2 reversed_first(vec2 a) {
    if constexpr (N == 1) return a;
    return reversed(a);
}
LYR_INLINE vec2 exchanged(vec2 a) {
    return {swapped(a.v)};
}
LYR_INLINE vec2 fma_parts(vec2 a, vec2 b, const float *s) {
    return {_mm_fmadd_ps(b.v, _mm_loadu_ps(s), a.v)};
}
LYR_INLINE vec1 lane_sum(vec2 a) {
    return {_mm_add_ps(a.v, _mm_movehl_ps(a.v, a.v))};
}

// ---- 256-bit registers --------------------------------------------------------------------------

LYR_INLINE __m256 two_halves(const float *low, const float *high) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
}
LYR_INLINE __m256 swapped(__m256 a) {
    return _mm256_permute_ps(a, 0xb1);
}
LYR_INLINE __m256 alternating_256(float x, float y) {
    return _mm256_setr_ps(x, y, x, y, x, y, x, y);
}

struct vec4 {
    static constexpr int lanes = 4, register_bits = 256;
    static constexpr bool gathers_pairs = true, wide_stages = true;
    using half = vec2;
    __m256 v;
    struct tw {
        __m256 re, im;
    };

    // Opaque, or the compiler loads a value twice instead of keeping it for its permutation.
    LYR_INLINE static vec4 load(const float *p) {
        __m256 v = _mm256_loadu_ps(p);
        __asm__("" : "+x"(v));
        return {v};
    }
    LYR_INLINE void store(float *p) const { _mm256_storeu_ps(p, v); }
    LYR_INLINE void store_far(float *p) const { _mm256_stream_ps(p, v); }
    static void finish_far() { _mm_sfence(); }
    LYR_INLINE static vec4 zero() { return {_mm256_setzero_ps()}; }
    template <int N>
    LYR_INLINE static vec4 load_first(const float *p) {
        if constexpr (N == 4) return load(p);
        if constexpr (N == 3)
            return {
                _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p)), load_low(p + 4), 1)};
        if constexpr (N == 2) return {_mm256_zextps128_ps256(_mm_loadu_ps(p))};
        if constexpr (N == 1) return {_mm256_zextps128_ps256(load_low(p))};
    }
    template <int N>
    LYR_INLINE void store_first(float *p) const {
        if constexpr (N == 4) store(p);
        if constexpr (N == 2 || N == 3) _mm_storeu_ps(p, _mm256_castps256_ps128(v));
        if constexpr (N == 3) store_low(p + 4, _mm256_extractf128_ps(v, 1));
        if constexpr (N == 1) store_low(p, _mm256_castps256_ps128(v));
    }
    LYR_INLINE static vec4 repeat(const float *p) {
        return {_mm256_castpd_ps(_mm256_set1_pd(bits_at(p)))};
    }
    LYR_INLINE static vec4 spread(const float *p) { return {_mm256_set1_ps(*p)}; }
    LYR_INLINE vec1 first_lane() const { return {_mm256_castps256_ps128(v)}; }
    LYR_INLINE static vec4 sum_and_difference(const float *p, const float *q) {
        return {_mm256_fmsubadd_ps(_mm256_set1_ps(*p), _mm256_set1_ps(1.0F), _mm256_set1_ps(*q))};
    }
    template <int N>
    LYR_INLINE void store_mirrored(float *p, float *q) const {
        const __m128 x = _mm256_castps256_ps128(v), y = _mm256_extractf128_ps(v, 1);
        const __m128 a = reals_of(x, y), b = imags_of(x, y), d = _mm_sub_ps(a, b);
        store_reals<N>(p, _mm_add_ps(a, b));
        constexpr int order = N == 4 ? 0x1b : N == 3 ? 0xc6 : N == 2 ? 0xe1 : 0xe4;
        store_reals<N>(q, _mm_permute_ps(d, order));
    }
    LYR_INLINE static vec4 gather(const float *p, int64_t s) {
        return {_mm256_insertf128_ps(_mm256_castps128_ps256(load_two(p, p + s)),
                                     load_two(p + 2 * s, p + 3 * s), 1)};
    }
    LYR_INLINE static void gather_pair(const float *p, int64_t s, vec4 &a, vec4 &b) {
        const __m256d even = _mm256_castps_pd(two_halves(p, p + 2 * s));
        const __m256d odd = _mm256_castps_pd(two_halves(p + s, p + 3 * s));
        a.v = _mm256_castpd_ps(_mm256_unpacklo_pd(even, odd));
        b.v = _mm256_castpd_ps(_mm256_unpackhi_pd(even, odd));
    }
    LYR_INLINE static vec4 gather_three(const float *p, int64_t s) {
        return {_mm256_insertf128_ps(_mm256_castps128_ps256(load_two(p, p + s)),
                                     load_low(p + 2 * s), 1)};
    }
    LYR_INLINE static void gather_three_pair(const float *p, int64_t s, vec4 &a, vec4 &b) {
        const __m256d even = _mm256_castps_pd(two_halves(p, p + 2 * s));
        const __m256d odd = _mm256_castps_pd(_mm256_zextps128_ps256(_mm_loadu_ps(p + s)));
        a.v = _mm256_castpd_ps(_mm256_unpacklo_pd(even, odd));
        b.v = _mm256_castpd_ps(_mm256_unpackhi_pd(even, odd));
    }
    LYR_INLINE void scatter(float *p, int64_t s) const {
        vec2{_mm256_castps256_ps128(v)}.scatter(p, s);
        vec2{_mm256_extractf128_ps(v, 1)}.scatter(p + 2 * s, s);
    }
    LYR_INLINE static tw tw_one(const float *re, const float *im) {
        return {_mm256_broadcast_ss(re), _mm256_broadcast_ss(im)};
    }
    LYR_INLINE static tw tw_lanes(const float *p) {
        return {_mm256_loadu_ps(p), _mm256_loadu_ps(p + 8)};
    }
    LYR_INLINE static tw parts(__m256 w) { return {_mm256_moveldup_ps(w), _mm256_movehdup_ps(w)}; }
    LYR_INLINE static tw tw_plain(const float *p) { return parts(_mm256_loadu_ps(p)); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t s) { return parts(gather(p, s).v); }
    LYR_INLINE static tw tw_gather_three(const float *p, int64_t s) {
        return parts(gather_three(p, s).v);
    }
    LYR_INLINE static void join(float *p, const float *re, const float *im) {
        const __m256 x = _mm256_loadu_ps(re), y = _mm256_loadu_ps(im);
        const __m256 a = _mm256_unpacklo_ps(x, y), b = _mm256_unpackhi_ps(x, y);
        _mm256_storeu_ps(p, _mm256_permute2f128_ps(a, b, 0x20));
        _mm256_storeu_ps(p + 8, _mm256_permute2f128_ps(a, b, 0x31));
    }
    LYR_INLINE static void part(float *re, float *im, const float *p) {
        const __m256 a = two_halves(p, p + 8), b = two_halves(p + 4, p + 12);
        _mm256_storeu_ps(re, _mm256_shuffle_ps(a, b, 0x88));
        _mm256_storeu_ps(im, _mm256_shuffle_ps(a, b, 0xdd));
    }
    // Both halves are loaded with the same four numbers and take two each: less work for the units
    // that move lanes than to join halves.
    LYR_INLINE static vec4 load_split(const float *re, const float *im) {
        const __m256i order = _mm256_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3);
        const __m256 x = _mm256_broadcast_ps(reinterpret_cast<const __m128 *>(re));
        const __m256 y = _mm256_broadcast_ps(reinterpret_cast<const __m128 *>(im));
        return {
            _mm256_blend_ps(_mm256_permutevar_ps(x, order), _mm256_permutevar_ps(y, order), 0xaa)};
    }
    LYR_INLINE void store_split(float *re, float *im) const {
        const __m128 x = _mm256_castps256_ps128(v), y = _mm256_extractf128_ps(v, 1);
        _mm_storeu_ps(re, reals_of(x, y));
        _mm_storeu_ps(im, imags_of(x, y));
    }
    LYR_INLINE void store_split_alternating(const float *p, float *re, float *im) const {
        const __m256 even = _mm256_loadu_ps(p);
        _mm256_storeu_ps(re, _mm256_blend_ps(even, _mm256_moveldup_ps(v), 0xaa));
        _mm256_storeu_ps(im, _mm256_blend_ps(_mm256_movehdup_ps(even), v, 0xaa));
    }
};

LYR_INLINE vec4 operator+(vec4 a, vec4 b) {
    return {_mm256_add_ps(a.v, b.v)};
}
LYR_INLINE vec4 operator-(vec4 a, vec4 b) {
    return {_mm256_sub_ps(a.v, b.v)};
}
LYR_INLINE vec4 scale(vec4 a, float s) {
    return {_mm256_mul_ps(a.v, _mm256_set1_ps(s))};
}
LYR_INLINE vec4 fma(vec4 a, vec4 b, float s) {
    return {_mm256_fmadd_ps(b.v, _mm256_set1_ps(s), a.v)};
}
LYR_INLINE vec4 fma_i(vec4 a, vec4 b, float s) {
    return {_mm256_fmadd_ps(swapped(b.v), alternating_256(-s, s), a.v)};
}
LYR_INLINE vec4 add_i(vec4 a, vec4 b) {
    return {_mm256_addsub_ps(a.v, swapped(b.v))};
}
LYR_INLINE vec4 sub_i(vec4 a, vec4 b) {
    return fma_i(a, b, -1.0F);
}
LYR_INLINE vec4 cmul(vec4 a, vec4::tw w) {
    return {_mm256_fmaddsub_ps(a.v, w.re, _mm256_mul_ps(swapped(a.v), w.im))};
}
LYR_INLINE vec4 reversed(vec4 a) {
    return {_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(a.v), 0x1b))};
}
LYR_INLINE void transpose(vec4 (&x)[4]) {
    const __m256d a = _mm256_castps_pd(x[0].v), b = _mm256_castps_pd(x[1].v);
    const __m256d c = _mm256_castps_pd(x[2].v), d = _mm256_castps_pd(x[3].v);
    const __m256d ab_even = _mm256_unpacklo_pd(a, b), ab_odd = _mm256_unpackhi_pd(a, b);
    const __m256d cd_even = _mm256_unpacklo_pd(c, d), cd_odd = _mm256_unpackhi_pd(c, d);
    x[0].v = _mm256_castpd_ps(_mm256_permute2f128_pd(ab_even, cd_even, 0x20));
    x[1].v = _mm256_castpd_ps(_mm256_permute2f128_pd(ab_odd, cd_odd, 0x20));
    x[2].v = _mm256_castpd_ps(_mm256_permute2f128_pd(ab_even, cd_even, 0x31));
    x[3].v = _mm256_castpd_ps(_mm256_permute2f128_pd(ab_odd, cd_odd, 0x31));
}
template <int N>
LYR_INLINE vec4 reversed_first(vec4 a) {
    if constexpr (N == 1) return a;
    constexpr int order = N == 4 ? 0x1b : N == 3 ? 0xc6 : 0xe1;
    return {_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(a.v), order))};
}
LYR_INLINE vec4 exchanged(vec4 a) {
    return {swapped(a.v)};
}
LYR_INLINE vec4 fma_parts(vec4 a, vec4 b, const float *s) {
    return {_mm256_fmadd_ps(b.v, _mm256_loadu_ps(s), a.v)};
}
LYR_INLINE vec1 lane_sum(vec4 a) {
    return lane_sum(vec2{_mm_add_ps(_mm256_castps256_ps128(a.v), _mm256_extractf128_ps(a.v, 1))});
}
LYR_INLINE vec4 add_conj(vec4 a, vec4 b) {
    return {_mm256_fmadd_ps(b.v, alternating_256(1, -1), a.v)};
}
LYR_INLINE vec4 sub_conj(vec4 a, vec4 b) {
    return {_mm256_fmadd_ps(b.v, alternating_256(-1, 1), a.v)};
}
LYR_INLINE vec4 scale_conj(vec4 a, float s) {
    return {_mm256_mul_ps(a.v, alternating_256(s, -s))};
}
LYR_INLINE void twist_back(vec4 e, vec4 d, vec4::tw w, vec4 &a, vec4 &b) {
    const vec4 u = {_mm256_fmaddsub_ps(d.v, w.im, _mm256_mul_ps(swapped(d.v), w.re))};
    a = e + u;
    b = e - u;
}

constexpr int accesses_per_pointer = 4;

#ifndef LYR_WIDER_THAN_AVX2
using vec = vec4;
#endif

}  // namespace
}  // namespace lyr::LYR_ISA
