// AArch64 Advanced SIMD with the Armv8.3-A complex-number instructions, single precision: two
// complex numbers in a 128-bit register, one in half of it. fcadd adds with a rotation; fcmla #90
// adds (i * Im n) * m.
#pragma once

#include <arm_neon.h>

#include "codelets/simd/contract.h"

namespace lyr::LYR_ISA {
namespace {

struct vec1 {
    static constexpr int lanes = 1;
    float32x2_t v;
    using tw = float32x2_t;  // a plain number

    LYR_INLINE static vec1 load(const float *p) { return {vld1_f32(p)}; }
    LYR_INLINE void store(float *p) const { vst1_f32(p, v); }
    LYR_INLINE static vec1 gather(const float *p, int64_t) { return load(p); }
    LYR_INLINE void scatter(float *p, int64_t) const { store(p); }
    LYR_INLINE static tw tw_one(const float *re, const float *im) {
        return vld1_lane_f32(im, vld1_dup_f32(re), 1);
    }
    LYR_INLINE static tw tw_lanes(const float *p) { return vld1_f32(p); }
    LYR_INLINE static tw tw_plain(const float *p) { return vld1_f32(p); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t) { return vld1_f32(p); }
    LYR_INLINE static void join(float *p, const float *re, const float *im) {
        const float32x2x2_t parts = {{vld1_f32(re), vld1_f32(im)}};
        vst2_f32(p, parts);
    }
    LYR_INLINE static void part(float *re, float *im, const float *p) {
        const float32x2x2_t parts = vld2_f32(p);
        vst1_f32(re, parts.val[0]);
        vst1_f32(im, parts.val[1]);
    }
    LYR_INLINE static vec1 load_split(const float *re, const float *im) { return {tw_one(re, im)}; }
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

// The parts of two twiddle factors, each twice; of the imaginary ones every second is read.
struct tw_of_two {
    float32x4_t re, im;
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
        return {vld1q_dup_f32(re), vld1q_dup_f32(im)};
    }
    LYR_INLINE static tw tw_lanes(const float *p) { return {vld1q_f32(p), vld1q_f32(p + 4)}; }
    LYR_INLINE static tw parts(float32x4_t w) { return {vtrn1q_f32(w, w), w}; }
    LYR_INLINE static tw tw_plain(const float *p) { return parts(vld1q_f32(p)); }
    LYR_INLINE static tw tw_gather(const float *p, int64_t s) { return parts(gather(p, s).v); }
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
LYR_INLINE vec1 add_i(vec1 a, vec1 b) {
    return {vcadd_rot90_f32(a.v, b.v)};
}
LYR_INLINE vec1 sub_i(vec1 a, vec1 b) {
    return {vcadd_rot270_f32(a.v, b.v)};
}
LYR_INLINE vec1 scale(vec1 a, float s) {
    return {vmul_n_f32(a.v, s)};
}
LYR_INLINE vec1 fma(vec1 a, vec1 b, float s) {
    return {vfma_n_f32(a.v, b.v, s)};
}
LYR_INLINE vec1 fma_i(vec1 a, vec1 b, float s) {
    return {vcmla_rot90_f32(a.v, vdup_n_f32(s), b.v)};
}
// Two instructions: no zeroed accumulator.
LYR_INLINE vec1 cmul(vec1 a, vec1::tw w) {
    return {vcmla_rot90_f32(vmul_lane_f32(a.v, w, 0), w, a.v)};
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
LYR_INLINE void twist(vec1 e, vec1 d, vec1::tw w, vec1 &a, vec1 &b) {
    const vec1 t = cmul(d, w);
    a = sub_i(e, t);
    b = add_i(e, t);
}
LYR_INLINE void twist_back(vec1 e, vec1 d, vec1::tw w, vec1 &a, vec1 &b) {
    const vec1 t = {vcmla_rot270_f32(vmul_lane_f32(d.v, w, 0), w, d.v)};
    a = add_i(e, t);
    b = sub_i(e, t);
}

LYR_INLINE vec2 operator+(vec2 a, vec2 b) {
    return {vaddq_f32(a.v, b.v)};
}
LYR_INLINE vec2 operator-(vec2 a, vec2 b) {
    return {vsubq_f32(a.v, b.v)};
}
LYR_INLINE vec2 add_i(vec2 a, vec2 b) {
    return {vcaddq_rot90_f32(a.v, b.v)};
}
LYR_INLINE vec2 sub_i(vec2 a, vec2 b) {
    return {vcaddq_rot270_f32(a.v, b.v)};
}
LYR_INLINE vec2 scale(vec2 a, float s) {
    return {vmulq_n_f32(a.v, s)};
}
LYR_INLINE vec2 fma(vec2 a, vec2 b, float s) {
    return {vfmaq_n_f32(a.v, b.v, s)};
}
LYR_INLINE vec2 fma_i(vec2 a, vec2 b, float s) {
    return {vcmlaq_rot90_f32(a.v, vdupq_n_f32(s), b.v)};
}
LYR_INLINE vec2 cmul(vec2 a, tw_of_two w) {
    return {vcmlaq_rot90_f32(vmulq_f32(a.v, w.re), w.im, a.v)};
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
LYR_INLINE void twist(vec2 e, vec2 d, tw_of_two w, vec2 &a, vec2 &b) {
    const vec2 t = cmul(d, w);
    a = sub_i(e, t);
    b = add_i(e, t);
}
LYR_INLINE void twist_back(vec2 e, vec2 d, tw_of_two w, vec2 &a, vec2 &b) {
    const vec2 t = {vcmlaq_rot270_f32(vmulq_f32(d.v, w.re), w.im, d.v)};
    a = add_i(e, t);
    b = sub_i(e, t);
}

}  // namespace
}  // namespace lyr::LYR_ISA
