// Complex to real in rank 2 and 3: complex transforms down the columns of all outer dimensions,
// then one-dimensional complex-to-real transforms of the rows. On one thread, after the outermost
// of three dimensions the planes are finished one by one, each while it is near the processor.
//
// In place the columns are transformed where they are. (If the rows of the output lie elsewhere
// than those of the input, the columns go to a copy in scratch memory.)
//
// Out of place the input is only read, and the columns wait in the output array. A row of n real
// numbers has room for h = n/2 of its n/2+1 complex numbers: numbers 0..h-1 of a row of even
// length, 1..h of one of odd length. The number left over, the last or the first, is real by
// symmetry (its imaginary part has no effect) but only once all columns are done; this one column
// waits in scratch memory.
//
// Numbers that are real by symmetry have imaginary parts that count for nothing. In place they are
// set to 0 before anything else. Out of place the rare columns where they are large enough to
// disturb more than rounding does are transformed by way of a copy in scratch memory.
#include <cmath>
#include <cstring>

#include "batch/many_multithread.h"
#include "dft/factorize.h"
#include "planner/places.h"
#include "planner/registry.h"
#include "threads/pool.h"

namespace lyr {

namespace {

// Rows are put together, with the number that waited, in a buffer of about this size.
constexpr int64_t row_buffer_bytes = 1 << 14;
// Imaginary parts that count for nothing are let through when they are at most so many times the
// real part: what they leave in results is rounding errors of that times the real part.
constexpr scalar harmless_ratio = 1024;
// Columns transformed together where the output cannot take complex numbers directly.
constexpr int64_t most_columns = 8;

struct bookkeeping {  // in solver_words
    // In scratch memory, in complex numbers from its start: one number of each row; for each thread
    // `group` rows of n/2+1 numbers; `width` columns, side by side. Width 0: columns go to the
    // output directly.
    int64_t rows, columns;  // the numbers of the rows are at the start
    int64_t group, width;
    int64_t threads;  // that share the rows
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

struct in_place_words {  // in solver_words instead
    bool shared_input;   // numbers of the input share places
};

bookkeeping words_of(const plan *p) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    return b;
}

struct outer_dims {  // of rows; the first is 1 for rank 2
    lyr_fft_iodim64 dims[2];
};

outer_dims outer_of(const plan *p) {
    if (p->rank == 2) return {{{1, 0, 0}, p->dims[0]}};
    return {{p->dims[0], p->dims[1]}};
}

// Calls f(i, j) for the rows whose numbers in column 0, and n/2 for even n, are real by symmetry.
template <class function>
void for_each_real_row(const outer_dims &o, function f) {
    const auto [a, b] = o.dims;
    for (int64_t i = 0; i < a.n; i += a.n % 2 ? a.n : a.n / 2)
        for (int64_t j = 0; j < b.n; j += b.n % 2 ? b.n : b.n / 2) f(i, j);
}

int64_t row_count(const plan *p) {
    const outer_dims o = outer_of(p);
    return o.dims[0].n * o.dims[1].n;
}

// Of the n/2+1 numbers of a row: where those that wait in the output begin, and the one that does
// not.
int64_t first_held(int64_t n) {
    return n % 2;
}
int64_t lone_number(int64_t n) {
    return n % 2 ? 0 : n / 2;
}

// ---- Execution ----------------------------------------------------------------------------------

// Whether planes are finished one by one. width: of the bookkeeping.
bool by_planes(const plan *p, int64_t width) {
    return p->rank == 3 && p->nthreads < 2 && width == 0;
}

// The passes over columns, one for each outer dimension: the first leads from `in` to `between`.
void transform_columns(const plan *p, const plan *passes, const scalar *in, scalar *between,
                       scalar *below) {
    passes[0].execute_fn(&passes[0], const_cast<scalar *>(in), between, below);
    if (p->rank == 3) passes[1].execute_fn(&passes[1], between, between, below);
}

void clear_imaginary_parts(const plan *p, scalar *in) {
    const outer_dims o = outer_of(p);
    const auto [n, is, os] = p->dims[p->rank - 1];
    for_each_real_row(o, [&, n = n, is = is](int64_t i, int64_t j) {
        scalar *row = in + 2 * (i * o.dims[0].is + j * o.dims[1].is);
        row[1] = 0;
        if (n % 2 == 0) row[n * is + 1] = 0;
    });
}

void execute_in_place(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    in_place_words words;
    memcpy(&words, p->solver_words, sizeof words);
    if (!words.shared_input) clear_imaginary_parts(p, in);
    const plan *first = &p->children[0], *second = &p->children[1],
               *rows = &p->children[p->rank - 1];
    scalar *between = p->work_bytes ? scratch : in, *below = scratch_below(p, scratch);
    if (!by_planes(p, 0)) {
        transform_columns(p, p->children, in, between, below);
        rows->execute_fn(rows, between, out, below);
        return;
    }
    const lyr_fft_iodim64 planes = p->dims[0];
    const int64_t step = p->work_bytes ? p->dims[1].n * (p->dims[2].n / 2 + 1) : planes.is;
    first->execute_fn(first, in, between, below);
    for (int64_t i = 0; i < planes.n; ++i) {
        scalar *plane = between + 2 * i * step;
        second->execute_fn(second, plane, plane, below);
        rows->execute_fn(rows, plane, out + i * planes.os, below);
    }
}

// Children out of place: the lone column from its place in scratch memory; the passes over the
// others, unless rows have one number; rows; and, where it is there, the lone column from the
// input.
int64_t first_rows(const plan *p) {
    return p->dims[p->rank - 1].n > 1 ? p->rank : 1;
}

// Whether imaginary parts that count for nothing are not harmless.
bool is_disturbed(const plan *p, const scalar *in) {
    const outer_dims o = outer_of(p);
    const auto [n, is, os] = p->dims[p->rank - 1];
    const int64_t other = n % 2 ? 0 : n * is;  // where number n/2 is
    const auto harmless = [](const scalar *x) {
        return std::abs(x[1]) <= harmless_ratio * std::abs(x[0]) || x[1] == 0;
    };
    bool all = true;
    for_each_real_row(o, [&](int64_t i, int64_t j) {
        const scalar *row = in + 2 * (i * o.dims[0].is + j * o.dims[1].is);
        all = all && harmless(row) && harmless(row + other);
    });
    return !all;
}

// Transforms column k, 0 or n/2, without them. The result is left in lone.
void transform_clean_column(const plan *p, const scalar *in, int64_t k, scalar *scratch) {
    const outer_dims o = outer_of(p);
    const scalar *column = in + 2 * k * p->dims[p->rank - 1].is;
    scalar *to = scratch;
    for (int64_t i = 0; i < o.dims[0].n; ++i)
        for (int64_t j = 0; j < o.dims[1].n; ++j, to += 2)
            memcpy(to, column + 2 * (i * o.dims[0].is + j * o.dims[1].is), 2 * sizeof(scalar));
    for_each_real_row(o, [&](int64_t i, int64_t j) { scratch[2 * (i * o.dims[1].n + j) + 1] = 0; });
    const plan *lone = &p->children[0];
    lone->execute_fn(lone, scratch, scratch, scratch_below(p, scratch));
}

void transform_lone_column(const plan *p, const scalar *in, bool disturbed, scalar *scratch) {
    const int64_t k = lone_number(p->dims[p->rank - 1].n), direct = first_rows(p) + 1;
    if (disturbed || direct == p->nchildren) {
        transform_clean_column(p, in, k, scratch);
    } else {
        const plan *child = &p->children[direct];
        child->execute_fn(child, const_cast<scalar *>(in) + 2 * k * p->dims[p->rank - 1].is,
                          scratch, scratch_below(p, scratch));
    }
}

// A complex number takes two elements of a row of real ones.
void put_columns(const plan *p, const scalar *columns, int64_t width, scalar *out, int64_t first) {
    const outer_dims o = outer_of(p);
    const int64_t os = p->dims[p->rank - 1].os;
    for (int64_t i = 0; i < o.dims[0].n; ++i)
        for (int64_t j = 0; j < o.dims[1].n; ++j) {
            scalar *to = out + i * o.dims[0].os + j * o.dims[1].os + 2 * first * os;
            for (int64_t k = 0; k < 2 * width; ++k) to[k * os] = *columns++;
        }
}

void get_row(scalar *row, const scalar *lone, const scalar *held, int64_t n, int64_t os) {
    scalar *to = row + 2 * first_held(n);
    const int64_t doubles = n / 2 * 2;
    if (os == 1) {
        memcpy(to, held, static_cast<size_t>(doubles) * sizeof(scalar));
    } else {
        for (int64_t k = 0; k < doubles; ++k) to[k] = held[k * os];
    }
    memcpy(row + 2 * lone_number(n), lone, 2 * sizeof(scalar));
}

// Complex numbers between the row buffers of two threads.
int64_t buffer_room(const bookkeeping &b, int64_t n) {
    const int64_t room = (b.group * (n / 2 + 1) + 3) / 4 * 4;
    const auto bytes = static_cast<uint64_t>(room * complex_bytes);
    return static_cast<int64_t>(thread_scratch(bytes, b.threads)) / complex_bytes;
}

// Groups of rows first..end-1 with the buffer of one thread.
void transform_groups(const plan *p, scalar *out, scalar *scratch, int64_t thread, int64_t first,
                      int64_t end) {
    const bookkeeping b = words_of(p);
    const outer_dims o = outer_of(p);
    const plan *child = &p->children[first_rows(p)];
    scalar *below = scratch_below(p, scratch, thread);
    const auto [n, is, os] = p->dims[p->rank - 1];
    scalar *buffer = scratch + 2 * (b.rows + thread * buffer_room(b, n));
    const int64_t row = 2 * (n / 2 + 1), groups = o.dims[1].n / b.group;
    for (int64_t g = first; g < end; ++g) {
        const scalar *lone = scratch + 2 * g * b.group;
        scalar *to = out + g / groups * o.dims[0].os + g % groups * b.group * o.dims[1].os;
        for (int64_t k = 0; k < b.group; ++k, lone += 2)
            get_row(buffer + k * row, lone, to + k * o.dims[1].os, n, os);
        child->execute_fn(child, buffer, to, below);
    }
}

struct shared_rows {
    const plan *p;
    scalar *out, *scratch;
    int64_t groups;
};

void run_chunk(const pool_task *task) {
    const shared_rows *rows = static_cast<const shared_rows *>(task->arg);
    const int64_t first = task->index * task->chunk, end = first + task->chunk;
    transform_groups(rows->p, rows->out, rows->scratch, task->index, first,
                     end < rows->groups ? end : rows->groups);
}

void transform_rows(const plan *p, scalar *out, scalar *scratch) {
    const bookkeeping b = words_of(p);
    shared_rows rows = {p, out, scratch, row_count(p) / b.group};
    if (b.threads == 1) {
        transform_groups(p, out, scratch, 0, 0, rows.groups);
    } else {
        thread_pool_run(rows.groups, p->nthreads, 1, run_chunk, &rows);
    }
}

void execute_out_of_place(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const bookkeeping b = words_of(p);
    const auto [n, is, os] = p->dims[p->rank - 1];
    const plan *held = &p->children[1];
    scalar *below = scratch_below(p, scratch), *columns = scratch + 2 * b.columns;
    const scalar *first = in + 2 * first_held(n) * is;
    const bool disturbed = is_disturbed(p, in), again = disturbed && n % 2 == 0;
    if (!again) transform_lone_column(p, in, disturbed, scratch);
    if (n == 1) {
        // No number waits in the output.
    } else if (by_planes(p, b.width)) {
        held[0].execute_fn(&held[0], const_cast<scalar *>(first), out, below);
        const int64_t groups = p->dims[1].n / b.group;
        for (int64_t i = 0; i < p->dims[0].n; ++i) {
            scalar *plane = out + i * p->dims[0].os;
            held[1].execute_fn(&held[1], plane, plane, below);
            if (!again) transform_groups(p, out, scratch, 0, i * groups, (i + 1) * groups);
        }
        if (!again) return;
    } else if (b.width == 0) {
        transform_columns(p, held, first, out, below);
    } else {
        for (int64_t k = 0; k < n / 2; k += b.width) {
            // The last slab begins early enough to be full.
            const int64_t start = k + b.width <= n / 2 ? k : n / 2 - b.width;
            transform_columns(p, held, first + 2 * start * is, columns, below);
            put_columns(p, columns, b.width, out, start);
        }
    }
    if (again) {
        transform_clean_column(p, in, 0, scratch);
        put_columns(p, scratch, 1, out, 0);
        transform_lone_column(p, in, disturbed, scratch);
    }
    transform_rows(p, out, scratch);
}

// ---- Planning -----------------------------------------------------------------------------------

// Complex numbers by outer dimension and column.
struct columns_layout {
    scalar *data;
    int64_t outer[2];
    int64_t column;
};

columns_layout input_columns(const plan *p, int64_t first) {
    const int64_t is = p->dims[p->rank - 1].is;
    scalar *column = p->in ? p->in + 2 * first * is : nullptr;  // a plan for other arrays
    return {column, {p->dims[0].is, p->dims[1].is}, is};
}

// Row-major, `width` columns to a row.
columns_layout packed_columns(const plan *p, scalar *data, int64_t width) {
    return {data, {p->rank == 3 ? p->dims[1].n * width : width, width}, 1};
}

// Plans the passes over `width` columns, outermost dimension first. A second pass is one plane's
// when planes are finished one by one.
int plan_columns(plan *passes, const plan *p, columns_layout from, const columns_layout &to,
                 int64_t width, bool planes) {
    for (int d = 0; d < p->rank - 1; ++d, from = to) {
        plan *child = &passes[d];
        plan_copy_problem(child, p);
        child->kind = kind_complex;
        child->in = from.data;
        child->out = to.data;
        child->rank = 1;
        child->dims[0] = {p->dims[d].n, from.outer[d], to.outer[d]};
        child->dims[1] = child->dims[2] = {};
        if (p->rank == 3 && !(d == 1 && planes))
            child->howmany_dims[child->howmany_rank++] = {p->dims[1 - d].n, from.outer[1 - d],
                                                          to.outer[1 - d]};
        child->howmany_dims[child->howmany_rank++] = {width, from.column, to.column};
        if (plan_solve(child) != 0) return -1;
    }
    return 0;
}

// Another plan for a column costs little where its dimensions have stages.
bool lone_goes_directly(const plan *p) {
    bool stages = true;
    for (int k = 0; k < p->rank - 1; ++k) stages = stages && part_above_37(p->dims[k].n) == 1;
    return stages;
}

// The column of one number of each row, in all its dimensions at once, to its place in work.
int plan_lone_column(plan *child, const plan *p, const columns_layout &from, scalar *to) {
    const columns_layout packed = packed_columns(p, to, 1);
    plan_copy_problem(child, p);
    child->kind = kind_complex;
    child->in = from.data;
    child->out = to;
    child->rank = p->rank - 1;
    for (int k = 0; k < 2; ++k) {
        if (k < child->rank)
            child->dims[k] = {p->dims[k].n, from.outer[k], packed.outer[k]};
        else
            child->dims[k] = {};
    }
    child->dims[2] = {};
    return plan_solve(child);
}

// Rows of n/2+1 complex numbers to the rows of the output; the caller gives the batch.
plan *make_rows(plan *child, const plan *p, scalar *in, int64_t in_step) {
    plan_copy_problem(child, p);
    child->in = in;
    child->rank = 1;
    child->dims[0] = {p->dims[p->rank - 1].n, in_step, p->dims[p->rank - 1].os};
    child->dims[1] = child->dims[2] = {};
    return child;
}

// Whether the columns can be transformed where the input is: its numbers do not share places, and
// the rows leave their results where they were, apart from those of later ones.
bool columns_stay(const plan *p) {
    if (inputs_overlap(p)) return false;
    plan rows = {};
    make_rows(&rows, p, p->in, p->dims[p->rank - 1].is);
    for (int k = 0; k < p->rank - 1; ++k) {
        rows.howmany_dims[rows.howmany_rank++] = p->dims[k];
        if (p->dims[k].n > 1 && 2 * p->dims[k].is != p->dims[k].os) return false;
    }
    return walkable_dimensions(&rows) == rows.howmany_rank;
}

int build_in_place(plan *p) {
    p->execute_fn = execute_in_place;
    p->execute_name = "execute_c2r_multidimension_inplace";
    p->nchildren = p->rank;
    p->children = plan_alloc_children(p->nchildren);
    if (!p->children) return -1;
    const int64_t width = p->dims[p->rank - 1].n / 2 + 1;
    const columns_layout from = input_columns(p, 0);
    columns_layout to = from;
    const in_place_words words = {inputs_overlap(p)};
    memcpy(p->solver_words, &words, sizeof words);
    if (!columns_stay(p)) {
        p->work_bytes = static_cast<uint64_t>(row_count(p) * width) * complex_bytes;
        to = packed_columns(p, scratch_array(p), width);
    }
    const bool planes = by_planes(p, 0);
    if (plan_columns(p->children, p, from, to, width, planes) != 0) return -1;
    plan *rows = make_rows(&p->children[p->rank - 1], p, to.data, to.column);
    for (int k = planes; k < p->rank - 1; ++k)
        rows->howmany_dims[rows->howmany_rank++] = {p->dims[k].n, to.outer[k], p->dims[k].os};
    return plan_solve(rows);
}

// Whether rows of the output can be seen as rows of complex numbers.
bool takes_complex_numbers(const plan *p) {
    bool even = p->dims[p->rank - 1].os == 1;
    for (int k = 0; k < p->rank - 1; ++k) even = even && p->dims[k].os % 2 == 0;
    return even;
}

int64_t rows_together(int64_t rows, int64_t columns) {
    int64_t group = row_buffer_bytes / (complex_bytes * columns);
    if (group > rows) group = rows;
    if (group < 1) group = 1;
    while (rows % group != 0) --group;
    return group;
}

int build_out_of_place(plan *p) {
    p->execute_fn = execute_out_of_place;
    p->execute_name = "execute_c2r_multidimension";
    const lyr_fft_iodim64 row = p->dims[p->rank - 1], above = p->dims[p->rank - 2];
    const int64_t h = row.n / 2, columns = h + 1, all_rows = row_count(p);

    bookkeeping b = {};
    b.group = rows_together(above.n, columns);
    b.threads = 1;
    if (p->nthreads >= 2) {
        p->nthreads = threads_for_plan(p->nthreads);
        const int64_t chunks = chunks_of(all_rows / b.group, p->nthreads, 1).count;
        if (worth_threads(all_rows * row.n, chunks)) b.threads = chunks;
    }
    const bool direct = lone_goes_directly(p);
    p->shares = b.threads;
    p->nchildren = static_cast<int32_t>(first_rows(p) + 1 + direct);
    p->children = plan_alloc_children(p->nchildren);
    if (!p->children) return -1;

    if (!takes_complex_numbers(p)) b.width = h < most_columns ? h : most_columns;
    const int64_t lone_room = (all_rows + 3) / 4 * 4;
    b.rows = lone_room;
    b.columns = lone_room + b.threads * buffer_room(b, row.n);
    p->work_bytes = static_cast<uint64_t>(b.columns + all_rows * b.width) * complex_bytes;
    scalar *lone_place = scratch_array(p, 0), *rows_place = scratch_array(p, 1),
           *columns_place = scratch_array(p, 2);
    memcpy(p->solver_words, &b, sizeof b);

    if (plan_lone_column(&p->children[0], p, packed_columns(p, lone_place, 1), lone_place) != 0)
        return -1;
    if (direct && plan_lone_column(&p->children[first_rows(p) + 1], p,
                                   input_columns(p, lone_number(row.n)), lone_place) != 0)
        return -1;
    if (h) {
        const columns_layout to =
            b.width ? packed_columns(p, columns_place, b.width)
                    : columns_layout{p->out, {p->dims[0].os / 2, p->dims[1].os / 2}, 1};
        if (plan_columns(&p->children[1], p, input_columns(p, first_held(row.n)), to,
                         b.width ? b.width : h, by_planes(p, b.width)) != 0)
            return -1;
    }
    plan *rows = make_rows(&p->children[first_rows(p)], p, rows_place, 1);
    rows->howmany_rank = 1;
    rows->howmany_dims[0] = {b.group, columns, above.os};
    if (b.threads > 1) rows->nthreads = 1;
    return plan_solve(rows) == 0 ? 0 : -1;
}

}  // namespace

int solve_problem_c2r_multidimension(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_c2r) return -1;
    if (p->howmany_rank != 0) return -1;
    if (p->rank < 2) return -1;
    return p->in == p->out ? build_in_place(p) : build_out_of_place(p);
}

}  // namespace lyr
