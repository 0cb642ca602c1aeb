// Half-complex transforms side by side (distance 1). The transform is linear and real, so that two
// neighbours are transformed at once as the real and imaginary parts of complex numbers, of which
// their spectra are then the symmetric and antisymmetric parts. No length is halved or even needs
// to be even, and all lanes of a vector run along rows of neighbours.
//
// The batch is walked in slabs of neighbouring transforms, which are copied to work, n rows of
// `width` numbers, and transformed there; the last slab has a child plan of its own when it is
// narrower. A neighbour that is missing is zero.
#include <cstring>

#include "api/memory.h"
#include "codelets/codelet.h"
#include "codelets/r2r_pass.h"
#include "planner/registry.h"

namespace lyr {

namespace {

constexpr int64_t widest_slab = 16;  // two cache lines

struct bookkeeping {  // in solver_words
    r2hc_rows_function rows;
    int64_t width;
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

int64_t round_to_even(int64_t n) {
    return n + n % 2;
}

void copy_rows(double *slab, const double *in, int64_t row, int64_t n, int64_t count) {
    const int64_t width = round_to_even(count);
    for (int64_t j = 0; j < n; ++j, slab += width, in += row) {
        if (count == widest_slab) {
            memcpy(slab, in, 8 * widest_slab);
        } else {
            slab[width - 1] = 0;
            memcpy(slab, in, static_cast<size_t>(count) * 8);
        }
    }
}

void execute_r2hc_many(plan *p, double *in, double *out) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    const auto [n, is, os] = p->dims[0];
    double *slab = static_cast<double *>(p->work);
    const int64_t h = p->howmany_dims[0].n;
    for (int64_t first = 0; first < h; first += b.width) {
        const int64_t count = first + b.width <= h ? b.width : h - first;
        copy_rows(slab, in + first, is, n, count);
        plan *child = p->children + (count == b.width ? 0 : 1);
        child->execute_fn(child, slab, slab);
        b.rows({n, round_to_even(count), os, count}, slab, out + first);
    }
}

int plan_slab(plan *child, const plan *p, int64_t count) {
    const int64_t pairs = (count + 1) / 2;
    plan_copy_problem(child, p);
    child->kind = kind_complex;
    child->sign = -1;
    child->in = child->out = static_cast<double *>(p->work);
    child->dims[0] = {p->dims[0].n, pairs, pairs};
    child->howmany_dims[0] = {pairs, 1, 1};
    return plan_solve(child);
}

}  // namespace

int solve_problem_r2hc_many(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_r2r || p->r2r_kinds[0] != LYR_FFT_R2HC) return -1;
    if (p->rank != 1) return -1;
    if (p->howmany_rank != 1) return -1;
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (h < 2) return -1;
    if (idist != 1 || odist != 1) return -1;
    // A slab's output must not fall on input that is still to be read.
    if (p->in == p->out && p->dims[0].is != p->dims[0].os) return -1;

    const bookkeeping b = {active_table()->r2r_passes->rows, h < widest_slab ? h : widest_slab};
    memcpy(p->solver_words, &b, sizeof b);
    const auto bytes = static_cast<uint64_t>(p->dims[0].n * round_to_even(b.width)) * 8;
    p->work = aligned_alloc_zero(bytes);
    if (!p->work) return -1;
    p->work_bytes = bytes;

    const int64_t rest = h % b.width;
    p->nchildren = rest ? 2 : 1;
    p->children = plan_alloc_children(p->nchildren);
    if (!p->children) return -1;
    p->execute_fn = execute_r2hc_many;
    p->execute_name = "execute_r2hc_many";
    if (plan_slab(&p->children[0], p, b.width) != 0) return -1;
    return rest ? plan_slab(&p->children[1], p, rest) : 0;
}

}  // namespace lyr
