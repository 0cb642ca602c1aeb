// One real-to-complex transform of a length that has a codelet of its own.
//
// Without strides the codelet is the executor. Else aux holds a real_block.
#include "planner/registry.h"
#include "real/direct.h"

namespace lyr {

namespace {

void execute_1d_r2c_direct(const plan *p, scalar *in, scalar *out, scalar *) {
    const auto [n, is, os] = p->dims[0];
    run_real_block(real_block_of(p), in, is, out, 1, 0, 0);
    out[1] = 0;
    if (n % 2 == 0) out[n * os + 1] = 0;
}

}  // namespace

int solve_problem_r2c_1d_direct(plan *p) {
    if (p->kind != kind_r2c) return -1;
    if (p->howmany_rank != 0) return -1;
    if (!direct_layout(p)) return -1;
    const auto [n, is, os] = p->dims[0];
    const real_kernel kernel = codelet_r2c(p, n);
    if (!kernel) return -1;

    p->execute_name = "execute_1d_r2c_direct";
    p->execute_fn = execute_1d_r2c_direct;
    if (single_unit(p)) {
        p->execute_fn = active_reals()->r2c_unit[n - 1];
        p->execute_name = "execute_1d_r2c_direct_unit";
        return 0;
    }
    return build_real_block(p, kernel, 1, 2 * is, 2 * os, 2 * os) ? 0 : -1;
}

}  // namespace lyr
