// Vectors of real numbers: W numbers in a compiler vector, or one number. One header for all
// targets: only the fused product needs to know the processor, and shuffles are written so that
// they stay within 128 bits where that is quicker. The names are those of contract.h.
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

template <int... I>
struct indices {};
// count_to<W>::type has the indices 0..W-1.
template <int W, int... I>
struct count_to : count_to<W - 1, W - 1, I...> {};
template <int... I>
struct count_to<0, I...> {
    using type = indices<I...>;
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
        return of_lanes(f, typename count_to<W>::type{});
    }
    template <class F, int... I>
    LYR_INLINE static real_vec of_lanes(F f, indices<I...>) {
        return {typename numbers_of<W>::type{f(I)...}};
    }
    LYR_INLINE scalar lane(int l) const {
        if constexpr (W == 1)
            return v;
        else
            return v[l];
    }
    // The numbers that end at p, last one first.
    LYR_INLINE static real_vec load_down(const scalar *p) { return reversed(load(p - (W - 1))); }
    LYR_INLINE void store_down(scalar *p) const { reversed(*this).store(p - (W - 1)); }
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
LYR_INLINE real_vec<W> operator*(real_vec<W> a, real_vec<W> b) {
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

// ---- The order of lanes -------------------------------------------------------------------------

// Lane l is lane from(l) of x, or lane from(l) - W of y.
template <int W, class F, int... L>
LYR_INLINE real_vec<W> picked(real_vec<W> x, real_vec<W> y, F from, indices<L...>) {
    return {__builtin_shufflevector(x.v, y.v, from(L)...)};
}
template <int W, class F>
LYR_INLINE real_vec<W> picked(real_vec<W> x, real_vec<W> y, F from) {
    return picked(x, y, from, typename count_to<W>::type{});
}

template <int W>
LYR_INLINE real_vec<W> reversed(real_vec<W> a) {
    if constexpr (W == 1)
        return a;
    else
        return picked(a, a, [](int l) { return W - 1 - l; });
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

#undef LYR_SHUFFLE

// ---- Pairs --------------------------------------------------------------------------------------
// W pairs from p on, of first members a and second members b; `down`: those that end with the one
// at p, last one first.

template <int W, int... L>
LYR_INLINE real_vec<W> joined(real_vec<W / 2> a, real_vec<W / 2> b, indices<L...>) {
    return {__builtin_shufflevector(a.v, b.v, L...)};
}
// W numbers, half of them from p and half from q: a load and an insertion from memory, no shuffle.
template <int W>
LYR_INLINE real_vec<W> load_halves(const scalar *p, const scalar *q) {
    using half = real_vec<W / 2>;
    return joined<W>(half::load(p), half::load(q), typename count_to<W>::type{});
}

// Shuffles of 256 bits are quickest where no number moves from half to half. So loads fill the
// halves of x and y such that these have all that is needed: lane l of the first members is lane
// first_of_halves(l) of x and y, as in picked. Stores join pairs within 128 bits before they
// exchange halves.
template <int W>
constexpr bool has_halves = W *scalar_bytes == 32;
template <int W, bool down>
constexpr int first_of_halves(int l) {
    constexpr int half = W / 2, pairs = W / 4;  // in a half
    const int pair = down ? pairs - 1 - l % pairs : l % pairs;
    return l / half * half + l / pairs % 2 * W + 2 * pair;
}
template <int W>
constexpr int pairs_in_halves(int l) {
    constexpr int half = W / 2;
    return l / half * half + l % half / 2 + l % 2 * W;
}
template <int W>
LYR_INLINE real_vec<W> lower_halves(real_vec<W> x, real_vec<W> y) {
    return picked(x, y, [](int l) { return l % (W / 2) + l / (W / 2) * W; });
}
template <int W>
LYR_INLINE real_vec<W> upper_halves(real_vec<W> x, real_vec<W> y) {
    return picked(x, y, [](int l) { return W / 2 + l % (W / 2) + l / (W / 2) * W; });
}

template <int W>
LYR_INLINE void load_pairs(const scalar *p, real_vec<W> &a, real_vec<W> &b) {
    if constexpr (W == 1) {
        a = {p[0]};
        b = {p[1]};
    } else if constexpr (has_halves<W>) {
        const auto x = load_halves<W>(p, p + W), y = load_halves<W>(p + W / 2, p + W + W / 2);
        a = picked(x, y, [](int l) { return first_of_halves<W, false>(l); });
        b = picked(x, y, [](int l) { return first_of_halves<W, false>(l) + 1; });
    } else {
        const auto x = real_vec<W>::load(p), y = real_vec<W>::load(p + W);
        a = picked(x, y, [](int l) { return 2 * l; });
        b = picked(x, y, [](int l) { return 2 * l + 1; });
    }
}
template <int W>
LYR_INLINE void load_pairs_down(const scalar *p, real_vec<W> &a, real_vec<W> &b) {
    if constexpr (W == 1) {
        load_pairs(p, a, b);
    } else if constexpr (has_halves<W>) {
        const scalar *last = p + 2 - W / 2, *before = last - W / 2;
        const auto x = load_halves<W>(last, last - W), y = load_halves<W>(before, before - W);
        a = picked(x, y, [](int l) { return first_of_halves<W, true>(l); });
        b = picked(x, y, [](int l) { return first_of_halves<W, true>(l) + 1; });
    } else {
        const auto x = real_vec<W>::load(p + 2 - 2 * W), y = real_vec<W>::load(p + 2 - W);
        a = picked(x, y, [](int l) { return 2 * (W - 1 - l); });
        b = picked(x, y, [](int l) { return 2 * (W - 1 - l) + 1; });
    }
}
template <int W>
LYR_INLINE void store_pairs(scalar *p, real_vec<W> a, real_vec<W> b) {
    if constexpr (W == 1) {
        a.store(p);
        b.store(p + 1);
    } else if constexpr (has_halves<W>) {
        const auto x = picked(a, b, [](int l) { return pairs_in_halves<W>(l); });
        const auto y = picked(a, b, [](int l) { return pairs_in_halves<W>(l) + W / 4; });
        lower_halves(x, y).store(p);
        upper_halves(x, y).store(p + W);
    } else {
        picked(a, b, [](int l) { return l / 2 + l % 2 * W; }).store(p);
        picked(a, b, [](int l) { return W / 2 + l / 2 + l % 2 * W; }).store(p + W);
    }
}
template <int W>
LYR_INLINE void store_pairs_down(scalar *p, real_vec<W> a, real_vec<W> b) {
    if constexpr (W == 1) {
        store_pairs(p, a, b);
    } else if constexpr (has_halves<W> && W == 4) {
        const auto x = picked(a, b, [](int l) { return pairs_in_halves<W>(l); });
        const auto y = picked(a, b, [](int l) { return pairs_in_halves<W>(l) + 1; });
        upper_halves(y, x).store(p - 6);
        lower_halves(y, x).store(p - 2);
    } else {
        picked(a, b, [](int l) { return W - 1 - l / 2 + l % 2 * W; }).store(p + 2 - 2 * W);
        picked(a, b, [](int l) { return W / 2 - 1 - l / 2 + l % 2 * W; }).store(p + 2 - W);
    }
}

}  // namespace
}  // namespace lyr::LYR_ISA
