// Twiddle tables as stages read them.
#pragma once

#include "codelets/kernel/streams.h"

namespace lyr::LYR_ISA {
namespace {

// The order of a twiddle table: rows of complex numbers, plain ones or ready vectors (middle
// stages), or, for a last stage, groups of vec::lanes rows (codelet_table::lanes), then the rest in
// plain order. Groups of one row may be turned (codelet_table::turned).
enum class table_order { rows, grouped };

// Where the twiddles of one row are: the parts of that of input 1, and the distance to
// the next input's.
struct row_place {
    const scalar *re, *im;
    int64_t q_step;
};

template <int R>
LYR_INLINE row_place plain_row(const scalar *table, int64_t row) {
    const scalar *p = table + 2 * row * (R - 1);
    return {p, p + 1, 2};
}

template <int R>
constexpr int64_t ready_row_numbers = 4 * vec::lanes *(R - 1);

template <int R>
LYR_INLINE row_place ready_row(const scalar *table, int64_t row) {
    const scalar *p = table + row * ready_row_numbers<R>;
    return {p, p + 2 * vec::lanes, 4 * vec::lanes};
}

template <int R>
LYR_INLINE row_place row_in_table(table_order order, const scalar *table, int64_t row,
                                  int64_t rows) {
    constexpr int64_t W = vec::lanes;
    if constexpr (turned_tables<vec>)
        if (order == table_order::grouped && has_turned_rows(R, rows)) {
            const scalar *p = table + 4 * row * (R - 1);
            return {p, p + 1, 4};
        }
    if constexpr (W == 1) return plain_row<R>(table, row);
    if (order == table_order::rows)
        return has_ready_rows(W, R, rows) ? ready_row<R>(table, row) : plain_row<R>(table, row);
    const bool plain = has_plain_groups(W, R, rows);
    const int64_t group_numbers = (plain ? 2 : 4) * W * (R - 1);
    const int64_t grouped = rows & -W;
    if (row >= grouped) return plain_row<R>(table + grouped / W * group_numbers, row - grouped);
    const scalar *p = table + row / W * group_numbers + 2 * (row % W);
    if (plain) return {p, p + 1, 2 * W};
    return {p, p + 2 * W, 4 * W};
}

// Twiddles of one row, the same for all lanes, in registers.
template <int R, class V>
struct row_twiddles {
    static constexpr int registers = (R - 1) * static_cast<int>(sizeof(typename V::tw) / sizeof(V));
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
    static constexpr int registers = 0;
    const scalar *p;

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

// The same for factors of two vectors, which are worked out once for a row.
template <int R, class V>
struct row_twiddles_on_stack {
    static constexpr int registers = 0;
    typename V::tw w[R];

    LYR_INLINE row_twiddles_on_stack(const row_place &at) {
        unroll<R - 1>(LYR_LAMBDA(auto q) {
            w[q + 1] = V::tw_one(at.re + q * at.q_step, at.im + q * at.q_step);
        });
    }
    LYR_INLINE void begin_butterfly() { __asm__("" : "+m"(w)); }  // not held in registers
    template <int Q>
    LYR_INLINE V multiply(V x, index<Q>) const {
        if constexpr (Q == 0)
            return x;
        else
            return cmul(x, w[Q]);
    }
};

// Ready vectors, used where they lie.
template <int R>
struct ready_twiddles {
    static constexpr int registers = 0;
    const scalar *p;

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
template <class V>
constexpr bool twiddles_of_two_vectors = sizeof(typename V::tw) > sizeof(V);
template <int R, class V>
requires(R > 12 && vec::lanes == 1 && !twiddles_of_two_vectors<V>) struct twiddle_choice<R, V> {
    using type = row_twiddles_in_memory<R, V>;
};
template <int R, class V>
requires(R > 8 && vec::lanes == 1 && twiddles_of_two_vectors<V>) struct twiddle_choice<R, V> {
    using type = row_twiddles_on_stack<R, V>;
};

struct no_twiddles {
    static constexpr int registers = 0;
    LYR_INLINE void begin_butterfly() {}
    template <class V, int Q>
    LYR_INLINE V multiply(V x, index<Q>) const {
        return x;
    }
};

}  // namespace
}  // namespace lyr::LYR_ISA
