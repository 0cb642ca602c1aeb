// Products by the conjugates of twiddle factors, for targets that have them as quickly as others:
// AVX2, and the complex-number instructions of Armv8.3-A. Not in the contract, as few walks need
// them.
#pragma once

#include LYR_ISA_HEADER

namespace lyr::LYR_ISA {
namespace {

// Factors with the signs of the parts of i*w in `im`, (-im, im): products need no alternating
// addition, so that both of their multiplications begin at once.
#if defined(__AVX2__) && !defined(__AVX512F__) && defined(LYRA_SINGLE)
LYR_INLINE vec4 cmul_conj(vec4 a, vec4::tw w) {
    return {_mm256_fmsubadd_ps(a.v, w.re, _mm256_mul_ps(swapped(a.v), w.im))};
}
struct alternating_tw {
    __m256 re, im;
};
LYR_INLINE alternating_tw alternating(vec4::tw w) {
    return {w.re, _mm256_addsub_ps(_mm256_setzero_ps(), w.im)};
}
LYR_INLINE vec4 cmul(vec4 a, const alternating_tw &w) {
    return {_mm256_fmadd_ps(swapped(a.v), w.im, _mm256_mul_ps(a.v, w.re))};
}
LYR_INLINE vec4 cmul_conj(vec4 a, const alternating_tw &w) {
    return {_mm256_fnmadd_ps(swapped(a.v), w.im, _mm256_mul_ps(a.v, w.re))};
}
#elif defined(__AVX2__) && !defined(__AVX512F__)
LYR_INLINE vec2 cmul_conj(vec2 a, vec2::tw w) {
    return {_mm256_fmsubadd_pd(a.v, w.re, _mm256_mul_pd(swapped(a), w.im))};
}
struct alternating_tw {
    __m256d re, im;
};
LYR_INLINE alternating_tw alternating(vec2::tw w) {
    return {w.re, _mm256_addsub_pd(_mm256_setzero_pd(), w.im)};
}
LYR_INLINE vec2 cmul(vec2 a, const alternating_tw &w) {
    return {_mm256_fmadd_pd(swapped(a), w.im, _mm256_mul_pd(a.v, w.re))};
}
LYR_INLINE vec2 cmul_conj(vec2 a, const alternating_tw &w) {
    return {_mm256_fnmadd_pd(swapped(a), w.im, _mm256_mul_pd(a.v, w.re))};
}
#endif

#if defined(__ARM_FEATURE_COMPLEX) && !defined(LYRA_SINGLE)
// fcmla #270 adds (-i * Im n) * m.
LYR_INLINE vec1 cmul_conj(vec1 a, twiddle w) {
    return {vcmlaq_rot270_f64(vmulq_laneq_f64(a.v, w.v, 0), w.v, a.v)};
}
// Two neighbouring factors in one instruction, the numbers `Bytes` behind p.
template <int Bytes>
LYR_INLINE void load_factors(const double *p, twiddle &a, twiddle &b) {
    vec1 x, y;
    vec1::load_two<Bytes>(p, x, y);
    a = twiddle::of(x.v);
    b = twiddle::of(y.v);
}
#endif

template <class V>
concept multiplies_by_conjugates = requires(V a, typename V::tw w, const scalar *p) {
    {cmul_conj(a, w)};
    load_factors<0>(p, w, w);
};

}  // namespace
}  // namespace lyr::LYR_ISA
