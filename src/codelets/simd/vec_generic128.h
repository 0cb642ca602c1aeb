// Portable vectors: one complex number in a compiler vector of two doubles. Compiled with
// -ffp-contract=fast, so that machines with fused multiply-add use it.
#pragma once

#include "codelets/simd/contract.h"

namespace lyr::LYR_ISA {
namespace {

typedef double double2 __attribute__((vector_size(16)));
typedef double double2_unaligned __attribute__((vector_size(16), aligned(8), may_alias));

struct vec1 {
    static constexpr int lanes = 1;
    using tw = vec1;
    double2 v;

    LYR_INLINE static vec1 load(const double *p) {
        return {*reinterpret_cast<const double2_unaligned *>(p)};
    }
    LYR_INLINE void store(double *p) const { *reinterpret_cast<double2_unaligned *>(p) = v; }
    LYR_INLINE static vec1 gather(const double *p, int64_t) { return load(p); }
    LYR_INLINE void scatter(double *p, int64_t) const { store(p); }
    LYR_INLINE static tw tw_one(const double *re, const double *) { return load(re); }
    LYR_INLINE static tw tw_lanes(const double *p) { return load(p); }
    LYR_INLINE static tw tw_plain(const double *p) { return load(p); }
    LYR_INLINE static void join(double *p, const double *re, const double *im) {
        const double2 x = load(re).v, y = load(im).v;
        vec1{__builtin_shufflevector(x, y, 0, 2)}.store(p);
        vec1{__builtin_shufflevector(x, y, 1, 3)}.store(p + 2);
    }
    LYR_INLINE static void part(double *re, double *im, const double *p) {
        const double2 a = load(p).v, b = load(p + 2).v;
        vec1{__builtin_shufflevector(a, b, 0, 2)}.store(re);
        vec1{__builtin_shufflevector(a, b, 1, 3)}.store(im);
    }
    LYR_INLINE static vec1 load_split(const double *re, const double *im) {
        return {double2{*re, *im}};
    }
    LYR_INLINE void store_split(double *re, double *im) const {
        *re = v[0];
        *im = v[1];
    }
    LYR_INLINE void store_split_alternating(const double *p, double *re, double *im) const {
        const double2 a = load(p).v;
        vec1{__builtin_shufflevector(a, v, 0, 2)}.store(re);
        vec1{__builtin_shufflevector(a, v, 1, 3)}.store(im);
    }
};
using vec = vec1;
constexpr int accesses_per_pointer = 8;

LYR_INLINE double2 swapped(vec1 a) {
    return __builtin_shufflevector(a.v, a.v, 1, 0);
}

LYR_INLINE vec1 operator+(vec1 a, vec1 b) {
    return {a.v + b.v};
}
LYR_INLINE vec1 operator-(vec1 a, vec1 b) {
    return {a.v - b.v};
}
LYR_INLINE vec1 scale(vec1 a, double s) {
    return {a.v * s};
}
LYR_INLINE vec1 fma(vec1 a, vec1 b, double s) {
    return {a.v + b.v * s};
}
LYR_INLINE vec1 fma_i(vec1 a, vec1 b, double s) {
    return {a.v + swapped(b) * double2{-s, s}};
}
LYR_INLINE vec1 add_i(vec1 a, vec1 b) {
    return fma_i(a, b, 1.0);
}
LYR_INLINE vec1 sub_i(vec1 a, vec1 b) {
    return fma_i(a, b, -1.0);
}
LYR_INLINE vec1 cmul(vec1 a, vec1 w) {
    const double2 re = __builtin_shufflevector(w.v, w.v, 0, 0);
    const double2 im = __builtin_shufflevector(w.v, w.v, 1, 1) * double2{-1.0, 1.0};
    return {a.v * re + swapped(a) * im};
}
LYR_INLINE vec1 reversed(vec1 a) {
    return a;
}
LYR_INLINE vec1 add_conj(vec1 a, vec1 b) {
    return {a.v + b.v * double2{1, -1}};
}
LYR_INLINE vec1 sub_conj(vec1 a, vec1 b) {
    return {a.v - b.v * double2{1, -1}};
}
LYR_INLINE vec1 scale_conj(vec1 a, double s) {
    return {a.v * double2{s, -s}};
}
LYR_INLINE void twist_back(vec1 e, vec1 d, vec1 w, vec1 &a, vec1 &b) {
    const vec1 t = cmul(d, scale_conj(w, 1));
    a = add_i(e, t);
    b = sub_i(e, t);
}

}  // namespace
}  // namespace lyr::LYR_ISA
