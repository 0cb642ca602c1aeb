// Contiguous batches of short transforms whose results no cache can keep: these go past the caches,
// which saves fetching every line of the output before it is written. The factorisations are those
// of dense_3_64.cpp and registers_*.cpp, so that the results are the same, where all vectors of
// outputs are full ones.
#include "codelets/kernel/column_walk.h"
#include "codelets/kernel/on_stack.h"
#include "codelets/kernel/registers.h"
#include "codelets/simd/balanced.h"

namespace lyr::LYR_ISA {
namespace {

struct numbers_past : whole_numbers {
    template <int N, class V>
    LYR_INLINE void store(V x, int i) const {
        static_assert(N == V::lanes);
        x.store_far(out + 2 * i);
    }
};

// As many transforms as fit into h, a lane each; returns the rest of h. Inputs and outputs are
// transposed in registers, W by W.
template <class V, int R, int S, class Store>
LYR_INLINE int64_t run_across(const scalar *&in, scalar *&out, int64_t h) {
    constexpr int W = V::lanes, blocks = R / W;
    static_assert(R % W == 0);
    for (; h >= W; h -= W) {
        V x[R];
        unroll<blocks>(LYR_LAMBDA(auto b) {
            V block[W];
            unroll<W>(LYR_LAMBDA(auto i) { block[i] = V::load(in + 2 * (i * R + b * W)); });
            if constexpr (W > 1) transpose(block);
            unroll<W>(LYR_LAMBDA(auto i) { x[b * W + i] = block[i]; });
        });
        butterfly<S>(x);
        unroll<blocks>(LYR_LAMBDA(auto b) {
            V block[W];
            unroll<W>(LYR_LAMBDA(auto i) { block[i] = x[b * W + i]; });
            if constexpr (W > 1) transpose(block);
            unroll<W>(LYR_LAMBDA(auto i) { Store::put(block[i], out + 2 * (i * R + b * W)); });
        });
        in += 2 * R * W;
        out += 2 * R * W;
    }
    return h;
}

template <class V, int R, int S>
void across(const scalar *in, scalar *out, int64_t h) {
    h = run_across<V, R, S, store_far>(in, out, h);
    in_narrower_vectors<V>(
        h, LYR_LAMBDA(auto v, int64_t rest) {
            return run_across<vector_of<decltype(v)>, R, S, store_near>(in, out, rest);
        });
}

// One transform after another. Their inputs are called for in advance, which the processor would
// not do for more than a few lines.
template <class Length, int S>
void one_by_one(const scalar *in, scalar *out, int64_t h) {
    constexpr int64_t ahead = 2048 / scalar_bytes, line = 2 * line_complex;
    constexpr int64_t numbers = 2 * Length::length;
    for (; h > 0; --h, in += numbers, out += numbers) {
        for (int64_t k = 0; k < numbers; k += line) __builtin_prefetch(in + ahead + k);
        Length::template transform<S>(numbers_past{{in, out}});
    }
}
template <class Length>
[[maybe_unused]] constexpr dense_batch batch_past = {
    Length::length, {one_by_one<Length, -1>, one_by_one<Length, +1>}};

template <class V, int R>
[[maybe_unused]] constexpr dense_batch a = {R, {across<V, R, -1>, across<V, R, +1>}};
template <class V, int A, int B>
[[maybe_unused]] constexpr dense_batch ab = batch_past<rows_columns<V, A, B>>;
// C rows of D numbers turned with balanced vectors where there are such, else A of B.
template <class V, int A, int B, int C, int D>
constexpr dense_batch balanced_or() {
    static_assert(A * B == C * D);
    if constexpr (has_balanced<V>)
        return batch_past<turned_rows_columns<balanced<V>, C, D>>;
    else
        return ab<V, A, B>;
}

template <class V>
constexpr dense_batch list_for_four[] = {a<V, 4>,       a<V, 8>,      a<V, 12>,      ab<V, 4, 4>,
                                         ab<V, 4, 5>,   ab<V, 4, 6>,  ab<V, 8, 4>,   ab<V, 4, 9>,
                                         ab<V, 4, 10>,  ab<V, 12, 4>, ab<V, 8, 7>,   ab<V, 16, 4>,
                                         ab<V, 12, 6>,  ab<V, 8, 10>, ab<V, 12, 8>,  ab<V, 16, 7>,
                                         ab<V, 12, 10>, ab<V, 16, 8>, ab<V, 12, 12>, {}};

// Four lanes that are half a line.
template <class V>
constexpr dense_batch list_for_half_lines[] = {
    a<V, 4>,      a<V, 8>,       a<V, 12>,     ab<V, 4, 4>,   ab<V, 4, 5>,
    ab<V, 4, 6>,  ab<V, 4, 7>,   ab<V, 8, 4>,  ab<V, 4, 9>,   ab<V, 4, 10>,
    ab<V, 4, 11>, ab<V, 4, 12>,  ab<V, 4, 13>, ab<V, 4, 14>,  ab<V, 4, 15>,
    ab<V, 8, 8>,  ab<V, 12, 6>,  ab<V, 4, 20>, ab<V, 4, 21>,  ab<V, 12, 8>,
    ab<V, 12, 9>, ab<V, 12, 10>, ab<V, 16, 8>, ab<V, 12, 12>, {}};

template <class V>
constexpr dense_batch list_for_two[] = {a<V, 4>,
                                        a<V, 6>,
                                        a<V, 8>,
                                        a<V, 10>,
                                        a<V, 12>,
                                        ab<V, 4, 4>,
                                        ab<V, 2, 9>,
                                        ab<V, 2, 10>,
                                        ab<V, 2, 12>,
                                        ab<V, 4, 7>,
                                        ab<V, 6, 5>,
                                        balanced_or<V, 4, 8, 8, 4>(),
                                        ab<V, 6, 6>,
                                        balanced_or<V, 4, 10, 10, 4>(),
                                        ab<V, 6, 7>,
                                        balanced_or<V, 12, 4, 12, 4>(),
                                        {}};

// Half vectors where they are better in the caches, too.
template <class V, class Half>
constexpr dense_batch list_for_eight[] = {a<Half, 4>,
                                          a<Half, 8>,
                                          a<Half, 12>,
                                          ab<Half, 4, 4>,
                                          ab<Half, 4, 5>,
                                          ab<Half, 4, 6>,
                                          ab<Half, 8, 4>,
                                          ab<Half, 4, 9>,
                                          ab<Half, 4, 10>,
                                          ab<V, 8, 8>,
                                          ab<V, 16, 7>,
                                          ab<V, 16, 8>,
                                          {}};

constexpr dense_batch no_list[] = {{}};

template <class V>
constexpr const dense_batch *choose() {
    if constexpr (!has_far_stores<V>)
        return no_list;
    else if constexpr (V::lanes == 8)
        return list_for_eight<V, typename V::half>;
    else if constexpr (V::lanes == 4 && half_a_line)
        return list_for_half_lines<V>;
    else if constexpr (V::lanes == 4)
        return list_for_four<V>;
    else
        return list_for_two<V>;
}

}  // namespace

extern const dense_batch *const far_batches;
constinit const dense_batch *const far_batches = choose<vec>();

}  // namespace lyr::LYR_ISA
