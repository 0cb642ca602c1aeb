#include "dft/four_step.h"

#include <cstdlib>
#include <numeric>

#include "api/memory.h"
#include "dft/c2c_1d_large.h"
#include "dft/factorize.h"
#include "dft/slabs.h"
#include "dft/twiddle.h"
#include "planner/cache_sizes.h"

namespace lyr {

namespace {

void execute_c2c_1d_large(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *columns = &p->children[0], *rows = &p->children[1];
    scalar *matrix = p->work_bytes ? scratch : out, *below = scratch_below(p, scratch);
    columns->execute_fn(columns, in, matrix, below);
    rows->execute_fn(rows, matrix, out, below);
}

plan *make_child(plan *child, const plan *p) {
    plan_copy_problem(child, p);
    child->rank = 1;
    child->howmany_rank = 1;
    if (p->dims[0].n < shortest_shared) child->nthreads = 1;
    return child;
}

}  // namespace

int64_t padded_row(int64_t n2) {
    const int64_t lines = (n2 + line_complex - 1) / line_complex;
    return line_complex * (lines % 16 == 0 ? lines + 1 : lines);
}

namespace {

// From here on the factors come in two levels: below, reading all of them costs narrow vectors less
// than multiplying twice. Measured.
bool has_two_levels(int64_t n, int64_t lanes) {
    return n >= (lanes == line_complex ? 1 << 14 : is_half_line(lanes) ? 1 << 16 : 1 << 18);
}

struct rotation_shape {
    int64_t n1, n2, sign;
    int64_t r;  // last radix of n1
    int64_t lanes, together, slabs;
};

// One slab's factors, first being its first column.
void fill_columns(scalar *table, const root_source *roots, const rotation_shape &shape,
                  int64_t first) {
    const auto &[n1, n2, sign, r, lanes, together, slabs] = shape;
    const int64_t L = n1 / r;
    for (int64_t k = 0; k < L; ++k)
        for (int64_t j = first; j < first + together; j += lanes, table += 2 * r * lanes)
            for (int64_t lane = 0; lane < lanes; ++lane)
                fill_roots(table + 2 * lane, lanes, roots, (j + lane) * k, (j + lane) * L, r, sign);
}

// W(sign*t, n) - 1 for 0 <= t < size*size, from a table of `size` such numbers for t < size and one
// for the multiples of size. With w = 1 + a and v = 1 + b, wv - 1 = a + b + ab: while angles are
// small the errors are a few of the last places of a small number, and vanish in the products it is
// used for.
struct small_turns {
    int64_t size;
    double *fine, *coarse;

    void read(int64_t t, scalar *out) const {
        const double *a = fine + 2 * (t & (size - 1)), *b = coarse + 2 * (t / size);
        out[0] = static_cast<scalar>(a[0] + b[0] + (a[0] * b[0] - a[1] * b[1]));
        out[1] = static_cast<scalar>(a[1] + b[1] + (a[0] * b[1] + a[1] * b[0]));
    }
};

// False without memory. fine is to be freed.
bool make_small_turns(small_turns *turns, int64_t end, int64_t n, int64_t sign) {
    int64_t size = 16;
    while (size * size < end) size *= 2;
    double *tables =
        static_cast<double *>(planning_malloc(static_cast<size_t>(size) * 4 * sizeof(double)));
    if (!tables) return false;
    *turns = {size, tables, tables + 2 * size};
    exact_root_source roots;
    root_source_init(&roots, n, 0);
    for (int64_t t = 0; t < size; ++t) {
        root_of(&roots, t, sign, turns->fine + 2 * t);
        root_of(&roots, t * size, sign, turns->coarse + 2 * t);
    }
    root_source_release(&roots);
    subtract_one(tables, 2 * size);
    return true;
}

// The factors of the first slab, less 1.
void fill_small_columns(scalar *table, const small_turns &turns, const rotation_shape &shape) {
    const auto &[n1, n2, sign, r, lanes, together, slabs] = shape;
    const int64_t L = n1 / r;
    for (int64_t k = 0; k < L; ++k)
        for (int64_t j = 0; j < together; j += lanes)
            for (int64_t p = 0; p < r; ++p)
                for (int64_t lane = 0; lane < lanes; ++lane, table += 2)
                    turns.read((j + lane) * (k + p * L), table);
}

// The numbers at the first columns of all slabs. What the lengths have in common shortens the table
// of roots.
void fill_turns(scalar *table, const rotation_shape &shape) {
    const auto &[n1, n2, sign, r, lanes, together, slabs] = shape;
    const int64_t L = n1 / r, n = n1 * n2, common = std::gcd(n, together);
    const int64_t step = together / common;
    root_source roots;
    root_source_init(&roots, n / common, slabs * n1);
    for (int64_t s = 0; s < slabs; ++s)
        for (int64_t k = 0; k < L; ++k, table += 2 * r)
            fill_roots(table, 1, &roots, s * step * k, s * step * L, r, sign);
    root_source_release(&roots);
}

}  // namespace

// Vectors of half a line gain more by a third array less in the caches, and by walks along memory,
// than they lose by a pass over each row for its factors; threads from where arrays outgrow their
// second-level caches. Measured.
bool transposes_matrix(const plan *p) {
    const int64_t shortest = p->nthreads > 1 ? 1 << 17 : 1 << 16;
    return p->dims[0].n >= shortest && is_half_line(active_table()->lanes);
}

bool build_rotation(plan *p, int64_t n1, int64_t n2, bool transposed) {
    int64_t radices[max_factors];
    const int64_t n = n1 * n2, sign = p->sign == -1 ? -1 : +1;
    rotation_shape shape = {n1, n2, sign, n1, 1, 16, 0};  // transposed rows, one after another
    if (!transposed) {
        shape.lanes = active_table()->lanes;
        const int count = pass_radices(n1, shape.lanes, radices);
        shape.r = radices[count - 1];
        shape.together = pass_width(n1, count, shape.lanes);
    }
    const int64_t together = shape.together, slabs = (n2 + together - 1) / together;
    shape.slabs = slabs;
    const bool two_levels = transposed || has_two_levels(n, shape.lanes);
    const int64_t tables = two_levels ? 1 : slabs, turns = two_levels ? slabs * n1 : 0;
    constexpr int64_t header = 64;
    p->aux_bytes = static_cast<uint64_t>(header + (tables * n1 * together + turns) * complex_bytes);
    p->aux = aligned_alloc_any(p->aux_bytes);
    if (!p->aux) return false;
    p->aux_owned = 1;
    scalar *columns = advance(static_cast<scalar *>(p->aux), header);
    scalar *at_slabs = columns + 2 * tables * n1 * together;
    *static_cast<rotation_table *>(p->aux) = {together, columns, two_levels ? at_slabs : nullptr};

    small_turns small;
    if (two_levels && n2 >= 16 * together &&
        make_small_turns(&small, n1 * together, n, shape.sign)) {
        fill_small_columns(columns, small, shape);
        free(small.fine);
    } else {
        root_source roots;
        root_source_init(&roots, n, tables * n1 * together);
        for (int64_t s = 0; s < tables; ++s)
            fill_columns(columns + 2 * s * n1 * together, &roots, shape, s * together);
        root_source_release(&roots);
        if (two_levels) subtract_one(columns, n1 * together);
    }
    if (two_levels) fill_turns(at_slabs, shape);
    return true;
}

rotation rotation_of_slab(const rotation_table *table, int64_t n1, int64_t column) {
    if (!table->turns) return {table->columns + 2 * n1 * column, nullptr, table->together};
    return {table->columns, table->turns + 2 * n1 * (column / table->together), table->together};
}

namespace {

// Whether both passes work in place: the first one exchanges squares of two lines. Several threads
// gain by it when arrays outgrow what their caches keep. Measured.
bool stays_in_place(const plan *p, int64_t n1, int64_t n2) {
    constexpr int64_t longest_apart = sizeof(scalar) == sizeof(float) ? 1 << 20 : 1 << 18;
    return transposes_matrix(p) && p->in == p->out && n1 == n2 && n1 % (2 * line_complex) == 0 &&
           (p->nthreads < 2 || n1 * n2 > longest_apart);
}

}  // namespace

int build_four_step(plan *p, int64_t n1, int64_t n2) {
    const bool transposed = transposes_matrix(p);
    const bool in_place = p->in == p->out && !stays_in_place(p, n1, n2);
    p->execute_fn = execute_c2c_1d_large;
    p->execute_name = "execute_c2c_1d_large";
    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    const int64_t row = !transposed ? padded_row(n2) : in_place ? padded_row(n1) : n1;
    if (!transposed || in_place)
        p->work_bytes = static_cast<uint64_t>((transposed ? n2 : n1) * row) * complex_bytes;
    if (!build_rotation(p, n1, n2, transposed)) return -1;

    plan *columns = make_child(&p->children[0], p), *rows = make_child(&p->children[1], p);
    columns->kind = kind_rotated_batch;
    columns->aux = p->aux;
    columns->aux_bytes = p->aux_bytes;
    columns->aux_owned = 0;
    if (p->work_bytes) columns->out = scratch_array(p);
    rows->in = columns->out;
    if (transposed) {
        columns->dims[0] = {n1, n2, 1};
        columns->howmany_dims[0] = {n2, 1, row};
        columns->far_output = rows->far_output = 0;
        rows->dims[0] = {n2, row, n1};
        rows->howmany_dims[0] = {n1, 1, 1};
    } else {
        columns->dims[0] = {n1, n2, row};
        columns->howmany_dims[0] = {n2, 1, 1};
        columns->far_output = static_cast<int64_t>(p->work_bytes) >= far_output_bytes() / 2 * 3;
        rows->dims[0] = {n2, 1, n1};
        rows->howmany_dims[0] = {n1, row, 1};
        rows->far_output = p->far_output;
    }

    const int status = plan_solve(columns);
    return status != 0 ? status : plan_solve(rows);
}

}  // namespace lyr
