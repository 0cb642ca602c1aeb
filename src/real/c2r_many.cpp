// Batches of complex-to-real transforms side by side (real/side_by_side.h).
#include "planner/registry.h"
#include "real/side_by_side.h"

namespace lyr {

namespace {

// Row 0 of the slab from rows 0 and h of the spectrum, whose imaginary parts count for nothing.
void read_ends(const scalar *first, const scalar *last, scalar *row, int64_t width) {
    for (int64_t j = 0; j < 2 * width; j += 2) {
        row[j] = first[j] + last[j];
        row[j + 1] = first[j] - last[j];
    }
}

void execute_c2r_many(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const side_by_side b = words_of(p);
    const plan *child = p->children;
    scalar *rows = scratch;
    const int64_t h = p->dims[0].n / 2, in_row = p->dims[0].is, out_row = p->dims[0].os;
    const real_pass pass = {h,     1, h / 2, in_row, b.slab, static_cast<const scalar *>(p->aux),
                            b.slab};
    for_each_slab(p, b, [=](int64_t first) {
        const scalar *from = in + 2 * first;
        scalar *to = out + first;
        read_ends(from, from + 2 * h * in_row, rows, b.slab);
        b.pass(pass, from, rows);
        child->execute_fn(child, rows, rows, scratch_below(p, scratch));
        for (int64_t k = 0; k < h; ++k)
            b.splits.part(to + 2 * k * out_row, to + (2 * k + 1) * out_row, rows + 2 * k * b.slab,
                          b.slab);
    });
}

void execute_c2r_many_odd(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const side_by_side b = words_of(p);
    const plan *child = p->children;
    scalar *rows = scratch;
    const int64_t length = p->dims[0].n, in_row = p->dims[0].is, out_row = p->dims[0].os;
    const int64_t width = b.slab;
    for_each_slab(p, b, [=](int64_t first) {
        for (int64_t j = 0; j < width; ++j) {
            rows[2 * j] = in[2 * (first + j)];
            rows[2 * j + 1] = 0;
        }
        for (int64_t k = 1; k <= length / 2; ++k)
            for (int64_t j = 0; j < width; ++j) {
                const scalar *x = in + 2 * (k * in_row + first + j);
                scalar *up = rows + 2 * (k * width + j);
                scalar *down = rows + 2 * ((length - k) * width + j);
                up[0] = down[0] = x[0];
                up[1] = x[1];
                down[1] = -x[1];
            }
        child->execute_fn(child, rows, rows, scratch_below(p, scratch));
        for (int64_t k = 0; k < length; ++k)
            for (int64_t j = 0; j < width; ++j)
                out[k * out_row + first + j] = rows[2 * (k * width + j)];
    });
}

}  // namespace

int solve_problem_c2r_many(plan *p) {
    if (p->kind != kind_c2r) return -1;
    p->execute_fn = p->dims[0].n % 2 ? execute_c2r_many_odd : execute_c2r_many;
    p->execute_name = p->dims[0].n % 2 ? "execute_c2r_many_odd" : "execute_c2r_many";
    return build_side_by_side(p);
}

}  // namespace lyr
