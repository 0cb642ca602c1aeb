// REDFT00 of 2, 3, 4 and 17 numbers.
#pragma once

#include "codelets/kernel/real.h"
#include "codelets/real.h"

namespace lyr::LYR_ISA {
namespace {

// REDFT10 of 2, 4 and 8 numbers: y[k] = 2 sum over j of x[j] cos(pi (2j + 1) k/(2 N)). The even
// outputs are the transform of half the length of the sums, the odd ones N/2 sums of products.
template <int N, class V>
LYR_INLINE void redft10(const V (&x)[N], V (&y)[N]) {
    if constexpr (N == 1) {
        y[0] = scale(x[0], 2.0);
    } else {
        constexpr int h = N / 2;
        V sum[h], dif[h], even[h];
        unroll<h>(LYR_LAMBDA(auto j) {
            sum[j] = x[j] + x[N - 1 - j];
            dif[j] = x[j] - x[N - 1 - j];
        });
        redft10<h, V>(sum, even);
        unroll<h>(LYR_LAMBDA(auto k) {
            y[2 * k] = even[k];
            V s = scale(dif[0], 2 * root_of<4 * N>((2 * k + 1) % (4 * N)).cosine);
            unroll<h - 1>(LYR_LAMBDA(auto j) {
                s = fma(s, dif[j + 1],
                        2 * root_of<4 * N>((2 * j + 3) * (2 * k + 1) % (4 * N)).cosine);
            });
            y[2 * k + 1] = s;
        });
    }
}

// REDFT00 of N + 1 numbers. The even samples are a transform of N/2 + 1, the odd ones a REDFT10 of
// N/2, and the mirrored output takes their difference.
template <int N, class V>
LYR_INLINE void redft00(const V (&x)[N + 1], V (&y)[N + 1]) {
    if constexpr (N == 1) {
        const V a = x[0], b = x[1];
        y[0] = a + b;
        y[1] = a - b;
    } else if constexpr (N == 3) {
        const V a = x[0] + x[3], b = x[0] - x[3], c = x[1] + x[2], d = x[1] - x[2];
        y[0] = fma(a, c, 2.0);
        y[1] = b + d;
        y[2] = a - c;
        y[3] = fma(b, d, -2.0);
    } else {
        constexpr int h = N / 2;
        V even_in[h + 1], odd_in[h], even[h + 1], odd[h];
        unroll<h + 1>(LYR_LAMBDA(auto j) { even_in[j] = x[2 * j]; });
        unroll<h>(LYR_LAMBDA(auto j) { odd_in[j] = x[2 * j + 1]; });
        redft00<h, V>(even_in, even);
        redft10<h, V>(odd_in, odd);
        unroll<h>(LYR_LAMBDA(auto k) {
            y[k] = even[k] + odd[k];
            y[N - k] = even[k] - odd[k];
        });
        y[h] = even[h];
    }
}

}  // namespace
}  // namespace lyr::LYR_ISA
