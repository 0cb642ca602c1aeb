// Transforms without gaps of n = A*B numbers, A and B even, in two steps with the stack between
// them: what registers.h does, for more numbers than there are registers. With single lanes numbers
// move in pairs, and the last two columns stay in registers.
#pragma once

#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/kernel/registers.h"

namespace lyr::LYR_ISA {
namespace {

// W(S*j*k, A*B) for the columns j of row k = 1..A-1, and i times each where products need that.
template <int A, int B, int S, bool Turned>
struct stack_twiddles {
    static constexpr int step = Turned ? 4 : 2;
    alignas(64) scalar numbers[(A - 1) * B * step] = {};

    static constexpr scalar *row(scalar *numbers, int k) { return numbers + (k - 1) * B * step; }

    constexpr stack_twiddles() {
        for (int k = 1; k < A; ++k)
            for (int j = 0; j < B; ++j) {
                const exact_root w = root_of_unity(S * j * k, A * B);
                scalar *at = row(numbers, k) + j * step;
                at[0] = w.re;
                at[1] = w.im;
                if (Turned) {
                    at[2] = -w.im;
                    at[3] = w.re;
                }
            }
    }
};

template <int A, int B, int S, bool Turned>
constexpr stack_twiddles<A, B, S, Turned> stack_twiddles_of;

// x and y: the numbers of columns J and J+1 of row K become their products with the factors.
template <int B, int K, int J, class V>
LYR_INLINE void multiply_two(V &x, V &y, const scalar *twiddles) {
    constexpr int step = turned_tables<V> ? 4 : 2, at = ((K - 1) * B + J) * step;
    if constexpr (K == 0) {
    } else if constexpr (turned_tables<V>) {
        if constexpr (J > 0) x = cmul(x, V::tw_turned(twiddles + at));
        y = cmul(y, V::tw_turned(twiddles + at + step));
    } else {
        if constexpr (J > 0) x = cmul(x, V::tw_lanes(twiddles + at));
        y = cmul(y, V::tw_lanes(twiddles + at + step));
    }
}

template <class V, int A, int B, int S>
LYR_INLINE void transform_on_stack(const scalar *in, scalar *out, const scalar *twiddles) {
    constexpr int held = 2, left = B - held;  // columns in registers and on the stack
    alignas(64) scalar rows[2 * A * left];
    V a[A], b[A];
    unroll<B / 2>(LYR_LAMBDA(auto c) {
        unroll<A>(LYR_LAMBDA(auto q) {
            V::template load_two<(q * B + 2 * c) * complex_bytes>(in, a[q], b[q]);
        });
        butterfly<S>(a);
        butterfly<S>(b);
        if constexpr (2 * c < left)
            unroll<A>(LYR_LAMBDA(auto k) {
                V::template store_two<(k * left + 2 * c) * complex_bytes>(rows, a[k], b[k]);
            });
    });
    unroll<A / 2>(LYR_LAMBDA(auto pair) {
        V x[B], y[B];
        const auto row = LYR_LAMBDA(auto k, V(&to)[B]) {
            unroll<left / 2>(LYR_LAMBDA(auto c) {
                V::template load_two<(k * left + 2 * c) * complex_bytes>(rows, to[2 * c],
                                                                         to[2 * c + 1]);
                multiply_two<B, k, 2 * c>(to[2 * c], to[2 * c + 1], twiddles);
            });
            to[left] = a[k];
            to[left + 1] = b[k];
            multiply_two<B, k, left>(to[left], to[left + 1], twiddles);
            butterfly<S>(to);
        };
        row(index<2 * pair>{}, x);
        row(index<2 * pair + 1>{}, y);
        unroll<B>(LYR_LAMBDA(auto p) {
            V::template store_two<(2 * pair + p * A) * complex_bytes>(out, x[p], y[p]);
        });
    });
}

// The same for several lanes, which run along the columns. These become rows on their way to the
// stack; the last ones stay in registers. One butterfly after the other, or compilers would keep
// the numbers of several for lack of registers on the stack.
template <class V, int A, int B, int S, class Memory>
LYR_INLINE void turned_on_stack(const Memory &memory) {
    constexpr int W = V::lanes, left = B - W;
    static_assert(A % W == 0 && B % W == 0);
    const scalar *twiddles = twiddles_of<W, B, A, S>.numbers;
    alignas(64) scalar rows[2 * A * left];
    V held[A];
    unroll<B / W>(LYR_LAMBDA(auto c) {
        V x[A];
        unroll<A>(LYR_LAMBDA(auto q) { x[q] = memory.template load<V, W>(q * B + W * c); });
        butterfly<S>(x);
        unroll<A / W>(LYR_LAMBDA(auto k) {
            V block[W];
            unroll<W>(LYR_LAMBDA(auto i) { block[i] = x[W * k + i]; });
            transpose(block);
            unroll<W>(LYR_LAMBDA(auto i) {
                if constexpr (W * c < left)
                    block[i].store(rows + 2 * ((W * c + i) * A + W * k));
                else
                    held[W * k + i] = block[i];
            });
        });
        if constexpr (W * c < left) __asm__ volatile("" ::"r"(rows) : "memory");
    });
    unroll<A / W>(LYR_LAMBDA(auto r) {
        V x[B];
        unroll<B>(LYR_LAMBDA(auto j) {
            if constexpr (j < left)
                x[j] = V::load(rows + 2 * (j * A + W * r));
            else
                x[j] = held[W * r + j - left];
            if constexpr (j > 0)
                x[j] = cmul(x[j], V::tw_lanes(twiddles + (r * (B - 1) + j - 1) * 4 * W));
        });
        butterfly<S>(x);
        unroll<B>(LYR_LAMBDA(auto p) { memory.template store<W>(x[p], p * A + W * r); });
        __asm__ volatile("" ::"r"(rows) : "memory");
    });
}

// ---- Lists for the table ------------------------------------------------------------------------

template <class V, int A, int B>
struct stack_rows_columns {
    static constexpr int length = A * B;

    template <int S>
    LYR_INLINE static void transform(const whole_numbers &memory) {
        const scalar *twiddles = stack_twiddles_of<A, B, S, turned_tables<V>>.numbers;
        __asm__("" : "+r"(twiddles));  // no hoisting to the stack
        transform_on_stack<V, A, B, S>(memory.in, memory.out, twiddles);
    }
};

template <class V, int A, int B>
struct turned_rows_columns {
    static constexpr int length = A * B;

    template <int S, class Memory>
    LYR_INLINE static void transform(const Memory &memory) {
        turned_on_stack<V, A, B, S>(memory);
    }
};

}  // namespace
}  // namespace lyr::LYR_ISA
