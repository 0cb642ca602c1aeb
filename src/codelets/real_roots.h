// The coefficients of short real transforms, the same for every vector target.
#pragma once

#include "precision.h"

// The lengths that there are.
// clang-format off
#define LYR_REAL_LENGTHS(X) \
    X(3) X(5) X(6) X(7) X(9) X(10) X(11) X(12) X(13) X(14) X(15) X(17) X(18) X(19) X(20) X(21) \
    X(22) X(23) X(24) X(25) X(26) X(27) X(28) X(29) X(30) X(31) X(33) X(35) X(37) X(39) X(41) \
    X(43) X(45) X(47) X(49) X(51) X(53) X(55) X(57) X(59) X(61) X(63) X(67) X(71) X(73) X(79) \
    X(83) X(89) X(97) X(101)
// clang-format on

namespace lyr {

// For each pair j = 1..pairs of the real numbers of one side, x_j and x_{n-j}, a row: cos(2 pi
// jk/n), -sin(2 pi jk/n) for k = 1..half; filled up with zeros to whole cache lines. The matrix is
// symmetric as far as it is square.
template <int N>
struct real_roots {
    static constexpr int half = N / 2, pairs = (N - 1) / 2;
    static constexpr int part = (half + line_complex - 1) / line_complex * 2 * line_complex;
    alignas(64) scalar rows[pairs][part];

    static const real_roots table;
};

#define LYR_TABLE(N) extern template const real_roots<N> real_roots<N>::table;
LYR_REAL_LENGTHS(LYR_TABLE)
#undef LYR_TABLE

}  // namespace lyr
