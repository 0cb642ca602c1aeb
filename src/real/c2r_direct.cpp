// Complex-to-real transforms, one or a batch, of a length that has a codelet of its own.
//
// One transform without strides has a codelet that is the executor. Else aux holds a real_block.
#include "planner/registry.h"
#include "real/direct.h"

namespace lyr {

namespace {

void execute_c2r_direct(const plan *p, scalar *in, scalar *out, scalar *) {
    const auto [v, idist, odist] = batch_of(p);
    run_real_block(real_block_of(p), out, p->dims[0].os, in, v, 2 * idist, odist);
}

}  // namespace

int solve_problem_c2r_direct(plan *p) {
    if (p->kind != kind_c2r) return -1;
    if (!direct_layout(p)) return -1;
    const auto [n, is, os] = p->dims[0];
    const real_kernel kernel = find_real(active_reals()->complex_to_real, n);
    if (!kernel) return -1;

    p->execute_name = "execute_c2r_direct";
    p->execute_fn = execute_c2r_direct;
    if (single_unit(p)) {
        p->execute_fn = active_reals()->c2r_unit[real_exponent(n)];
        p->execute_name = "execute_c2r_direct_unit";
        return 0;
    }
    return build_real_block(p, kernel, 1, 2 * os, 2 * is, 2 * is) ? 0 : -1;
}

}  // namespace lyr
