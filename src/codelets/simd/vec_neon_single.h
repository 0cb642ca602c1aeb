// AArch64 Advanced SIMD in single precision: two complex numbers in a 128-bit register, one in half
// of it. For two targets, as in double precision: with fcadd and fcmla, and without.
#pragma once

#include <arm_neon.h>

#include "codelets/simd/contract.h"

namespace lyr::LYR_ISA {
namespace {

// One twiddle factor as a plain number, or its parts, each twice; and the parts of two factors so.
// With complex-number instructions every second of the imaginary parts is read, without them the
// first of two has the other sign. Products round alike in one lane and in two.
#ifdef __ARM_FEATURE_COMPLEX
struct tw_of_one {
    float32x2_t v;

    LYR_INLINE static tw_of_one of(float32x2_t w) { return {w}; }
};
struct tw_of_two {
    float32x4_t re, im;

    LYR_INLINE static tw_of_two of(float32x4_t re, float32x4_t im) { return {re, im}; }
    LYR_INLINE static tw_of_two of(float32x4_t w) { return {vtrn1q_f32(w, w), w}; }
};
#else
LYR_INLINE float32x2_t swapped(float32x2_t a) {
    return vrev64_f32(a);
}
LYR_INLINE float32x4_t swapped(float32x4_t a) {
    return vrev64q_f32(a);
}
// The signs of real parts changed.
LYR_INLINE float32x2_t negated_first(float32x2_t a) {
    const uint32x2_t sign = {1u << 31, 0};
    return vreinterpret_f32_u32(veor_u32(vreinterpret_u32_f32(a), sign));
}
LYR_INLINE float32x4_t negated_first(float32x4_t a) {
    const uint32x4_t sign = {1u << 31, 0, 1u << 31, 0};
    return vreinterpretq_f32_u32(veorq_u32(vreinterpretq_u32_f32(a), sign));
}

struct tw_of_one {
    float32x2_t re, im;

    LYR_INLINE static tw_of_one of(float32x2_t w) {
        return {vdup_lane_f32(w, 0), negated_first(vdup_lane_f32(w, 1))};
    }
};
struct tw_of_two {
    float32x4_t re, im;

    LYR_INLINE static tw_of_two of(float32x4_t re, float32x4_t im) {
        return {re, negated_first(im)};
    }
    LYR_INLINE static tw_of_two of(float32x4_t w) { return of(vtrn1q_f32(w, w), vtrn2q_f32(w, w)); }
};
#endif

struct vec1 {
    static constexpr int lanes = 1;
    float32x2_t v;
    using tw = tw_of_one;

    LYR_INLINE static vec1 load(const float *p) { return {vld1_f32(p)}; }
    LYR_INLINE void store(float *p) const { vst1_f32(p, v); }
    LYR_INLINE static vec1 gather(const float *p, int64_t) { return load(p); }
    LYR_INLINE void scatter(float *p, int64_t) const { store(p); }
    LYR_INLINE static tw tw_one(const float *re, const float *im) {
        return tw::of(load_split(re, im).v);
    }
    LYR_INLINE static tw tw_lanes(const float *p) { return tw::of(vld1_f32(p)); }
    LYR_INLINE static tw tw_plain(const float *p) { return tw::of(vld1_f32(p)); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t) { return tw::of(vld1_f32(p)); }
    LYR_INLINE static void join(float *p, const float *re, const float *im) {
        const float32x2x2_t parts = {{vld1_f32(re), vld1_f32(im)}};
        vst2_f32(p, parts);
    }
    LYR_INLINE static void part(float *re, float *im, const float *p) {
        const float32x2x2_t parts = vld2_f32(p);
        vst1_f32(re, parts.val[0]);
        vst1_f32(im, parts.val[1]);
    }
    LYR_INLINE static vec1 load_split(const float *re, const float *im) {
        return {vld1_lane_f32(im, vld1_dup_f32(re), 1)};
    }
    LYR_INLINE void store_split(float *re, float *im) const {
        vst1_lane_f32(re, v, 0);
        vst1_lane_f32(im, v, 1);
    }
    LYR_INLINE void store_split_alternating(const float *p, float *re, float *im) const {
        const float32x2_t a = vld1_f32(p);
        vst1_f32(re, vzip1_f32(a, v));
        vst1_f32(im, vzip2_f32(a, v));
    }
};

struct vec2 {
    static constexpr int lanes = 2;
    static constexpr bool gathers_pairs = true;
    using half = vec1;
    float32x4_t v;
    using tw = tw_of_two;

    LYR_INLINE static vec2 load(const float *p) { return {vld1q_f32(p)}; }
    LYR_INLINE void store(float *p) const { vst1q_f32(p, v); }
    LYR_INLINE static vec2 zero() { return {vdupq_n_f32(0)}; }
    template <int N>
    LYR_INLINE static vec2 load_first(const float *p) {
        if constexpr (N == 2) return load(p);
        if constexpr (N == 1) return {vcombine_f32(vld1_f32(p), vdup_n_f32(0))};
    }
    template <int N>
    LYR_INLINE void store_first(float *p) const {
        if constexpr (N == 2) store(p);
        if constexpr (N == 1) vst1_f32(p, vget_low_f32(v));
    }
    LYR_INLINE static vec2 repeat(const float *p) {
        const float32x2_t a = vld1_f32(p);
        return {vcombine_f32(a, a)};
    }
    LYR_INLINE static vec2 spread(const float *p) { return {vld1q_dup_f32(p)}; }
    LYR_INLINE vec1 first_lane() const { return {vget_low_f32(v)}; }
    LYR_INLINE static vec2 sum_and_difference(const float *p, const float *q) {
        return {vfmaq_f32(vld1q_dup_f32(p), vld1q_dup_f32(q), float32x4_t{1, -1, 1, -1})};
    }
    template <int N>
    LYR_INLINE void store_mirrored(float *p, float *q) const {
        const float32x2_t x = vget_low_f32(v), y = vget_high_f32(v);
        const float32x2_t a = vuzp1_f32(x, y), b = vuzp2_f32(x, y);
        const float32x2_t sum = vadd_f32(a, b), d = vsub_f32(a, b);
        if constexpr (N == 2) {
            vst1_f32(p, sum);
            vst1_f32(q, vrev64_f32(d));
        } else {
            vst1_lane_f32(p, sum, 0);
            vst1_lane_f32(q, d, 0);
        }
    }
    LYR_INLINE static vec2 gather(const float *p, int64_t s) {
        return {vcombine_f32(vld1_f32(p), vld1_f32(p + s))};
    }
    LYR_INLINE static void gather_pair(const float *p, int64_t s, vec2 &a, vec2 &b) {
        const float64x2_t x = vreinterpretq_f64_f32(vld1q_f32(p));
        const float64x2_t y = vreinterpretq_f64_f32(vld1q_f32(p + s));
        a.v = vreinterpretq_f32_f64(vzip1q_f64(x, y));
        b.v = vreinterpretq_f32_f64(vzip2q_f64(x, y));
    }
    LYR_INLINE void scatter(float *p, int64_t s) const {
        vst1_f32(p, vget_low_f32(v));
        vst1_f32(p + s, vget_high_f32(v));
    }
    LYR_INLINE static tw tw_one(const float *re, const float *im) {
        return tw::of(vld1q_dup_f32(re), vld1q_dup_f32(im));
    }
    LYR_INLINE static tw tw_lanes(const float *p) { return tw::of(vld1q_f32(p), vld1q_f32(p + 4)); }
    LYR_INLINE static tw tw_plain(const float *p) { return tw::of(vld1q_f32(p)); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t s) { return tw::of(gather(p, s).v); }
    LYR_INLINE static void join(float *p, const float *re, const float *im) {
        const float32x4x2_t parts = {{vld1q_f32(re), vld1q_f32(im)}};
        vst2q_f32(p, parts);
    }
    LYR_INLINE static void part(float *re, float *im, const float *p) {
        const float32x4x2_t parts = vld2q_f32(p);
        vst1q_f32(re, parts.val[0]);
        vst1q_f32(im, parts.val[1]);
    }
    LYR_INLINE static vec2 load_split(const float *re, const float *im) {
        const float32x2_t x = vld1_f32(re), y = vld1_f32(im);
        return {vcombine_f32(vzip1_f32(x, y), vzip2_f32(x, y))};
    }
    LYR_INLINE void store_split(float *re, float *im) const {
        const float32x2_t x = vget_low_f32(v), y = vget_high_f32(v);
        vst1_f32(re, vuzp1_f32(x, y));
        vst1_f32(im, vuzp2_f32(x, y));
    }
    LYR_INLINE void store_split_alternating(const float *p, float *re, float *im) const {
        const float32x4_t a = vld1q_f32(p);
        vst1q_f32(re, vtrn1q_f32(a, v));
        vst1q_f32(im, vtrn2q_f32(a, v));
    }
};
using vec = vec2;
constexpr int accesses_per_pointer = 8;

LYR_INLINE vec1 operator+(vec1 a, vec1 b) {
    return {vadd_f32(a.v, b.v)};
}
LYR_INLINE vec1 operator-(vec1 a, vec1 b) {
    return {vsub_f32(a.v, b.v)};
}
LYR_INLINE vec1 scale(vec1 a, float s) {
    return {vmul_n_f32(a.v, s)};
}
LYR_INLINE vec1 fma(vec1 a, vec1 b, float s) {
    return {vfma_n_f32(a.v, b.v, s)};
}
LYR_INLINE vec1 reversed(vec1 a) {
    return a;
}
LYR_INLINE vec1 add_conj(vec1 a, vec1 b) {
    return {vfma_f32(a.v, b.v, float32x2_t{1, -1})};
}
LYR_INLINE vec1 sub_conj(vec1 a, vec1 b) {
    return {vfms_f32(a.v, b.v, float32x2_t{1, -1})};
}
LYR_INLINE vec1 scale_conj(vec1 a, float s) {
    return {vmul_f32(a.v, float32x2_t{s, -s})};
}
LYR_INLINE vec2 operator+(vec2 a, vec2 b) {
    return {vaddq_f32(a.v, b.v)};
}
LYR_INLINE vec2 operator-(vec2 a, vec2 b) {
    return {vsubq_f32(a.v, b.v)};
}
LYR_INLINE vec2 scale(vec2 a, float s) {
    return {vmulq_n_f32(a.v, s)};
}
LYR_INLINE vec2 fma(vec2 a, vec2 b, float s) {
    return {vfmaq_n_f32(a.v, b.v, s)};
}
LYR_INLINE vec2 reversed(vec2 a) {
    return {vextq_f32(a.v, a.v, 2)};
}
LYR_INLINE void transpose(vec2 (&x)[2]) {
    const float64x2_t a = vreinterpretq_f64_f32(x[0].v), b = vreinterpretq_f64_f32(x[1].v);
    x[0].v = vreinterpretq_f32_f64(vzip1q_f64(a, b));
    x[1].v = vreinterpretq_f32_f64(vzip2q_f64(a, b));
}
template <int N>
LYR_INLINE vec2 reversed_first(vec2 a) {
    if constexpr (N == 1) return a;
    return reversed(a);
}
LYR_INLINE vec2 exchanged(vec2 a) {
    return {vrev64q_f32(a.v)};
}
LYR_INLINE vec2 fma_parts(vec2 a, vec2 b, const float *s) {
    return {vfmaq_f32(a.v, b.v, vld1q_f32(s))};
}
LYR_INLINE vec1 lane_sum(vec2 a) {
    return {vadd_f32(vget_low_f32(a.v), vget_high_f32(a.v))};
}
LYR_INLINE vec2 add_conj(vec2 a, vec2 b) {
    return {vfmaq_f32(a.v, b.v, float32x4_t{1, -1, 1, -1})};
}
LYR_INLINE vec2 sub_conj(vec2 a, vec2 b) {
    return {vfmsq_f32(a.v, b.v, float32x4_t{1, -1, 1, -1})};
}
LYR_INLINE vec2 scale_conj(vec2 a, float s) {
    return {vmulq_f32(a.v, float32x4_t{s, -s, s, -s})};
}

#ifdef __ARM_FEATURE_COMPLEX

LYR_INLINE vec1 add_i(vec1 a, vec1 b) {
    return {vcadd_rot90_f32(a.v, b.v)};
}
LYR_INLINE vec2 add_i(vec2 a, vec2 b) {
    return {vcaddq_rot90_f32(a.v, b.v)};
}
LYR_INLINE vec1 sub_i(vec1 a, vec1 b) {
    return {vcadd_rot270_f32(a.v, b.v)};
}
LYR_INLINE vec2 sub_i(vec2 a, vec2 b) {
    return {vcaddq_rot270_f32(a.v, b.v)};
}
LYR_INLINE vec1 fma_i(vec1 a, vec1 b, float s) {
    return {vcmla_rot90_f32(a.v, vdup_n_f32(s), b.v)};
}
LYR_INLINE vec2 fma_i(vec2 a, vec2 b, float s) {
    return {vcmlaq_rot90_f32(a.v, vdupq_n_f32(s), b.v)};
}
// Two instructions: no zeroed accumulator.
LYR_INLINE vec1 cmul(vec1 a, tw_of_one w) {
    return {vcmla_rot90_f32(vmul_lane_f32(a.v, w.v, 0), w.v, a.v)};
}
LYR_INLINE vec2 cmul(vec2 a, tw_of_two w) {
    return {vcmlaq_rot90_f32(vmulq_f32(a.v, w.re), w.im, a.v)};
}
LYR_INLINE vec1 cmul_conj(vec1 a, tw_of_one w) {
    return {vcmla_rot270_f32(vmul_lane_f32(a.v, w.v, 0), w.v, a.v)};
}
LYR_INLINE vec2 cmul_conj(vec2 a, tw_of_two w) {
    return {vcmlaq_rot270_f32(vmulq_f32(a.v, w.re), w.im, a.v)};
}

#else

// The compiler forms i*b once for both of a pair.
LYR_INLINE vec1 add_i(vec1 a, vec1 b) {
    return {vadd_f32(a.v, negated_first(swapped(b.v)))};
}
LYR_INLINE vec2 add_i(vec2 a, vec2 b) {
    return {vaddq_f32(a.v, negated_first(swapped(b.v)))};
}
LYR_INLINE vec1 sub_i(vec1 a, vec1 b) {
    return {vsub_f32(a.v, negated_first(swapped(b.v)))};
}
LYR_INLINE vec2 sub_i(vec2 a, vec2 b) {
    return {vsubq_f32(a.v, negated_first(swapped(b.v)))};
}
LYR_INLINE vec1 scale_i(vec1 a, float s) {
    return {vmul_f32(swapped(a.v), float32x2_t{-s, s})};
}
LYR_INLINE vec2 scale_i(vec2 a, float s) {
    return {vmulq_f32(swapped(a.v), float32x4_t{-s, s, -s, s})};
}
// Constants of either sign share a register.
LYR_INLINE vec1 fma_i(vec1 a, vec1 b, float s) {
    if (__builtin_constant_p(s < 0) && s < 0)
        return {vfms_f32(a.v, swapped(b.v), float32x2_t{s, -s})};
    return {vfma_f32(a.v, swapped(b.v), float32x2_t{-s, s})};
}
LYR_INLINE vec2 fma_i(vec2 a, vec2 b, float s) {
    if (__builtin_constant_p(s < 0) && s < 0)
        return {vfmsq_f32(a.v, swapped(b.v), float32x4_t{s, -s, s, -s})};
    return {vfmaq_f32(a.v, swapped(b.v), float32x4_t{-s, s, -s, s})};
}
LYR_INLINE vec1 cmul(vec1 a, tw_of_one w) {
    return {vfma_f32(vmul_f32(a.v, w.re), swapped(a.v), w.im)};
}
LYR_INLINE vec2 cmul(vec2 a, tw_of_two w) {
    return {vfmaq_f32(vmulq_f32(a.v, w.re), swapped(a.v), w.im)};
}
LYR_INLINE vec1 cmul_conj(vec1 a, tw_of_one w) {
    return {vfms_f32(vmul_f32(a.v, w.re), swapped(a.v), w.im)};
}
LYR_INLINE vec2 cmul_conj(vec2 a, tw_of_two w) {
    return {vfmsq_f32(vmulq_f32(a.v, w.re), swapped(a.v), w.im)};
}

#endif

template <class V>
LYR_INLINE void twist_back(V e, V d, typename V::tw w, V &a, V &b) {
    const V t = cmul_conj(d, w);
    a = add_i(e, t);
    b = sub_i(e, t);
}

}  // namespace
}  // namespace lyr::LYR_ISA
