// The coefficients of transforms of prime lengths, the same for every vector target.
#pragma once

#include "precision.h"

// The lengths that there are.
// clang-format off
#define LYR_PRIME_LENGTHS(X) \
    X(11) X(13) X(17) X(19) X(23) X(29) X(31) X(37) X(41) X(43) X(47) X(53) X(59) X(61) X(67) \
    X(71) X(73)
// clang-format on

namespace lyr {

// For each input pair j = 1..h, h = (R-1)/2, a row: cos(2 pi jk/R) of outputs k = 1..h, each twice,
// then -sin(2 pi jk/R), sin(2 pi jk/R). Both parts of a row are filled up with zeros to whole
// cache lines.
template <int R>
struct prime_roots {
    static constexpr int h = (R - 1) / 2;
    static constexpr int part = (h + line_complex - 1) / line_complex * 2 * line_complex;
    alignas(64) scalar rows[h][2 * part];

    static const prime_roots table;
};

#define LYR_TABLE(R) extern template const prime_roots<R> prime_roots<R>::table;
LYR_PRIME_LENGTHS(LYR_TABLE)
#undef LYR_TABLE

}  // namespace lyr
