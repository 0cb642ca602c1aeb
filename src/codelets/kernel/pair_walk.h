// Walks of two stages at once (codelets/stage_pairs.h).
#pragma once

#include "codelets/kernel/column_walk.h"
#include "codelets/kernel/last_walk.h"
#include "codelets/simd/conjugates.h"
#include "codelets/stage_pairs.h"

namespace lyr::LYR_ISA {
namespace {

// The butterflies of the first stage that a few columns of the second one's matrix come from, with
// the results in the order of that matrix.
template <int R1, int R2, int S, int64_t columns>
LYR_INLINE void first_of_columns(int64_t m, const scalar *in, scalar *block) {
    for (int64_t j = 0; j < R2; ++j) {
        stream<R1> from(in + 2 * j * m, R2 * m);
        stream<R1> to(block + 2 * j * columns, R2 * columns);
        column_run<R1, S, vec>(from, to, columns, no_twiddles{});
    }
}

// The first two stages, for a few columns of the matrix at a time: all butterflies of both that
// these columns take part in.
template <int R1, int R2, int S>
void paired_columns(const stage *d, const scalar *in, scalar *matrix) {
    constexpr int64_t columns = columns_at_once;
    alignas(64) scalar block[2 * R1 * R2 * columns];
    const int64_t m = d[1].m, row = m + pair_padding;
    for (int64_t c = 0; c < m; c += columns) {
        first_of_columns<R1, R2, S, columns>(m, in + 2 * c, block);
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
void paired_rows(const stage *d, scalar *matrix, scalar *out) {
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

// Where a butterfly takes the input at place i when its inputs begin at input -before.
template <int R, int before>
constexpr int place_around(int i) {
    return (i + R - before) % R;
}

// Powers of the lanes' factors: number h is power h + 1. By reference where they are ready:
// compilers copy them in halves.
template <class V>
using ready_factor = decltype(alternating(typename V::tw{}));
template <class V>
struct ready_powers {
    const ready_factor<V> *w;
    LYR_INLINE const ready_factor<V> &operator[](int h) const { return w[h]; }
};
template <class V>
LYR_INLINE ready_powers<V> ready_powers_at(const scalar *table) {
    return {reinterpret_cast<const ready_factor<V> *>(table)};
}
template <class V>
constexpr int64_t ready_numbers = 4 * V::lanes;  // real numbers of a factor
template <class V>
struct plain_powers {
    const scalar *w;
    LYR_INLINE typename V::tw operator[](int h) const { return V::tw_plain(w + 2 * V::lanes * h); }
};

// The inputs of a butterfly, `step` apart, times ready factors.
template <int R, class V>
LYR_INLINE void load_multiplied(V (&x)[R], const scalar *in, int64_t step, const scalar *twiddles) {
    unroll<R>(LYR_LAMBDA(auto q) {
        x[q] = V::load(in + 2 * q * step);
        if constexpr (q > 0) x[q] = cmul(x[q], ready_powers_at<V>(twiddles)[q - 1]);
    });
}

template <int R, int before, class Powers, class V>
LYR_INLINE void multiply_around(V (&x)[R], const Powers &powers) {
    unroll<factors_around(R, before)>(LYR_LAMBDA(auto h) {
        constexpr int q = h + 1;
        const auto &w = powers[h];
        if constexpr (q < R - before) x[q] = cmul(x[q], w);
        if constexpr (q <= before) x[R - q] = cmul_conj(x[R - q], w);
    });
}

// A butterfly of the last stage, whose inputs are `row` numbers apart.
template <int64_t row, int R, int S, class V>
LYR_INLINE void butterfly_of_columns(V (&x)[R], const scalar *&in, const scalar *&twiddles) {
    constexpr int before = inputs_before(R);
    unroll<R>(LYR_LAMBDA(auto i) { x[place_around<R, before>(i)] = V::load(in + 2 * row * i); });
    multiply_around<R, before>(x, plain_powers<V>{twiddles});
    butterfly<S>(x);
    in += 2 * V::lanes;
    twiddles += 2 * V::lanes * factors_around(R, before);
}

// The results of N butterflies, a lane each, which become rows of a matrix.
template <int N, int R, class V>
LYR_INLINE void store_turned(const V (&x)[R], scalar *out, int64_t row) {
    constexpr int W = V::lanes;
    static_assert(R % W == 0);
    unroll<R / W>(LYR_LAMBDA(auto k) {
        V block[W];
        unroll<W>(LYR_LAMBDA(auto i) { block[i] = x[W * k + i]; });
        if constexpr (W > 1) transpose(block);
        unroll<N>(LYR_LAMBDA(auto i) { block[i].store(out + 2 * (i * row + W * k)); });
    });
}

// Butterflies of N neighbouring columns of R rows, `columns` numbers apart, of which the first one
// may be elsewhere; column j becomes row j of the matrix.
template <class V, int R, int S, int N>
LYR_INLINE void turn_columns(const scalar *first_row, const scalar *in, int64_t columns,
                             scalar *matrix) {
    constexpr int W = V::lanes;
    V x[R];
    unroll<R>(LYR_LAMBDA(auto q) {
        const scalar *row = q == 0 ? first_row : in + 2 * q * columns;
        if constexpr (N == W)
            x[q] = V::load(row);
        else
            x[q] = V::template load_first<N>(row);
    });
    butterfly<S>(x);
    store_turned<N>(x, matrix, R);
}

// The first of two or three stages, turned. The m columns begin at column -before: column -j is
// column m - j a row later, whose last number comes first.
template <int R1, int m, int before, int S>
void turned_first(const stage *, const scalar *in, scalar *matrix) {
    constexpr int64_t W = vec::lanes, rest = m % W, behind = m - before;
    static_assert(before % W == 0);
    for (int64_t j = -before; j < 0; j += W, matrix += 2 * W * R1)
        turn_columns<vec, R1, S, W>(in + 2 * (j + R1 * m), in + 2 * j, m, matrix);
    for (int64_t j = 0; j + W <= behind; j += W, matrix += 2 * W * R1)
        turn_columns<vec, R1, S, W>(in + 2 * j, in + 2 * j, m, matrix);
    if constexpr (rest != 0) {
        const scalar *from = in + 2 * (behind - rest);
        turn_columns<vec, R1, S, rest>(from, from, m, matrix);
    }
}

// As turned_first for n numbers each, with lanes along transforms side by side.
template <class V, int R, int S>
LYR_INLINE int64_t turn_neighbours(stream<R> &in, const scalar *&first_input, int64_t ahead,
                                   scalar *&out, int64_t row, int64_t count) {
    constexpr int W = V::lanes;
    for (; count >= W; count -= W) {
        V x[R];
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = V::load(q == 0 ? first_input : in.at(q)); });
        unroll<R>(LYR_LAMBDA(auto q) { __builtin_prefetch(in.at(q) + 2 * ahead); });
        butterfly<S>(x);
        store_turned<W>(x, out, row);
        in.advance(W);
        first_input += 2 * W;
        out += 2 * W * row;
    }
    return count;
}

template <int R1, int S>
void turned_beside(int64_t n, int64_t before, const neighbours &some) {
    const int64_t m = n / R1, behind = m - before, is = some.is, count = some.count;
    const scalar *first_input = some.in + 2 * (n - before) * is;
    stream<R1> in(some.in - 2 * before * is, m * is);
    scalar *matrix = some.matrix;
    for (int64_t j = -before; j < behind; ++j, matrix += 2 * R1) {
        if (j == 0) first_input = some.in;
        const int64_t next = some.ahead * is, at_next_ones = next - m * is + count;
        const int64_t ahead = j + some.ahead < behind ? next : at_next_ones;
        scalar *out = matrix;
        in_vectors<vec>(
            count, LYR_LAMBDA(auto v, int64_t rest) {
                return turn_neighbours<vector_of<decltype(v)>, R1, S>(in, first_input, ahead, out,
                                                                      some.row, rest);
            });
        in.advance(is - count);
        first_input += 2 * (is - count);
    }
}

// Calls for a few lines of the next transform with each butterfly of this one: a processor leaves
// out what does not fit into its queue when a transform's lines are all called for at once.
template <int64_t Numbers, int64_t Butterflies>
struct calls_ahead {
    static constexpr int64_t lines = (Numbers + line_complex - 1) / line_complex;
    static constexpr int64_t at_once = (lines + Butterflies - 1) / Butterflies;
    const scalar *in;
    const scalar *out;

    explicit calls_ahead(const next_arrays &next) : in(next.in), out(next.out) {}
    LYR_INLINE void operator()() {
        unroll<at_once>(LYR_LAMBDA(auto i) {
            __builtin_prefetch(in + 2 * line_complex * i);
            __builtin_prefetch(out + 2 * line_complex * i, 1);
        });
        in += 2 * line_complex * at_once;
        out += 2 * line_complex * at_once;
    }
};

struct no_calls {
    LYR_INLINE void operator()() {}
};

// The second of two stages for that matrix, lanes along its columns.
template <int R1, int R2, int S, class V = vec, class Calls>
LYR_INLINE void last_of_turned(const stage *d, const scalar *matrix, scalar *out, Calls call) {
    const scalar *twiddles = d[0].twiddles;
    for (int64_t k = 0; k < R1; k += V::lanes, twiddles += ready_numbers<V> * (R2 - 1)) {
        call();
        V x[R2];
        load_multiplied(x, matrix + 2 * k, R1, twiddles);
        butterfly<S>(x);
        unroll<R2>(LYR_LAMBDA(auto p) { x[p].store(out + 2 * (k + p * R1)); });
    }
}

template <int R1, int R2, int S>
void turned_last(const stage *d, scalar *matrix, scalar *out) {
    last_of_turned<R1, R2, S>(d, matrix, out, no_calls{});
}

template <int R1, int R2, int S>
void turned_last_ahead(const stage *d, const scalar *matrix, scalar *out, const next_arrays &next) {
    constexpr int64_t butterflies = R1 / vec::lanes;
    last_of_turned<R1, R2, S>(d, matrix, out, calls_ahead<R1 * R2, butterflies>(next));
}

// The other two of three stages for that matrix, which may be the output itself: for two of its
// columns at a time, whose places take the results; lanes run along these.
template <int R1, int R2, int R3, int S, class V = vec, class Calls>
LYR_INLINE void later_of_turned(const stage *d, const scalar *matrix, scalar *out, Calls call) {
    constexpr int before = inputs_before_third(R3);
    constexpr int64_t factors = factors_around(R3, before);
    alignas(64) scalar block[2 * V::lanes * R2 * R3];
    const scalar *second = d[0].twiddles, *third = second + 4 * R1 * (R2 - 1);
    for (int64_t k = 0; k < R1; k += V::lanes) {
        for (int64_t j = 0; j < R3; ++j) {
            const scalar *from = matrix + 2 * (j * R1 + k);
            scalar *to = block + 2 * V::lanes * j;
            __asm__("" : "+r"(second));  // no hoisting to the stack
            call();
            V x[R2];
            load_multiplied(x, from, R1 * R3, second);
            butterfly<S>(x);
            unroll<R2>(LYR_LAMBDA(auto p) { x[p].store(to + 2 * V::lanes * p * R3); });
        }
        second += ready_numbers<V> * (R2 - 1);
        for (int64_t i = 0; i < R2; ++i, third += ready_numbers<V> * factors) {
            const scalar *from = block + 2 * V::lanes * i * R3;
            scalar *to = out + 2 * (k + i * R1);
            call();
            V x[R3];
            unroll<R3>(LYR_LAMBDA(auto q) {
                x[place_around<R3, before>(q)] = V::load(from + 2 * V::lanes * q);
            });
            multiply_around<R3, before>(x, ready_powers_at<V>(third));
            butterfly<S>(x);
            unroll<R3>(LYR_LAMBDA(auto p) { x[p].store(to + 2 * p * R1 * R2); });
        }
    }
}

template <int R1, int R2, int R3, int S>
void turned_later(const stage *d, scalar *matrix, scalar *out) {
    later_of_turned<R1, R2, R3, S>(d, matrix, out, no_calls{});
}

template <int R1, int R2, int R3, int S>
void turned_later_ahead(const stage *d, const scalar *matrix, scalar *out,
                        const next_arrays &next) {
    constexpr int64_t butterflies = R1 / vec::lanes * (R2 + R3);
    later_of_turned<R1, R2, R3, S>(d, matrix, out, calls_ahead<R1 * R2 * R3, butterflies>(next));
}

// The first of four or five turned stages, for the rows of these blocks. Column j becomes row j of
// the matrix, the first one being column -before, as in turned_first.
template <int R1, int S>
__attribute__((noinline)) void turned_first_of_blocks(const scalar *in, int64_t m, int64_t before,
                                                      scalar *matrix, const turned_blocks &blocks,
                                                      int64_t begin, int64_t end) {
    constexpr int64_t W = vec::lanes;
    for (int64_t b = begin; b < end; ++b) {
        int64_t j = b * blocks.rows - before;
        scalar *row = matrix + 2 * blocks.place(R1, b);
        for (const int64_t behind = j + blocks.rows; j < behind; j += W, row += 2 * W * R1) {
            const scalar *from = in + 2 * j;
            turn_columns<vec, R1, S, W>(j < 0 ? from + 2 * R1 * m : from, from, m, row);
        }
    }
}

// A later stage of these, in place: lanes run along the rows of R1 numbers. The inputs of a
// butterfly are `step` apart, its factors those of the numbers of a row.
template <int R1, int R, int S, class V = vec>
__attribute__((noinline)) void turned_middle(scalar *x0, int64_t step, int64_t blocks, int64_t rows,
                                             const scalar *twiddles) {
    stream<R> to(x0, step);
    for (int64_t b = 0; b < blocks; ++b) {
        for (int64_t j = 0; j < rows; ++j) {
            const scalar *factors = twiddles;
            __asm__("" : "+r"(factors));  // no hoisting to the stack
            unroll<R1 / V::lanes>(LYR_LAMBDA(auto i) {
                V x[R];
                unroll<R>(LYR_LAMBDA(auto q) {
                    x[q] = V::load(to.at(q));
                    if constexpr (q > 0) {
                        constexpr int number = (R - 1) * i + q - 1;
                        x[q] = cmul(x[q], ready_powers_at<V>(factors)[number]);
                    }
                });
                butterfly<S>(x);
                unroll<R>(LYR_LAMBDA(auto p) { x[p].store(to.at(p)); });
                to.advance(V::lanes);
            });
        }
        to.advance(pair_padding);
    }
}

// The last two of these stages for a block of R3*R4 rows, whose places take the results of the
// first one. Outputs are `step` apart, which fall into few cache sets (column_run_by_lines); where
// Calls they are called for.
template <int R1, int R3, int R4, int S, bool Calls, class V = vec>
LYR_INLINE void last_of_block(scalar *block, scalar *out, int64_t step, const scalar *&twiddles) {
    constexpr int64_t W = V::lanes, before = inputs_before_last_but_one(R3);
    constexpr int64_t factors = factors_around(R3, before);
    constexpr bool by_lines = R4 > 4 && 2 * W == line_complex && R1 % (2 * W) == 0;
    alignas(64) scalar done[2 * W * R4];
    ready_factor<V> ready[R1 / W][factors];
    for (int64_t i = 0; i < R1 / W; ++i, twiddles += 2 * W * factors)
        unroll<factors>(
            LYR_LAMBDA(auto h) { ready[i][h] = alternating(V::tw_plain(twiddles + 2 * W * h)); });
    stream<R3> rows(block, R4 * R1);
    for (int64_t j = 0; j < R4; ++j)
        for (int64_t i = 0; i < R1 / W; ++i) {
            V x[R3];
            unroll<R3>(
                LYR_LAMBDA(auto q) { x[place_around<R3, before>(q)] = V::load(rows.at(q)); });
            multiply_around<R3, before>(x, ready_powers<V>{ready[i]});
            butterfly<S>(x);
            unroll<R3>(LYR_LAMBDA(auto p) { x[p].store(rows.at(p)); });
            rows.advance(W);
        }
    for (int64_t p = 0; p < R3; ++p) {
        const scalar *in = block + 2 * p * R4 * R1;
        stream<R4> to(out + 2 * p * step, step * R3);
        for (int64_t i = 0; i < R1; i += by_lines ? 2 * W : W) {
            if constexpr (Calls && by_lines)
                unroll<R4>(LYR_LAMBDA(auto q) { __builtin_prefetch(to.at(q), 1); });
            V x[R4];
            butterfly_of_columns<R1, R4, S>(x, in, twiddles);
            if constexpr (by_lines) {
                unroll<R4>(LYR_LAMBDA(auto q) { x[q].store(done + 2 * W * q); });
                __asm__ volatile("" ::"r"(done) : "memory");
                butterfly_of_columns<R1, R4, S>(x, in, twiddles);
                unroll<R4>(LYR_LAMBDA(auto q) {
                    V::load(done + 2 * W * q).store(to.at(q));
                    x[q].store(to.at(q) + 2 * W);
                });
                to.advance(2 * W);
            } else {
                unroll<R4>(LYR_LAMBDA(auto q) { x[q].store(to.at(q)); });
                to.advance(W);
            }
        }
    }
}

// Four or five stages; R3 is 1 where there are four.
template <int R1, int R2, int R3, int R4, int R5, int S>
struct stages_of_blocks {
    static constexpr turned_blocks blocks = {R4 * R5, R3, R2};
    static constexpr int64_t before = columns_before(R4, R5);
    static_assert(blocks.rows % vec::lanes == 0 && before % vec::lanes == 0);

    static void first(const stage *d, const scalar *in, scalar *matrix, int64_t begin,
                      int64_t end) {
        turned_first_of_blocks<R1, S>(in, d[0].m, before, matrix, blocks, begin, end);
    }
    static void second(const stage *d, scalar *matrix, int64_t begin, int64_t end) {
        turned_middle<R1, R2, S>(matrix + 2 * begin * blocks.block(R1), blocks.group(R1),
                                 end - begin, blocks.rows, d[0].twiddles);
    }
    // The others, a group of blocks after the other.
    static void later(const stage *d, scalar *matrix, scalar *out, int64_t begin, int64_t end) {
        constexpr bool calls = is_called_for(R1 * R2 * R3 * R4 * R5 * complex_bytes);
        constexpr int64_t factors = factors_around(R4, inputs_before_last_but_one(R4)) +
                                    R4 * factors_around(R5, inputs_before(R5));
        const scalar *third = d[0].twiddles + 4 * R1 * (R2 - 1);
        const scalar *last = third + 4 * R1 * R2 * (R3 - 1) + 2 * R1 * factors * R3 * begin;
        for (int64_t k = begin; k < end; ++k) {
            scalar *group = matrix + 2 * k * blocks.group(R1);
            if constexpr (R3 > 1)
                turned_middle<R1, R3, S>(group, blocks.block(R1), 1, blocks.rows,
                                         third + 4 * R1 * (R3 - 1) * k);
            for (int64_t i = 0; i < R3; ++i)
                last_of_block<R1, R4, R5, S, calls>(group + 2 * i * blocks.block(R1),
                                                    out + 2 * R1 * (k + i * R2), R1 * R2 * R3,
                                                    last);
        }
    }
    static void columns(const stage *d, const scalar *in, scalar *matrix) {
        first(d, in, matrix, 0, R2 * R3);
        second(d, matrix, 0, R3);
    }
    static void rows(const stage *d, scalar *matrix, scalar *out) { later(d, matrix, out, 0, R2); }
    static constexpr stage_parts parts = {first, second, later};
};

template <int R1, int R2, int R3, int R4>
constexpr paired_stages make_pairs() {
    return {R1 * R2 * R3 * R4,
            {R1, R2, R3, R4},
            {paired_columns<R1, R2, -1>, paired_columns<R1, R2, +1>},
            {paired_rows<R3, R4, -1>, paired_rows<R3, R4, +1>},
            pair_form::rows};
}

template <int R1, int R2, int R3, int R4, int R5>
constexpr paired_stages turned_in_blocks(const int64_t (&radices)[5]) {
    const auto &[r1, r2, r3, r4, r5] = radices;
    using forward = stages_of_blocks<R1, R2, R3, R4, R5, -1>;
    using backward = stages_of_blocks<R1, R2, R3, R4, R5, +1>;
    return {R1 * R2 * R3 * R4 * R5,
            {r1, r2, r3, r4, r5},
            {forward::columns, backward::columns},
            {forward::rows, backward::rows},
            pair_form::turned,
            {},
            {},
            {forward::parts, backward::parts}};
}

template <int R1, int R2, int R3, int R4>
constexpr paired_stages make_turned() {
    return turned_in_blocks<R1, R2, 1, R3, R4>({R1, R2, R3, R4, 0});
}

template <int R1, int R2, int R3, int R4, int R5>
constexpr paired_stages make_turned() {
    return turned_in_blocks<R1, R2, R3, R4, R5>({R1, R2, R3, R4, R5});
}

template <int R1, int R2>
constexpr paired_stages make_turned() {
    return {R1 * R2,
            {R1, R2},
            {turned_first<R1, R2, 0, -1>, turned_first<R1, R2, 0, +1>},
            {turned_last<R1, R2, -1>, turned_last<R1, R2, +1>},
            pair_form::turned,
            {turned_last_ahead<R1, R2, -1>, turned_last_ahead<R1, R2, +1>},
            {turned_beside<R1, -1>, turned_beside<R1, +1>}};
}

template <int R1, int R2, int R3>
constexpr paired_stages make_turned() {
    constexpr int before = inputs_before_third(R3);
    return {R1 * R2 * R3,
            {R1, R2, R3},
            {turned_first<R1, R2 * R3, before, -1>, turned_first<R1, R2 * R3, before, +1>},
            {turned_later<R1, R2, R3, -1>, turned_later<R1, R2, R3, +1>},
            pair_form::turned,
            {turned_later_ahead<R1, R2, R3, -1>, turned_later_ahead<R1, R2, R3, +1>},
            {turned_beside<R1, -1>, turned_beside<R1, +1>}};
}

}  // namespace
}  // namespace lyr::LYR_ISA
