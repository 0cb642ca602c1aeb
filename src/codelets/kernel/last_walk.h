// Last stages: row k is R neighbouring complex numbers, output p goes to out + (k + p*L)*os. Lanes
// run along the rows, a transposition in the loads.
#pragma once

#include "codelets/kernel/twiddles.h"

namespace lyr::LYR_ISA {
namespace {

enum class output { contiguous, scattered };

// How the twiddle table has the numbers of a vector of rows: in groups for as many rows as lanes,
// as ready vectors or plain (codelet_table::lanes), or row by row. With single lanes ready means
// turned, where the target has that. three_rows: three that are left, in one vector (takes_three).
enum class lane_order { ready, plain, rows, three_rows };

// The twiddles of input q (at least 1) for rows that begin at p.
template <int R, class V, lane_order Order>
LYR_INLINE typename V::tw lane_twiddles(const scalar *p, int q) {
    if constexpr (V::lanes == 1 && Order == lane_order::ready && turned_tables<V>)
        return V::tw_turned(p + 4 * (q - 1));
    else if constexpr (V::lanes == 1)
        return V::tw_lanes(p + 2 * (q - 1));
    else if constexpr (Order == lane_order::ready)
        return V::tw_lanes(p + 4 * V::lanes * (q - 1));
    else if constexpr (Order == lane_order::plain)
        return V::tw_plain(p + 2 * V::lanes * (q - 1));
    else if constexpr (Order == lane_order::three_rows)
        return V::tw_gather_three(p + 2 * (q - 1), 2 * (R - 1));
    else
        return V::tw_gather(p + 2 * (q - 1), 2 * (R - 1));
}

// Real numbers of the twiddles of one vector of rows.
template <int R, class V, lane_order Order>
constexpr int64_t lane_twiddle_numbers =
    ((V::lanes > 1 || turned_tables<V>)&&Order == lane_order::ready ? 4 : 2) * V::lanes *(R - 1);

// Column Q of V::lanes rows, `row` real numbers apart; two columns at once where that is quicker.
template <int Q, lane_order Order, class V, int R>
LYR_INLINE void load_column(V (&x)[R], const scalar *in, int64_t row) {
    constexpr bool pairs = [] {
        if constexpr (V::lanes > 1)
            return V::gathers_pairs;
        else
            return false;
    }();
    constexpr bool single = !pairs || (Q == R - 1 && R % 2 == 1);
    if constexpr (Order == lane_order::three_rows) {
        if constexpr (single)
            x[Q] = V::gather_three(in + 2 * Q, row);
        else if constexpr (Q % 2 == 0)
            V::gather_three_pair(in + 2 * Q, row, x[Q], x[Q + 1]);
    } else if constexpr (single) {
        x[Q] = V::gather(in + 2 * Q, row);
    } else if constexpr (Q % 2 == 0) {
        V::gather_pair(in + 2 * Q, row, x[Q], x[Q + 1]);
    }
}

// V::lanes rows: loads, twiddles, butterfly.
template <int R, int S, lane_order Order, class V>
LYR_INLINE void butterfly_of_rows(V (&x)[R], const scalar *in, int64_t row,
                                  const scalar *twiddles) {
    unroll<R>(LYR_LAMBDA(auto q) {
        load_column<q.value, Order>(x, in, row);
        if constexpr (q > 0) x[q] = cmul(x[q], lane_twiddles<R, V, Order>(twiddles, q));
    });
    butterfly<S>(x);
}

// The next rows.
template <int R, int S, lane_order Order, class V>
LYR_INLINE void last_butterfly(V (&x)[R], const scalar *&in, const scalar *&twiddles) {
    butterfly_of_rows<R, S, Order>(x, in, 2 * R, twiddles);
    in += 2 * R * V::lanes;
    twiddles += lane_twiddle_numbers<R, V, Order>;
}

// Two rows at a time, whose outputs are stored together (column_pairs).
template <int R, int S, class V, lane_order Order>
LYR_INLINE void last_pairs(const scalar *&in, const stream<R> &out, int64_t count,
                           const scalar *&twiddles) {
    scalar *to[R];
    unroll<R>(LYR_LAMBDA(auto p) { to[p] = out.at(p); });
    for (int64_t rest = count; rest >= 2; rest -= 2) {
        V x[R], y[R];
        last_butterfly<R, S, Order>(x, in, twiddles);
        last_butterfly<R, S, Order>(y, in, twiddles);
        unroll<R>(LYR_LAMBDA(auto p) { V::store_pair(to[p], x[p], y[p]); });
    }
    if (count % 2 == 1) {
        V x[R];
        last_butterfly<R, S, Order>(x, in, twiddles);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(to[p]); });
    }
}

template <int R, int S, class V, lane_order Order, output Out>
LYR_INLINE int64_t last_run(const scalar *&in, stream<R> &out, int64_t os, int64_t count,
                            const scalar *&twiddles) {
    if constexpr (moves_pairs<V> && R <= 8 && Out == output::contiguous) {
        last_pairs<R, S, V, Order>(in, out, count, twiddles);
        return 0;
    }
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        last_butterfly<R, S, Order>(x, in, twiddles);
        unroll<R>(LYR_LAMBDA(auto p) {
            if constexpr (Out == output::contiguous)
                x[p].store(out.at(p));
            else
                x[p].scatter(out.at(p), 2 * os);
        });
        out.advance(V::lanes * os);
    }
    return count;
}

// See column_run_by_lines; only the output collides.
template <int R, int S, class V, lane_order Order>
LYR_INLINE int64_t last_run_by_lines(const scalar *&in, stream<R> &out, int64_t count,
                                     const scalar *&twiddles) {
    constexpr int64_t W = V::lanes;
    static_assert(2 * W == line_complex);
    alignas(64) scalar done[2 * W * R];
    for (; count >= 2 * W; count -= 2 * W) {
        V x[R];
        last_butterfly<R, S, Order>(x, in, twiddles);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(done + 2 * W * p); });
        __asm__ volatile("" ::"r"(done) : "memory");
        last_butterfly<R, S, Order>(x, in, twiddles);
        unroll<R>(LYR_LAMBDA(auto p) {
            V::load(done + 2 * W * p).store(out.at(p));
            x[p].store(out.at(p) + 2 * W);
        });
        out.advance(2 * W);
    }
    return count;
}

// Two vectors fill one of either part. The first of them waits in `done`; it has the even rows, the
// second one the odd rows, so that parting them puts all in order.
template <int R, int S, class V, lane_order Order>
LYR_INLINE int64_t split_last_pairs(const scalar *&in, split_stream<R> &out, int64_t count,
                                    const scalar *&twiddles) {
    alignas(64) scalar done[2 * V::lanes * R];
    for (; count >= 2 * V::lanes; count -= 2 * V::lanes) {
        V x[R];
        butterfly_of_rows<R, S, Order>(x, in, 4 * R, twiddles);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(done + 2 * V::lanes * p); });
        __asm__ volatile("" ::"r"(done) : "memory");
        twiddles += lane_twiddle_numbers<R, V, Order>;
        butterfly_of_rows<R, S, Order>(x, in + 2 * R, 4 * R, twiddles);
        twiddles += lane_twiddle_numbers<R, V, Order>;
        in += 4 * R * V::lanes;
        out.for_each(LYR_LAMBDA(auto p, scalar *re, scalar *im) {
            x[p].store_split_alternating(done + 2 * V::lanes * p, re, im);
        });
        out.advance(2 * V::lanes);
    }
    return count;
}

template <int R, int S, class V, lane_order Order>
LYR_INLINE int64_t split_last_run(const scalar *&in, split_stream<R> &out, int64_t count,
                                  const scalar *&twiddles) {
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        last_butterfly<R, S, Order>(x, in, twiddles);
        out.for_each(LYR_LAMBDA(auto p, scalar *re, scalar *im) { x[p].store_split(re, im); });
        out.advance(V::lanes);
    }
    return count;
}

// Calls run(index<order of the groups>) for the table of a stage of L rows.
template <int R, class F>
LYR_INLINE void with_lane_order(int64_t L, F &&run) {
    constexpr index<static_cast<int>(lane_order::ready)> ready;
    constexpr index<static_cast<int>(lane_order::plain)> plain;
    [[maybe_unused]] constexpr index<static_cast<int>(lane_order::rows)> rows;
    if constexpr (may_have_plain_groups(vec::lanes, R))
        if (has_plain_groups(vec::lanes, R, L)) return run(plain);
    if constexpr (turned_tables<vec>)
        if (!has_turned_rows(R, L)) return run(rows);
    run(ready);
}

template <int R, int S, output Out>
LYR_INLINE void walk_last(const stage *d, const scalar *in, scalar *out, int64_t os) {
    const scalar *twiddles = d->twiddles;
    stream<R> to(out, d->L * os);
    int64_t rest = d->L;
    with_lane_order<R>(
        d->L, LYR_LAMBDA(auto order) {
            constexpr auto groups = static_cast<lane_order>(order.value);
            if constexpr (half_a_line && Out == output::contiguous)
                if (streams_collide<R>(d->L))
                    rest = last_run_by_lines<R, S, vec, groups>(in, to, rest, twiddles);
            rest = last_run<R, S, vec, groups, Out>(in, to, os, rest, twiddles);
        });
    if constexpr (takes_three<vec> && Out == output::contiguous)
        if (rest == 3) {
            vec x[R];
            butterfly_of_rows<R, S, lane_order::three_rows>(x, in, 2 * R, twiddles);
            unroll<R>(LYR_LAMBDA(auto p) { x[p].template store_first<3>(to.at(p)); });
            return;
        }
    in_narrower_vectors<vec>(
        rest, LYR_LAMBDA(auto v, int64_t left) {
            return last_run<R, S, vector_of<decltype(v)>, lane_order::rows, Out>(in, to, os, left,
                                                                                 twiddles);
        });
}

template <int R, int S>
LYR_INLINE void walk_split_last(const stage *d, const scalar *in, scalar *re, scalar *im) {
    const scalar *twiddles = d->twiddles;
    split_stream<R> to(re, im, d->L);
    int64_t rest = d->L;
    with_lane_order<R>(
        d->L, LYR_LAMBDA(auto order) {
            constexpr auto groups = static_cast<lane_order>(order.value);
            rest = split_last_pairs<R, S, vec, groups>(in, to, rest, twiddles);
            rest = split_last_run<R, S, vec, groups>(in, to, rest, twiddles);
        });
    in_narrower_vectors<vec>(
        rest, LYR_LAMBDA(auto v, int64_t left) {
            return split_last_run<R, S, vector_of<decltype(v)>, lane_order::rows>(in, to, left,
                                                                                  twiddles);
        });
}

}  // namespace
}  // namespace lyr::LYR_ISA
