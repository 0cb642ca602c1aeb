// Long powers of two, as two passes over memory (dft/four_step.h).
#include "dft/c2c_1d_large.h"

#include <cmath>

#include "dft/four_step.h"
#include "planner/registry.h"

namespace lyr {

bool use_large_method(int64_t n, int64_t nthreads, int64_t lanes) {
    if (n < 1 || (n & (n - 1)) != 0) return false;
    if (nthreads >= 2) return n > 1024;
    return n > (lanes == 1 ? 8192 : 131072);
}

int64_t split_large(int64_t n) {
    int64_t n1 = static_cast<int64_t>(sqrt(static_cast<double>(n)));
    while (n % n1 != 0) --n1;
    return n1;
}

int solve_problem_c2c_1d_large(plan *p) {
    if (p->split == 1) return -1;
    if (p->howmany_rank != 0 || p->rank != 1 || p->kind != kind_complex) return -1;
    if (!unit_strides(p)) return -1;
    const int64_t n = p->dims[0].n;
    if (!use_large_method(n, p->nthreads, active_table()->lanes)) return -1;
    const int64_t n1 = split_large(n);
    if (n1 == 1) return -1;
    return build_four_step(p, n1, n / n1);
}

}  // namespace lyr
