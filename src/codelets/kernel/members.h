// The members of a codelet family: where a butterfly's inputs and outputs lie in memory. Each
// member is one of two walks, both templates over radix, sign and the presence of twiddle factors.
#pragma once

#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/kernel/butterfly.h"

namespace lyr::LYR_ISA {
namespace {

static_assert(complex_vec<vec> && complex_vec<vec1>);

// The R inputs (or outputs) of a butterfly in memory, `step` complex numbers apart: a
// pointer for every `accesses_per_pointer` of them and offsets of one, two, three.. steps. Few
// pointers to advance, few registers, one instruction per access.
template <int R>
struct stream {
    static constexpr int span = accesses_per_pointer;
    static constexpr int pointers = (R + span - 1) / span;
    double *base[pointers];
    int64_t offset[span];  // in doubles

    LYR_INLINE stream(const double *p, int64_t step) {
        unroll<span>(LYR_LAMBDA(auto i) {
            offset[i] = 2 * i * step;
            // Opaque to the compiler, which would else keep a pointer per access and advance them
            // all. (x86 addresses twice the first offset without a register.)
            if constexpr (i != 0 && (i != 2 || span > 4)) __asm__("" : "+r"(offset[i]));
        });
        unroll<pointers>(
            LYR_LAMBDA(auto g) { base[g] = const_cast<double *>(p) + 2 * span * g * step; });
    }
    // Elsewhere, with the steps of another stream.
    LYR_INLINE stream(double *p, const stream &other) {
        unroll<span>(LYR_LAMBDA(auto i) { offset[i] = other.offset[i]; });
        unroll<pointers>(LYR_LAMBDA(auto g) { base[g] = p + (other.base[g] - other.base[0]); });
    }
    template <int Q>
    LYR_INLINE double *at(index<Q>) const {
        constexpr int i = Q % span;
        return base[Q / span] + (i == 2 && span == 4 ? 2 * offset[1] : offset[i]);
    }
    LYR_INLINE void advance(int64_t numbers) {
        unroll<pointers>(LYR_LAMBDA(auto g) { base[g] += 2 * numbers; });
    }
};

// The order of a twiddle table: rows of complex numbers, plain ones or ready vectors (middle
// stages), or, for a last stage, groups of vec::lanes rows as tw_lanes reads them, then the rest in
// plain order.
enum class table_order { rows, grouped };

// Where the twiddles of one row are: the parts of that of input 1, and the distance (in doubles) to
// the next input's.
struct row_place {
    const double *re, *im;
    int64_t q_step;
};

template <int R>
LYR_INLINE row_place plain_row(const double *table, int64_t row) {
    const double *p = table + 2 * row * (R - 1);
    return {p, p + 1, 2};
}

template <int R>
constexpr int64_t ready_row_doubles = 4 * vec::lanes *(R - 1);

template <int R>
LYR_INLINE row_place ready_row(const double *table, int64_t row) {
    const double *p = table + row * ready_row_doubles<R>;
    return {p, p + 2 * vec::lanes, 4 * vec::lanes};
}

template <int R, table_order Order>
LYR_INLINE row_place row_in_table(const double *table, int64_t row, int64_t rows) {
    constexpr int64_t W = vec::lanes;
    if constexpr (W == 1) return plain_row<R>(table, row);
    if constexpr (Order == table_order::rows)
        return has_ready_rows(W, R, rows) ? ready_row<R>(table, row) : plain_row<R>(table, row);
    constexpr int64_t group_doubles = 4 * W * (R - 1);
    const int64_t grouped = rows & -W;
    if (row >= grouped) return plain_row<R>(table + grouped / W * group_doubles, row - grouped);
    const double *p = table + row / W * group_doubles + 2 * (row % W);
    return {p, p + 2 * W, 4 * W};
}

// Twiddles of one row, the same for all lanes, in registers.
template <int R, class V>
struct row_twiddles {
    typename V::tw w[R];

    LYR_INLINE row_twiddles(const row_place &at) {
        unroll<R - 1>(LYR_LAMBDA(auto q) {
            w[q + 1] = V::tw_one(at.re + q * at.q_step, at.im + q * at.q_step);
        });
    }
    LYR_INLINE void begin_butterfly() {}
    template <int Q>
    LYR_INLINE V multiply(V x, index<Q>) const {
        if constexpr (Q == 0)
            return x;
        else
            return cmul(x, w[Q]);
    }
};

// The same, read again for every butterfly: for more twiddles than registers, where one complex
// number is one load.
template <int R, class V>
struct row_twiddles_in_memory {
    const double *p;

    LYR_INLINE row_twiddles_in_memory(const row_place &at) : p(at.re) {}
    LYR_INLINE void begin_butterfly() { __asm__("" : "+r"(p)); }  // no hoisting to the stack
    template <int Q>
    LYR_INLINE V multiply(V x, index<Q>) const {
        if constexpr (Q == 0)
            return x;
        else
            return cmul(x, V::tw_lanes(p + 2 * (Q - 1)));
    }
};

// Ready vectors, used where they lie.
template <int R>
struct ready_twiddles {
    const double *p;

    LYR_INLINE void begin_butterfly() { __asm__("" : "+r"(p)); }
    template <int Q>
    LYR_INLINE vec multiply(vec x, index<Q>) const {
        if constexpr (Q == 0)
            return x;
        else
            return cmul(x, vec::tw_lanes(p + 4 * vec::lanes * (Q - 1)));
    }
};

template <int R, class V>
struct twiddle_choice {
    using type = row_twiddles<R, V>;
};
template <int R, class V>
requires(R > 12 && vec::lanes == 1) struct twiddle_choice<R, V> {
    using type = row_twiddles_in_memory<R, V>;
};

struct no_twiddles {
    LYR_INLINE void begin_butterfly() {}
    template <class V, int Q>
    LYR_INLINE V multiply(V x, index<Q>) const {
        return x;
    }
};

// Runs as many butterflies of V's lanes as fit into `count` and advances the streams; returns the
// rest of count.
template <int R, int S, class V, class Twiddles>
LYR_INLINE int64_t column_run(stream<R> &in, stream<R> &out, int64_t count, Twiddles t) {
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        t.begin_butterfly();
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load(in.at(q)), q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out.at(p)); });
        in.advance(V::lanes);
        out.advance(V::lanes);
    }
    return count;
}

// The same for streams that fall into few cache sets (steps that are multiples of a large power of
// two). A cache line would be evicted between the two visits of a vector of half a line, so each
// line is read whole and written whole: the second halves wait in `held` while the first are
// transformed.
template <int R, int S, class V, class Twiddles>
LYR_INLINE int64_t column_run_by_lines(stream<R> &in, stream<R> &out, int64_t count, Twiddles t) {
    static_assert(V::lanes == 2);
    alignas(64) double held[4 * R], done[4 * R];
    for (; count >= 4; count -= 4) {
        V x[R];
        unroll<R>(LYR_LAMBDA(auto q) {
            x[q] = t.multiply(V::load(in.at(q)), q);
            V::load(in.at(q) + 4).store(held + 4 * q);
        });
        __asm__ volatile("" ::"r"(held) : "memory");
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(done + 4 * p); });
        __asm__ volatile("" ::"r"(done) : "memory");
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load(held + 4 * q), q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) {
            V::load(done + 4 * p).store(out.at(p));
            x[p].store(out.at(p) + 4);
        });
        in.advance(4);
        out.advance(4);
    }
    return count;
}

// A 32 KiB first-level cache of 8 ways repeats its sets every 4096 bytes. Whether R streams `step`
// complex numbers apart take more than half of the ways of the sets they fall into.
template <int R>
LYR_INLINE bool streams_collide(int64_t step) {
    const int64_t bytes = 16 * step;
    const int64_t power_of_two = bytes & -bytes;
    return power_of_two >= 4096 || R * power_of_two > 4 * 4096;
}

template <int R, int S, class V>
LYR_INLINE int64_t twiddled_run(stream<R> &in, stream<R> &out, int64_t count,
                                const row_place &twiddles) {
    if (count < V::lanes) return count;
    return column_run<R, S, V>(in, out, count, typename twiddle_choice<R, V>::type(twiddles));
}

// How a walk visits memory: lines is column_run_by_lines where vectors are half a line.
enum class visit { vectors, lines };

// First stages.
template <int R, int S, visit Visit>
__attribute__((noinline)) void walk_columns(const column_walk w, const double *in, double *out) {
    stream<R> from(in, w.in_q), to(out, w.out_p);
    for (int64_t k = 0; k < w.rows; ++k) {
        int64_t count = w.count;
        if constexpr (Visit == visit::lines)
            count = column_run_by_lines<R, S, vec>(from, to, count, no_twiddles{});
        count = column_run<R, S, vec>(from, to, count, no_twiddles{});
        if constexpr (vec::lanes > 2)
            count = column_run<R, S, vec_half>(from, to, count, no_twiddles{});
        if constexpr (vec::lanes > 1) column_run<R, S, vec1>(from, to, count, no_twiddles{});
        from.advance(w.in_step - w.count);
        to.advance(w.out_step - w.count);
    }
}

// Middle stages and interleaved batches.
template <int R, int S, visit Visit, table_order Order>
__attribute__((noinline)) void walk_columns_twiddled(const column_walk w, const double *in,
                                                     double *out, const double *twiddles,
                                                     int64_t L) {
    stream<R> from(in, w.in_q), to(out, w.out_p);
    for (int64_t k = 0; k < w.rows; ++k) {
        const row_place t = row_in_table<R, Order>(twiddles, w.first + k * w.step, L);
        int64_t count = w.count;
        if constexpr (Visit == visit::lines)
            count = column_run_by_lines<R, S, vec>(from, to, count, row_twiddles<R, vec>(t));
        count = twiddled_run<R, S, vec>(from, to, count, t);
        if constexpr (vec::lanes > 2) count = twiddled_run<R, S, vec_half>(from, to, count, t);
        if constexpr (vec::lanes > 1) twiddled_run<R, S, vec1>(from, to, count, t);
        from.advance(w.in_step - w.count);
        to.advance(w.out_step - w.count);
    }
}

// Middle stages whose table holds ready vectors.
template <int R, int S>
__attribute__((noinline)) void walk_ready_rows(const stage *d, const double *in, double *out) {
    const int64_t L = d->L, m = d->m;
    stream<R> from(in, m), to(out, L * m);
    for (int64_t k = 0; k < L; ++k) {
        const row_place t = ready_row<R>(d->twiddles, k);
        const int64_t rest = column_run<R, S, vec>(from, to, m, ready_twiddles<R>{t.re});
        twiddled_run<R, S, vec1>(from, to, rest, t);
        from.advance((R - 1) * m);
    }
}

template <int R>
LYR_INLINE bool collides(const column_walk &w) {
    return w.count >= 4 && (streams_collide<R>(w.in_q) || streams_collide<R>(w.out_p));
}

template <int R, int S>
LYR_INLINE void walk(const column_walk &w, const double *in, double *out) {
    if constexpr (vec::lanes == 2)
        if (collides<R>(w)) return walk_columns<R, S, visit::lines>(w, in, out);
    walk_columns<R, S, visit::vectors>(w, in, out);
}

template <int R, int S, table_order Order>
LYR_INLINE void walk_twiddled(const column_walk &w, const double *in, double *out,
                              const double *twiddles, int64_t L) {
    if constexpr (vec::lanes == 2)
        if (collides<R>(w))
            return walk_columns_twiddled<R, S, visit::lines, Order>(w, in, out, twiddles, L);
    walk_columns_twiddled<R, S, visit::vectors, Order>(w, in, out, twiddles, L);
}

// The parts of the inputs (or outputs) of a butterfly in split arrays. One pointer walks over them:
// a pointer for every few parts would take more registers than there are.
template <int R>
struct split_stream {
    static constexpr int span = accesses_per_pointer;
    double *re;
    int64_t im;    // bytes from a real part to its imaginary part
    int64_t jump;  // over `span` numbers
    int64_t offset[span];

    LYR_INLINE split_stream(const double *real, const double *imag, int64_t step)
        : re(const_cast<double *>(real)),
          im(reinterpret_cast<intptr_t>(imag) - reinterpret_cast<intptr_t>(real)),
          jump(span * step) {
        unroll<span>(LYR_LAMBDA(auto i) {
            offset[i] = i * step;
            if constexpr (i != 0 && (i != 2 || span > 4)) __asm__("" : "+r"(offset[i]));
        });
    }
    // Calls f(index<Q>, address of the real part, address of the imaginary part) for all Q.
    template <class F>
    LYR_INLINE void for_each(F &&f) const {
        double *real = re;
        unroll<(R + span - 1) / span>(LYR_LAMBDA(auto group) {
            double *imag = reinterpret_cast<double *>(reinterpret_cast<intptr_t>(real) + im);
            __asm__("" : "+r"(imag));
            unroll<(R - group * span < span ? R - group * span : span)>(LYR_LAMBDA(auto i) {
                const int64_t at = i == 2 && span == 4 ? 2 * offset[1] : offset[i];
                f(index<group * span + i>{}, real + at, imag + at);
            });
            real += jump;
            __asm__("" : "+r"(real));
        });
    }
    LYR_INLINE void advance(int64_t numbers) { re += numbers; }
};

// First stages.
template <int R, int S, class V>
LYR_INLINE int64_t split_first_run(split_stream<R> &in, stream<R> &out, int64_t count) {
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        in.for_each(LYR_LAMBDA(auto q, const double *re, const double *im) {
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

// Butterflies of a last stage whose outputs are multiplied by factors.
template <int R, int S, class V>
LYR_INLINE int64_t rotated_run(stream<R> &in, stream<R> &out, int64_t count, const row_place &at,
                               const double *&factors) {
    if (count < V::lanes) return count;
    typename twiddle_choice<R, V>::type t(at);
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        t.begin_butterfly();
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = t.multiply(V::load(in.at(q)), q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) {
            cmul(x[p], V::tw_plain(factors + 2 * V::lanes * p)).store(out.at(p));
        });
        in.advance(V::lanes);
        out.advance(V::lanes);
        factors += 2 * V::lanes * R;
    }
    return count;
}

// Last stages: row k is R neighbouring complex numbers, output p goes to out + (k + p*L)*os. Lanes
// run along the rows, a transposition in the loads.
enum class output { contiguous, scattered };

template <class V>
constexpr int64_t lane_twiddle_doubles = V::lanes == 1 ? 2 : 4 * V::lanes;

// V::lanes rows, `row` doubles apart: loads, twiddles, butterfly.
template <int R, int S, class V>
LYR_INLINE void butterfly_of_rows(V (&x)[R], const double *in, int64_t row,
                                  const double *twiddles) {
    unroll<R>(LYR_LAMBDA(auto q) {
        x[q] = V::gather(in + 2 * q, row);
        if constexpr (q > 0)
            x[q] = cmul(x[q], V::tw_lanes(twiddles + (q - 1) * lane_twiddle_doubles<V>));
    });
    butterfly<S>(x);
}

// The next rows.
template <int R, int S, class V>
LYR_INLINE void last_butterfly(V (&x)[R], const double *&in, const double *&twiddles) {
    butterfly_of_rows<R, S>(x, in, 2 * R, twiddles);
    in += 2 * R * V::lanes;
    twiddles += (R - 1) * lane_twiddle_doubles<V>;
}

template <int R, int S, class V, output Out>
LYR_INLINE int64_t last_run(const double *&in, stream<R> &out, int64_t os, int64_t count,
                            const double *&twiddles) {
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        last_butterfly<R, S>(x, in, twiddles);
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
template <int R, int S, class V>
LYR_INLINE int64_t last_run_by_lines(const double *&in, stream<R> &out, int64_t count,
                                     const double *&twiddles) {
    static_assert(V::lanes == 2);
    alignas(64) double done[4 * R];
    for (; count >= 4; count -= 4) {
        V x[R];
        last_butterfly<R, S>(x, in, twiddles);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(done + 4 * p); });
        __asm__ volatile("" ::"r"(done) : "memory");
        last_butterfly<R, S>(x, in, twiddles);
        unroll<R>(LYR_LAMBDA(auto p) {
            V::load(done + 4 * p).store(out.at(p));
            x[p].store(out.at(p) + 4);
        });
        out.advance(4);
    }
    return count;
}

// Two vectors fill one of either part. The first of them waits in `done`; it has the even rows, the
// second one the odd rows, so that parting them puts all in order.
template <int R, int S, class V>
LYR_INLINE int64_t split_last_run(const double *&in, split_stream<R> &out, int64_t count,
                                  const double *&twiddles) {
    alignas(64) double done[2 * V::lanes * R];
    for (; count >= 2 * V::lanes; count -= 2 * V::lanes) {
        V x[R];
        butterfly_of_rows<R, S>(x, in, 4 * R, twiddles);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(done + 2 * V::lanes * p); });
        __asm__ volatile("" ::"r"(done) : "memory");
        twiddles += (R - 1) * lane_twiddle_doubles<V>;
        butterfly_of_rows<R, S>(x, in + 2 * R, 4 * R, twiddles);
        twiddles += (R - 1) * lane_twiddle_doubles<V>;
        in += 4 * R * V::lanes;
        out.for_each(LYR_LAMBDA(auto p, double *re, double *im) {
            x[p].store_split_alternating(done + 2 * V::lanes * p, re, im);
        });
        out.advance(2 * V::lanes);
    }
    for (; count >= V::lanes; count -= V::lanes) {
        V x[R];
        last_butterfly<R, S>(x, in, twiddles);
        out.for_each(LYR_LAMBDA(auto p, double *re, double *im) { x[p].store_split(re, im); });
        out.advance(V::lanes);
    }
    return count;
}

template <int R, int S, output Out>
LYR_INLINE void walk_last(const stage *d, const double *in, double *out, int64_t os) {
    const double *twiddles = d->twiddles;
    stream<R> to(out, d->L * os);
    int64_t rest = d->L;
    if constexpr (vec::lanes == 2 && Out == output::contiguous)
        if (streams_collide<R>(d->L)) rest = last_run_by_lines<R, S, vec>(in, to, rest, twiddles);
    rest = last_run<R, S, vec, Out>(in, to, os, rest, twiddles);
    if constexpr (vec::lanes > 1) last_run<R, S, vec1, Out>(in, to, os, rest, twiddles);
}

// ---- Members ------------------------------------------------------------------------------------

template <int R, int S>
LYR_INLINE void direct(double *out, int64_t os, const double *in, int64_t is) {
    vec1 x[R];
    unroll<R>(LYR_LAMBDA(auto q) { x[q] = vec1::load(in + 2 * q * is); });
    butterfly<S>(x);
    unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out + 2 * p * os); });
}

template <int R, int S>
void direct_unit(double *out, const double *in, int64_t, int64_t, double *) {
    direct<R, S>(out, 1, in, 1);
}

template <int R, int S>
void direct_general(double *out, const double *in, int64_t istride_bytes, int64_t ostride_bytes,
                    double *) {
    direct<R, S>(out, static_cast<int32_t>(ostride_bytes >> 4), in,
                 static_cast<int32_t>(istride_bytes >> 4));
}

template <int R, int S>
void first_unit(const stage *d, const double *in, double *out) {
    const column_walk w = {1, 0, 0, d->m, d->m, d->m};
    if constexpr (vec::lanes == 2)
        if (collides<R>(w)) return walk_columns<R, S, visit::lines>(w, in, out);
    stream<R> from(in, d->m), to(out, from);
    int64_t count = column_run<R, S, vec>(from, to, d->m, no_twiddles{});
    if constexpr (vec::lanes > 2)
        count = column_run<R, S, vec_half>(from, to, count, no_twiddles{});
    if constexpr (vec::lanes > 1) column_run<R, S, vec1>(from, to, count, no_twiddles{});
}

template <int R, int S>
void direct_many(const double *in, int64_t in_step, int64_t in_lane, double *out, int64_t out_step,
                 int64_t out_lane, int64_t h) {
    stream<R> from(in, in_step), to(out, out_step);
    const int64_t rest = strided_run<R, S, vec>(from, in_lane, to, out_lane, h);
    if constexpr (vec::lanes > 1) strided_run<R, S, vec1>(from, in_lane, to, out_lane, rest);
}

template <int R, int S>
void first_general(const stage *d, const double *in, double *out) {
    const int64_t is = d->in_stride, os = d->out_stride, m = d->m;
    direct_many<R, S>(in, m * is, is, out, m * os, os, m);
}

template <int R, int S>
void middle(const stage *d, const double *in, double *out) {
    const int64_t L = d->L, m = d->m;
    const column_walk w = {L, R * m, m, m, L * m, m};
    if constexpr (vec::lanes == 2)
        if (has_ready_rows(2, R, L) && !collides<R>(w)) return walk_ready_rows<R, S>(d, in, out);
    walk_twiddled<R, S, table_order::rows>(w, in, out, d->twiddles, L);
}

template <int R, int S>
void last_unit(const stage *d, const double *in, double *out) {
    walk_last<R, S, output::contiguous>(d, in, out, 1);
}

template <int R, int S>
void last_general(const stage *d, const double *in, double *out) {
    walk_last<R, S, output::scattered>(d, in, out, d->out_stride);
}

template <int R, int S>
void first_slab(const column_walk &w, const double *in, double *out) {
    walk<R, S>(w, in, out);
}

template <int R, int S>
void twiddle_slab(const stage *d, const column_walk &w, const double *in, double *out) {
    if (d->m == 1)
        walk_twiddled<R, S, table_order::grouped>(w, in, out, d->twiddles, d->L);
    else
        walk_twiddled<R, S, table_order::rows>(w, in, out, d->twiddles, d->L);
}

// Lanes run along the transforms, which are far apart: lines are shared by neighbouring
// butterflies.
template <int R, int S>
void gathered_slab(const stage *d, const double *in, int64_t in_row, int64_t in_lane, double *out,
                   int64_t out_row, int64_t h) {
    stream<R> from(in, d->m * in_row), to(out, d->m * out_row);
    for (int64_t j = 0; j < d->m; ++j) {
        const int64_t rest = gathered_run<R, S, vec>(from, in_lane, to, h);
        if constexpr (vec::lanes > 1) gathered_run<R, S, vec1>(from, in_lane, to, rest);
        from.advance(in_row - h * in_lane);
        to.advance(out_row - h);
    }
}

template <int R, int S>
void rotated_slab(const stage *d, const column_walk &given, const double *in, double *out,
                  const double *factors) {
    const column_walk w = given;
    stream<R> from(in, w.in_q), to(out, w.out_p);
    for (int64_t i = 0; i < w.rows; ++i) {
        const int64_t k = w.first + i * w.step;
        const row_place t = row_in_table<R, table_order::grouped>(d->twiddles, k, d->L);
        const double *row = factors + 2 * R * w.count * k;
        const int64_t rest = rotated_run<R, S, vec>(from, to, w.count, t, row);
        if constexpr (vec::lanes > 1) rotated_run<R, S, vec1>(from, to, rest, t, row);
        from.advance(w.in_step - w.count);
        to.advance(w.out_step - w.count);
    }
}

template <int R, int S>
void split_first(const stage *d, const double *re, const double *im, double *out) {
    split_stream<R> from(re, im, d->m);
    stream<R> to(out, d->m);
    const int64_t rest = split_first_run<R, S, vec>(from, to, d->m);
    if constexpr (vec::lanes > 1) split_first_run<R, S, vec1>(from, to, rest);
}

template <int R, int S>
void split_last(const stage *d, const double *in, double *re, double *im) {
    const double *twiddles = d->twiddles;
    split_stream<R> to(re, im, d->L);
    const int64_t rest = split_last_run<R, S, vec>(in, to, d->L, twiddles);
    if constexpr (vec::lanes > 1) split_last_run<R, S, vec1>(in, to, rest, twiddles);
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
                       nullptr};
    if constexpr (R <= common_radix_limit) {
        set.rotated_slab = rotated_slab<R, S>;
        set.split_first = split_first<R, S>;
        set.split_last = split_last<R, S>;
    }
    return set;
}

}  // namespace
}  // namespace lyr::LYR_ISA

// Defines the codelets of one length for the table.
#define LYR_DEFINE_CODELETS(R)                                      \
    namespace lyr::LYR_ISA {                                        \
    extern const codelet_set forward_##R = make_codelets<R, -1>();  \
    extern const codelet_set backward_##R = make_codelets<R, +1>(); \
    }
