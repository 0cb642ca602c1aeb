// Short transforms between N real numbers and half = N/2 (+ 1) complex ones, without gaps, as
// products of a matrix of roots and a vector, lanes along the outputs. With s_j = x_j + x_{N-j} and
// d_j = x_j - x_{N-j}, j < N/2,
//   X_k = x_0 + (-1)^k x_{N/2} + sum_j (s_j cos(2 pi jk/N) - i d_j sin(2 pi jk/N)),
// one multiply-add a vector and pair; x_{N/2} for even N only. Backward the sums of
// Re X_k cos(2 pi jk/N) and -Im X_k sin(2 pi jk/N) give x_j as their sum and x_{N-j} as their
// difference. All inputs are loaded before any output is stored.
#pragma once

#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/kernel/butterfly.h"
#include "codelets/real_roots.h"

namespace lyr::LYR_ISA {
namespace {

template <class V, int N>
struct real_matrix {
    static constexpr int W = V::lanes, half = N / 2, pairs = (N - 1) / 2;
    static constexpr int vectors = (half + W - 1) / W;
    static constexpr bool even = N % 2 == 0;
    // A vector or two leave the multiply-adds waiting for each other.
    static constexpr int chains = vectors <= 2 ? 2 : 1;

    static constexpr int count_of(int vector) {
        return half - vector * W < W ? half - vector * W : W;
    }

    // What the real number without a partner brings to the outputs: x and y in turns.
    struct real_parts {
        alignas(64) scalar of[2 * line_complex];
        constexpr real_parts(scalar x, scalar y) : of() {
            for (int64_t k = 0; k < line_complex; ++k) of[2 * k] = k % 2 == 0 ? x : y;
        }
    };
    static constexpr real_parts ones{1, 1}, halves{.5, .5};
    static constexpr real_parts alternating{-1, 1}, half_alternating{-.5, .5};

    // acc[v] becomes acc[v] plus the sum over j of term(j) times the coefficients of row j.
    template <class Term>
    LYR_INLINE static void multiply(V (&acc)[vectors], Term &&term) {
        V more[chains][vectors];
        unroll<chains>(LYR_LAMBDA(auto c) {
            unroll<vectors>(LYR_LAMBDA(auto v) { more[c][v] = c == 0 ? acc[v] : V::zero(); });
        });
        const scalar *row = real_roots<N>::table.rows[0];
        const auto add = LYR_LAMBDA(auto c, int j) {
            const V t = term(j);
            unroll<vectors>(
                LYR_LAMBDA(auto v) { more[c][v] = fma_parts(more[c][v], t, row + 2 * W * v); });
            row += real_roots<N>::part;
        };
        int j = 1;
        for (; j + chains - 1 <= pairs; j += chains)
            unroll<chains>(LYR_LAMBDA(auto c) { add(c, j + c); });
        for (; j <= pairs; ++j) add(index<0>{}, j);
        unroll<vectors>(LYR_LAMBDA(auto v) {
            acc[v] = chains == 2 ? more[0][v] + more[chains - 1][v] : more[0][v];
        });
    }

    static void forward(const plan *, scalar *in, scalar *out, scalar *) {
        // The inputs without a partner: x_0 + (-1)^k x_{N/2}.
        V start = fma_parts(V::zero(), V::spread(in), ones.of);
        if constexpr (even) start = fma_parts(start, V::spread(in + half), alternating.of);
        V acc[vectors], total = V::zero();
        unroll<vectors>(LYR_LAMBDA(auto v) { acc[v] = start; });
        multiply(
            acc, LYR_LAMBDA(int j)->V {
                const V t = V::sum_and_difference(in + j, in + N - j);
                total = total + t;
                return t;
            });
        scalar sum[2];
        vec1 all = total.first_lane();
        all.store(sum);
        out[0] = (even ? in[0] + in[half] : in[0]) + sum[0];
        out[1] = 0;
        unroll<vectors>(LYR_LAMBDA(auto v) {
            acc[v].template store_first<count_of(v)>(out + 2 * (1 + v * W));
        });
        if constexpr (even) out[2 * half + 1] = 0;
    }

    static void backward(const plan *, scalar *in, scalar *out, scalar *) {
        // Half of the result, which is doubled exactly.
        V start = fma_parts(V::zero(), V::spread(in), halves.of);
        if constexpr (even) start = fma_parts(start, V::spread(in + 2 * half), half_alternating.of);
        V acc[vectors], total = V::zero();
        unroll<vectors>(LYR_LAMBDA(auto v) { acc[v] = start; });
        multiply(
            acc, LYR_LAMBDA(int k)->V {
                const V t = V::repeat(in + 2 * k);
                total = total + t;
                return t;
            });
        scalar sum[2];
        vec1 all = total.first_lane();
        all.store(sum);
        out[0] = (even ? in[0] + in[2 * half] : in[0]) + 2 * sum[0];
        unroll<vectors>(LYR_LAMBDA(auto v) {
            constexpr int at = 1 + v * W, count = count_of(v);
            (acc[v] + acc[v]).template store_mirrored<count>(out + at, out + N - at - count + 1);
        });
    }
};

template <class V, int... N>
constexpr unit_transform real_matrices[] = {
    {N, {real_matrix<V, N>::forward, real_matrix<V, N>::backward}}..., {}};

}  // namespace
}  // namespace lyr::LYR_ISA
