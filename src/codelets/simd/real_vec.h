// Vectors of real numbers: W numbers in a compiler vector, or one number. One header for all
// targets: only the fused product needs to know the processor. The names are those of contract.h.
#pragma once

#include <cstdint>

#include "codelets/simd/contract.h"

#if defined(__FMA__)
    #include <immintrin.h>
#elif defined(__aarch64__)
    #include <arm_neon.h>
#endif

namespace lyr::LYR_ISA {
namespace {

template <int W>
struct numbers_of {
    typedef scalar type __attribute__((vector_size(scalar_bytes * W)));
    typedef scalar unaligned
        __attribute__((vector_size(scalar_bytes * W), aligned(scalar_bytes), may_alias));
};
template <>
struct numbers_of<1> {
    using type = scalar;
    using unaligned = scalar;
};

template <int W>
struct real_vec {
    static constexpr int lanes = W;
    typename numbers_of<W>::type v;

    LYR_INLINE static real_vec load(const scalar *p) {
        return {*reinterpret_cast<const typename numbers_of<W>::unaligned *>(p)};
    }
    LYR_INLINE void store(scalar *p) const {
        *reinterpret_cast<typename numbers_of<W>::unaligned *>(p) = v;
    }
    LYR_INLINE static real_vec zero() { return {typename numbers_of<W>::type{}}; }
    // Lane l is f(l).
    template <class F>
    LYR_INLINE static real_vec of_lanes(F f) {
        if constexpr (W == 1)
            return {f(0)};
        else if constexpr (W == 2)
            return {typename numbers_of<W>::type{f(0), f(1)}};
        else if constexpr (W == 4)
            return {typename numbers_of<W>::type{f(0), f(1), f(2), f(3)}};
        else if constexpr (W == 8)
            return {typename numbers_of<W>::type{f(0), f(1), f(2), f(3), f(4), f(5), f(6), f(7)}};
        else
            return {typename numbers_of<W>::type{f(0), f(1), f(2), f(3), f(4), f(5), f(6), f(7),
                                                 f(8), f(9), f(10), f(11), f(12), f(13), f(14),
                                                 f(15)}};
    }
    LYR_INLINE scalar lane(int l) const {
        if constexpr (W == 1)
            return v;
        else
            return v[l];
    }
    // Lane l at p + l*s.
    LYR_INLINE static real_vec gather(const scalar *p, int64_t s) {
        return of_lanes([=](int l) __attribute__((always_inline)) { return p[l * s]; });
    }
    LYR_INLINE void scatter(scalar *p, int64_t s) const {
#pragma GCC unroll 16
        for (int l = 0; l < W; ++l) p[l * s] = lane(l);
    }
};

template <int W>
LYR_INLINE real_vec<W> operator+(real_vec<W> a, real_vec<W> b) {
    return {a.v + b.v};
}
template <int W>
LYR_INLINE real_vec<W> operator-(real_vec<W> a, real_vec<W> b) {
    return {a.v - b.v};
}
template <int W>
LYR_INLINE real_vec<W> operator-(real_vec<W> a) {
    return {-a.v};
}
template <int W>
LYR_INLINE real_vec<W> scale(real_vec<W> a, scalar s) {
    return {a.v * s};
}
template <int W>
LYR_INLINE real_vec<W> mul(real_vec<W> a, real_vec<W> b) {
    return {a.v * b.v};
}

// a + b*c, fused where the processor can.
#if defined(LYRA_SINGLE) && defined(__FMA__)
LYR_INLINE float fused(float a, float b, float c) {
    return __builtin_fmaf(b, c, a);
}
LYR_INLINE numbers_of<4>::type fused(numbers_of<4>::type a, numbers_of<4>::type b,
                                     numbers_of<4>::type c) {
    return _mm_fmadd_ps(b, c, a);
}
LYR_INLINE numbers_of<8>::type fused(numbers_of<8>::type a, numbers_of<8>::type b,
                                     numbers_of<8>::type c) {
    return _mm256_fmadd_ps(b, c, a);
}
    #if defined(__AVX512F__)
LYR_INLINE numbers_of<16>::type fused(numbers_of<16>::type a, numbers_of<16>::type b,
                                      numbers_of<16>::type c) {
    return _mm512_fmadd_ps(b, c, a);
}
    #endif
#elif defined(LYRA_SINGLE) && defined(__aarch64__)
LYR_INLINE float fused(float a, float b, float c) {
    return __builtin_fmaf(b, c, a);
}
LYR_INLINE numbers_of<4>::type fused(numbers_of<4>::type a, numbers_of<4>::type b,
                                     numbers_of<4>::type c) {
    return vfmaq_f32(a, b, c);
}
#elif defined(__FMA__)
LYR_INLINE scalar fused(scalar a, scalar b, scalar c) {
    return __builtin_fma(b, c, a);
}
LYR_INLINE numbers_of<2>::type fused(numbers_of<2>::type a, numbers_of<2>::type b,
                                     numbers_of<2>::type c) {
    return _mm_fmadd_pd(b, c, a);
}
LYR_INLINE numbers_of<4>::type fused(numbers_of<4>::type a, numbers_of<4>::type b,
                                     numbers_of<4>::type c) {
    return _mm256_fmadd_pd(b, c, a);
}
    #if defined(__AVX512F__)
LYR_INLINE numbers_of<8>::type fused(numbers_of<8>::type a, numbers_of<8>::type b,
                                     numbers_of<8>::type c) {
    return _mm512_fmadd_pd(b, c, a);
}
    #elif defined(LYR_EMULATE_AVX512)
LYR_INLINE numbers_of<8>::type fused(numbers_of<8>::type a, numbers_of<8>::type b,
                                     numbers_of<8>::type c) {
        #define LYR_HALF(x, k) __builtin_shufflevector(x, x, 4 * k, 4 * k + 1, 4 * k + 2, 4 * k + 3)
    const numbers_of<4>::type low = fused(LYR_HALF(a, 0), LYR_HALF(b, 0), LYR_HALF(c, 0));
    const numbers_of<4>::type high = fused(LYR_HALF(a, 1), LYR_HALF(b, 1), LYR_HALF(c, 1));
        #undef LYR_HALF
    return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
}
    #endif
#elif defined(__aarch64__)
LYR_INLINE scalar fused(scalar a, scalar b, scalar c) {
    return __builtin_fma(b, c, a);
}
LYR_INLINE numbers_of<2>::type fused(numbers_of<2>::type a, numbers_of<2>::type b,
                                     numbers_of<2>::type c) {
    return vfmaq_f64(a, b, c);
}
#else
template <class T>
LYR_INLINE T fused(T a, T b, T c) {
    return a + b * c;
}
#endif

template <int W>
LYR_INLINE real_vec<W> broadcast(scalar s) {
    return {typename numbers_of<W>::type{} + s};
}
template <int W>
LYR_INLINE real_vec<W> fma(real_vec<W> a, real_vec<W> b, real_vec<W> c) {
    return {fused(a.v, b.v, c.v)};
}
// a + s*b
template <int W>
LYR_INLINE real_vec<W> fma(real_vec<W> a, real_vec<W> b, scalar s) {
    return fma(a, b, broadcast<W>(s));
}
// s*b - a
template <int W>
LYR_INLINE real_vec<W> fms(real_vec<W> a, real_vec<W> b, scalar s) {
    return fma(-a, b, s);
}

#define LYR_SHUFFLE(x, y, ...)                         \
    real_vec<sizeof(x.v) / scalar_bytes> {             \
        __builtin_shufflevector(x.v, y.v, __VA_ARGS__) \
    }

// Lane l of x[k] becomes lane k of x[l].
#ifdef LYRA_SINGLE
LYR_INLINE void transpose(real_vec<4> (&x)[4]) {
    const auto a = LYR_SHUFFLE(x[0], x[1], 0, 4, 1, 5), b = LYR_SHUFFLE(x[0], x[1], 2, 6, 3, 7);
    const auto c = LYR_SHUFFLE(x[2], x[3], 0, 4, 1, 5), d = LYR_SHUFFLE(x[2], x[3], 2, 6, 3, 7);
    x[0] = LYR_SHUFFLE(a, c, 0, 1, 4, 5);
    x[1] = LYR_SHUFFLE(a, c, 2, 3, 6, 7);
    x[2] = LYR_SHUFFLE(b, d, 0, 1, 4, 5);
    x[3] = LYR_SHUFFLE(b, d, 2, 3, 6, 7);
}
LYR_INLINE void transpose(real_vec<8> (&x)[8]) {
    // Pairs of numbers within 128 bits, fours, then the halves.
    real_vec<8> pairs[8], fours[8];
    #pragma GCC unroll 4
    for (int k = 0; k < 8; k += 2) {
        pairs[k] = LYR_SHUFFLE(x[k], x[k + 1], 0, 8, 1, 9, 4, 12, 5, 13);
        pairs[k + 1] = LYR_SHUFFLE(x[k], x[k + 1], 2, 10, 3, 11, 6, 14, 7, 15);
    }
    #pragma GCC unroll 2
    for (int k = 0; k < 8; k += 4) {
    #pragma GCC unroll 2
        for (int upper = 0; upper < 2; ++upper) {
            const auto a = pairs[k + upper], b = pairs[k + 2 + upper];
            fours[k + 2 * upper] = LYR_SHUFFLE(a, b, 0, 1, 8, 9, 4, 5, 12, 13);
            fours[k + 2 * upper + 1] = LYR_SHUFFLE(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
        }
    }
    #pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        x[k] = LYR_SHUFFLE(fours[k], fours[k + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        x[k + 4] = LYR_SHUFFLE(fours[k], fours[k + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}
#else
LYR_INLINE void transpose(real_vec<2> (&x)[2]) {
    const auto a = x[0], b = x[1];
    x[0] = LYR_SHUFFLE(a, b, 0, 2);
    x[1] = LYR_SHUFFLE(a, b, 1, 3);
}
LYR_INLINE void transpose(real_vec<4> (&x)[4]) {
    const auto a = LYR_SHUFFLE(x[0], x[1], 0, 4, 2, 6), b = LYR_SHUFFLE(x[0], x[1], 1, 5, 3, 7);
    const auto c = LYR_SHUFFLE(x[2], x[3], 0, 4, 2, 6), d = LYR_SHUFFLE(x[2], x[3], 1, 5, 3, 7);
    x[0] = LYR_SHUFFLE(a, c, 0, 1, 4, 5);
    x[1] = LYR_SHUFFLE(b, d, 0, 1, 4, 5);
    x[2] = LYR_SHUFFLE(a, c, 2, 3, 6, 7);
    x[3] = LYR_SHUFFLE(b, d, 2, 3, 6, 7);
}
LYR_INLINE void transpose(real_vec<8> (&x)[8]) {
    real_vec<8> pairs[8], fours[8];
    #pragma GCC unroll 4
    for (int k = 0; k < 8; k += 2) {
        pairs[k] = LYR_SHUFFLE(x[k], x[k + 1], 0, 8, 2, 10, 4, 12, 6, 14);
        pairs[k + 1] = LYR_SHUFFLE(x[k], x[k + 1], 1, 9, 3, 11, 5, 13, 7, 15);
    }
    // Numbers 0, 4 (first vector) and 2, 6 of lanes 0..3, or 1, 5 and 3, 7.
    #pragma GCC unroll 2
    for (int k = 0; k < 8; k += 4) {
    #pragma GCC unroll 2
        for (int odd = 0; odd < 2; ++odd) {
            const auto a = pairs[k + odd], b = pairs[k + 2 + odd];
            fours[k + odd] = LYR_SHUFFLE(a, b, 0, 1, 8, 9, 4, 5, 12, 13);
            fours[k + 2 + odd] = LYR_SHUFFLE(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
        }
    }
    #pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        x[k] = LYR_SHUFFLE(fours[k], fours[k + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        x[k + 4] = LYR_SHUFFLE(fours[k], fours[k + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}
#endif

// The lanes in reverse order.
template <int W>
LYR_INLINE real_vec<W> reversed(real_vec<W> a) {
    if constexpr (W == 2)
        return LYR_SHUFFLE(a, a, 1, 0);
    else if constexpr (W == 4)
        return LYR_SHUFFLE(a, a, 3, 2, 1, 0);
    else if constexpr (W == 8)
        return LYR_SHUFFLE(a, a, 7, 6, 5, 4, 3, 2, 1, 0);
    else
        return a;
}

// W complex numbers at p from their parts, and back; the second pair with the last number first.
LYR_INLINE void store_pairs(scalar *p, real_vec<2> re, real_vec<2> im) {
    LYR_SHUFFLE(re, im, 0, 2).store(p);
    LYR_SHUFFLE(re, im, 1, 3).store(p + 2);
}
LYR_INLINE void store_pairs_reversed(scalar *p, real_vec<2> re, real_vec<2> im) {
    LYR_SHUFFLE(re, im, 1, 3).store(p);
    LYR_SHUFFLE(re, im, 0, 2).store(p + 2);
}
#ifdef LYRA_SINGLE
LYR_INLINE void store_pairs(scalar *p, real_vec<4> re, real_vec<4> im) {
    LYR_SHUFFLE(re, im, 0, 4, 1, 5).store(p);
    LYR_SHUFFLE(re, im, 2, 6, 3, 7).store(p + 4);
}
LYR_INLINE void store_pairs_reversed(scalar *p, real_vec<4> re, real_vec<4> im) {
    LYR_SHUFFLE(re, im, 3, 7, 2, 6).store(p);
    LYR_SHUFFLE(re, im, 1, 5, 0, 4).store(p + 4);
}
LYR_INLINE void load_pairs(const scalar *p, real_vec<4> &re, real_vec<4> &im) {
    const auto a = real_vec<4>::load(p), b = real_vec<4>::load(p + 4);
    re = LYR_SHUFFLE(a, b, 0, 2, 4, 6);
    im = LYR_SHUFFLE(a, b, 1, 3, 5, 7);
}
LYR_INLINE void load_pairs_reversed(const scalar *p, real_vec<4> &re, real_vec<4> &im) {
    const auto a = real_vec<4>::load(p), b = real_vec<4>::load(p + 4);
    re = LYR_SHUFFLE(a, b, 6, 4, 2, 0);
    im = LYR_SHUFFLE(a, b, 7, 5, 3, 1);
}
#else
LYR_INLINE void store_pairs(scalar *p, real_vec<4> re, real_vec<4> im) {
    const auto even = LYR_SHUFFLE(re, im, 0, 4, 2, 6), odd = LYR_SHUFFLE(re, im, 1, 5, 3, 7);
    LYR_SHUFFLE(even, odd, 0, 1, 4, 5).store(p);
    LYR_SHUFFLE(even, odd, 2, 3, 6, 7).store(p + 4);
}
LYR_INLINE void store_pairs_reversed(scalar *p, real_vec<4> re, real_vec<4> im) {
    const auto even = LYR_SHUFFLE(re, im, 0, 4, 2, 6), odd = LYR_SHUFFLE(re, im, 1, 5, 3, 7);
    LYR_SHUFFLE(odd, even, 2, 3, 6, 7).store(p);
    LYR_SHUFFLE(odd, even, 0, 1, 4, 5).store(p + 4);
}
LYR_INLINE void load_pairs(const scalar *p, real_vec<2> &re, real_vec<2> &im) {
    const auto a = real_vec<2>::load(p), b = real_vec<2>::load(p + 2);
    re = LYR_SHUFFLE(a, b, 0, 2);
    im = LYR_SHUFFLE(a, b, 1, 3);
}
LYR_INLINE void load_pairs_reversed(const scalar *p, real_vec<2> &re, real_vec<2> &im) {
    const auto a = real_vec<2>::load(p), b = real_vec<2>::load(p + 2);
    re = LYR_SHUFFLE(b, a, 0, 2);
    im = LYR_SHUFFLE(b, a, 1, 3);
}
// Two numbers from p and two from q: a load and an insertion from memory, no shuffle.
LYR_INLINE real_vec<4> load_halves(const scalar *p, const scalar *q) {
    const auto a = real_vec<2>::load(p), b = real_vec<2>::load(q);
    return {__builtin_shufflevector(a.v, b.v, 0, 1, 2, 3)};
}
LYR_INLINE void load_pairs(const scalar *p, real_vec<4> &re, real_vec<4> &im) {
    const auto c = load_halves(p, p + 4), d = load_halves(p + 2, p + 6);
    re = LYR_SHUFFLE(c, d, 0, 4, 2, 6);
    im = LYR_SHUFFLE(c, d, 1, 5, 3, 7);
}
LYR_INLINE void load_pairs_reversed(const scalar *p, real_vec<4> &re, real_vec<4> &im) {
    const auto c = load_halves(p + 6, p + 2), d = load_halves(p + 4, p);
    re = LYR_SHUFFLE(c, d, 0, 4, 2, 6);
    im = LYR_SHUFFLE(c, d, 1, 5, 3, 7);
}
#endif
LYR_INLINE void store_pairs(scalar *p, real_vec<8> re, real_vec<8> im) {
    LYR_SHUFFLE(re, im, 0, 8, 1, 9, 2, 10, 3, 11).store(p);
    LYR_SHUFFLE(re, im, 4, 12, 5, 13, 6, 14, 7, 15).store(p + 8);
}
LYR_INLINE void load_pairs(const scalar *p, real_vec<8> &re, real_vec<8> &im) {
    const auto a = real_vec<8>::load(p), b = real_vec<8>::load(p + 8);
    re = LYR_SHUFFLE(a, b, 0, 2, 4, 6, 8, 10, 12, 14);
    im = LYR_SHUFFLE(a, b, 1, 3, 5, 7, 9, 11, 13, 15);
}
#undef LYR_SHUFFLE

}  // namespace
}  // namespace lyr::LYR_ISA
