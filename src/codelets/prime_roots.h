// The coefficients of transforms of prime lengths, the same for every vector target.
#pragma once

namespace lyr {

// For each input pair j = 1..h, h = (R-1)/2, a row: cos(2 pi jk/R) of outputs k = 1..h, each twice,
// then -sin(2 pi jk/R), sin(2 pi jk/R). Both parts of a row are filled up with zeros to whole
// cache lines.
template <int R>
struct prime_roots {
    static constexpr int h = (R - 1) / 2;
    static constexpr int part = (2 * h + 7) / 8 * 8;
    alignas(64) double rows[h][2 * part];

    static const prime_roots table;
};

}  // namespace lyr
