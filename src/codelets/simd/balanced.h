// Vectors for kernels that add so much more than they multiply that adders are what they wait for:
// differences take multipliers instead. Where that gains, so far with two lanes of AVX2.
#pragma once

#include LYR_ISA_HEADER

namespace lyr::LYR_ISA {
namespace {

template <class V>
constexpr bool has_balanced = false;

#if defined(__AVX2__) && !defined(LYRA_SINGLE)

template <>
inline constexpr bool has_balanced<vec2> = true;

struct balanced : vec2 {
    balanced() = default;
    LYR_INLINE balanced(vec2 a) : vec2(a) {}
};
LYR_INLINE balanced operator-(balanced a, balanced b) {
    __m256d one = _mm256_set1_pd(1.0);
    __asm__("" : "+x"(one));  // else the compiler subtracts
    return vec2{_mm256_fnmadd_pd(b.v, one, a.v)};
}
LYR_INLINE void transpose(balanced (&x)[2]) {
    vec2 block[2] = {x[0], x[1]};
    transpose(block);
    x[0] = block[0];
    x[1] = block[1];
}

#else

using balanced = vec;

#endif

}  // namespace
}  // namespace lyr::LYR_ISA
