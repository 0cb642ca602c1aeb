// Walks of two stages at once through a matrix in the output (pair_form::mirrored), for single
// lanes that move pairs of numbers. All of it visits memory by whole lines.
#pragma once

#include "codelets/kernel/pair_walk.h"
#include "codelets/simd/conjugates.h"

namespace lyr::LYR_ISA {
namespace {

constexpr int64_t columns_of_a_line = line_complex;

// first_of_columns with pointers that go through all butterflies.
template <int R1, int R2, int S, class V>
LYR_INLINE void first_of_a_line(int64_t m, const scalar *in, scalar *block) {
    constexpr int64_t columns = columns_of_a_line;
    const scalar *from[R1];
    scalar *to[R1];
    unroll<R1>(LYR_LAMBDA(auto q) {
        from[q] = in + 2 * q * R2 * m;
        to[q] = block + 2 * q * R2 * columns;
    });
    for (int64_t j = 0; j < R2; ++j) {
        unroll<columns / 2>(LYR_LAMBDA(auto) {
            V x[R1], y[R1];
            unroll<R1>(LYR_LAMBDA(auto q) { V::load_pair(from[q], x[q], y[q]); });
            butterfly<S>(x);
            butterfly<S>(y);
            unroll<R1>(LYR_LAMBDA(auto p) { V::store_pair(to[p], x[p], y[p]); });
        });
        unroll<R1>(LYR_LAMBDA(auto q) { from[q] += 2 * (m - columns); });
    }
}

// As paired_columns, with the results of each column in a row of the matrix, from the last columns
// to the first: the second pair begins with the rows that
// are written last.
template <int R1, int R2, int S, class V>
void dense_columns(const stage *d, const scalar *in, scalar *matrix) {
    constexpr int64_t columns = columns_of_a_line, row = R1 * R2;
    alignas(64) scalar block[2 * R1 * R2 * columns];
    const int64_t m = d[1].m;
    for (int64_t c = m - columns; c >= 0; c -= columns) {
        if constexpr (runs_in_pairs<R1, V, no_twiddles>)
            first_of_a_line<R1, R2, S, V>(m, in + 2 * c, block);
        else
            first_of_columns<R1, R2, S, columns>(m, in + 2 * c, block);
        for (int64_t k = 0; k < R1; ++k) {
            const row_twiddles<R2, V> factors(plain_row<R2>(d[1].twiddles, k));
            const scalar *from = block + 2 * k * R2 * columns;
            scalar *to = matrix + 2 * (c * row + k);
            unroll<columns / 2>(LYR_LAMBDA(auto i) {
                V x[R2], y[R2];
                unroll<R2>(LYR_LAMBDA(auto q) {
                    V::template load_two<complex_bytes *(q * columns + 2 * i)>(from, x[q], y[q]);
                    x[q] = factors.multiply(x[q], q);
                    y[q] = factors.multiply(y[q], q);
                });
                butterfly<S>(x);
                butterfly<S>(y);
                unroll<R2>(LYR_LAMBDA(auto p) {
                    x[p].store(to + 2 * (2 * i * row + p * R1));
                    y[p].store(to + 2 * ((2 * i + 1) * row + p * R1));
                });
            });
        }
    }
}

// A butterfly with the R - 1 factors at `twiddles`, or with their conjugates.
template <int R, int S, bool Mirrored, class V>
LYR_INLINE void turned_butterfly(V (&x)[R], const scalar *twiddles) {
    typename V::tw w[R];
    unroll<R / 2>(LYR_LAMBDA(auto i) {
        constexpr int q = 2 * i + 1;
        if constexpr (q + 1 < R)
            load_factors<complex_bytes *(q - 1)>(twiddles, w[q], w[q + 1]);
        else
            w[q] = V::tw_lanes(twiddles + 2 * (q - 1));
    });
    unroll<R>(LYR_LAMBDA(auto q) {
        if constexpr (q > 0 && Mirrored)
            x[q] = cmul_conj(x[q], w[q]);
        else if constexpr (q > 0)
            x[q] = cmul(x[q], w[q]);
    });
    butterfly<S>(x);
}

// Lines of the block follow one another in the first half of each block_step numbers.
constexpr int64_t block_step = 64;

// The last two stages for a line of columns, in two passes over the block. A row of factors of the
// last stage is R4 - 1 numbers, R3 of them a column.
//
// Columns in the second half of the matrix take the factors of their mirror images. K columns:
// those of the third stage are powers of w = W(K*R3), of which w^(q(K-k)) = W(R3)^q * conj(w^qk),
// and W(R3)^q moves the outputs of the butterfly by one place. The last stage likewise: its row
// k + p*K is the mirror image of (K-k) + (R3-1-p)*K.
template <int R3, int R4, int S, int64_t K, bool Mirrored, class V>
LYR_INLINE void rows_of_a_line(const scalar *matrix, scalar *out, const scalar *middle,
                               const scalar *last, scalar *block) {
    constexpr int64_t columns = columns_of_a_line, moved = Mirrored ? 1 : 0;
    constexpr int64_t way = Mirrored ? -1 : 1;
    constexpr int64_t middle_row = 2 * (R3 - 1), last_row = 2 * (R4 - 1);
    static_assert(2 * R3 * columns <= block_step && R4 % 2 == 0);

    const scalar *from[R3];
    unroll<R3>(LYR_LAMBDA(auto q) { from[q] = matrix + 2 * q * R4 * K; });
    for (int64_t j = 0; j < R4; ++j) {
        scalar *to = block + 2 * j * block_step;
        unroll<columns / 2>(LYR_LAMBDA(auto i) {
            V x[R3], y[R3];
            unroll<R3>(LYR_LAMBDA(auto q) {
                V::load_pair(from[q], x[q], y[q]);
                // In this order: as many rows share a cache set as it has ways, and one of them
                // too early would push out the next.
                if constexpr (i == 0 && q % 2 == 1) __asm__ volatile("" ::: "memory");
            });
            turned_butterfly<R3, S, Mirrored>(x, middle + 2 * i * way * middle_row);
            turned_butterfly<R3, S, Mirrored>(y, middle + (2 * i + 1) * way * middle_row);
            unroll<R3>(LYR_LAMBDA(auto p) {
                constexpr int64_t at = (p + moved) % R3;
                V::template store_two<complex_bytes *(p * columns + 2 * i)>(to, x[at], y[at]);
            });
        });
        unroll<R3>(LYR_LAMBDA(auto q) { from[q] += 2 * (K - columns); });
    }

    scalar *to[R4];
    unroll<R4>(LYR_LAMBDA(auto q) { to[q] = out + 2 * q * R3 * K; });
    const scalar *between[R4 / 2];
    unroll<R4 / 2>(LYR_LAMBDA(auto h) { between[h] = block + 2 * (2 * h + 1) * block_step; });
    if (Mirrored) last += (R3 - 1) * last_row;
    for (int64_t p = 0; p < R3; ++p, last += way * last_row) {
        unroll<columns / 2>(LYR_LAMBDA(auto i) {
            V x[R4], y[R4];
            unroll<R4>(LYR_LAMBDA(auto q) {
                constexpr int64_t at = (q % 2 - 1) * block_step + 2 * i;
                V::template load_two<complex_bytes * at>(between[q / 2], x[q], y[q]);
            });
            turned_butterfly<R4, S, Mirrored>(x, last + 2 * i * way * R3 * last_row);
            turned_butterfly<R4, S, Mirrored>(y, last + (2 * i + 1) * way * R3 * last_row);
            unroll<R4>(LYR_LAMBDA(auto q) {
                constexpr int64_t at = (q + moved) % R4;
                V::store_pair(to[q], x[at], y[at]);
            });
        });
        unroll<R4>(LYR_LAMBDA(auto q) { to[q] += 2 * (K - columns); });
        unroll<R4 / 2>(LYR_LAMBDA(auto h) { between[h] += 2 * columns; });
    }
}

// The last two stages, for two lines of columns at a time whose factors are the same. `out` may be
// `matrix`: a line's results take the places of what they come from.
template <int R3, int R4, int S, int64_t K, class V>
void mirrored_rows(const stage *d, scalar *matrix, scalar *out) {
    constexpr int64_t columns = columns_of_a_line, half = block_step / 2;
    static_assert(K % block_step == 0);
    alignas(64) scalar room[2 * (R4 + 1) * block_step];
    const scalar *middle = d[0].twiddles, *last = middle + (K / 2 + 1) * 2 * (R3 - 1);
    scalar *block = room;
    for (int64_t k = 0; k < K / 2; k += columns) {
        // The lines of a column fall into few cache sets and take all of their places. The block
        // keeps out of these sets, and of those of the column's mirror image, k from the end.
        if (k % (half / 2) == 0) {
            const int64_t clear = (k + half / 2) / half % 2 == 0 ? half / 2 : half + half / 2;
            const uintptr_t at =
                reinterpret_cast<uintptr_t>(matrix + 2 * clear) - reinterpret_cast<uintptr_t>(room);
            block = room + at % (block_step * complex_bytes) / 64 * (64 / scalar_bytes);
        }
        rows_of_a_line<R3, R4, S, K, false, V>(matrix + 2 * k, out + 2 * k, middle, last, block);
        middle += columns * 2 * (R3 - 1);
        last += columns * 2 * R3 * (R4 - 1);
        const int64_t other = 2 * (K - columns - k);
        rows_of_a_line<R3, R4, S, K, true, V>(matrix + other, out + other, middle, last, block);
    }
}

template <class V, int R1, int R2, int R3, int R4>
constexpr paired_stages make_mirrored() {
    return {R1 * R2 * R3 * R4,
            {R1, R2, R3, R4},
            {dense_columns<R1, R2, -1, V>, dense_columns<R1, R2, +1, V>},
            {mirrored_rows<R3, R4, -1, R1 * R2, V>, mirrored_rows<R3, R4, +1, R1 * R2, V>},
            pair_form::mirrored};
}

}  // namespace
}  // namespace lyr::LYR_ISA
