#include "dft/four_step.h"

#include "api/memory.h"
#include "dft/factorize.h"
#include "dft/stages.h"
#include "dft/twiddle.h"

namespace lyr {

namespace {

void execute_four_step(plan *p, double *in, double *out) {
    plan *columns = &p->children[0], *rows = &p->children[1];
    double *work = static_cast<double *>(p->work);
    columns->execute_fn(columns, in, work);
    rows->execute_fn(rows, work, out);
}

plan *make_child(plan *child, const plan *p) {
    plan_copy_problem(child, p);
    child->rank = 1;
    child->howmany_rank = 1;
    return child;
}

}  // namespace

int64_t padded_row(int64_t n2) {
    const int64_t lines = (n2 + 3) / 4;
    return 4 * (lines % 16 == 0 ? lines + 1 : lines);
}

void fill_rotation(double *table, int64_t n1, int64_t n2, int64_t sign, int64_t lanes,
                   double *room) {
    const int64_t r = last_radix(n1), L = n1 / r;
    const int64_t together = walked_together(n1);
    root_source roots;
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
}

int build_four_step(plan *p, int64_t n1, int64_t n2) {
    const int64_t row = padded_row(n2);
    p->execute_fn = execute_four_step;
    p->execute_name = "execute_four_step";
    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    p->work_bytes = static_cast<uint64_t>(n1 * row) * 16;
    p->work = aligned_alloc_zero(p->work_bytes);
    if (!p->work) return -1;
    p->aux_bytes = static_cast<uint64_t>(n1 * n2) * 16;
    p->aux = aligned_alloc_zero(p->aux_bytes);
    if (!p->aux) return -1;
    p->aux_owned = 1;
    fill_rotation(static_cast<double *>(p->aux), n1, n2, p->sign == -1 ? -1 : +1,
                  active_table()->lanes, static_cast<double *>(p->work));

    plan *columns = make_child(&p->children[0], p);
    columns->kind = kind_rotated_batch;
    columns->dims[0] = {n1, n2, row};
    columns->howmany_dims[0] = {n2, 1, 1};
    columns->aux = p->aux;
    columns->aux_bytes = p->aux_bytes;
    columns->aux_owned = 0;
    columns->out = static_cast<double *>(p->work);

    plan *rows = make_child(&p->children[1], p);
    rows->dims[0] = {n2, 1, n1};
    rows->howmany_dims[0] = {n1, row, 1};
    rows->in = static_cast<double *>(p->work);

    const int status = plan_solve(columns);
    return status != 0 ? status : plan_solve(rows);
}

}  // namespace lyr
