#include "dft/four_step.h"

#include <cstdlib>

#include "api/memory.h"
#include "dft/factorize.h"
#include "dft/stages.h"
#include "dft/twiddle.h"

namespace lyr {

namespace {

void execute_c2c_1d_large(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *columns = &p->children[0], *rows = &p->children[1];
    scalar *below = scratch_below(p, scratch);
    columns->execute_fn(columns, in, scratch, below);
    rows->execute_fn(rows, scratch, out, below);
}

plan *make_child(plan *child, const plan *p) {
    plan_copy_problem(child, p);
    child->rank = 1;
    child->howmany_rank = 1;
    return child;
}

}  // namespace

int64_t padded_row(int64_t n2) {
    const int64_t lines = (n2 + line_complex - 1) / line_complex;
    return line_complex * (lines % 16 == 0 ? lines + 1 : lines);
}

void fill_rotation(scalar *table, int64_t n1, int64_t n2, int64_t sign, int64_t lanes) {
    const int64_t r = last_radix(n1), L = n1 / r;
    const int64_t together = walked_together(n1);
    root_source roots;
    scalar *room = static_cast<scalar *>(malloc(static_cast<size_t>(n1 * n2) * complex_bytes));
    root_source_init(&roots, n1 * n2, n1 * n2, room);
    for (int64_t first = 0; first < n2; first += together) {
        const int64_t left = n2 - first;
        const int64_t end = first + (left < together ? left : together);
        for (int64_t k = 0; k < L; ++k)
            for (int64_t j = first, width; j < end; j += width) {
                width = end - j < lanes ? 1 : lanes;
                for (int64_t lane = 0; lane < width; ++lane)
                    fill_roots(table + 2 * lane, width, &roots, (j + lane) * k, (j + lane) * L, r,
                               sign);
                table += 2 * r * width;
            }
    }
    root_source_release(&roots);
    free(room);
}

int build_four_step(plan *p, int64_t n1, int64_t n2) {
    const int64_t row = padded_row(n2);
    p->execute_fn = execute_c2c_1d_large;
    p->execute_name = "execute_c2c_1d_large";
    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    p->work_bytes = static_cast<uint64_t>(n1 * row) * complex_bytes;
    p->aux_bytes = static_cast<uint64_t>(n1 * n2) * complex_bytes;
    p->aux = aligned_alloc_zero(p->aux_bytes);
    if (!p->aux) return -1;
    p->aux_owned = 1;
    fill_rotation(static_cast<scalar *>(p->aux), n1, n2, p->sign == -1 ? -1 : +1,
                  active_table()->lanes);

    plan *columns = make_child(&p->children[0], p);
    columns->kind = kind_rotated_batch;
    columns->dims[0] = {n1, n2, row};
    columns->howmany_dims[0] = {n2, 1, 1};
    columns->aux = p->aux;
    columns->aux_bytes = p->aux_bytes;
    columns->aux_owned = 0;
    columns->out = scratch_array(p);

    plan *rows = make_child(&p->children[1], p);
    rows->dims[0] = {n2, 1, n1};
    rows->howmany_dims[0] = {n1, row, 1};
    rows->in = scratch_array(p);

    const int status = plan_solve(columns);
    return status != 0 ? status : plan_solve(rows);
}

}  // namespace lyr
