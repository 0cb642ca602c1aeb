// Batches whose transforms lie side by side in the input and one after another in the output: the
// input is transposed into the output, and transformed there. Groups of transforms are finished
// while they are near the core.
#include <cstring>

#include "batch/bufferization.h"
#include "batch/copy_transpose.h"
#include "planner/registry.h"

namespace lyr {

namespace {

constexpr int64_t group_bytes = 128 << 10, least_group = 16;

void execute_indirect_before(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *rows = p->children;
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (strcmp(rows->solver_name, "solve_problem_dft_many") != 0) {
        copy_transpose_cpx(in, out, n, h, is, odist);
        rows->execute_fn(rows, out, out, scratch);
        return;
    }
    const int64_t most = group_bytes / complex_bytes / n,
                  group = most < least_group ? least_group : most;
    for (int64_t first = 0; first < h; first += group) {
        plan some = *rows;
        some.howmany_dims[0].n = group < h - first ? group : h - first;
        scalar *to = out + 2 * first * odist;
        copy_transpose_cpx(in + 2 * first, to, n, some.howmany_dims[0].n, is, odist);
        some.execute_fn(&some, to, to, scratch);
    }
}

bool is_slice(const plan *p) {
    slice_words words;
    memcpy(&words, p->solver_words, sizeof words);
    return words.marker == slice_marker;
}

// Other kinds have elements of different sizes on their two sides.
bool is_transposed_batch(const plan *p) {
    if (p->split == 1 || p->kind != kind_complex) return false;
    if (p->rank != 1 || p->howmany_rank != 1 || p->in == p->out) return false;
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    return n != 1 && is == n && idist == 1 && os == 1 && odist == n;
}

}  // namespace

int solve_indirect_problem(plan *p) {
    if (!is_slice(p) && !is_transposed_batch(p)) return -1;
    p->execute_fn = execute_indirect_before;
    p->execute_name = "execute_indirect_before";
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->in = p->out;
    child->dims[0].is = child->dims[0].os;
    child->howmany_dims[0].is = child->howmany_dims[0].os;
    return plan_solve(child);
}

}  // namespace lyr
