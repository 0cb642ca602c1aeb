// The members of a codelet family: where a butterfly's inputs and outputs lie in memory. Each
// member is one of two walks, both templates over radix, sign and the presence of twiddle factors.
#pragma once

#include "codelets/kernel/column_walk.h"
#include "codelets/kernel/last_walk.h"

namespace lyr::LYR_ISA {
namespace {

static_assert(complex_vec<vec> && complex_vec<vec1>);

template <int R, int S>
LYR_INLINE void direct(scalar *out, int64_t os, const scalar *in, int64_t is) {
    vec1 x[R];
    unroll<R>(LYR_LAMBDA(auto q) { x[q] = vec1::load(in + 2 * q * is); });
    butterfly<S>(x);
    unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out + 2 * p * os); });
}

template <int R, int S>
void direct_unit(scalar *out, const scalar *in, int64_t, int64_t, scalar *) {
    direct<R, S>(out, 1, in, 1);
}

template <int R, int S>
void direct_general(scalar *out, const scalar *in, int64_t istride_bytes, int64_t ostride_bytes,
                    scalar *) {
    direct<R, S>(out, static_cast<int32_t>(ostride_bytes / complex_bytes), in,
                 static_cast<int32_t>(istride_bytes / complex_bytes));
}

template <int R, int S>
void first_unit(const stage *d, const scalar *in, scalar *out) {
    const column_walk w = {1, 0, 0, d->m, d->m, d->m};
    if constexpr (half_a_line)
        if (collides<R>(w)) return walk_columns<R, S, visit::lines>(w, in, out);
    stream<R> from(in, d->m), to(out, from);
    column_runs<R, S, vec>(from, to, d->m);
}

// Transforms side by side whose results lie one after another, as many as fit into h. Squares of
// results are transposed in registers.
template <int R, int S, class V>
LYR_INLINE int64_t turning_run(stream<R> &in, scalar *&out, int64_t out_lane, int64_t h) {
    constexpr int W = V::lanes, squares = W > 1 ? R / W : 0;
    for (; h >= W; h -= W) {
        V x[R];
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = V::load(in.at(q)); });
        butterfly<S>(x);
        if constexpr (squares > 0)
            unroll<squares>(LYR_LAMBDA(auto b) {
                V square[W];
                unroll<W>(LYR_LAMBDA(auto i) { square[i] = x[b * W + i]; });
                transpose(square);
                unroll<W>(
                    LYR_LAMBDA(auto i) { square[i].store(out + 2 * (i * out_lane + b * W)); });
            });
        unroll<R - squares * W>(LYR_LAMBDA(auto p) {
            x[squares * W + p].scatter(out + 2 * (squares * W + p), 2 * out_lane);
        });
        in.advance(W);
        out += 2 * W * out_lane;
    }
    return h;
}

// Longer transforms are gathered first.
constexpr int longest_turned_at_once = 16;

template <int R, int S>
void direct_many(const scalar *in, int64_t in_step, int64_t in_lane, scalar *out, int64_t out_step,
                 int64_t out_lane, int64_t h) {
    stream<R> from(in, in_step), to(out, out_step);
    if constexpr (R <= longest_turned_at_once && vec::lanes > 1)
        if (in_lane == 1 && out_step == 1)
            return in_vectors<vec>(
                h, LYR_LAMBDA(auto v, int64_t rest) {
                    return turning_run<R, S, vector_of<decltype(v)>>(from, out, out_lane, rest);
                });
    in_vectors<vec>(
        h, LYR_LAMBDA(auto v, int64_t rest) {
            return strided_run<R, S, vector_of<decltype(v)>>(from, in_lane, to, out_lane, rest);
        });
}

template <int R, int S>
void first_general(const stage *d, const scalar *in, scalar *out) {
    const int64_t is = d->in_stride, os = d->out_stride, m = d->m;
    direct_many<R, S>(in, m * is, is, out, m * os, os, m);
}

template <int R, int S>
void middle(const stage *d, const scalar *in, scalar *out) {
    const int64_t L = d->L, m = d->m;
    const column_walk w = {L, R * m, m, m, L * m, m};
    if constexpr (half_a_line)
        if (has_ready_rows(vec::lanes, R, L) && !collides<R>(w))
            return walk_ready_rows<R, S>(d, in, out);
    if constexpr (quarter_of_a_line) return walk_plain_rows<R, S>(d, in, out);
    walk_twiddled<R, S, table_order::rows>(w, in, out, d->twiddles, L);
}

template <int R, int S>
void last_unit(const stage *d, const scalar *in, scalar *out) {
    walk_last<R, S, output::contiguous>(d, in, out, 1);
}

template <int R, int S>
void last_general(const stage *d, const scalar *in, scalar *out) {
    walk_last<R, S, output::scattered>(d, in, out, d->out_stride);
}

template <int R, int S>
void first_slab(const column_walk &w, const scalar *in, scalar *out) {
    walk<R, S>(w, in, out);
}

template <int R, int S>
void twiddle_slab(const stage *d, const column_walk &w, const scalar *in, scalar *out) {
    if constexpr (writes_by_lines<R, vec>)
        if (w.by_lines && d->m == 1)
            return walk_last_by_lines<R, S, vec>(w, in, out, d->twiddles, d->L);
    if (d->m == 1)
        walk_twiddled<R, S, table_order::grouped>(w, in, out, d->twiddles, d->L);
    else
        walk_twiddled<R, S, table_order::rows>(w, in, out, d->twiddles, d->L);
}

// Lanes run along the transforms, which are far apart: lines are shared by neighbouring
// butterflies.
template <int R, int S>
void gathered_slab(const stage *d, const scalar *in, int64_t in_row, int64_t in_lane, scalar *out,
                   int64_t out_row, int64_t out_p, int64_t h) {
    stream<R> from(in, d->m * in_row), to(out, out_p);
    for (int64_t j = 0; j < d->m; ++j) {
        in_vectors<vec>(
            h, LYR_LAMBDA(auto v, int64_t rest) {
                return gathered_run<R, S, vector_of<decltype(v)>>(from, in_lane, to, rest);
            });
        from.advance(in_row - h * in_lane);
        to.advance(out_row - h);
    }
}

template <int R, int S, class Rotation, class Store>
LYR_INLINE void rotated_rows(const stage *d, const column_walk &given, const scalar *in,
                             scalar *out, const rotation &factors) {
    const column_walk w = given;
    stream<R> from(in, w.in_q), to(out, w.out_p);
    for (int64_t i = 0; i < w.rows; ++i) {
        const int64_t k = w.first + i * w.step;
        const row_place t = row_in_table<R>(table_order::grouped, d->twiddles, k, d->L);
        Rotation f(factors, k);
        int64_t rest = w.count;
        if constexpr (Store::far && half_a_line)
            rest = rotated_run_by_lines<R, S, vec>(from, to, rest, t, f);
        else
            rest = rotated_run<R, S, vec, Store>(from, to, rest, t, f);
        in_narrower_vectors<vec>(
            rest, LYR_LAMBDA(auto v, int64_t left) {
                return rotated_run<R, S, vector_of<decltype(v)>, store_near>(from, to, left, t, f);
            });
        from.advance(w.in_step - w.count);
        to.advance(w.out_step - w.count);
    }
}

template <int R, int S>
void rotated_slab(const stage *d, const column_walk &w, const scalar *in, scalar *out,
                  const rotation &factors, [[maybe_unused]] bool far) {
    if (!factors.turns) return rotated_rows<R, S, one_level<R>, store_near>(d, w, in, out, factors);
    if constexpr (has_far_stores<vec>)
        if (far && has_whole_lines(w, out))
            return rotated_rows<R, S, two_levels<R>, store_far>(d, w, in, out, factors);
    rotated_rows<R, S, two_levels<R>, store_near>(d, w, in, out, factors);
}

template <int R, int S>
void far_slab(const stage *d, const column_walk &w, const scalar *in, scalar *out) {
    if (!has_whole_lines(w, out)) return twiddle_slab<R, S>(d, w, in, out);
    stream<R> from(in, w.in_q), to(out, w.out_p);
    for (int64_t i = 0; i < w.rows; ++i) {
        const row_place t =
            row_in_table<R>(table_order::grouped, d->twiddles, w.first + i * w.step, d->L);
        if constexpr (half_a_line)
            column_run_by_lines<R, S, vec, store_far>(from, to, w.count, row_twiddles<R, vec>(t));
        else
            column_run<R, S, vec, store_far>(from, to, w.count, row_twiddles<R, vec>(t));
        from.advance(w.in_step - w.count);
        to.advance(w.out_step - w.count);
    }
}

template <int R, int S>
void split_first(const stage *d, const scalar *re, const scalar *im, scalar *out) {
    split_stream<R> from(re, im, d->m);
    stream<R> to(out, d->m);
    in_vectors<vec>(
        d->m, LYR_LAMBDA(auto v, int64_t rest) {
            return split_first_run<R, S, vector_of<decltype(v)>>(from, to, rest);
        });
}

template <int R, int S>
void split_last(const stage *d, const scalar *in, scalar *re, scalar *im) {
    walk_split_last<R, S>(d, in, re, im);
}

template <int R, int S>
constexpr codelet_set make_codelets() {
    codelet_set set = {direct_unit<R, S>,
                       direct_general<R, S>,
                       direct_many<R, S>,
                       first_unit<R, S>,
                       first_general<R, S>,
                       middle<R, S>,
                       last_unit<R, S>,
                       last_general<R, S>,
                       first_slab<R, S>,
                       twiddle_slab<R, S>,
                       gathered_slab<R, S>,
                       nullptr,
                       nullptr,
                       nullptr,
                       nullptr};
    if constexpr (R <= common_radix_limit) {
        set.rotated_slab = rotated_slab<R, S>;
        set.split_first = split_first<R, S>;
        set.split_last = split_last<R, S>;
        if constexpr (has_far_stores<vec>) set.far_slab = far_slab<R, S>;
    }
    return set;
}

template <int R>
constexpr wide_stages make_wide_stages() {
    if constexpr (has_wide_stages<vec>)
        return {R,
                {first_unit<R, -1>, first_unit<R, +1>},
                {middle<R, -1>, middle<R, +1>},
                {last_unit<R, -1>, last_unit<R, +1>}};
    else
        return {};
}

}  // namespace
}  // namespace lyr::LYR_ISA

// Defines the codelets of one length for the table.
#define LYR_DEFINE_CODELETS(R)                                      \
    namespace lyr::LYR_ISA {                                        \
    extern const codelet_set forward_##R = make_codelets<R, -1>();  \
    extern const codelet_set backward_##R = make_codelets<R, +1>(); \
    }
