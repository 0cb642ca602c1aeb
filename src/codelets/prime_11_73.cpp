#include "codelets/kernel/prime.h"

namespace lyr::LYR_ISA {
namespace {

// With vectors of half a line Rader's algorithm is as fast from 67 on.
template <class V>
constexpr const unit_transform *choose() {
    if constexpr (V::lanes == line_complex)
        return primes_of<V, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47, 53, 59, 61, 67, 71, 73>;
    else if constexpr (V::lanes > 1)
        return primes_of<V, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47, 53, 59, 61>;
    else
        return primes_of<V>;
}

}  // namespace

extern const unit_transform *const prime_units;
constinit const unit_transform *const prime_units = choose<vec>();

}  // namespace lyr::LYR_ISA
