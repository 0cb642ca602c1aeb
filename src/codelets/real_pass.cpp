// The passes of real data (real_pass.h): lanes run along k upwards in one half of the array and
// downwards in the other.
#include "codelets/real_pass.h"

#include LYR_ISA_HEADER

#include "codelets/kernel/butterfly.h"
#include "codelets/simd/in_order.h"

namespace lyr::LYR_ISA {

namespace {

enum class direction { forward, backward };

// a, b: inputs k and h-k; become the outputs k and h-k. product(d) is the product of d with the
// factor, -i*w/2 or conj(w).
template <direction D, class V, class Product>
LYR_INLINE void mirror_by(V &a, V &b, Product &&product) {
    if constexpr (D == direction::forward) {
        V e = fma(scale_conj(b, 0.5), a, 0.5);  // a half, exactly
        in_order(e, a);
        const V t = product(sub_conj(a, b));
        a = e + t;
        b = scale_conj(e - t, 1.0);
    } else {
        const V e = add_conj(a, b), t = product(sub_conj(a, b));
        a = add_i(e, t);
        b = scale_conj(sub_i(e, t), 1.0);
    }
}
template <direction D, class V>
LYR_INLINE void mirror_butterfly(V &a, V &b, typename V::tw w) {
    if constexpr (D == direction::forward) {
        mirror_by<D>(
            a, b, LYR_LAMBDA(V d) { return cmul(d, w); });
    } else {
        const V e = add_conj(a, b), d = sub_conj(a, b);
        twist_back(e, d, w, a, b);
        b = scale_conj(b, 1.0);
    }
}

// The factors of the vectors that begin `numbers` behind a place of their table.
struct plain_factors {
    const scalar *table;

    template <direction D, class V>
    LYR_INLINE void butterfly(V &a, V &b, int64_t numbers) const {
        mirror_butterfly<D>(a, b, V::tw_plain(table + numbers));
    }
};
struct turned_factors {
    const scalar *table, *turn;

    template <direction D, class V>
    LYR_INLINE void butterfly(V &a, V &b, int64_t numbers) const {
        mirror_by<D>(
            a, b, LYR_LAMBDA(V d) {
                const V turned = cmul(d, V::tw_one(turn, turn + 1));
                return turned + cmul(turned, V::tw_plain(table + numbers));
            });
    }
};

// `count` single numbers upwards from low and downwards from high, two neighbours at a time: loads
// and stores that compilers join.
template <direction D, class V, class Factors>
LYR_INLINE void two_at_a_time(const scalar *low, const scalar *high, scalar *out_low,
                              scalar *out_high, int64_t count, const Factors &factors) {
    for (int64_t i = 0; i < count; i += 2) {
        V a0 = V::load(low), a1 = V::load(low + 2), b1 = V::load(high - 2), b0 = V::load(high);
        factors.template butterfly<D>(a0, b0, 2 * i);
        factors.template butterfly<D>(a1, b1, 2 * i + 2);
        a0.store(out_low);
        a1.store(out_low + 2);
        b1.store(out_high - 2);
        b0.store(out_high);
        low += 4;
        high -= 4;
        out_low += 4;
        out_high -= 4;
    }
}

// Vectors from k to last; returns the first k that is left. One operation reads all that it writes,
// so that the last vector may meet its mirror image.
template <direction D, class V, class Factors>
LYR_INLINE int64_t unit_run(int64_t h, const scalar *in, scalar *out, int64_t k, int64_t last,
                            const Factors &factors) {
    constexpr int64_t W = V::lanes;
    const int64_t low = 2 * k, high = 2 * (h - k - W + 1);
    const int64_t vectors = k <= last ? (last - k + 1) / W : 0;
    if constexpr (moves_pairs<V>) {
        const int64_t even = vectors & -2;
        two_at_a_time<D, V>(in + low, in + high, out + low, out + high, even, factors);
        for (int64_t i = even; i < vectors; ++i) {
            V a = V::load(in + low + 2 * i), b = V::load(in + high - 2 * i);
            factors.template butterfly<D>(a, b, 2 * i);
            a.store(out + low + 2 * i);
            b.store(out + high - 2 * i);
        }
        return k + vectors;
    }
    int64_t down = 0;
#pragma GCC unroll 2
    for (int64_t up = 0; up < 2 * W * vectors; up += 2 * W, down -= 2 * W) {
        V a = V::load(in + low + up), b = reversed(V::load(in + high + down));
        factors.template butterfly<D>(a, b, up);
        a.store(out + low + up);
        reversed(b).store(out + high + down);
    }
    return k + W * vectors;
}

// Two levels: block by block.
template <direction D>
LYR_INLINE void turned_run(const real_pass &w, const scalar *in, scalar *out) {
    for (int64_t k = w.first; k <= w.last;) {
        const int64_t block = (k - 1) / real_pass_block, end = (block + 1) * real_pass_block;
        const int64_t last = end < w.last ? end : w.last, before = 1 + block * real_pass_block;
        const scalar *turn = w.turns + 2 * block;
        in_vectors<vec>(
            0, LYR_LAMBDA(auto v, int64_t) {
                return k = unit_run<D, vector_of<decltype(v)>>(
                           w.h, in, out, k, last,
                           turned_factors{w.twiddles + 2 * (k - before), turn});
            });
    }
}

template <direction D, class V>
LYR_INLINE int64_t strided_run(const real_pass &w, const scalar *in, scalar *out, int64_t k) {
    constexpr int64_t W = V::lanes;
    const int64_t is = 2 * w.in_step, os = 2 * w.out_step;
    for (; k + W - 1 <= w.last; k += W) {
        V a = V::gather(in + k * is, is), b = V::gather(in + (w.h - k) * is, -is);
        mirror_butterfly<D>(a, b, V::tw_plain(w.twiddles + 2 * (k - 1)));
        a.scatter(out + k * os, os);
        b.scatter(out + (w.h - k) * os, -os);
    }
    return k;
}

template <direction D>
void pass(const real_pass &walk, const scalar *in, scalar *out) {
    const real_pass w = walk;  // the stores could change the original, for all the compiler knows
    int64_t k = w.first;
    if (w.turns) return turned_run<D>(w, in, out);
    if (w.in_step == 1 && w.out_step == 1) {
        in_vectors<vec>(
            0, LYR_LAMBDA(auto v, int64_t) {
                return k = unit_run<D, vector_of<decltype(v)>>(
                           w.h, in, out, k, w.last, plain_factors{w.twiddles + 2 * (k - 1)});
            });
    } else {
        in_vectors<vec>(
            0, LYR_LAMBDA(auto v, int64_t) {
                return k = strided_run<D, vector_of<decltype(v)>>(w, in, out, k);
            });
    }
}

template <direction D, class V>
LYR_INLINE int64_t row_run(const scalar *in_a, const scalar *in_b, scalar *out_a, scalar *out_b,
                           typename V::tw w, int64_t j, int64_t width) {
    for (; j + V::lanes <= width; j += V::lanes) {
        V a = V::load(in_a + 2 * j), b = V::load(in_b + 2 * j);
        mirror_butterfly<D>(a, b, w);
        a.store(out_a + 2 * j);
        b.store(out_b + 2 * j);
    }
    return j;
}

template <direction D>
void pass_rows(const real_pass &walk, const scalar *in, scalar *out) {
    const real_pass w = walk;  // the stores could change the original, for all the compiler knows
    for (int64_t k = w.first; k <= w.last; ++k) {
        const scalar *in_a = in + 2 * k * w.in_step, *in_b = in + 2 * (w.h - k) * w.in_step;
        scalar *out_a = out + 2 * k * w.out_step, *out_b = out + 2 * (w.h - k) * w.out_step;
        const scalar *re = w.twiddles + 2 * (k - 1), *im = re + 1;
        int64_t j = 0;
        in_vectors<vec>(
            0, LYR_LAMBDA(auto v, int64_t) {
                using V = vector_of<decltype(v)>;
                return j = row_run<D, V>(in_a, in_b, out_a, out_b, V::tw_one(re, im), j, w.width);
            });
    }
}

}  // namespace

extern const real_pass_set real_passes;
const real_pass_set real_passes = {pass<direction::forward>, pass<direction::backward>,
                                   pass_rows<direction::forward>, pass_rows<direction::backward>};

}  // namespace lyr::LYR_ISA
