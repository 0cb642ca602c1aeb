#include "codelets/kernel/prime.h"

namespace lyr::LYR_ISA {
namespace {

// With two lanes Rader's algorithm is as fast from 67 on.
template <class V>
constexpr const unit_transform *choose() {
    if constexpr (V::lanes == 4)
        return primes_of<V, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47, 53, 59, 61, 67, 71, 73>;
    if constexpr (V::lanes == 2)
        return primes_of<V, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47, 53, 59, 61>;
    return primes_of<V>;
}

}  // namespace

extern const unit_transform *const prime_units;
constinit const unit_transform *const prime_units = choose<vec>();

}  // namespace lyr::LYR_ISA
