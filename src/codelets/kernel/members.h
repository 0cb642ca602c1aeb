// The members of a codelet family: where a butterfly's inputs and outputs lie in memory. Each
// member is one of two walks, both templates over radix, sign and the presence of twiddle factors.
#pragma once

#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/kernel/butterfly.h"

namespace lyr::LYR_ISA {
namespace {

static_assert(complex_vec<vec> && complex_vec<vec1>);

// Butterflies in rows; within a row, neighbouring butterflies are neighbours in memory and lanes
// run along the row. All distances in complex numbers.
struct column_walk {
    int64_t rows;
    int64_t in_step, out_step;  // from a row to the next
    int64_t in_q, out_p;        // from an input (output) of a butterfly to the next
    int64_t count;              // butterflies in a row
};

// Twiddles of one row, the same for all lanes.
template <int R, class V>
struct row_twiddles {
    typename V::tw w[R];

    LYR_INLINE row_twiddles(const double *p, int64_t q_step) {
        unroll<R - 1>(LYR_LAMBDA(auto q) { w[q + 1] = V::tw_one(p + q * q_step); });
    }
};

template <int R, int S, class V>
LYR_INLINE void plain_butterfly(const double *in, int64_t in_q, double *out, int64_t out_p) {
    V x[R];
    unroll<R>(LYR_LAMBDA(auto q) { x[q] = V::load(in + q * in_q); });
    butterfly<S>(x);
    unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out + p * out_p); });
}

template <int R, int S, class V>
LYR_INLINE void twiddled_butterfly(const double *in, int64_t in_q, double *out, int64_t out_p,
                                   const row_twiddles<R, V> &t) {
    V x[R];
    x[0] = V::load(in);
    unroll<R - 1>(
        LYR_LAMBDA(auto q) { x[q + 1] = cmul(V::load(in + (q + 1) * in_q), t.w[q + 1]); });
    butterfly<S>(x);
    unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out + p * out_p); });
}

template <int R, int S, class V>
LYR_INLINE int64_t plain_run(const column_walk &w, const double *in, double *out, int64_t j) {
    for (; j + V::lanes <= w.count; j += V::lanes)
        plain_butterfly<R, S, V>(in + 2 * j, 2 * w.in_q, out + 2 * j, 2 * w.out_p);
    return j;
}

template <int R, int S, class V>
LYR_INLINE int64_t twiddled_run(const column_walk &w, const double *in, double *out, int64_t j,
                                const double *twiddles, int64_t q_step) {
    if (j + V::lanes > w.count) return j;
    const row_twiddles<R, V> t(twiddles, q_step);
    for (; j + V::lanes <= w.count; j += V::lanes)
        twiddled_butterfly<R, S, V>(in + 2 * j, 2 * w.in_q, out + 2 * j, 2 * w.out_p, t);
    return j;
}

// First stages.
template <int R, int S>
__attribute__((noinline)) void walk_columns(const column_walk &w, const double *in, double *out) {
    for (int64_t k = 0; k < w.rows; ++k) {
        int64_t j = plain_run<R, S, vec>(w, in, out, 0);
        if constexpr (vec::lanes > 2) j = plain_run<R, S, vec_half>(w, in, out, j);
        if constexpr (vec::lanes > 1) plain_run<R, S, vec1>(w, in, out, j);
        in += 2 * w.in_step;
        out += 2 * w.out_step;
    }
}

// Middle stages and interleaved batches. `group` is the number of rows whose twiddles are stored
// side by side (codelet_table::lanes).
template <int R, int S>
__attribute__((noinline)) void walk_columns_twiddled(const column_walk &w, const double *in,
                                                     double *out, const double *twiddles,
                                                     int64_t group) {
    const int64_t grouped = w.rows & -group;
    for (int64_t k = 0; k < w.rows; ++k) {
        const int64_t lane = k < grouped ? k & (group - 1) : 0;
        const int64_t q_step = k < grouped ? 2 * group : 2;
        const double *t = twiddles + 2 * ((k - lane) * (R - 1) + lane);
        int64_t j = twiddled_run<R, S, vec>(w, in, out, 0, t, q_step);
        if constexpr (vec::lanes > 2) j = twiddled_run<R, S, vec_half>(w, in, out, j, t, q_step);
        if constexpr (vec::lanes > 1) twiddled_run<R, S, vec1>(w, in, out, j, t, q_step);
        in += 2 * w.in_step;
        out += 2 * w.out_step;
    }
}

// Butterflies anywhere: lanes run along neighbouring butterflies, in_lane and out_lane complex
// numbers apart.
struct lane_walk {
    int64_t count;
    int64_t in_lane, out_lane;
    int64_t in_q, out_p;
};

enum class output { contiguous, scattered };

template <int R, int S, class V, bool Twiddled, output Out>
LYR_INLINE int64_t lane_run(const lane_walk &w, const double *in, double *out, int64_t k,
                            const double *twiddles) {
    for (; k + V::lanes <= w.count; k += V::lanes) {
        V x[R];
        const double *from = in + 2 * k * w.in_lane;
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = V::gather(from + 2 * q * w.in_q, 2 * w.in_lane); });
        if constexpr (Twiddled) {
            const double *t = twiddles + 2 * k * (R - 1);
            unroll<R - 1>(LYR_LAMBDA(auto q) {
                x[q + 1] = cmul(x[q + 1], V::tw_lanes(t + 2 * q * V::lanes));
            });
        }
        butterfly<S>(x);
        double *to = out + 2 * k * w.out_lane;
        unroll<R>(LYR_LAMBDA(auto p) {
            if constexpr (Out == output::contiguous)
                x[p].store(to + 2 * p * w.out_p);
            else
                x[p].scatter(to + 2 * p * w.out_p, 2 * w.out_lane);
        });
    }
    return k;
}

template <int R, int S, bool Twiddled, output Out>
LYR_INLINE void walk_lanes(const lane_walk &w, const double *in, double *out,
                           const double *twiddles) {
    const int64_t k = lane_run<R, S, vec, Twiddled, Out>(w, in, out, 0, twiddles);
    if constexpr (vec::lanes > 1) lane_run<R, S, vec1, Twiddled, Out>(w, in, out, k, twiddles);
}

// ---- Members ------------------------------------------------------------------------------------

template <int R, int S>
void direct_unit(double *out, const double *in, int64_t, int64_t, double *) {
    plain_butterfly<R, S, vec1>(in, 2, out, 2);
}

template <int R, int S>
void direct_general(double *out, const double *in, int64_t istride_bytes, int64_t ostride_bytes,
                    double *) {
    const int64_t is = static_cast<int32_t>(istride_bytes >> 4);
    const int64_t os = static_cast<int32_t>(ostride_bytes >> 4);
    plain_butterfly<R, S, vec1>(in, 2 * is, out, 2 * os);
}

template <int R, int S>
void first_unit(const stage *d, const double *in, double *out) {
    walk_columns<R, S>({1, 0, 0, d->m, d->m, d->m}, in, out);
}

template <int R, int S>
void first_general(const stage *d, const double *in, double *out) {
    const int64_t is = d->in_stride, os = d->out_stride;
    walk_lanes<R, S, false, output::scattered>({d->m, is, os, d->m * is, d->m * os}, in, out,
                                               nullptr);
}

template <int R, int S>
void middle(const stage *d, const double *in, double *out) {
    const int64_t L = d->L, m = d->m;
    walk_columns_twiddled<R, S>({L, R * m, m, m, L * m, m}, in, out, d->twiddles, 1);
}

template <int R, int S>
void last_unit(const stage *d, const double *in, double *out) {
    walk_lanes<R, S, true, output::contiguous>({d->L, R, 1, 1, d->L}, in, out, d->twiddles);
}

template <int R, int S>
void last_general(const stage *d, const double *in, double *out) {
    const int64_t os = d->out_stride;
    walk_lanes<R, S, true, output::scattered>({d->L, R, os, 1, d->L * os}, in, out, d->twiddles);
}

template <int R, int S>
void first_slab(const stage *d, const double *in, int64_t in_row, double *out, int64_t out_row,
                int64_t h) {
    const int64_t m = d->m;
    if (in_row == h && out_row == h)  // no gaps: one row of m*h butterflies
        walk_columns<R, S>({1, 0, 0, m * h, m * h, m * h}, in, out);
    else
        walk_columns<R, S>({m, in_row, out_row, m * in_row, m * out_row, h}, in, out);
}

template <int R, int S>
void twiddle_slab(const stage *d, const double *in, int64_t in_row, double *out, int64_t out_row,
                  int64_t h) {
    const int64_t L = d->L, m = d->m;
    if (m == 1)
        walk_columns_twiddled<R, S>({L, R * in_row, out_row, in_row, L * out_row, h}, in, out,
                                    d->twiddles, vec::lanes);
    else  // between scratch buffers, rows without gaps
        walk_columns_twiddled<R, S>({L, R * m * h, m * h, m * h, L * m * h, m * h}, in, out,
                                    d->twiddles, 1);
}

template <int R, int S>
constexpr codelet_set make_codelets() {
    return {direct_unit<R, S>,   direct_general<R, S>, first_unit<R, S>,
            first_general<R, S>, middle<R, S>,         last_unit<R, S>,
            last_general<R, S>,  first_slab<R, S>,     twiddle_slab<R, S>};
}

}  // namespace
}  // namespace lyr::LYR_ISA

// Defines the codelets of one length for the table.
#define LYR_DEFINE_CODELETS(R)                                      \
    namespace lyr::LYR_ISA {                                        \
    extern const codelet_set forward_##R = make_codelets<R, -1>();  \
    extern const codelet_set backward_##R = make_codelets<R, +1>(); \
    }
