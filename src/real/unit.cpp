// One transform between real and complex numbers, strides 1, of a short length for which the table
// has a product with the matrix of roots: that is the executor.
#include "codelets/select.h"
#include "planner/registry.h"

namespace lyr {

int solve_problem_real_unit(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_r2c && p->kind != kind_c2r) return -1;
    if (p->howmany_rank != 0) return -1;
    if (p->rank != 1) return -1;
    if (!unit_strides(p)) return -1;
    const executor run = real_unit_transform_for(p, p->dims[0].n);
    if (!run) return -1;
    p->execute_fn = run;
    p->execute_name = "execute_real_unit";
    return 0;
}

}  // namespace lyr
