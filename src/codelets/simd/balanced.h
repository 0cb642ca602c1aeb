// Vectors for kernels that add so much more than they multiply that adders are what they wait for:
// differences take multipliers instead. Where that gains, so far with two lanes of AVX2.
#pragma once

#include LYR_ISA_HEADER

namespace lyr::LYR_ISA {
namespace {

template <class V>
struct balanced_form {
    static constexpr bool exists = false;
    using type = V;
};
template <class V>
using balanced = typename balanced_form<V>::type;
template <class V>
constexpr bool has_balanced = balanced_form<V>::exists;

#if defined(__AVX2__) && !defined(LYRA_SINGLE)

struct balanced_vec2 : vec2 {
    balanced_vec2() = default;
    LYR_INLINE balanced_vec2(vec2 a) : vec2(a) {}
};
LYR_INLINE balanced_vec2 operator-(balanced_vec2 a, balanced_vec2 b) {
    __m256d one = _mm256_set1_pd(1.0);
    __asm__("" : "+x"(one));  // else the compiler subtracts
    return vec2{_mm256_fnmadd_pd(b.v, one, a.v)};
}
LYR_INLINE void transpose(balanced_vec2 (&x)[2]) {
    vec2 block[2] = {x[0], x[1]};
    transpose(block);
    x[0] = block[0];
    x[1] = block[1];
}
template <>
struct balanced_form<vec2> {
    static constexpr bool exists = true;
    using type = balanced_vec2;
};

#endif

}  // namespace
}  // namespace lyr::LYR_ISA
