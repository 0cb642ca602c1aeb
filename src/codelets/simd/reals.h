// Vectors of real numbers for passes that treat real and imaginary parts apart. Compiler vectors
// suffice: what such passes need beyond arithmetic is reversal and the separation of pairs, which
// compilers turn into the target's shuffles. W numbers, W a power of two up to that of `vec`.
#pragma once

#include LYR_ISA_HEADER

namespace lyr::LYR_ISA {
namespace {

inline constexpr int widest = 2 * vec::lanes;

template <int W>
struct real_vector {
    typedef scalar type __attribute__((vector_size(scalar_bytes * W)));
};
template <>
struct real_vector<1> {
    typedef scalar type;
};
template <int W>
using reals = typename real_vector<W>::type;

template <int W>
struct real_pair {
    reals<W> a, b;
};

template <int... I>
struct indices {};
// Runs once with the indices 0..W-1.
template <int W, int... I>
struct count_to : count_to<W - 1, W - 1, I...> {};
template <int... I>
struct count_to<0, I...> {
    using type = indices<I...>;
};

template <int W>
LYR_INLINE reals<W> load(const scalar *p) {
    reals<W> v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
template <int W>
LYR_INLINE void store(scalar *p, reals<W> v) {
    __builtin_memcpy(p, &v, sizeof v);
}

template <class V, int... I>
LYR_INLINE V shuffle_reversed(V v, indices<I...>) {
    return __builtin_shufflevector(v, v, (int{sizeof...(I)} - 1 - I)...);
}
// Every other element of the 2W numbers of lower and upper, from `first` on; step may be negative.
template <int first, int step, class V, int... I>
LYR_INLINE V shuffle_strided(V lower, V upper, indices<I...>) {
    return __builtin_shufflevector(lower, upper, (first + step * I)...);
}
template <class V, int... I>
LYR_INLINE V shuffle_zipped(V a, V b, int first, indices<I...>) {
    constexpr int W = sizeof...(I);
    return first ? __builtin_shufflevector(a, b, (W / 2 + I / 2 + I % 2 * W)...)
                 : __builtin_shufflevector(a, b, (I / 2 + I % 2 * W)...);
}

template <int W>
LYR_INLINE reals<W> reversed(reals<W> v) {
    if constexpr (W == 1)
        return v;
    else
        return shuffle_reversed(v, typename count_to<W>::type{});
}

// The W numbers that end at p, last one first.
template <int W>
LYR_INLINE reals<W> load_down(const scalar *p) {
    return reversed<W>(load<W>(p - (W - 1)));
}
template <int W>
LYR_INLINE void store_down(scalar *p, reals<W> v) {
    store<W>(p - (W - 1), reversed<W>(v));
}

template <class Whole, class V, int... I>
LYR_INLINE Whole shuffle_joined(V lower, V upper, indices<I...>) {
    return __builtin_shufflevector(lower, upper, I...);
}

// W numbers, half of them from p and half from q: a load and an insertion from memory, no shuffle.
template <int W>
LYR_INLINE reals<W> load_halves(const scalar *p, const scalar *q) {
    return shuffle_joined<reals<W>>(load<W / 2>(p), load<W / 2>(q), typename count_to<W>::type{});
}
// Two vectors of pairs in two halves, parted: first or second members, pairs in the order of the
// halves of x, then those of y, within each 128 bits. Such shuffles stay within 128 bits.
template <int first, class V, int... I>
LYR_INLINE V shuffle_members(V x, V y, indices<I...>) {
    constexpr int W = sizeof...(I), part = 16 / scalar_bytes;  // numbers of 128 bits
    return __builtin_shufflevector(
        x, y, (I / part * part + I % (part / 2) * 2 + I % part / (part / 2) * W + first)...);
}
// Vectors of 256 bits.
template <int W>
constexpr bool has_halves = W *scalar_bytes == 32;

// W pairs from p on: first and second members.
template <int W>
LYR_INLINE real_pair<W> load_pairs(const scalar *p) {
    if constexpr (W == 1) {
        return {p[0], p[1]};
    } else if constexpr (has_halves<W>) {
        const reals<W> x = load_halves<W>(p, p + W), y = load_halves<W>(p + W / 2, p + W + W / 2);
        const typename count_to<W>::type all;
        return {shuffle_members<0>(x, y, all), shuffle_members<1>(x, y, all)};
    } else {
        const reals<W> lower = load<W>(p), upper = load<W>(p + W);
        const typename count_to<W>::type all;
        return {shuffle_strided<0, 2>(lower, upper, all), shuffle_strided<1, 2>(lower, upper, all)};
    }
}
// The W pairs that end with the one at p, last one first.
template <int W>
LYR_INLINE real_pair<W> load_pairs_down(const scalar *p) {
    if constexpr (W == 1) {
        return {p[0], p[1]};
    } else if constexpr (has_halves<W> && W == 4) {
        const reals<4> x = load_halves<W>(p, p - 4), y = load_halves<W>(p - 2, p - 6);
        return {__builtin_shufflevector(x, y, 0, 4, 2, 6),
                __builtin_shufflevector(x, y, 1, 5, 3, 7)};
    } else {
        const reals<W> lower = load<W>(p - 2 * (W - 1)), upper = load<W>(p - (W - 2));
        const typename count_to<W>::type all;
        return {shuffle_strided<2 * W - 2, -2>(lower, upper, all),
                shuffle_strided<2 * W - 1, -2>(lower, upper, all)};
    }
}
template <int W>
LYR_INLINE void store_pairs(scalar *p, reals<W> a, reals<W> b) {
    if constexpr (W == 1) {
        p[0] = a;
        p[1] = b;
    } else {
        const typename count_to<W>::type all;
        store<W>(p, shuffle_zipped(a, b, 0, all));
        store<W>(p + W, shuffle_zipped(a, b, 1, all));
    }
}

// To the W pairs that end with the one at p, last one first.
template <int W>
LYR_INLINE void store_pairs_down(scalar *p, reals<W> a, reals<W> b) {
    store_pairs<W>(p - 2 * (W - 1), reversed<W>(a), reversed<W>(b));
}

// Calls body.operator()<W>(i) so that the blocks i..i+W-1 cover 0..count-1; the last two may
// overlap, so the pass must not read what it writes.
template <int W = widest, class function>
LYR_INLINE void cover(int64_t count, function body) {
    if constexpr (W > 1) {
        if (count < W) {
            cover<W / 2>(count, body);
            return;
        }
    }
    int64_t i = 0;
    for (; i + W <= count; i += W) body.template operator()<W>(i);
    if (i < count) body.template operator()<W>(count - W);
}

}  // namespace
}  // namespace lyr::LYR_ISA
