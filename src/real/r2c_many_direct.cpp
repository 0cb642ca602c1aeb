// A batch of real-to-complex transforms of a length that has a batched codelet: one codelet call.
#include "planner/registry.h"
#include "real/direct.h"

namespace lyr {

namespace {

void execute_r2c_many_direct(const plan *p, scalar *in, scalar *out, scalar *) {
    const auto [v, idist, odist] = batch_of(p);
    run_real_block(real_block_of(p), in, p->dims[0].is, out, v, idist, 2 * odist);
}

}  // namespace

int solve_problem_r2c_many_direct(plan *p) {
    if (p->kind != kind_r2c) return -1;
    if (p->howmany_rank != 1) return -1;
    if (!direct_layout(p)) return -1;
    const auto [n, is, os] = p->dims[0];
    if (!codelet_r2c_many(p, n)) return -1;
    // The member that also writes the zero imaginary parts: no second pass over the output.
    const real_kernel kernel = active_reals()->r2c_many_zeroed[n - 1];

    p->execute_name = "execute_r2c_many_direct";
    p->execute_fn = execute_r2c_many_direct;
    return build_real_block(p, kernel, 1, 2 * is, 2 * os, 2 * os) ? 0 : -1;
}

}  // namespace lyr
