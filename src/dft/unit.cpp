// One complex transform of a length for which the table has a whole transform of strides 1: that is
// the executor. Long primes are worth it with other strides too, by way of the stack.
#include <cstring>

#include "codelets/select.h"
#include "dft/rader.h"
#include "planner/registry.h"

namespace lyr {

namespace {

constexpr int64_t longest_prime = 73;
constexpr int64_t shortest_gathered = 17;  // below, and for products, codelets do better

void execute_dft_unit_general(const plan *p, scalar *in, scalar *out, scalar *) {
    executor run;
    memcpy(&run, p->solver_words, sizeof run);
    const auto [n, is, os] = p->dims[0];
    alignas(64) scalar row[2 * longest_prime];
    for (int64_t j = 0; j < n; ++j) memcpy(row + 2 * j, in + 2 * j * is, complex_bytes);
    run(p, row, row, nullptr);
    for (int64_t k = 0; k < n; ++k) memcpy(out + 2 * k * os, row + 2 * k, complex_bytes);
}

}  // namespace

int solve_problem_dft_unit(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex) return -1;
    if (p->howmany_rank != 0) return -1;
    if (p->rank != 1) return -1;
    const int64_t n = p->dims[0].n;
    const executor run = unit_transform_for(p, n);
    if (!run) return -1;
    p->form = plan_form::unit;
    if (unit_strides(p)) {
        p->execute_fn = run;
        p->execute_name = "execute_dft_unit";
        return 0;
    }
    if (n < shortest_gathered || n > longest_prime || !is_prime(n)) return -1;
    memcpy(p->solver_words, &run, sizeof run);
    p->execute_fn = execute_dft_unit_general;
    p->execute_name = "execute_dft_unit_general";
    return 0;
}

}  // namespace lyr
