// AArch64 Advanced SIMD: one complex number in a 128-bit register. For two targets: with the
// complex-number instructions of Armv8.3-A, where fcadd adds with a rotation and fcmla #90 adds
// (i * Im n) * m, and with those of Armv8.0 alone.
#pragma once

#include <arm_neon.h>

#include "codelets/simd/contract.h"

namespace lyr::LYR_ISA {
namespace {

#ifdef __ARM_FEATURE_COMPLEX
// The number itself.
struct twiddle {
    float64x2_t v;

    LYR_INLINE static twiddle of(float64x2_t w) { return {w}; }
};
#else
LYR_INLINE float64x2_t swapped(float64x2_t a) {
    return vextq_f64(a, a, 1);
}
// The sign of the first part changed.
LYR_INLINE float64x2_t negated_first(float64x2_t a) {
    const uint64x2_t sign = {1ull << 63, 0};
    return vreinterpretq_f64_u64(veorq_u64(vreinterpretq_u64_f64(a), sign));
}
LYR_INLINE float64x2_t times_i(float64x2_t a) {
    return negated_first(swapped(a));
}

// w and i*w: products take as many instructions as with complex ones, and the number that is
// multiplied is not permuted.
struct twiddle {
    float64x2_t v, i;

    LYR_INLINE static twiddle of(float64x2_t w) { return {w, times_i(w)}; }
};
#endif

struct vec1 {
    static constexpr int lanes = 1;
    static constexpr bool wide_stages = true;
    using tw = twiddle;
    typedef float64x2_t number __attribute__((aligned(8), may_alias));
    float64x2_t v;

    LYR_INLINE static vec1 load(const double *p) { return {vld1q_f64(p)}; }
    LYR_INLINE void store(double *p) const { vst1q_f64(p, v); }
    // Compilers do not form these: the addresses of streams are not known to be neighbours.
    LYR_INLINE static void load_pair(const double *&p, vec1 &a, vec1 &b) {
        __asm__("ldp %q0, %q1, [%2], #32"
                : "=w"(a.v), "=w"(b.v), "+r"(p)
                : "m"(*reinterpret_cast<const double(*)[4]>(p)));
    }
    LYR_INLINE static void store_pair(double *&p, vec1 a, vec1 b) {
        __asm__("stp %q2, %q3, [%1], #32"
                : "=m"(*reinterpret_cast<double(*)[4]>(p)), "+r"(p)
                : "w"(a.v), "w"(b.v));
    }
    // The same without advancing, the numbers `Bytes` behind p. (An operand of both would get a
    // register for its address.)
    template <int Bytes>
    LYR_INLINE static void load_two(const double *p, vec1 &a, vec1 &b) {
        const number *at = reinterpret_cast<const number *>(p + Bytes / 8);
        __asm__("ldp %q0, %q1, [%2, %3]"
                : "=w"(a.v), "=w"(b.v)
                : "r"(p), "i"(Bytes), "m"(at[0]), "m"(at[1]));
    }
    template <int Bytes>
    LYR_INLINE static void store_two(double *p, vec1 a, vec1 b) {
        number *at = reinterpret_cast<number *>(p + Bytes / 8);
        __asm__("stp %q3, %q4, [%2, %5]"
                : "=m"(at[0]), "=m"(at[1])
                : "r"(p), "w"(a.v), "w"(b.v), "i"(Bytes));
    }
    LYR_INLINE static vec1 gather(const double *p, int64_t) { return load(p); }
    LYR_INLINE void scatter(double *p, int64_t) const { store(p); }
    LYR_INLINE static tw tw_one(const double *re, const double *) { return tw::of(vld1q_f64(re)); }
    LYR_INLINE static tw tw_lanes(const double *p) { return tw::of(vld1q_f64(p)); }
    LYR_INLINE static tw tw_plain(const double *p) { return tw::of(vld1q_f64(p)); }
#ifndef __ARM_FEATURE_COMPLEX
    LYR_INLINE static tw tw_turned(const double *p) {
        return {vld1q_f64(p), vld1q_f64(p + 2)};
    }
#endif
    LYR_INLINE static void join(double *p, const double *re, const double *im) {
        const float64x2x2_t parts = {{vld1q_f64(re), vld1q_f64(im)}};  // a macro takes them
        vst2q_f64(p, parts);
    }
    LYR_INLINE static void part(double *re, double *im, const double *p) {
        const float64x2x2_t parts = vld2q_f64(p);
        vst1q_f64(re, parts.val[0]);
        vst1q_f64(im, parts.val[1]);
    }
    LYR_INLINE static vec1 load_split(const double *re, const double *im) {
        return {vld1q_lane_f64(im, vcombine_f64(vld1_f64(re), vdup_n_f64(0)), 1)};
    }
    LYR_INLINE void store_split(double *re, double *im) const {
        vst1q_lane_f64(re, v, 0);
        vst1q_lane_f64(im, v, 1);
    }
    LYR_INLINE void store_split_alternating(const double *p, double *re, double *im) const {
        const float64x2_t a = vld1q_f64(p);
        vst1q_f64(re, vzip1q_f64(a, v));
        vst1q_f64(im, vzip2q_f64(a, v));
    }
};
using vec = vec1;
constexpr int accesses_per_pointer = 8;

LYR_INLINE vec1 operator+(vec1 a, vec1 b) {
    return {vaddq_f64(a.v, b.v)};
}
LYR_INLINE vec1 operator-(vec1 a, vec1 b) {
    return {vsubq_f64(a.v, b.v)};
}
LYR_INLINE vec1 scale(vec1 a, double s) {
    return {vmulq_n_f64(a.v, s)};
}
LYR_INLINE vec1 fma(vec1 a, vec1 b, double s) {
    return {vfmaq_n_f64(a.v, b.v, s)};
}
LYR_INLINE vec1 reversed(vec1 a) {
    return a;
}
LYR_INLINE vec1 add_conj(vec1 a, vec1 b) {
    return {vfmaq_f64(a.v, b.v, float64x2_t{1, -1})};
}
LYR_INLINE vec1 sub_conj(vec1 a, vec1 b) {
    return {vfmsq_f64(a.v, b.v, float64x2_t{1, -1})};
}
LYR_INLINE vec1 scale_conj(vec1 a, double s) {
    return {vmulq_f64(a.v, float64x2_t{s, -s})};
}

#ifdef __ARM_FEATURE_COMPLEX

LYR_INLINE vec1 add_i(vec1 a, vec1 b) {
    return {vcaddq_rot90_f64(a.v, b.v)};
}
LYR_INLINE vec1 sub_i(vec1 a, vec1 b) {
    return {vcaddq_rot270_f64(a.v, b.v)};
}
LYR_INLINE vec1 fma_i(vec1 a, vec1 b, double s) {
    return {vcmlaq_rot90_f64(a.v, vdupq_n_f64(s), b.v)};
}
// Two instructions: no zeroed accumulator.
LYR_INLINE vec1 cmul(vec1 a, twiddle w) {
    return {vcmlaq_rot90_f64(vmulq_laneq_f64(a.v, w.v, 0), w.v, a.v)};
}
LYR_INLINE void twist_back(vec1 e, vec1 d, twiddle w, vec1 &a, vec1 &b) {
    const vec1 t = {vcmlaq_rot270_f64(vmulq_laneq_f64(d.v, w.v, 0), w.v, d.v)};
    a = add_i(e, t);
    b = sub_i(e, t);
}

#else

// The compiler forms i*b once for both of a pair.
LYR_INLINE vec1 add_i(vec1 a, vec1 b) {
    return {vaddq_f64(a.v, times_i(b.v))};
}
LYR_INLINE vec1 sub_i(vec1 a, vec1 b) {
    return {vsubq_f64(a.v, times_i(b.v))};
}
LYR_INLINE vec1 scale_i(vec1 a, double s) {
    return {vmulq_f64(swapped(a.v), float64x2_t{-s, s})};
}
// Constants of either sign share a register.
LYR_INLINE vec1 fma_i(vec1 a, vec1 b, double s) {
    if (__builtin_constant_p(s < 0) && s < 0)
        return {vfmsq_f64(a.v, swapped(b.v), float64x2_t{s, -s})};
    return {vfmaq_f64(a.v, swapped(b.v), float64x2_t{-s, s})};
}
LYR_INLINE vec1 cmul(vec1 a, twiddle w) {
    return {vfmaq_laneq_f64(vmulq_laneq_f64(w.v, a.v, 0), w.i, a.v, 1)};
}
// i*w*d and i*conj(w)*d in the same way.
LYR_INLINE void twist_back(vec1 e, vec1 d, twiddle w, vec1 &a, vec1 &b) {
    const vec1 t = {
        vfmaq_laneq_f64(vmulq_laneq_f64(swapped(w.v), d.v, 0), negated_first(w.v), d.v, 1)};
    a = e + t;
    b = e - t;
}

#endif

}  // namespace
}  // namespace lyr::LYR_ISA
