// Portable vectors of single precision: two complex numbers in a compiler vector of four floats,
// and one in half of it. Compiled with -ffp-contract=fast, so that machines with fused multiply-add
// use it.
#pragma once

#include "codelets/simd/contract.h"

namespace lyr::LYR_ISA {
namespace {

template <int N>
struct floats {
    typedef float type __attribute__((vector_size(4 * N)));
    typedef float unaligned __attribute__((vector_size(4 * N), aligned(4), may_alias));
};
using float2 = floats<2>::type;
using float4 = floats<4>::type;

LYR_INLINE float2 load2(const float *p) {
    return *reinterpret_cast<const floats<2>::unaligned *>(p);
}
LYR_INLINE float4 load4(const float *p) {
    return *reinterpret_cast<const floats<4>::unaligned *>(p);
}
LYR_INLINE void store2(float *p, float2 v) {
    *reinterpret_cast<floats<2>::unaligned *>(p) = v;
}
LYR_INLINE void store4(float *p, float4 v) {
    *reinterpret_cast<floats<4>::unaligned *>(p) = v;
}
LYR_INLINE float4 both(float2 a, float2 b) {
    return __builtin_shufflevector(a, b, 0, 1, 2, 3);
}
LYR_INLINE float2 low(float4 a) {
    return __builtin_shufflevector(a, a, 0, 1);
}
LYR_INLINE float2 high(float4 a) {
    return __builtin_shufflevector(a, a, 2, 3);
}

struct vec1 {
    static constexpr int lanes = 1;
    using reg = float2;
    float2 v;
    struct tw {
        float2 re, im;
    };

    LYR_INLINE static vec1 load(const float *p) { return {load2(p)}; }
    LYR_INLINE void store(float *p) const { store2(p, v); }
    LYR_INLINE static vec1 gather(const float *p, int64_t) { return load(p); }
    LYR_INLINE void scatter(float *p, int64_t) const { store(p); }
    LYR_INLINE static tw tw_one(const float *re, const float *im) {
        return {float2{*re, *re}, float2{*im, *im}};
    }
    LYR_INLINE static tw tw_lanes(const float *p) { return tw_one(p, p + 1); }
    LYR_INLINE static tw tw_plain(const float *p) { return tw_one(p, p + 1); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t) { return tw_one(p, p + 1); }
    LYR_INLINE static void join(float *p, const float *re, const float *im) {
        const float2 x = load2(re), y = load2(im);
        store4(p, __builtin_shufflevector(x, y, 0, 2, 1, 3));
    }
    LYR_INLINE static void part(float *re, float *im, const float *p) {
        const float4 a = load4(p);
        store2(re, __builtin_shufflevector(a, a, 0, 2));
        store2(im, __builtin_shufflevector(a, a, 1, 3));
    }
    LYR_INLINE static vec1 load_split(const float *re, const float *im) {
        return {float2{*re, *im}};
    }
    LYR_INLINE void store_split(float *re, float *im) const {
        *re = v[0];
        *im = v[1];
    }
    LYR_INLINE void store_split_alternating(const float *p, float *re, float *im) const {
        const float2 a = load2(p);
        store2(re, __builtin_shufflevector(a, v, 0, 2));
        store2(im, __builtin_shufflevector(a, v, 1, 3));
    }
};

struct vec2 {
    static constexpr int lanes = 2;
    static constexpr bool gathers_pairs = true;
    using half = vec1;
    using reg = float4;
    float4 v;
    struct tw {
        float4 re, im;
    };

    LYR_INLINE static vec2 load(const float *p) { return {load4(p)}; }
    LYR_INLINE void store(float *p) const { store4(p, v); }
    LYR_INLINE static vec2 zero() { return {float4{}}; }
    template <int N>
    LYR_INLINE static vec2 load_first(const float *p) {
        if constexpr (N == 2) return load(p);
        if constexpr (N == 1) return {both(load2(p), float2{})};
    }
    template <int N>
    LYR_INLINE void store_first(float *p) const {
        if constexpr (N == 2) store(p);
        if constexpr (N == 1) store2(p, low(v));
    }
    LYR_INLINE static vec2 repeat(const float *p) {
        const float2 a = load2(p);
        return {both(a, a)};
    }
    LYR_INLINE static vec2 spread(const float *p) { return {float4{} + *p}; }
    LYR_INLINE vec1 first_lane() const { return {low(v)}; }
    LYR_INLINE static vec2 sum_and_difference(const float *p, const float *q) {
        const float a = *p + *q, b = *p - *q;
        return {float4{a, b, a, b}};
    }
    template <int N>
    LYR_INLINE void store_mirrored(float *p, float *q) const {
        const float2 x = low(v), y = high(v);
        const float2 a = __builtin_shufflevector(x, y, 0, 2),
                     b = __builtin_shufflevector(x, y, 1, 3);
        const float2 sum = a + b, d = a - b;
        if constexpr (N == 2) {
            store2(p, sum);
            store2(q, __builtin_shufflevector(d, d, 1, 0));
        } else {
            *p = sum[0];
            *q = d[0];
        }
    }
    LYR_INLINE static vec2 gather(const float *p, int64_t s) {
        return {both(load2(p), load2(p + s))};
    }
    LYR_INLINE static void gather_pair(const float *p, int64_t s, vec2 &a, vec2 &b) {
        const float4 x = load4(p), y = load4(p + s);
        a.v = __builtin_shufflevector(x, y, 0, 1, 4, 5);
        b.v = __builtin_shufflevector(x, y, 2, 3, 6, 7);
    }
    LYR_INLINE void scatter(float *p, int64_t s) const {
        store2(p, low(v));
        store2(p + s, high(v));
    }
    LYR_INLINE static tw tw_one(const float *re, const float *im) {
        return {float4{} + *re, float4{} + *im};
    }
    LYR_INLINE static tw tw_lanes(const float *p) { return {load4(p), load4(p + 4)}; }
    LYR_INLINE static tw parts(float4 w) {
        return {__builtin_shufflevector(w, w, 0, 0, 2, 2),
                __builtin_shufflevector(w, w, 1, 1, 3, 3)};
    }
    LYR_INLINE static tw tw_plain(const float *p) { return parts(load4(p)); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t s) { return parts(gather(p, s).v); }
    LYR_INLINE static void join(float *p, const float *re, const float *im) {
        const float4 x = load4(re), y = load4(im);
        store4(p, __builtin_shufflevector(x, y, 0, 4, 1, 5));
        store4(p + 4, __builtin_shufflevector(x, y, 2, 6, 3, 7));
    }
    LYR_INLINE static void part(float *re, float *im, const float *p) {
        const float4 a = load4(p), b = load4(p + 4);
        store4(re, __builtin_shufflevector(a, b, 0, 2, 4, 6));
        store4(im, __builtin_shufflevector(a, b, 1, 3, 5, 7));
    }
    LYR_INLINE static vec2 load_split(const float *re, const float *im) {
        const float2 x = load2(re), y = load2(im);
        return {__builtin_shufflevector(x, y, 0, 2, 1, 3)};
    }
    LYR_INLINE void store_split(float *re, float *im) const {
        store2(re, __builtin_shufflevector(v, v, 0, 2));
        store2(im, __builtin_shufflevector(v, v, 1, 3));
    }
    LYR_INLINE void store_split_alternating(const float *p, float *re, float *im) const {
        const float4 even = load4(p);
        store4(re, __builtin_shufflevector(even, v, 0, 4, 2, 6));
        store4(im, __builtin_shufflevector(even, v, 1, 5, 3, 7));
    }
};
using vec = vec2;
constexpr int accesses_per_pointer = 8;

template <class V>
concept portable = requires {
    typename V::reg;
};

LYR_INLINE float2 swapped(float2 a) {
    return __builtin_shufflevector(a, a, 1, 0);
}
LYR_INLINE float4 swapped(float4 a) {
    return __builtin_shufflevector(a, a, 1, 0, 3, 2);
}
// x, y in turns.
template <class R>
LYR_INLINE R alternating(float x, float y) {
    if constexpr (sizeof(R) == 8)
        return R{x, y};
    else
        return R{x, y, x, y};
}

template <portable V>
LYR_INLINE V operator+(V a, V b) {
    return {a.v + b.v};
}
template <portable V>
LYR_INLINE V operator-(V a, V b) {
    return {a.v - b.v};
}
template <portable V>
LYR_INLINE V scale(V a, float s) {
    return {a.v * s};
}
template <portable V>
LYR_INLINE V fma(V a, V b, float s) {
    return {a.v + b.v * s};
}
template <portable V>
LYR_INLINE V fma_i(V a, V b, float s) {
    return {a.v + swapped(b.v) * alternating<typename V::reg>(-s, s)};
}
template <portable V>
LYR_INLINE V add_i(V a, V b) {
    return fma_i(a, b, 1.0F);
}
template <portable V>
LYR_INLINE V sub_i(V a, V b) {
    return fma_i(a, b, -1.0F);
}
template <portable V>
LYR_INLINE V cmul(V a, typename V::tw w) {
    return {a.v * w.re + swapped(a.v) * (w.im * alternating<typename V::reg>(-1, 1))};
}
template <portable V>
LYR_INLINE V add_conj(V a, V b) {
    return {a.v + b.v * alternating<typename V::reg>(1, -1)};
}
template <portable V>
LYR_INLINE V sub_conj(V a, V b) {
    return {a.v - b.v * alternating<typename V::reg>(1, -1)};
}
template <portable V>
LYR_INLINE V scale_conj(V a, float s) {
    return {a.v * alternating<typename V::reg>(s, -s)};
}
template <portable V>
LYR_INLINE void twist_back(V e, V d, typename V::tw w, V &a, V &b) {
    const V t = cmul(d, typename V::tw{w.re, -w.im});
    a = add_i(e, t);
    b = sub_i(e, t);
}
LYR_INLINE vec1 reversed(vec1 a) {
    return a;
}
LYR_INLINE vec2 reversed(vec2 a) {
    return {both(high(a.v), low(a.v))};
}
LYR_INLINE void transpose(vec2 (&x)[2]) {
    const float4 a = both(low(x[0].v), low(x[1].v));
    x[1].v = both(high(x[0].v), high(x[1].v));
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
    return {a.v + b.v * load4(s)};
}
LYR_INLINE vec1 lane_sum(vec2 a) {
    return {low(a.v) + high(a.v)};
}

}  // namespace
}  // namespace lyr::LYR_ISA
