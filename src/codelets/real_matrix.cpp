#include "codelets/kernel/real_matrix.h"

namespace lyr::LYR_ISA {
namespace {

// Where nothing else is faster, measured. Powers of two have codelets; longer ones go by way of
// complex numbers, products of small primes from 49 on for the sake of their accuracy.
template <class V>
constexpr const unit_transform *choose() {
    if constexpr (V::lanes == line_complex)
        return real_matrices<V, 3, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15, 17, 18, 19, 20, 21, 22, 23,
                             24, 25, 26, 27, 28, 29, 30, 31, 33, 35, 37, 39, 41, 43, 45, 47, 53, 59,
                             61, 67, 71, 73, 79, 83, 89, 97, 101>;
    else if constexpr (V::lanes > 1)
        return real_matrices<V, 3, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15, 17, 18, 19, 20, 21, 22, 23,
                             24, 25, 26, 27, 28, 29, 30, 31, 33, 35, 37, 39, 41, 43, 45, 47, 53, 59,
                             61, 67, 71, 73>;
    else
        return real_matrices<V>;
}

}  // namespace

extern const unit_transform *const real_units;
constinit const unit_transform *const real_units = choose<vec>();

}  // namespace lyr::LYR_ISA
