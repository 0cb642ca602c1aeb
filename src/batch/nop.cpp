// Complex transforms of length 1: copies.
#include <cstring>

#include "planner/registry.h"

namespace lyr {

namespace {

void copy_element(scalar *out, const scalar *in) {
    out[0] = in[0];
    out[1] = in[1];
}

void execute_nop(const plan *p, scalar *in, scalar *out, scalar *) {
    if (in == out) return;
    if (p->howmany_rank == 0) {
        copy_element(out, in);
        return;
    }
    const auto [h, is, os] = p->howmany_dims[0];
    if (is == 1 && os == 1) {
        memcpy(out, in, static_cast<size_t>(h) * complex_bytes);
        return;
    }
    for (int64_t i = 0; i < h; ++i) copy_element(out + 2 * i * os, in + 2 * i * is);
}

}  // namespace

int solve_problem_nop(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex) return -1;
    if (p->rank > 1) return -1;
    if (p->howmany_rank > 1) return -1;
    if (p->rank == 1 && p->dims[0].n != 1) return -1;
    const auto [h, is, os] = p->howmany_dims[0];
    if (p->in == p->out && p->howmany_rank == 1 && h > 1 && is != os) return -1;
    p->execute_fn = execute_nop;
    p->execute_name = "execute_nop";
    p->any_count = 1;
    return 0;
}

}  // namespace lyr
