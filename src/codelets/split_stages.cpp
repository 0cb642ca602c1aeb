#include "codelets/split_stages.h"

#include "codelets/kernel/registers.h"
#include "codelets/kernel/streams.h"
#include "codelets/simd/real_vec.h"

namespace lyr::LYR_ISA {
namespace {

// W complex numbers as their real and their imaginary parts: what butterflies ask of a vector.
// Rotations by right angles cost nothing.
template <int W>
struct parts {
    static constexpr int lanes = W;
    real_vec<W> re, im;

    LYR_INLINE static parts load(const scalar *re, const scalar *im) {
        return {real_vec<W>::load(re), real_vec<W>::load(im)};
    }
    LYR_INLINE void store(scalar *to_re, scalar *to_im) const {
        re.store(to_re);
        im.store(to_im);
    }
};
template <int W>
LYR_INLINE parts<W> operator+(parts<W> a, parts<W> b) {
    return {a.re + b.re, a.im + b.im};
}
template <int W>
LYR_INLINE parts<W> operator-(parts<W> a, parts<W> b) {
    return {a.re - b.re, a.im - b.im};
}
template <int W>
LYR_INLINE parts<W> add_i(parts<W> a, parts<W> b) {
    return {a.re - b.im, a.im + b.re};
}
template <int W>
LYR_INLINE parts<W> sub_i(parts<W> a, parts<W> b) {
    return {a.re + b.im, a.im - b.re};
}
template <int W>
LYR_INLINE parts<W> fma(parts<W> a, parts<W> b, scalar s) {
    return {fma(a.re, b.re, s), fma(a.im, b.im, s)};
}
template <int W>
LYR_INLINE parts<W> fma_i(parts<W> a, parts<W> b, scalar s) {
    return {fma(a.re, b.im, -s), fma(a.im, b.re, s)};
}
template <int W>
LYR_INLINE parts<W> cmul(parts<W> a, real_vec<W> re, real_vec<W> im) {
    return {fma(-(a.im * im), a.re, re), fma(a.re * im, a.im, re)};
}

// Between stages both parts lie in one array, the imaginary ones behind all real ones.
struct two_arrays {
    const scalar *re, *im;
};
struct two_results {
    scalar *re, *im;
};

template <int W, int R, int N>
LYR_INLINE void first(two_arrays in, two_results out) {
    constexpr int64_t m = N / R;
    for (int64_t j = 0; j < m; j += W) {
        parts<W> x[R];
        unroll<R>(
            LYR_LAMBDA(auto q) { x[q] = parts<W>::load(in.re + q * m + j, in.im + q * m + j); });
        butterfly<-1>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out.re + p * m + j, out.im + p * m + j); });
    }
}

template <int W, int R, int L, int N>
LYR_INLINE void middle(two_arrays in, two_results out, const scalar *&table) {
    constexpr int64_t m = N / L / R;
    for (int64_t k = 0; k < L; ++k, table += 2 * (R - 1)) {
        for (int64_t j = 0; j < m; j += W) {
            const scalar *w = table;
            __asm__("" : "+r"(w));  // no hoisting to the stack
            const int64_t from = k * R * m + j, to = k * m + j;
            parts<W> x[R];
            unroll<R>(LYR_LAMBDA(auto q) {
                x[q] = parts<W>::load(in.re + from + q * m, in.im + from + q * m);
                if constexpr (q > 0)
                    x[q] = cmul(x[q], broadcast<W>(w[2 * q - 2]), broadcast<W>(w[2 * q - 1]));
            });
            butterfly<-1>(x);
            unroll<R>(LYR_LAMBDA(auto p) {
                x[p].store(out.re + to + p * L * m, out.im + to + p * L * m);
            });
        }
    }
}

// W neighbouring columns of W rows of R numbers, transposed.
template <int W, int R>
LYR_INLINE void load_block(real_vec<W> (&x)[W], const scalar *rows) {
    unroll<W>(LYR_LAMBDA(auto i) { x[i] = real_vec<W>::load(rows + i * R); });
    transpose(x);
}
// Eight lanes: rows i and i + 4 are loaded into the halves of one vector, and no number has to move
// from half to half.
template <int W, int R>
requires(W == 8) LYR_INLINE void load_block(real_vec<W> (&x)[W], const scalar *rows) {
    unroll<2>(LYR_LAMBDA(auto half) {
        const auto load = LYR_LAMBDA(int i) {
            const scalar *row = rows + i * R + half * 4;
            return load_halves<W>(row, row + 4 * R).v;
        };
        const auto a = load(0), b = load(1), c = load(2), d = load(3);
        const auto ab_even = __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13);
        const auto ab_odd = __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
        const auto cd_even = __builtin_shufflevector(c, d, 0, 8, 1, 9, 4, 12, 5, 13);
        const auto cd_odd = __builtin_shufflevector(c, d, 2, 10, 3, 11, 6, 14, 7, 15);
        real_vec<W> *to = x + half * 4;
        to[0].v = __builtin_shufflevector(ab_even, cd_even, 0, 1, 8, 9, 4, 5, 12, 13);
        to[1].v = __builtin_shufflevector(ab_even, cd_even, 2, 3, 10, 11, 6, 7, 14, 15);
        to[2].v = __builtin_shufflevector(ab_odd, cd_odd, 0, 1, 8, 9, 4, 5, 12, 13);
        to[3].v = __builtin_shufflevector(ab_odd, cd_odd, 2, 3, 10, 11, 6, 7, 14, 15);
    });
}

template <int W, int R, int N>
LYR_INLINE void last(two_arrays in, two_results out, const scalar *table) {
    constexpr int64_t L = N / R;
    for (int64_t k = 0; k < L; k += W, table += 2 * W * (R - 1)) {
        parts<W> x[R];
        unroll<R / W>(LYR_LAMBDA(auto block) {
            constexpr int first = block * W;
            real_vec<W> re[W], im[W];
            load_block<W, R>(re, in.re + k * R + first);
            load_block<W, R>(im, in.im + k * R + first);
            unroll<W>(LYR_LAMBDA(auto i) {
                constexpr int q = first + i;
                x[q] = {re[i], im[i]};
                if constexpr (q > 0) {
                    const scalar *w = table + 2 * W * (q - 1);
                    x[q] = cmul(x[q], real_vec<W>::load(w), real_vec<W>::load(w + W));
                }
            });
        });
        butterfly<-1>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out.re + k + p * L, out.im + k + p * L); });
    }
}

// The stages after the first L = R1 R2 .., back and forth between two halves of the room.
template <int W, int N, int L, int R, int... Rest>
LYR_INLINE void later_stages(two_arrays in, two_results out, const scalar *table, scalar *to,
                             scalar *other) {
    if constexpr (sizeof...(Rest) == 0) {
        last<W, R, N>(in, out, table);
    } else {
        middle<W, R, L, N>(in, {to, to + N}, table);
        later_stages<W, N, L * R, Rest...>({to, to + N}, out, table, other, to);
    }
}

template <int W, int R, int... Rest>
void run(const scalar *re, const scalar *im, scalar *out_re, scalar *out_im, const scalar *table,
         scalar *room) {
    constexpr int n = (R * ... * Rest);
    first<W, R, n>({re, im}, {room, room + n});
    later_stages<W, n, R, Rest...>({room, room + n}, {out_re, out_im}, table, room + 2 * n, room);
}

// Short ones are joined and parted in registers (kernel/registers.h).
struct numbers_in_parts {
    two_arrays in;
    two_results out;

    template <class V, int N>
    LYR_INLINE V load(int i) const {
        static_assert(N == V::lanes);
        return V::load_split(in.re + i, in.im + i);
    }
    template <int N, class V>
    LYR_INLINE void store(V x, int i) const {
        static_assert(N == V::lanes);
        x.store_split(out.re + i, out.im + i);
    }
};

template <class V, int A, int B>
void run_in_registers(const scalar *re, const scalar *im, scalar *out_re, scalar *out_im,
                      const scalar *, scalar *) {
    transform_in_registers<V, A, B, -1>(numbers_in_parts{{re, im}, {out_re, out_im}});
}

template <class V, int A, int B>
[[maybe_unused]] constexpr split_stages in_registers = {
    A *B, 0, {}, V::lanes, run_in_registers<V, A, B>};

template <int W, int... Radices>
[[maybe_unused]] constexpr split_stages stages_of = {
    (Radices *...), sizeof...(Radices), {Radices...}, W, run<W, Radices...>};

// The quickest orders of 4, 8 and 16, measured, for vectors of four and of eight numbers. Longer
// ones have streams that fall into few cache sets.
template <class V, int W = 2 * V::lanes>
constexpr split_stages list_of_fours[] = {
    in_registers<V, 2, 4>,  in_registers<V, 2, 6>,    in_registers<V, 2, 10>,
    in_registers<V, 2, 12>, in_registers<V, 6, 6>,    in_registers<V, 4, 10>,
    in_registers<V, 12, 4>, stages_of<W, 4, 4>,       stages_of<W, 8, 4>,
    stages_of<W, 8, 8>,     stages_of<W, 4, 4, 8>,    stages_of<W, 8, 4, 8>,
    stages_of<W, 8, 8, 8>,  stages_of<W, 8, 4, 4, 8>, {}};
template <class V, int W = 2 * V::lanes>
constexpr split_stages list_of_eights[] = {stages_of<W / 2, 4, 4>,   stages_of<W / 2, 8, 4>,
                                           stages_of<W, 8, 8>,       stages_of<W, 4, 4, 8>,
                                           stages_of<W, 8, 4, 8>,    stages_of<W, 8, 8, 8>,
                                           stages_of<W, 8, 4, 4, 8>, stages_of<W, 8, 8, 4, 8>,
                                           stages_of<W, 8, 8, 8, 8>, {}};
constexpr split_stages no_list[] = {{}};

template <class V>
constexpr const split_stages *choose() {
    if constexpr (half_a_line && V::lanes == 2)
        return list_of_fours<V>;
    else if constexpr (half_a_line && V::lanes == 4)
        return list_of_eights<V>;
    else
        return no_list;
}

}  // namespace

extern const split_stages *const split_lists;
constinit const split_stages *const split_lists = choose<vec>();

}  // namespace lyr::LYR_ISA
