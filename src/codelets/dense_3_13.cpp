#include LYR_ISA_HEADER

#include "codelets/codelet.h"
#include "codelets/kernel/butterfly.h"

namespace lyr::LYR_ISA {
namespace {

// Runs as many transforms of length R as fit into h, a lane each, and returns the rest of h. Square
// blocks of numbers are loaded and stored as they lie in memory and transposed in registers.
template <int R, int S, class V>
LYR_INLINE int64_t dense_run(const double *&in, double *&out, int64_t h) {
    constexpr int W = V::lanes, blocks = R / W;
    for (; h >= W; h -= W) {
        V x[R];
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
void dense(const double *in, double *out, int64_t h) {
    h = dense_run<R, S, V>(in, out, h);
    for (; h > 0; --h) {
        vec1 x[R];
        unroll<R>(LYR_LAMBDA(auto q) { x[q] = vec1::load(in + 2 * q); });
        butterfly<S>(x);
        unroll<R>(LYR_LAMBDA(auto p) { x[p].store(out + 2 * p); });
        in += 2 * R;
        out += 2 * R;
    }
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

template <class V>
constexpr dense_batch list_for_two[] = {batch<V, 3>,  batch<V, 4>,  batch<V, 5>,  batch<V, 6>,
                                        batch<V, 7>,  batch<V, 8>,  batch<V, 9>,  batch<V, 10>,
                                        batch<V, 11>, batch<V, 12>, batch<V, 13>, {}};

constexpr dense_batch no_list[] = {{}};

template <class V, class Half>
constexpr const dense_batch *choose() {
    if constexpr (V::lanes == 4) return list_for_four<V, Half>;
    if constexpr (V::lanes == 2) return list_for_two<V>;
    return no_list;
}

}  // namespace

extern const dense_batch *const dense_batches;
constinit const dense_batch *const dense_batches = choose<vec, vec_half>();

}  // namespace lyr::LYR_ISA
