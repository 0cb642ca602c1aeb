// Long odd lengths between real and complex numbers as passes over half of the spectrum, where
// r2c_1d.cpp would transform n complex numbers. n = n1*n2, both odd, and the real numbers a matrix
// of n1 rows of n2 (the four-step method of dft/four_step.h).
//
// To complex numbers: two neighbouring columns are one of complex numbers. Its transform is taken
// apart into the spectra of both, of which n1/2 + 1 numbers are enough; these are rotated, and
// become rows of the transposed matrix. Child 0 transforms its columns. Column k1 then holds the
// elements k1 + n1*k2; those behind the middle of the spectrum are the conjugates of the elements
// n - k, which the output takes from the end of other columns.
//
// To real numbers the same from the end to the beginning.
//
// scratch: the matrix, then for every thread a group of columns, the spectrum of one, and what
// child 1 takes, which transforms it. aux: the factors.
#include <cstring>

#include "api/memory.h"
#include "dft/c2c_1d_large.h"
#include "dft/factorize.h"
#include "dft/four_step.h"
#include "planner/registry.h"
#include "threads/pool.h"

namespace lyr {

namespace {

// Shorter ones are as fast as complex numbers, which wide vectors transform faster than this file
// parts and joins. Measured.
int64_t shortest_for(int64_t lanes) {
    return lanes > 2 ? 65536 : 2187;
}
constexpr int64_t shortest_column = 25;

// Columns that are worked on together: two lines of each row, as pairs.
constexpr int64_t pairs = 2 * line_complex, group = 2 * pairs;

struct bookkeeping {  // in solver_words
    int64_t n1, n2;
    int64_t row;    // complex numbers from a row of the transposed matrix to the next
    int64_t share;  // from the scratch of a thread to that of the next
    const rotation_table *factors;
    const codelet_table *target;

    int64_t half() const { return n1 / 2 + 1; }
    int64_t column() const { return padded_row(n1); }
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

bookkeeping read_bookkeeping(const plan *p) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    return b;
}

struct run {
    const plan *p;
    bookkeeping b;
    scalar *in, *out, *matrix;

    int64_t groups() const { return (b.n2 + group - 1) / group; }
};

// A thread's own memory: the columns of a group as rows, the spectrum of a pair, and the scratch of
// its transform.
struct group_memory {
    scalar *rows, *spectrum, *below;
};
group_memory memory_of(const run &r, int64_t thread) {
    scalar *rows = r.matrix + 2 * (r.b.n2 * r.b.row + thread * r.b.share);
    scalar *spectrum = rows + 2 * pairs * r.b.column();
    return {rows, spectrum, spectrum + 2 * r.b.column()};
}

struct range {
    int64_t first, last;
};
range range_of(const pool_task *task, int64_t count) {
    const int64_t first = task->index * task->chunk, last = first + task->chunk;
    return {first, last < count ? last : count};
}

// The task of columns: calls Transform for each group, with its first column and their count.
template <void (*Transform)(const run &, const group_memory &, int64_t begin, int64_t width)>
void for_groups(const pool_task *task) {
    const run &r = *static_cast<const run *>(task->arg);
    const group_memory memory = memory_of(r, task->index);
    const auto [first, last] = range_of(task, r.groups());
    for (int64_t g = first; g < last; ++g) {
        const int64_t begin = g * group, left = r.b.n2 - begin;
        Transform(r, memory, begin, group < left ? group : left);
    }
}

void rotate(const bookkeeping &b, int64_t j, scalar *row) {
    const auto &[together, columns, turns] = *b.factors;
    b.target->products.rotate(row, turns + 2 * b.n1 * (j / together),
                              columns + 2 * b.n1 * (j % together), b.half());
}

// ---- To complex numbers -------------------------------------------------------------------------

// Rows of the n1 x n2 matrix are too far apart for the processor to foresee that their lines will
// be wanted.
template <int for_writing>
void call_for_row(const scalar *row) {
    __builtin_prefetch(row, for_writing);
    __builtin_prefetch(row + group / 2, for_writing);
    __builtin_prefetch(row + group - 1, for_writing);
}
constexpr int64_t rows_ahead = 12;

// Whether a matrix is so large that calling pays. Measured.
bool is_far(const bookkeeping &b) {
    return b.n1 * b.n2 >= 131072;
}

// Pairs of columns of the matrix become rows of complex numbers. `width` counts columns.
void gather_pairs(const bookkeeping &b, const scalar *in, int64_t width, scalar *rows) {
    const int64_t column = b.column(), called = is_far(b) ? b.n1 - rows_ahead : 0;
    for (int64_t e = 0; e < b.n1; ++e, in += b.n2, rows += 2) {
        if (e < called) call_for_row<0>(in + rows_ahead * b.n2);
        int64_t t = 0;
        for (; 2 * t + 2 <= width; ++t) memcpy(rows + 2 * t * column, in + 2 * t, complex_bytes);
        if (2 * t < width) {
            rows[2 * t * column] = in[2 * t];
            rows[2 * t * column + 1] = 0;
        }
    }
}

// A complex number that compilers keep in one register.
typedef scalar pair __attribute__((vector_size(complex_bytes), aligned(scalar_bytes), may_alias));

pair &number(scalar *numbers, int64_t k) {
    return *reinterpret_cast<pair *>(numbers + 2 * k);
}
pair number(const scalar *numbers, int64_t k) {
    return *reinterpret_cast<const pair *>(numbers + 2 * k);
}
pair conjugate(pair x) {
    return x * pair{1, -1};
}
pair exchange(pair x) {
    return __builtin_shufflevector(x, x, 1, 0);
}

// The spectra of the real and the imaginary parts, from that of both.
void part_spectra(const scalar *z, int64_t n, scalar *a, scalar *b) {
    const scalar half = scalar{1} / 2;
    number(a, 0) = pair{z[0], 0};
    number(b, 0) = pair{z[1], 0};
    for (int64_t k = 1; k < n / 2 + 1; ++k) {
        const pair x = number(z, k), mirror = conjugate(number(z, n - k)), difference = x - mirror;
        number(a, k) = (x + mirror) * half;
        number(b, k) = exchange(difference) * pair{half, -half};
    }
}

void transform_columns(const run &r, const group_memory &memory, int64_t begin, int64_t width) {
    const auto &[rows, spectrum, below] = memory;
    const bookkeeping &b = r.b;
    const plan *child = r.p->children + 1;
    gather_pairs(b, r.in + begin, width, rows);
    for (int64_t i = 0; i < width; i += 2) {
        child->execute_fn(child, rows + i * b.column(), spectrum, below);
        const int64_t j = begin + i;
        scalar *to = r.matrix + 2 * j * b.row;
        // There is nothing of a last column's neighbour.
        scalar *next = i + 1 < width ? to + 2 * b.row : rows;
        part_spectra(spectrum, b.n1, to, next);
        rotate(b, j, to);
        if (i + 1 < width) rotate(b, j + 1, next);
    }
}

// The elements n1*k2 + t, first those in row k2, then those whose mirror images are in another.
void write_spectrum(const pool_task *task) {
    const auto &[p, b, in, out, matrix] = *static_cast<const run *>(task->arg);
    const int64_t half = b.half();
    const auto [first, last] = range_of(task, b.n2 / 2 + 1);
    for (int64_t k2 = first; k2 < last; ++k2) {
        scalar *to = out + 2 * k2 * b.n1;
        memcpy(to, matrix + 2 * k2 * b.row, static_cast<size_t>(half * complex_bytes));
        if (k2 == b.n2 / 2) break;
        const scalar *mirror = matrix + 2 * (b.n2 - 1 - k2) * b.row;
        for (int64_t t = half; t < b.n1; ++t) number(to, t) = conjugate(number(mirror, b.n1 - t));
    }
    if (first == 0) out[1] = 0;
}

// ---- To real numbers ----------------------------------------------------------------------------

// Row k2: the elements n1*k2 + t, which are conjugates of others from the middle of the spectrum
// on.
void read_spectrum(const pool_task *task) {
    const auto &[p, b, in, out, matrix] = *static_cast<const run *>(task->arg);
    const int64_t half = b.half();
    const auto [first, last] = range_of(task, b.n2);
    for (int64_t k2 = first; k2 < last; ++k2) {
        scalar *to = matrix + 2 * k2 * b.row;
        if (k2 <= b.n2 / 2) {
            memcpy(to, in + 2 * k2 * b.n1, static_cast<size_t>(half * complex_bytes));
            continue;
        }
        const scalar *mirror = in + 2 * (b.n2 - k2) * b.n1;
        for (int64_t t = 0; t < half; ++t) number(to, t) = conjugate(number(mirror, -t));
    }
    // The imaginary part of the first number counts for nothing; it may be infinite.
    if (first == 0) matrix[1] = 0;
}

// The spectrum whose transform has those of a and b as real and imaginary parts.
void join_spectra(const scalar *a, const scalar *b, int64_t n, scalar *z) {
    number(z, 0) = pair{a[0], b[0]};
    for (int64_t k = 1; k < n / 2 + 1; ++k) {
        const pair x = number(a, k), y = number(b, k), turned = exchange(y) * pair{-1, 1};
        number(z, k) = x + turned;
        number(z, n - k) = conjugate(x - turned);
    }
}

void scatter_pairs(const bookkeeping &b, const scalar *rows, int64_t width, scalar *out) {
    const int64_t column = b.column(), called = is_far(b) ? b.n1 - rows_ahead : 0;
    for (int64_t e = 0; e < b.n1; ++e, out += b.n2, rows += 2) {
        if (e < called) call_for_row<1>(out + rows_ahead * b.n2);
        int64_t t = 0;
        for (; 2 * t + 2 <= width; ++t) memcpy(out + 2 * t, rows + 2 * t * column, complex_bytes);
        if (2 * t < width) out[2 * t] = rows[2 * t * column];
    }
}

void transform_back(const run &r, const group_memory &memory, int64_t begin, int64_t width) {
    const auto &[rows, spectrum, below] = memory;
    const bookkeeping &b = r.b;
    const plan *child = r.p->children + 1;
    for (int64_t i = 0; i < width; i += 2) {
        const int64_t j = begin + i;
        scalar *from = r.matrix + 2 * j * b.row, *to = rows + i * b.column();
        scalar *next = i + 1 < width ? from + 2 * b.row : to;
        rotate(b, j, from);
        if (i + 1 < width)
            rotate(b, j + 1, next);
        else
            memset(next, 0, static_cast<size_t>(b.half() * complex_bytes));
        join_spectra(from, next, b.n1, spectrum);
        child->execute_fn(child, spectrum, to, below);
    }
    scatter_pairs(b, rows, width, r.out + begin);
}

// ---- Both ---------------------------------------------------------------------------------------

void execute_odd_real_large(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    run r = {p, read_bookkeeping(p), in, out, scratch};
    const auto share = [&](int64_t items, work_function fn) {
        thread_pool_run(items, p->nthreads, 1, fn, &r);
    };
    const plan *rows = p->children;
    const bool forward = p->kind == kind_r2c;
    if (forward)
        share(r.groups(), for_groups<transform_columns>);
    else
        share(r.b.n2, read_spectrum);
    rows->execute_fn(rows, scratch, scratch, scratch_below(p, scratch));
    if (forward)
        share(r.b.n2 / 2 + 1, write_spectrum);
    else
        share(r.groups(), for_groups<transform_back>);
}

plan *make_child(plan *child, const plan *p, int64_t n) {
    plan_copy_problem(child, p);
    child->kind = kind_complex;
    child->dims[0] = {n, 1, 1};
    child->in = scratch_array(p);
    child->out = child->in;
    return child;
}

int plan_children(plan *p, const bookkeeping &b) {
    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    plan *rows = make_child(p->children, p, b.n2);
    rows->dims[0] = {b.n2, b.row, b.row};
    rows->howmany_rank = 1;
    rows->howmany_dims[0] = {b.half(), 1, 1};
    plan *column = make_child(p->children + 1, p, b.n1);
    column->nthreads = 1;
    column->out = scratch_array(p, 1);
    const int32_t status = plan_solve(rows);
    return status != 0 ? status : plan_solve(column);
}

}  // namespace

int solve_problem_odd_real_large(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_r2c && p->kind != kind_c2r) return -1;
    if (p->rank != 1 || p->howmany_rank != 0 || !unit_strides(p)) return -1;
    const int64_t n = p->dims[0].n;
    bookkeeping b = {};
    b.target = active_table();
    if (n % 2 == 0 || n < shortest_for(b.target->lanes) || part_above_37(n) != 1) return -1;
    b.n1 = split_large(n, b.target->lanes, true);
    if (b.n1 < shortest_column) return -1;
    b.n2 = n / b.n1;
    b.row = padded_row(b.half());
    if (!build_rotation(p, b.n1, b.n2, true)) return -1;
    b.factors = static_cast<const rotation_table *>(p->aux);

    const bool threaded = n >= 2 * shortest_shared && p->nthreads > 1;
    p->nthreads = threaded ? threads_for_plan(p->nthreads) : 1;
    if (threaded) affinity_set_once(affinity_spread);
    if (const int status = plan_children(p, b)) return status;
    const plan *column = p->children + 1;
    const auto columns = static_cast<uint64_t>((pairs + 1) * b.column() * complex_bytes);
    const uint64_t each = thread_scratch(columns + column->scratch_bytes, p->nthreads);
    b.share = static_cast<int64_t>((each + 63) / 64) * line_complex;
    memcpy(p->solver_words, &b, sizeof b);
    p->work_bytes = static_cast<uint64_t>(b.n2 * b.row + p->nthreads * b.share) * complex_bytes;
    p->execute_fn = execute_odd_real_large;
    p->execute_name = "execute_odd_real_large";
    return 0;
}

}  // namespace lyr
