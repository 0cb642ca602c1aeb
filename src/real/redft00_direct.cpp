// REDFT00 of a length that has a codelet of its own, one transform or a batch: one codelet call.
//
// aux: n, the codelet, then the tables of input and output strides, n entries each.
#include "api/memory.h"
#include "planner/registry.h"
#include "real/direct.h"

namespace lyr {

namespace {

struct cosine_block {
    int64_t n;
    cosine_kernel kernel;
};
static_assert(sizeof(cosine_block) == 16);

void execute_redft00_direct(const plan *p, scalar *in, scalar *out, scalar *) {
    const auto [v, idist, odist] = batch_of(p);
    const auto *block = static_cast<const cosine_block *>(p->aux);
    const auto *tables = reinterpret_cast<const int64_t *>(block + 1);
    block->kernel(in, out, tables, tables + block->n, v, idist, odist);
}

cosine_kernel find_cosine(const cosine_entry (&entries)[cosine_sizes], int64_t n) {
    for (const cosine_entry &entry : entries)
        if (entry.n == n) return entry.kernel;
    return nullptr;
}

}  // namespace

int solve_problem_redft00_direct(plan *p) {
    if (p->kind != kind_r2r) return -1;
    if (p->r2r_kinds[0] != LYR_FFT_REDFT00) return -1;
    if (!direct_layout(p)) return -1;
    const auto [n, is, os] = p->dims[0];
    const cosine_kernel kernel = find_cosine(active_reals()->cosine, n);
    if (!kernel) return -1;

    const uint64_t bytes = static_cast<uint64_t>(n + 1) * sizeof(cosine_block);
    auto *block = static_cast<cosine_block *>(aligned_alloc_zero(bytes));
    if (!block) return -1;
    *block = {n, kernel};
    auto *tables = reinterpret_cast<int64_t *>(block + 1);
    for (int64_t k = 0; k < n; ++k) {
        tables[k] = k * is;
        tables[n + k] = k * os;
    }
    p->aux = block;
    p->aux_bytes = bytes;
    p->aux_owned = 1;
    p->any_count = 1;
    p->execute_fn = execute_redft00_direct;
    p->execute_name = "execute_redft00_direct";
    return 0;
}

}  // namespace lyr
