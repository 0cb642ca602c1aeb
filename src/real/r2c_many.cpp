// Batches of real-to-complex transforms side by side (real/side_by_side.h).
#include <cstring>

#include "planner/registry.h"
#include "real/side_by_side.h"

namespace lyr {

namespace {

// Rows 0 and h of the spectrum, which are real, from row 0 of the slab.
void write_ends(const scalar *row, scalar *first, scalar *last, int64_t width) {
    for (int64_t j = 0; j < 2 * width; j += 2) {
        const scalar re = row[j], im = row[j + 1];
        first[j] = re + im;
        last[j] = re - im;
        first[j + 1] = last[j + 1] = 0;
    }
}

void execute_r2c_many(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const side_by_side b = words_of(p);
    const plan *child = p->children;
    scalar *rows = scratch;
    const int64_t h = p->dims[0].n / 2, in_row = p->dims[0].is, out_row = p->dims[0].os;
    const real_pass pass = {h,     1, h / 2, b.slab, out_row, static_cast<const scalar *>(p->aux),
                            b.slab};
    for_each_slab(p, b, [=](int64_t first) {
        const scalar *from = in + first;
        scalar *to = out + 2 * first;
        for (int64_t k = 0; k < h; ++k)
            b.splits.join(rows + 2 * k * b.slab, from + 2 * k * in_row, from + (2 * k + 1) * in_row,
                          b.slab);
        child->execute_fn(child, rows, rows, scratch_below(p, scratch));
        b.pass(pass, rows, to);
        write_ends(rows, to, to + 2 * h * out_row, b.slab);
    });
}

void execute_r2c_many_odd(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const side_by_side b = words_of(p);
    const plan *child = p->children;
    scalar *rows = scratch;
    const int64_t length = p->dims[0].n, in_row = p->dims[0].is, out_row = p->dims[0].os;
    const int64_t width = b.slab;
    for_each_slab(p, b, [=](int64_t first) {
        for (int64_t k = 0; k < length; ++k)
            for (int64_t j = 0; j < width; ++j) {
                rows[2 * (k * width + j)] = in[k * in_row + first + j];
                rows[2 * (k * width + j) + 1] = 0;
            }
        child->execute_fn(child, rows, rows, scratch_below(p, scratch));
        for (int64_t j = 0; j < width; ++j) rows[2 * j + 1] = 0;
        for (int64_t k = 0; k <= length / 2; ++k)
            memcpy(out + 2 * (k * out_row + first), rows + 2 * k * width,
                   static_cast<size_t>(width) * complex_bytes);
    });
}

}  // namespace

int solve_problem_r2c_many(plan *p) {
    if (p->kind != kind_r2c) return -1;
    if (p->dims[0].n == 1) return -1;  // a copy: the loop of the general batch does
    p->execute_fn = p->dims[0].n % 2 ? execute_r2c_many_odd : execute_r2c_many;
    p->execute_name = p->dims[0].n % 2 ? "execute_r2c_many_odd" : "execute_r2c_many";
    return build_side_by_side(p);
}

}  // namespace lyr
