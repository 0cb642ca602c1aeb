// Walks with lanes along columns: first and middle stages, batches, transforms side by side.
#pragma once

#include "codelets/kernel/twiddles.h"

namespace lyr::LYR_ISA {
namespace {

// How a run stores: as usual, or past the caches (codelet_set::far_slab).
struct store_near {
    static constexpr bool far = false;
    template <class V>
    LYR_INLINE static void put(V x, scalar *p) {
        x.store(p);
    }
};
struct store_far {
    static constexpr bool far = true;
    template <class V>
    LYR_INLINE static void put(V x, scalar *p) {
        x.store_far(p);
    }
};

// Two neighbouring butterflies at a time by instructions that move two numbers, where the registers
// hold both: half of the loads and stores, and lines of streams that fall into few cache sets are
// fetched half as often.
template <int R, int S, class V, class Twiddles>
LYR_INLINE void column_pairs(stream<R> &in, stream<R> &out, int64_t count, const Twiddles &t) {
    const scalar *from[R];
    scalar *to[R];
    unroll<R>(LYR_LAMBDA(auto q) {
        from[q] = in.at(q);
        to[q] = out.at(q);
    });
    for (int64_t rest = count; rest >= 2; rest -= 2) {
        V x[R], y[R];
        unroll<R>(LYR_LAMBDA(auto q) {
            V::load_pair(from[q], x[q], y[q]);
            x[q] = t.multiply(x[q], q);
            y[q] = t.multiply(y[q], q);
        });
        butterfly<S>(x);
        butterfly<S>(y);
        unroll<R>(LYR_LAMBDA(auto p) { V::store_pair(to[p], x[p], y[p]); });
    }
    if (count % 2 == 1) {
        V x[R];
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load(from[q]), q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(to[p]); });
    }
    in.advance(count);
    out.advance(count);
}

// Whether registers hold two butterflies, their factors, and what these need besides.
template <int R, class V, class Twiddles>
constexpr bool runs_in_pairs = moves_pairs<V> &&R <= 8 && 2 * R + Twiddles::registers <= 24;

// Runs as many butterflies of V's lanes as fit into `count` and advances the streams; returns the
// rest of count.
template <int R, int S, class V, class Store = store_near, class Twiddles>
LYR_INLINE int64_t column_run(stream<R> &in, stream<R> &out, int64_t count, Twiddles t) {
    if constexpr (runs_in_pairs<R, V, Twiddles>) {
        column_pairs<R, S, V>(in, out, count, t);
        return 0;
    }
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        t.begin_butterfly();
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load(in.at(q)), q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { Store::put(x[p], out.at(p)); });
        in.advance(V::lanes);
        out.advance(V::lanes);
    }
    return count;
}

// What is left of a row, less than a vector: a vector with lanes left out where the target has
// such, else narrower vectors.
template <int R, int S, class V, class Twiddles>
LYR_INLINE void column_rest(stream<R> &in, stream<R> &out, int64_t count, Twiddles t) {
    if (count == 0) return;
    V x[R];
    t.begin_butterfly();
    unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load_part(in.at(q), count), q); });
    butterfly<S>(x);
    unroll<R>(LYR_LAMBDA(auto p) { x[p].store_part(out.at(p), count); });
    in.advance(count);
    out.advance(count);
}

// Three butterflies that are left, in one vector.
template <int R, int S, class V, class Twiddles>
LYR_INLINE void column_three(stream<R> &in, stream<R> &out, Twiddles t) {
    V x[R];
    t.begin_butterfly();
    unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::template load_first<3>(in.at(q)), q); });
    butterfly<S>(x);
    unroll<R>(LYR_LAMBDA(auto p) { x[p].template store_first<3>(out.at(p)); });
    in.advance(3);
    out.advance(3);
}

template <int R, int S, class V>
LYR_INLINE void column_runs(stream<R> &in, stream<R> &out, int64_t count) {
    count = column_run<R, S, V>(in, out, count, no_twiddles{});
    if constexpr (takes_three<V>)
        if (count == 3) return column_three<R, S, V>(in, out, no_twiddles{});
    if constexpr (has_parts<V>)
        column_rest<R, S, V>(in, out, count, no_twiddles{});
    else
        in_narrower_vectors<V>(
            count, LYR_LAMBDA(auto v, int64_t rest) {
                return column_run<R, S, vector_of<decltype(v)>>(in, out, rest, no_twiddles{});
            });
}

// The same for streams that fall into few cache sets (steps that are multiples of a large power of
// two). A cache line would be evicted between the two visits of a vector of half a line, so each
// line is read whole and written whole: the second halves wait in `held` while the first are
// transformed.
template <int R, int S, class V, class Store = store_near, class Twiddles>
LYR_INLINE int64_t column_run_by_lines(stream<R> &in, stream<R> &out, int64_t count, Twiddles t) {
    constexpr int64_t W = V::lanes;
    static_assert(2 * W == line_complex);
    alignas(64) scalar held[2 * W * R], done[2 * W * R];
    for (; count >= 2 * W; count -= 2 * W) {
        V x[R];
        unroll<R>(LYR_LAMBDA(auto q) {
            x[q] = t.multiply(V::load(in.at(q)), q);
            V::load(in.at(q) + 2 * W).store(held + 2 * W * q);
        });
        __asm__ volatile("" ::"r"(held) : "memory");
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(done + 2 * W * p); });
        __asm__ volatile("" ::"r"(done) : "memory");
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load(held + 2 * W * q), q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) {
            Store::put(V::load(done + 2 * W * p), out.at(p));
            Store::put(x[p], out.at(p) + 2 * W);
        });
        in.advance(2 * W);
        out.advance(2 * W);
    }
    return count;
}

template <int R, int S, class V>
LYR_INLINE int64_t twiddled_run(stream<R> &in, stream<R> &out, int64_t count,
                                const row_place &twiddles) {
    if (count < V::lanes) return count;
    return column_run<R, S, V>(in, out, count, typename twiddle_choice<R, V>::type(twiddles));
}

template <int R, int S, class V>
LYR_INLINE void twiddled_rest(stream<R> &in, stream<R> &out, int64_t count,
                              const row_place &twiddles) {
    if constexpr (takes_three<V>)
        if (count == 3)
            return column_three<R, S, V>(in, out, typename twiddle_choice<R, V>::type(twiddles));
    if constexpr (has_parts<V>) {
        if (count > 0)
            column_rest<R, S, V>(in, out, count, typename twiddle_choice<R, V>::type(twiddles));
    } else {
        in_narrower_vectors<V>(
            count, LYR_LAMBDA(auto v, int64_t rest) {
                return twiddled_run<R, S, vector_of<decltype(v)>>(in, out, rest, twiddles);
            });
    }
}

// How a walk visits memory: lines is column_run_by_lines where vectors are half a line.
enum class visit { vectors, lines };

// First stages.
template <int R, int S, visit Visit>
__attribute__((noinline)) void walk_columns(const column_walk w, const scalar *in, scalar *out) {
    stream<R> from(in, w.in_q), to(out, w.out_p);
    for (int64_t k = 0; k < w.rows; ++k) {
        int64_t count = w.count;
        if constexpr (Visit == visit::lines)
            count = column_run_by_lines<R, S, vec>(from, to, count, no_twiddles{});
        column_runs<R, S, vec>(from, to, count);
        from.advance(w.in_step - w.count);
        to.advance(w.out_step - w.count);
    }
}

// Middle stages and interleaved batches.
template <int R, int S, visit Visit>
__attribute__((noinline)) void walk_columns_twiddled(const column_walk w, const scalar *in,
                                                     scalar *out, const scalar *twiddles, int64_t L,
                                                     table_order order) {
    stream<R> from(in, w.in_q), to(out, w.out_p);
    for (int64_t k = 0; k < w.rows; ++k) {
        const row_place t = row_in_table<R>(order, twiddles, w.first + k * w.step, L);
        int64_t count = w.count;
        if constexpr (Visit == visit::lines)
            count = column_run_by_lines<R, S, vec>(from, to, count, row_twiddles<R, vec>(t));
        count = twiddled_run<R, S, vec>(from, to, count, t);
        twiddled_rest<R, S, vec>(from, to, count, t);
        from.advance(w.in_step - w.count);
        to.advance(w.out_step - w.count);
    }
}

// Middle stages whose table holds ready vectors.
template <int R, int S>
__attribute__((noinline)) void walk_ready_rows(const stage *d, const scalar *in, scalar *out) {
    const int64_t L = d->L, m = d->m;
    stream<R> from(in, m), to(out, L * m);
    for (int64_t k = 0; k < L; ++k) {
        const row_place t = ready_row<R>(d->twiddles, k);
        const int64_t rest = column_run<R, S, vec>(from, to, m, ready_twiddles<R>{t.re});
        twiddled_rest<R, S, vec>(from, to, rest, t);
        from.advance((R - 1) * m);
    }
}

// Last stages by single lanes whose outputs collide: each line is written whole. The first pair of
// outputs waits in `done` for the second one.
template <int R, class V>
constexpr bool writes_by_lines = moves_pairs<V> &&R <= 8;

template <int R, int S, class V>
__attribute__((noinline)) void walk_last_by_lines(const column_walk w, const scalar *in,
                                                  scalar *out, const scalar *twiddles, int64_t L) {
    alignas(64) scalar done[4 * R];
    stream<R> from(in, w.in_q), to(out, w.out_p);
    for (int64_t k = 0; k < w.rows; ++k) {
        const row_place t =
            row_in_table<R>(table_order::grouped, twiddles, w.first + k * w.step, L);
        const typename twiddle_choice<R, V>::type factors(t);
        int64_t count = w.count;
        for (; count >= 4; count -= 4) {
            {
                stream<R> pair(done, 2);
                column_run<R, S, V>(from, pair, 2, factors);
            }
            V x[R], y[R];
            unroll<R>(LYR_LAMBDA(auto q) {
                const scalar *p = from.at(q);
                V::load_pair(p, x[q], y[q]);
                x[q] = factors.multiply(x[q], q);
                y[q] = factors.multiply(y[q], q);
            });
            butterfly<S>(x);
            butterfly<S>(y);
            const scalar *first = done;
            unroll<R>(LYR_LAMBDA(auto p) {
                scalar *line = to.at(p);
                V a, b;
                V::load_pair(first, a, b);
                V::store_pair(line, a, b);
                V::store_pair(line, x[p], y[p]);
            });
            from.advance(2);
            to.advance(4);
        }
        column_run<R, S, V>(from, to, count, factors);
        from.advance(w.in_step - w.count);
        to.advance(w.out_step - w.count);
    }
}

// Middle stages whose table holds plain rows, which is known here: less work for each row, of which
// vectors of a quarter of a line have many short ones.
constexpr bool quarter_of_a_line = vec::lanes > 1 && 4 * vec::lanes == line_complex;
template <int R, int S>
__attribute__((noinline)) void walk_plain_rows(const stage *d, const scalar *in, scalar *out) {
    const int64_t L = d->L, m = d->m;
    stream<R> from(in, m), to(out, L * m);
    const scalar *twiddles = d->twiddles, *end = twiddles + 2 * (R - 1) * L;
    for (; twiddles != end; twiddles += 2 * (R - 1)) {
        const row_place t = plain_row<R>(twiddles, 0);
        const int64_t rest =
            column_run<R, S, vec>(from, to, m, typename twiddle_choice<R, vec>::type(t));
        twiddled_rest<R, S, vec>(from, to, rest, t);
        from.advance((R - 1) * m);
    }
}

template <int R>
LYR_INLINE bool collides(const column_walk &w) {
    return w.count >= line_complex && (streams_collide<R>(w.in_q) || streams_collide<R>(w.out_p));
}

template <int R, int S>
LYR_INLINE void walk(const column_walk &w, const scalar *in, scalar *out) {
    if constexpr (half_a_line)
        if (collides<R>(w)) return walk_columns<R, S, visit::lines>(w, in, out);
    walk_columns<R, S, visit::vectors>(w, in, out);
}

template <int R, int S, table_order Order>
LYR_INLINE void walk_twiddled(const column_walk &w, const scalar *in, scalar *out,
                              const scalar *twiddles, int64_t L) {
    if constexpr (half_a_line)
        if (collides<R>(w))
            return walk_columns_twiddled<R, S, visit::lines>(w, in, out, twiddles, L, Order);
    walk_columns_twiddled<R, S, visit::vectors>(w, in, out, twiddles, L, Order);
}

// First stages.
template <int R, int S, class V>
LYR_INLINE int64_t split_first_run(split_stream<R> &in, stream<R> &out, int64_t count) {
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        in.for_each(LYR_LAMBDA(auto q, const scalar *re, const scalar *im) {
            x[q] = V::load_split(re, im);
        });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out.at(p)); });
        in.advance(V::lanes);
        out.advance(V::lanes);
    }
    return count;
}

// Butterflies at any distance from each other, lanes along them.
template <int R, int S, class V>
LYR_INLINE int64_t strided_run(stream<R> &in, int64_t is, stream<R> &out, int64_t os,
                               int64_t count) {
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = V::gather(in.at(q), 2 * is); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].scatter(out.at(p), 2 * os); });
        in.advance(V::lanes * is);
        out.advance(V::lanes * os);
    }
    return count;
}

// First stages of transforms `in_lane` apart: lanes run along the transforms.
template <int R, int S, class V>
LYR_INLINE int64_t gathered_run(stream<R> &in, int64_t in_lane, stream<R> &out, int64_t count) {
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = V::gather(in.at(q), 2 * in_lane); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out.at(p)); });
        in.advance(V::lanes * in_lane);
        out.advance(V::lanes);
    }
    return count;
}

// Whether the outputs of a walk are whole cache lines.
LYR_INLINE bool has_whole_lines(const column_walk &w, const scalar *out) {
    return reinterpret_cast<uintptr_t>(out) % 64 == 0 &&
           (w.count | w.out_step | w.out_p) % line_complex == 0;
}

// The factors of one row of a slab (struct rotation), vector by vector; single lanes are those of a
// vector that is not full.
template <int R>
struct one_level {
    const scalar *columns;

    LYR_INLINE one_level(const rotation &f, int64_t k) : columns(f.columns + 2 * R * f.row * k) {}
    template <class V, int P>
    LYR_INLINE V multiply(V x, index<P>) const {
        return cmul(x, V::tw_plain(columns + 2 * vec::lanes * P));
    }
    template <class V>
    LYR_INLINE void advance() {
        columns += V::lanes == vec::lanes ? 2 * R * vec::lanes : 2 * V::lanes;
    }
};
template <int R>
struct two_levels : one_level<R> {
    const scalar *turns;

    LYR_INLINE two_levels(const rotation &f, int64_t k)
        : one_level<R>(f, k), turns(f.turns + 2 * R * k) {}
    template <class V, int P>
    LYR_INLINE V multiply(V x, index<P> p) const {
        const V turned = cmul(x, V::tw_one(turns + 2 * P, turns + 2 * P + 1));
        return turned + one_level<R>::multiply(turned, p);
    }
};

// Butterflies of a last stage whose outputs are multiplied by factors.
template <int R, int S, class V, class Store, class Rotation>
LYR_INLINE int64_t rotated_run(stream<R> &in, stream<R> &out, int64_t count, const row_place &at,
                               Rotation &rotation) {
    if (count < V::lanes) return count;
    typename twiddle_choice<R, V>::type t(at);
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        t.begin_butterfly();
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load(in.at(q)), q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { Store::put(rotation.multiply(x[p], p), out.at(p)); });
        in.advance(V::lanes);
        out.advance(V::lanes);
        rotation.template advance<V>();
    }
    return count;
}

// The same with whole lines stored at once, past the caches, by vectors of half a line.
template <int R, int S, class V, class Rotation>
LYR_INLINE int64_t rotated_run_by_lines(stream<R> &in, stream<R> &out, int64_t count,
                                        const row_place &at, Rotation &rotation) {
    constexpr int64_t W = V::lanes;
    static_assert(2 * W == line_complex);
    alignas(64) scalar done[2 * W * R];
    typename twiddle_choice<R, V>::type t(at);
    for (; count >= 2 * W; count -= 2 * W) {
        V x[R];
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load(in.at(q)), q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { rotation.multiply(x[p], p).store(done + 2 * W * p); });
        rotation.template advance<V>();
        __asm__ volatile("" ::"r"(done) : "memory");
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load(in.at(q) + 2 * W), q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) {
            V::load(done + 2 * W * p).store_far(out.at(p));
            rotation.multiply(x[p], p).store_far(out.at(p) + 2 * W);
        });
        rotation.template advance<V>();
        in.advance(2 * W);
        out.advance(2 * W);
    }
    return count;
}

}  // namespace
}  // namespace lyr::LYR_ISA
