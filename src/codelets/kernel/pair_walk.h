// Walks of two stages at once (codelets/stage_pairs.h).
#pragma once

#include "codelets/kernel/column_walk.h"
#include "codelets/kernel/last_walk.h"
#include "codelets/stage_pairs.h"

namespace lyr::LYR_ISA {
namespace {

// The first two stages, for a few columns of the matrix at a time: all butterflies of both that
// these columns take part in.
template <int R1, int R2, int S>
void paired_columns(const stage *d, const scalar *in, scalar *matrix) {
    constexpr int64_t columns = 8;
    alignas(64) scalar block[2 * R1 * R2 * columns];
    const int64_t m = d[1].m, row = m + pair_padding;
    for (int64_t c = 0; c < m; c += columns) {
        for (int64_t j = 0; j < R2; ++j) {
            stream<R1> from(in + 2 * (c + j * m), R2 * m);
            stream<R1> to(block + 2 * j * columns, R2 * columns);
            column_run<R1, S, vec>(from, to, columns, no_twiddles{});
        }
        for (int64_t k = 0; k < R1; ++k) {
            stream<R2> from(block + 2 * k * R2 * columns, columns);
            stream<R2> to(matrix + 2 * (c + k * row), R1 * row);
            twiddled_run<R2, S, vec>(from, to, columns,
                                     row_in_table<R2>(table_order::rows, d[1].twiddles, k, R1));
        }
    }
}

// Butterflies of `rows` rows, `row` real numbers apart, whose outputs are stored in pairs.
template <class V, int64_t rows, int R, int S, lane_order Order>
LYR_INLINE void store_rows_in_pairs(const stream<R> &out, const scalar *in, int64_t row,
                                    const scalar *twiddles) {
    scalar *to[R];
    unroll<R>(LYR_LAMBDA(auto q) { to[q] = out.at(q); });
    for (int64_t i = 0; i < rows; i += 2) {
        V x[R], y[R];
        butterfly_of_rows<R, S, Order>(x, in, row, twiddles);
        twiddles += lane_twiddle_numbers<R, V, Order>;
        butterfly_of_rows<R, S, Order>(y, in + row, row, twiddles);
        twiddles += lane_twiddle_numbers<R, V, Order>;
        in += 2 * row;
        unroll<R>(LYR_LAMBDA(auto q) { V::store_pair(to[q], x[q], y[q]); });
    }
}

// The last two stages, for a few rows of the matrix at a time. Lanes of the last one run along
// these rows.
template <int R3, int R4, int S>
void paired_rows(const stage *d, const scalar *matrix, scalar *out) {
    constexpr int64_t rows = vec::lanes > 4 ? vec::lanes : 4, m = R3 * R4, row = m + pair_padding;
    alignas(64) scalar block[2 * rows * m];
    const int64_t L = d[2].L;
    for (int64_t k = 0; k < L; k += rows) {
        for (int64_t i = 0; i < rows; ++i) {
            stream<R3> from(matrix + 2 * (k + i) * row, R4), to(block + 2 * i * m, R4);
            twiddled_run<R3, S, vec>(from, to, R4,
                                     row_in_table<R3>(table_order::rows, d[2].twiddles, k + i, L));
        }
        with_lane_order<R4>(
            L * R3, LYR_LAMBDA(auto order) {
                constexpr auto groups = static_cast<lane_order>(order.value);
                constexpr int64_t group = lane_twiddle_numbers<R4, vec, groups>;
                for (int64_t p = 0; p < R3; ++p) {
                    const int64_t first = k + p * L;
                    const scalar *in = block + 2 * p * R4;
                    const scalar *twiddles = d[3].twiddles + first / vec::lanes * group;
                    stream<R4> to(out + 2 * first, L * R3);
                    if constexpr (moves_pairs<vec>)
                        store_rows_in_pairs<vec, rows, R4, S, groups>(to, in, 2 * m, twiddles);
                    else
                        for (int64_t i = 0; i < rows; i += vec::lanes) {
                            vec x[R4];
                            butterfly_of_rows<R4, S, groups>(x, in + 2 * i * m, 2 * m, twiddles);
                            unroll<R4>(LYR_LAMBDA(auto q) { x[q].store(to.at(q)); });
                            to.advance(vec::lanes);
                            twiddles += group;
                        }
                }
            });
    }
}

template <int R1, int R2, int R3, int R4>
constexpr paired_stages make_pairs(bool near = false) {
    return {R1 * R2 * R3 * R4,
            {R1, R2, R3, R4},
            {paired_columns<R1, R2, -1>, paired_columns<R1, R2, +1>},
            {paired_rows<R3, R4, -1>, paired_rows<R3, R4, +1>},
            near};
}

}  // namespace
}  // namespace lyr::LYR_ISA
