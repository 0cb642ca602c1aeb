#include "r2r/through_dft.h"

#include <cstring>

#include "api/memory.h"
#include "codelets/r2r_pass.h"
#include "codelets/select.h"
#include "dft/twiddle.h"
#include "planner/registry.h"

namespace lyr {

namespace {

struct bookkeeping {  // in solver_words
    r2r_steps steps;
    int64_t staging;  // where in scratch memory, in doubles; 0: no array is strided, or `before`
                      // and `after` are missing
};
static_assert(sizeof(bookkeeping) <= sizeof(plan::solver_words));

const r2r_pass &pass_of(const plan *p) {
    return *static_cast<const r2r_pass *>(p->aux);
}

bookkeeping bookkeeping_of(const plan *p) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    return b;
}

// Strides 1.
void execute_contiguous(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const bookkeeping b = bookkeeping_of(p);
    const r2r_pass &pass = pass_of(p);
    scalar *data = scratch;
    const plan *child = p->children;
    if (b.steps.before) b.steps.before(pass, in, data);
    child->execute_fn(child, b.steps.before ? data : in, b.steps.after ? data : out,
                      scratch_below(p, scratch));
    if (b.steps.after) b.steps.after(pass, data, out);
}

// Strided arrays are contiguous on their way to a pass and from one; without a pass, on the data of
// the transform itself.
void execute_strided(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const bookkeeping b = bookkeeping_of(p);
    const r2r_pass &pass = pass_of(p);
    const auto [n, is, os] = p->dims[0];
    scalar *data = scratch, *staging = scratch + b.staging;
    if (b.steps.before) {
        gather_reals(staging, in, is, n);
        b.steps.before(pass, staging, data);
    } else {
        gather_reals(data, in, is, n);
    }
    const plan *child = p->children;
    child->execute_fn(child, data, data, scratch_below(p, scratch));
    if (b.steps.after) {
        b.steps.after(pass, data, staging);
        scatter_reals(out, os, staging, n);
    } else {
        scatter_reals(out, os, data, n);
    }
}

bool is_type4(int32_t kind) {
    return kind == LYR_FFT_REDFT11 || kind == LYR_FFT_RODFT11;
}

bool rotates(int32_t kind) {
    return kind != LYR_FFT_R2HC && kind != LYR_FFT_HC2R && kind != LYR_FFT_DHT;
}

int64_t table_entries(int32_t kind, int64_t n) {
    const int64_t h = n / 2;
    return n % 2 != 0 ? h : is_type4(kind) ? (h + 1) / 2 : h / 2;
}

int table_count(int32_t kind, int64_t n) {
    if (!rotates(kind)) return n % 2 != 0 ? 0 : 1;
    return n % 2 != 0 ? 1 : is_type4(kind) ? 2 : 3;
}

// The next table: W(-(start + k*step), source->N) times scale, k = 0 .. count-1.
scalar *fill_table(scalar *table, const exact_root_source &source, int64_t start, int64_t step,
                   int64_t count, double scale = 1) {
    for (int64_t k = 0; k < count; ++k) {
        double root[2];
        root_of(&source, start + k * step, -1, root);
        table[k] = static_cast<scalar>(root[0] * scale);
        table[count + k] = static_cast<scalar>(root[1] * scale);
    }
    return table + 2 * count;
}

void fill_tables(scalar *table, int32_t kind, int64_t n, int64_t count) {
    const int64_t h = n / 2;
    exact_root_source source;
    if (is_type4(kind)) {
        root_source_init(&source, 16 * n, 2 * count);
        table = fill_table(table, source, 1, 8, count);
        fill_table(table, source, 8 * (h - 1) + 1, -8, count);
    } else {
        root_source_init(&source, 4 * n, 3 * count);
        const double scale = kind == LYR_FFT_R2HC || kind == LYR_FFT_DHT ? 0.5 : 1;
        if (n % 2 == 0) table = fill_table(table, source, 4, 4, count, scale);
        if (rotates(kind)) {
            table = fill_table(table, source, 1, 1, count);
            if (n % 2 == 0) fill_table(table, source, h - 1, -1, count);
        }
    }
    root_source_release(&source);
}

bool make_tables(plan *p) {
    const int64_t n = p->dims[0].n, count = table_entries(p->r2r_kinds[0], n);
    const int tables = table_count(p->r2r_kinds[0], n);
    static_assert(sizeof(r2r_pass) <= 64);
    const uint64_t bytes = 64 + static_cast<uint64_t>(tables * count) * complex_bytes;
    p->aux = aligned_alloc_zero(bytes);
    if (!p->aux) return false;
    p->aux_bytes = bytes;
    p->aux_owned = 1;
    scalar *table = static_cast<scalar *>(p->aux) + 64 / scalar_bytes;
    if (tables) fill_tables(table, p->r2r_kinds[0], n, count);
    const r2r_pass pass = {n, count, table};
    memcpy(p->aux, &pass, sizeof pass);
    return true;
}

// Data and staging.
void reserve_work(plan *p, bookkeeping &b) {
    const int64_t n = p->dims[0].n, data = (n / 2 + line_complex) / line_complex * 2 * line_complex;
    const bool staged = !unit_strides(p) && (b.steps.before || b.steps.after);
    p->work_bytes = static_cast<uint64_t>(data + (staged ? n : 0)) * scalar_bytes;
    b.staging = staged ? data : 0;
}

bool make_child(plan *p, const r2r_steps &steps) {
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return false;
    plan *child = p->children;
    plan_copy_problem(child, p);
    const int64_t n = p->dims[0].n;
    const bool even = n % 2 == 0, backward = !steps.after || p->r2r_kinds[0] == LYR_FFT_REDFT01 ||
                                             p->r2r_kinds[0] == LYR_FFT_RODFT01;
    child->kind = even ? kind_complex : backward ? kind_c2r : kind_r2c;
    child->sign = backward ? +1 : -1;
    child->dims[0] = {even ? n / 2 : n, 1, 1};
    scalar *data = scratch_array(p);
    const bool direct = unit_strides(p);
    child->in = direct && !steps.before ? p->in : data;
    child->out = direct && !steps.after ? p->out : data;
    return plan_solve(child) == 0;
}

}  // namespace

void gather_reals(scalar *out, const scalar *in, int64_t stride, int64_t n) {
    if (stride == 1)
        memcpy(out, in, static_cast<size_t>(n) * scalar_bytes);
    else
        for (int64_t k = 0; k < n; ++k) out[k] = in[k * stride];
}

void scatter_reals(scalar *out, int64_t stride, const scalar *in, int64_t n) {
    if (stride == 1)
        memcpy(out, in, static_cast<size_t>(n) * scalar_bytes);
    else
        for (int64_t k = 0; k < n; ++k) out[k * stride] = in[k];
}

bool is_single_r2r(const plan *p, int64_t shortest) {
    return p->split != 1 && p->kind == kind_r2r && p->howmany_rank == 0 && p->rank == 1 &&
           p->dims[0].n >= shortest;
}

int build_through_dft(plan *p) {
    const int64_t n = p->dims[0].n;
    const r2r_pass_set *passes = active_table()->r2r_passes;
    bookkeeping b = {(n % 2 == 0 ? passes->even : passes->odd)[p->r2r_kinds[0]], 0};
    if (!b.steps.before && !b.steps.after) return -1;
    reserve_work(p, b);
    if (!make_tables(p)) return -1;
    memcpy(p->solver_words, &b, sizeof b);
    p->execute_fn = unit_strides(p) ? execute_contiguous : execute_strided;
    p->execute_name =
        unit_strides(p) ? "execute_r2r_through_dft" : "execute_r2r_through_dft_discrete";
    return make_child(p, b.steps) ? 0 : -1;
}

}  // namespace lyr
