// butterfly<R, S>(x): x becomes its DFT of length R with exponent sign S, in natural order. Pure
// arithmetic on vectors; each lane is a transform of its own.
//
// Operations are counted as vector instructions with complex add-with-rotation and fused
// multiply-add counted as one each, the AArch64 figure; x86 adds one permutation per rotation.
#pragma once

#include "codelets/kernel/roots.h"

namespace lyr::LYR_ISA {
namespace {

template <int I>
struct index {
    static constexpr int value = I;
    constexpr operator int() const { return I; }
};

// Calls f(index<0>), .., f(index<N-1>): a loop that is unrolled by construction.
template <int N, int I = 0, class F>
LYR_INLINE void unroll(F &&f) {
    if constexpr (I < N) {
        f(index<I>{});
        unroll<N, I + 1>(static_cast<F &&>(f));
    }
}

#define LYR_LAMBDA(...) [&](__VA_ARGS__) __attribute__((always_inline))

// a + S*i*b
template <int S, class V>
LYR_INLINE V add_si(V a, V b) {
    if constexpr (S > 0)
        return add_i(a, b);
    else
        return sub_i(a, b);
}

// x times exp(S*2*pi*i*K/N)
template <int S, int N, int K, class V>
LYR_INLINE V rotate(V x) {
    return fma_i(scale(x, roots<N>::cosine[K]), x, S * roots<N>::sine[K]);
}

// re + i*im and re - i*im, where im is a sum of real multiples. Where a rotation is dearer than a
// permutation the terms of im are turned instead, since multiples of the same number share that.
template <class V>
LYR_INLINE V turned_scale(V a, scalar s) {
    if constexpr (rotates_by_factors<V>)
        return scale_i(a, s);
    else
        return scale(a, s);
}
template <class V>
LYR_INLINE V turned_fma(V im, V a, scalar s) {
    if constexpr (rotates_by_factors<V>)
        return fma_i(im, a, s);
    else
        return fma(im, a, s);
}
template <class V>
LYR_INLINE void add_turned(V re, V im, V &plus, V &minus) {
    if constexpr (rotates_by_factors<V>) {
        plus = re + im;
        minus = re - im;
    } else {
        plus = add_i(re, im);
        minus = sub_i(re, im);
    }
}

constexpr scalar sqrt_half = 0.70710678118654752440;

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[2]) {  // 2
    const V a = x[0], b = x[1];
    x[0] = a + b;
    x[1] = a - b;
}

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[3]) {  // 6
    const V sum = x[1] + x[2];
    const V dif = x[1] - x[2];
    const V t = fma(x[0], sum, -0.5);
    x[0] = x[0] + sum;
    x[1] = fma_i(t, dif, S * roots<3>::sine[1]);
    x[2] = fma_i(t, dif, -S * roots<3>::sine[1]);
}

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[4]) {  // 8
    const V a = x[0] + x[2], c = x[0] - x[2];
    const V b = x[1] + x[3], d = x[1] - x[3];
    x[0] = a + b;
    x[1] = add_si<S>(c, d);
    x[2] = a - b;
    x[3] = add_si<-S>(c, d);
}

// 18. Sum and difference of the two cosines (-1/2, sqrt(5)/2) instead of the cosines themselves
// (Winograd, 1978). The sines go into the differences, not into the rotations: one operation more,
// but no multiply-add that overwrites a sum needed twice.
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[5]) {
    constexpr scalar sine1 = S * roots<5>::sine[1], sine2 = S * roots<5>::sine[2];
    constexpr scalar quarter_sqrt5 = 0.55901699437494742410;
    const V s1 = x[1] + x[4], d1 = x[1] - x[4];
    const V s2 = x[2] + x[3], d2 = x[2] - x[3];
    const V sum = s1 + s2;
    const V mean = fma(x[0], sum, -0.25);
    const V dif = s1 - s2;
    const V t1 = fma(mean, dif, quarter_sqrt5);
    const V t2 = fma(mean, dif, -quarter_sqrt5);
    x[0] = x[0] + sum;
    add_turned(t1, turned_fma(turned_scale(d1, sine1), d2, sine2), x[1], x[4]);
    add_turned(t2, turned_fma(turned_scale(d1, sine2), d2, -sine1), x[2], x[3]);
}

// Odd lengths by symmetric pairs, h = (R-1)/2: with s_j = x_j + x_{R-j} and d_j = x_j - x_{R-j},
//   y_k, y_{R-k} = (x_0 + sum_j cos(2 pi jk/R) s_j) +- i (sum_j sin(2 pi jk/R) d_j).
// 2h sums, h for y_0, 2h*h multiply-adds, 2h rotations.
template <int S, class V, int R>
LYR_INLINE void butterfly_odd(V (&x)[R]) {
    constexpr int h = (R - 1) / 2;
    V sum[h], dif[h];
    unroll<h>(LYR_LAMBDA(auto j) {
        sum[j] = x[j + 1] + x[R - 1 - j];
        dif[j] = x[j + 1] - x[R - 1 - j];
    });
    const V x0 = x[0];
    unroll<h>(LYR_LAMBDA(auto j) { x[0] = x[0] + sum[j]; });
    unroll<h>(LYR_LAMBDA(auto k0) {
        constexpr int k = k0 + 1;
        V re = fma(x0, sum[0], roots<R>::cosine[k]);
        V im = turned_scale(dif[0], S * roots<R>::sine[k]);
        unroll<h - 1>(LYR_LAMBDA(auto j0) {
            constexpr int jk = (j0 + 2) * k % R;
            re = fma(re, sum[j0 + 1], roots<R>::cosine[jk]);
            im = turned_fma(im, dif[j0 + 1], S * roots<R>::sine[jk]);
        });
        add_turned(re, im, x[k], x[R - k]);
    });
}

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[7]) {  // 33
    butterfly_odd<S>(x);
}

// The odd half of a radix-8 butterfly, 10: x_j are the differences of inputs j and j+4; the results
// are outputs 1, 3, 5, 7. The eighth roots r(1+-i) come as one rotation and a scaling fused into
// the last additions. Rotations come in pairs of the same number.
template <int S, class V>
LYR_INLINE void butterfly_odd_eighths(V (&x)[4]) {
    const V a = add_si<S>(x[0], x[2]), b = add_si<-S>(x[0], x[2]);
    const V p = x[1] - x[3], q = x[1] + x[3];
    const V u = add_si<S>(p, q), v = add_si<-S>(p, q);
    x[0] = fma(a, u, sqrt_half);
    x[2] = fma(a, u, -sqrt_half);
    x[1] = fma(b, v, -sqrt_half);
    x[3] = fma(b, v, sqrt_half);
}

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[8]) {  // 26
    V even[4] = {x[0] + x[4], x[1] + x[5], x[2] + x[6], x[3] + x[7]};
    V odd[4] = {x[0] - x[4], x[1] - x[5], x[2] - x[6], x[3] - x[7]};
    butterfly<S>(even);
    butterfly_odd_eighths<S>(odd);
    unroll<4>(LYR_LAMBDA(auto k) {
        x[2 * k] = even[k];
        x[2 * k + 1] = odd[k];
    });
}

// 3 x 3 with four twiddle factors between: 44.
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[9]) {
    V c0[3] = {x[0], x[3], x[6]};
    V c1[3] = {x[1], x[4], x[7]};
    V c2[3] = {x[2], x[5], x[8]};
    butterfly<S>(c0);
    butterfly<S>(c1);
    butterfly<S>(c2);
    V r0[3] = {c0[0], c1[0], c2[0]};
    V r1[3] = {c0[1], rotate<S, 9, 1>(c1[1]), rotate<S, 9, 2>(c2[1])};
    V r2[3] = {c0[2], rotate<S, 9, 2>(c1[2]), rotate<S, 9, 4>(c2[2])};
    butterfly<S>(r0);
    butterfly<S>(r1);
    butterfly<S>(r2);
    unroll<3>(LYR_LAMBDA(auto k) {
        x[3 * k] = r0[k];
        x[3 * k + 1] = r1[k];
        x[3 * k + 2] = r2[k];
    });
}

// Prime-factor mapping for coprime A and B: input B*a + A*b, output k with k mod A and k mod B the
// outputs of the two short transforms, no twiddle factors (Good, 1958; Thomas, 1963).
template <int S, int A, int B, class V>
LYR_INLINE void butterfly_coprime(V (&x)[A * B]) {
    V columns[B][A];
    unroll<B>(LYR_LAMBDA(auto b) {
        unroll<A>(LYR_LAMBDA(auto a) { columns[b][a] = x[(B * a + A * b) % (A * B)]; });
        butterfly<S>(columns[b]);
    });
    unroll<A>(LYR_LAMBDA(auto a) {
        V row[B];
        unroll<B>(LYR_LAMBDA(auto b) { row[b] = columns[b][a]; });
        butterfly<S>(row);
        unroll<A * B>(LYR_LAMBDA(auto k) {
            if constexpr (k % A == a) x[k] = row[k % B];
        });
    });
}

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[6]) {  // 18
    butterfly_coprime<S, 2, 3>(x);
}

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[10]) {  // 46
    butterfly_coprime<S, 2, 5>(x);
}

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[12]) {  // 48
    butterfly_coprime<S, 4, 3>(x);
}

// Whole transforms (registers_2_30.cpp, registers_32_144.cpp) and wide stages alone.
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[14]) {  // 94
    butterfly_coprime<S, 2, 7>(x);
}
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[15]) {  // 84
    butterfly_coprime<S, 3, 5>(x);
}
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[18]) {  // 106
    butterfly_coprime<S, 2, 9>(x);
}
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[20]) {  // 112
    butterfly_coprime<S, 4, 5>(x);
}
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[21]) {  // 141
    butterfly_coprime<S, 3, 7>(x);
}
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[24]) {  // 126
    butterfly_coprime<S, 3, 8>(x);
}

// Outputs 1, 5, 9, 13 (K = 1) or 3, 7, 11, 15 (K = 3) of a radix-16 butterfly, 13: a radix-4
// butterfly on x_j times the twiddle factors of 16 with index j*K. The eighth root of x_2 is fused
// into the additions.
template <int S, int K, class V>
LYR_INLINE void butterfly_sixteenths(V (&x)[4]) {
    const V u = K == 1 ? add_si<S>(x[2], x[2]) : add_si<-S>(x[2], x[2]);
    constexpr scalar r = K == 1 ? sqrt_half : -sqrt_half;
    const V a = fma(x[0], u, r), c = fma(x[0], u, -r);
    const V p = rotate<S, 16, K>(x[1]), q = rotate<S, 16, 3 * K>(x[3]);
    const V b = p + q, d = p - q;
    x[0] = a + b;
    x[1] = add_si<S>(c, d);
    x[2] = a - b;
    x[3] = add_si<-S>(c, d);
}

// 4 x 4: 76.
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[16]) {
    V columns[4][4];
    unroll<4>(LYR_LAMBDA(auto j) {
        unroll<4>(LYR_LAMBDA(auto q) { columns[j][q] = x[4 * q + j]; });
        butterfly<S>(columns[j]);
    });
    unroll<4>(LYR_LAMBDA(auto k) {
        V row[4] = {columns[0][k], columns[1][k], columns[2][k], columns[3][k]};
        if constexpr (k == 0) butterfly<S>(row);
        if constexpr (k == 1) butterfly_sixteenths<S, 1>(row);
        if constexpr (k == 2) butterfly_odd_eighths<S>(row);
        if constexpr (k == 3) butterfly_sixteenths<S, 3>(row);
        unroll<4>(LYR_LAMBDA(auto p) { x[4 * p + k] = row[p]; });
    });
}

// 4 x 8: 210.
template <int S, class V>
LYR_INLINE void butterfly(V (&x)[32]) {
    V columns[8][4];
    unroll<8>(LYR_LAMBDA(auto j) {
        unroll<4>(LYR_LAMBDA(auto q) { columns[j][q] = x[8 * q + j]; });
        butterfly<S>(columns[j]);
    });
    unroll<4>(LYR_LAMBDA(auto k) {
        V row[8];
        unroll<8>(LYR_LAMBDA(auto j) {
            if constexpr (j * k == 0)
                row[j] = columns[j][k];
            else
                row[j] = rotate<S, 32, j * k>(columns[j][k]);
        });
        butterfly<S>(row);
        unroll<8>(LYR_LAMBDA(auto p) { x[4 * p + k] = row[p]; });
    });
}

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[11]) {  // 75
    butterfly_odd<S>(x);
}

template <int S, class V>
LYR_INLINE void butterfly(V (&x)[13]) {  // 102
    butterfly_odd<S>(x);
}

// Longer primes have more values than registers whatever one does: one function for all members
// keeps code size and compile time in bounds.
template <int S, class V, int R>
__attribute__((noinline)) void butterfly_far(V (&x)[R]) {
    butterfly_odd<S>(x);
}

template <int S, class V, int R>
requires(R >= 17) LYR_INLINE void butterfly(V (&x)[R]) {
    butterfly_far<S>(x);
}

}  // namespace
}  // namespace lyr::LYR_ISA
