// The coefficients of short real transforms, the same for every vector target.
#pragma once

namespace lyr {

// For each pair j = 1..pairs of the real numbers of one side, x_j and x_{n-j}, a row: cos(2 pi
// jk/n), -sin(2 pi jk/n) for k = 1..half; filled up with zeros to whole cache lines. The matrix is
// symmetric as far as it is square.
template <int N>
struct real_roots {
    static constexpr int half = N / 2, pairs = (N - 1) / 2;
    static constexpr int part = (2 * half + 7) / 8 * 8;
    alignas(64) double rows[pairs][part];

    static const real_roots table;
};

}  // namespace lyr
