// Transforms of prime length R without gaps, lanes along the outputs. With h = (R-1)/2,
// s_j = x_j + x_{R-j} and d_j = x_j - x_{R-j}, outputs k and R-k are
//   (x_0 + sum_j cos(2 pi jk/R) s_j) +- i (sum_j sin(2 pi jk/R) d_j),
// the two sums a product of a matrix of real coefficients and a vector: 2h*h/lanes multiply-adds.
// All inputs are loaded before any output is stored.
#pragma once

#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/kernel/butterfly.h"
#include "codelets/prime_roots.h"

namespace lyr::LYR_ISA {
namespace {

// Vectors of outputs whose two sums are formed at a time: as many as registers hold.
template <class V>
constexpr int prime_vectors_at_once = V::lanes < line_complex ? 7 : 10;

template <class V, int R, int S>
struct prime_transform {
    static constexpr int W = V::lanes, h = (R - 1) / 2, vectors = (h + W - 1) / W;
    static constexpr int part = prime_roots<R>::part;
    alignas(64) scalar sums[2 * W * vectors];
    alignas(64) scalar differences[2 * W * vectors];  // parts exchanged

    static constexpr int count_of(int vector) { return h - vector * W < W ? h - vector * W : W; }

    // Vectors First .. First+Count-1 of the outputs.
    template <int First, int Count>
    LYR_INLINE void outputs(V x0, scalar *out) const {
        V a[Count], b[Count];
        unroll<Count>(LYR_LAMBDA(auto v) {
            a[v] = x0;
            b[v] = V::zero();
        });
        const scalar *row = prime_roots<R>::table.rows[0] + 2 * W * First;
        for (int j = 0; j < h; ++j, row += 2 * part) {
            const V s = V::repeat(sums + 2 * j), d = V::repeat(differences + 2 * j);
            unroll<Count>(LYR_LAMBDA(auto v) {
                a[v] = fma_parts(a[v], s, row + 2 * W * v);
                b[v] = fma_parts(b[v], d, row + part + 2 * W * v);
            });
        }
        unroll<Count>(LYR_LAMBDA(auto v) {
            constexpr int first = (First + v) * W + 1, count = count_of(First + v);
            const V p = a[v] + b[v], m = a[v] - b[v];
            (S > 0 ? p : m).template store_first<count>(out + 2 * first);
            reversed_first<count>(S > 0 ? m : p)
                .template store_first<count>(out + 2 * (R - first - count + 1));
        });
        if constexpr (First + Count < vectors) {
            constexpr int rest = vectors - First - Count;
            outputs<First + Count,
                    (rest < prime_vectors_at_once<V> ? rest : prime_vectors_at_once<V>)>(x0, out);
        }
    }

    LYR_INLINE void run(const scalar *in, scalar *out) {
        V total = V::zero();
        const V x0 = V::repeat(in);
        const vec1 first_input = vec1::load(in);
        unroll<vectors>(LYR_LAMBDA(auto v) {
            constexpr int first = v * W + 1, count = count_of(v);
            const V x = V::template load_first<count>(in + 2 * first);
            const V y = reversed_first<count>(
                V::template load_first<count>(in + 2 * (R - first - count + 1)));
            (x + y).store(sums + 2 * W * v);
            exchanged(x - y).store(differences + 2 * W * v);
            total = total + (x + y);
        });
        (first_input + lane_sum(total)).store(out);
        // As even as possible.
        constexpr int passes = (vectors + prime_vectors_at_once<V> - 1) / prime_vectors_at_once<V>;
        outputs<0, (vectors + passes - 1) / passes>(x0, out);
    }
};

template <class V, int R, int S>
void transform_prime(const plan *, scalar *in, scalar *out, scalar *) {
    prime_transform<V, R, S> t;
    t.run(in, out);
}

template <class V, int... R>
constexpr unit_transform primes_of[] = {
    {R, {transform_prime<V, R, -1>, transform_prime<V, R, +1>}}..., {}};

}  // namespace
}  // namespace lyr::LYR_ISA
