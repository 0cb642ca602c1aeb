// Short transforms without gaps, whole in registers. n = A*B numbers are A rows of B columns: lanes
// run along the columns for the butterflies of length A, the blocks are transposed in registers,
// lanes run along the rows for the butterflies of length B, and output k + p*A of row k is stored
// where it belongs (the factorisation of Cooley and Tukey, 1965, in one pass). All inputs are
// loaded before any output is stored.
#pragma once

#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/exact_roots.h"
#include "codelets/kernel/butterfly.h"

namespace lyr::LYR_ISA {
namespace {

// The factors between the butterflies: for each vector of columns and each row k = 1..A-1 W(S*j*k,
// A*B) for its columns j, as tw_lanes reads them. Lanes that are not there have zeros.
template <int W, int A, int B, int S>
struct register_twiddles {
    static constexpr int vectors = (B + W - 1) / W;
    alignas(64) scalar numbers[vectors * (A - 1) * 4 * W] = {};

    constexpr register_twiddles() {
        for (int j = 0; j < B; ++j)
            for (int k = 1; k < A; ++k) {
                const exact_root w = root_of_unity(S * j * k, A * B);
                scalar *re = numbers + (j / W * (A - 1) + k - 1) * 4 * W + j % W * 2;
                scalar *im = re + 2 * W;
                re[0] = re[1] = w.re;
                im[0] = im[1] = w.im;
            }
    }
};

template <int W, int A, int B, int S>
constexpr register_twiddles<W, A, B, S> twiddles_of;

// The inputs and the outputs: N numbers from number i on, in a vector of as many lanes or more.
struct whole_numbers {
    const scalar *in;
    scalar *out;

    template <class V, int N>
    LYR_INLINE V load(int i) const {
        if constexpr (N == V::lanes)
            return V::load(in + 2 * i);
        else
            return V::template load_first<N>(in + 2 * i);
    }
    template <int N, class V>
    LYR_INLINE void store(V x, int i) const {
        if constexpr (N == V::lanes)
            x.store(out + 2 * i);
        else
            x.template store_first<N>(out + 2 * i);
    }
};

template <class V, int A, int B, int S, class Memory>
LYR_INLINE void transform_in_registers(const Memory &memory) {
    const scalar *twiddles = twiddles_of<V::lanes, A, B, S>.numbers;
    constexpr int W = V::lanes;
    constexpr int column_vectors = (B + W - 1) / W, row_vectors = (A + W - 1) / W;
    V columns[column_vectors][row_vectors * W];
    unroll<column_vectors>(LYR_LAMBDA(auto c) {
        constexpr int first = c * W, count = B - first < W ? B - first : W;
        V x[A];
        unroll<A>(LYR_LAMBDA(auto q) { x[q] = memory.template load<V, count>(q * B + first); });
        butterfly<S>(x);
        columns[c][0] = x[0];
        unroll<A - 1>(LYR_LAMBDA(auto k) {
            columns[c][k + 1] = cmul(x[k + 1], V::tw_lanes(twiddles + (c * (A - 1) + k) * 4 * W));
        });
        unroll<row_vectors * W - A>(LYR_LAMBDA(auto k) { columns[c][A + k] = V::zero(); });
    });
    unroll<row_vectors>(LYR_LAMBDA(auto r) {
        constexpr int first = r * W, count = A - first < W ? A - first : W;
        V rows[column_vectors * W];
        unroll<column_vectors>(LYR_LAMBDA(auto c) {
            V block[W];
            unroll<W>(LYR_LAMBDA(auto i) { block[i] = columns[c][first + i]; });
            transpose(block);
            unroll<W>(LYR_LAMBDA(auto i) { rows[c * W + i] = block[i]; });
        });
        V y[B];
        unroll<B>(LYR_LAMBDA(auto p) { y[p] = rows[p]; });
        butterfly<S>(y);
        unroll<B>(LYR_LAMBDA(auto p) { memory.template store<count>(y[p], first + p * A); });
    });
}

// ---- Lists for the table ------------------------------------------------------------------------

// A length and how it is transformed: A rows of B columns; one row of single numbers when A is 1.
template <class V, int A, int B>
struct rows_columns {
    static constexpr int length = A * B;

    template <int S, class Memory>
    LYR_INLINE static void transform(const Memory &memory) {
        if constexpr (A > 1) {
            transform_in_registers<V, A, B, S>(memory);
        } else {
            vec1 x[B];
            unroll<B>(LYR_LAMBDA(auto q) { x[q] = memory.template load<vec1, 1>(q); });
            butterfly<S>(x);
            unroll<B>(LYR_LAMBDA(auto p) { memory.template store<1>(x[p], p); });
        }
    }
};

template <class Length, int S>
void run_one(const plan *, scalar *in, scalar *out, scalar *) {
    Length::template transform<S>(whole_numbers{in, out});
}

template <class Length, int S>
void run_batch(const scalar *in, scalar *out, int64_t h) {
    for (; h > 0; --h, in += 2 * Length::length, out += 2 * Length::length)
        Length::template transform<S>(whole_numbers{in, out});
}
template <class Length>
constexpr dense_batch batch_of = {Length::length, {run_batch<Length, -1>, run_batch<Length, +1>}};

template <class... Lengths>
constexpr unit_transform unit_list[] = {
    {Lengths::length, {run_one<Lengths, -1>, run_one<Lengths, +1>}}..., {}};

}  // namespace
}  // namespace lyr::LYR_ISA
