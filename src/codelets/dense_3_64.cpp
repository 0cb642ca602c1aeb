#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/kernel/butterfly.h"
#include "codelets/kernel/on_stack.h"
#include "codelets/kernel/registers.h"
#include "codelets/simd/balanced.h"

namespace lyr::LYR_ISA {
namespace {

// Runs as many transforms of length R as fit into h, a lane each, and returns the rest of h. Square
// blocks of numbers are loaded and stored as they lie in memory and transposed in registers.
template <int R, int S, class V>
LYR_INLINE int64_t dense_run(const scalar *&in, scalar *&out, int64_t h) {
    constexpr int W = V::lanes, blocks = W > 1 ? R / W : 0;
    for (; h >= W; h -= W) {
        V x[R];
        if constexpr (blocks > 0)
            unroll<blocks>(LYR_LAMBDA(auto b) {
                V block[W];
                unroll<W>(LYR_LAMBDA(auto i) { block[i] = V::load(in + 2 * (i * R + b * W)); });
                transpose(block);
                unroll<W>(LYR_LAMBDA(auto i) { x[b * W + i] = block[i]; });
            });
        unroll<R - blocks * W>(LYR_LAMBDA(auto i) {
            x[blocks * W + i] = V::gather(in + 2 * (blocks * W + i), 2 * R);
        });
        butterfly<S>(x);
        if constexpr (blocks > 0)
            unroll<blocks>(LYR_LAMBDA(auto b) {
                V block[W];
                unroll<W>(LYR_LAMBDA(auto i) { block[i] = x[b * W + i]; });
                transpose(block);
                unroll<W>(LYR_LAMBDA(auto i) { block[i].store(out + 2 * (i * R + b * W)); });
            });
        unroll<R - blocks * W>(
            LYR_LAMBDA(auto i) { x[blocks * W + i].scatter(out + 2 * (blocks * W + i), 2 * R); });
        in += 2 * R * W;
        out += 2 * R * W;
    }
    return h;
}

template <class V, int R, int S>
void dense(const scalar *in, scalar *out, int64_t h) {
    in_vectors<V>(
        h, LYR_LAMBDA(auto v, int64_t rest) {
            return dense_run<R, S, vector_of<decltype(v)>>(in, out, rest);
        });
}

template <class V, int R>
[[maybe_unused]] constexpr dense_batch batch = {R, {dense<V, R, -1>, dense<V, R, +1>}};

// Two transforms at a time are the quickest but for lengths of about one line; measured. 13 with
// four lanes is better as one transform after another.
template <class V, class Half>
constexpr dense_batch list_for_four[] = {batch<Half, 3>,
                                         batch<V, 4>,
                                         batch<V, 5>,
                                         batch<Half, 6>,
                                         batch<Half, 7>,
                                         batch<Half, 8>,
                                         batch<Half, 9>,
                                         batch<Half, 10>,
                                         batch<Half, 11>,
                                         batch<Half, 12>,
                                         {}};

// Others, as their unit transforms; those from 64 on as their stages. A list goes on behind 30 only
// where there are balanced vectors.
template <class V, int A, int B>
constexpr dense_batch balanced_batch() {
    if constexpr (has_balanced<V>)
        return batch_of<turned_rows_columns<balanced<V>, A, B>>;
    else
        return {};
}

template <class V>
constexpr dense_batch list_for_two[] = {batch<V, 3>,
                                        batch<V, 4>,
                                        batch<V, 5>,
                                        batch<V, 6>,
                                        batch<V, 7>,
                                        batch<V, 8>,
                                        batch<V, 9>,
                                        batch<V, 10>,
                                        batch<V, 11>,
                                        batch<V, 12>,
                                        batch<V, 13>,
                                        batch_of<rows_columns<V, 2, 7>>,
                                        batch_of<rows_columns<balanced<V>, 4, 4>>,
                                        batch_of<rows_columns<V, 2, 9>>,
                                        batch_of<rows_columns<balanced<V>, 2, 10>>,
                                        batch_of<rows_columns<V, 7, 3>>,
                                        batch_of<rows_columns<balanced<V>, 2, 12>>,
                                        batch_of<rows_columns<V, 5, 5>>,
                                        batch_of<rows_columns<V, 9, 3>>,
                                        batch_of<rows_columns<V, 4, 7>>,
                                        batch_of<rows_columns<V, 6, 5>>,
                                        balanced_batch<V, 8, 4>(),
                                        balanced_batch<V, 10, 4>(),
                                        balanced_batch<V, 12, 4>(),
                                        balanced_batch<V, 8, 8>(),
                                        balanced_batch<V, 12, 6>(),
                                        balanced_batch<V, 10, 8>(),
                                        balanced_batch<V, 12, 8>(),
                                        {}};

// Four lanes that are half a line.
template <class V>
constexpr dense_batch list_for_half_lines[] = {
    batch<V, 3>, batch<V, 4>,  batch<V, 5>,  batch<V, 6>,  batch<V, 7>,  batch<V, 8>,
    batch<V, 9>, batch<V, 10>, batch<V, 11>, batch<V, 12>, batch<V, 13>, {}};

// Single lanes that move pairs of numbers.
template <class V>
constexpr dense_batch list_for_pairs[] = {batch_of<stack_rows_columns<V, 8, 8>>, {}};

constexpr dense_batch no_list[] = {{}};

template <class V>
constexpr const dense_batch *choose() {
    if constexpr (V::lanes == 8)
        return choose<typename V::half>();
    else if constexpr (V::lanes == line_complex)
        return list_for_four<V, typename V::half>;
    else if constexpr (V::lanes == 4)
        return list_for_half_lines<V>;
    else if constexpr (V::lanes == 2)
        return list_for_two<V>;
    else if constexpr (moves_pairs<V>)
        return list_for_pairs<V>;
    else
        return no_list;
}

}  // namespace

extern const dense_batch *const dense_batches;
constinit const dense_batch *const dense_batches = choose<vec>();

}  // namespace lyr::LYR_ISA
