#include "dft/convolution.h"

#include <cstring>

#include "api/memory.h"
#include "dft/twiddle.h"

namespace lyr {

namespace {

// Side by side, blocks and the scratch of their walk stay in a part of the second-level cache.
constexpr int64_t side_by_side_bytes = 256 << 10;
constexpr int64_t line = line_complex;

struct bookkeeping {       // in solver_words
    convolution *of_plan;  // in aux
};

const convolution *convolution_of(const plan *p) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    return b.of_plan;
}

// Stage 0: block j is the elements j, j + m, ..
void run_blocks(const plan *p, const stage &s, const scalar *in, scalar *out, scalar *scratch) {
    const convolution *c = convolution_of(p);
    scalar *vectors = scratch + 2 * c->vectors;
    const int64_t m = s.m, is = s.in_stride, os = s.out_stride;
    for (int64_t j = 0; j < m; j += c->width) {
        const int64_t width = j + c->width <= m ? c->width : m - j;
        c->run(p, c, {in + 2 * j * is, m * is, is, out + 2 * j * os, m * os, os, width}, vectors);
    }
}

void run_stage(const plan *p, const stage *s, const scalar *in, scalar *out, scalar *scratch) {
    if (s->codelet)
        s->codelet(s, in, out);
    else
        run_blocks(p, *s, in, out, scratch);
}

// The same back and forth as that of other stage lists (dft/c2c_1d.cpp).
void execute_unit(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const auto [count, stages] = stages_of(p->aux);
    const scalar *from = in;
    for (int64_t s = 0; s < count; ++s) {
        scalar *to = (count - 1 - s) % 2 == 0 ? out : scratch;
        run_stage(p, stages + s, from, to, scratch);
        from = to;
    }
}

void execute_general(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const auto [count, stages] = stages_of(p->aux);
    scalar *half_a = scratch, *half_b = half_a + 2 * p->dims[0].n;
    const scalar *from = in;
    for (int64_t s = 0; s < count; ++s) {
        scalar *to = s == count - 1 ? out : (count - s) % 2 == 0 ? half_a : half_b;
        run_stage(p, stages + s, from, to, scratch);
        from = to;
    }
}

int64_t choose_width(int64_t M, int64_t m, bool side_by_side) {
    int64_t width = line;
    if (side_by_side) {
        width = side_by_side_bytes / 8 / (complex_bytes * M) / line * line;
        if (width < line) width = line;
        if (width > most_blocks) width = most_blocks;
    }
    return width < m ? width : m;
}

// Longer filters would take longer to plan than is worth it.
constexpr int64_t longest_precise = 2048;

// The filter's spectrum, correctly rounded but for rare cases.
bool compute_spectrum(const convolution *c, const filter_roots &exact, scalar *spectrum) {
    if (!has_wide_numbers || c->M > longest_precise) return false;
    int64_t exponents[longest_precise];
    for (int64_t k = 0; k < c->M; ++k) exponents[k] = exact.exponent(c, k);
    return wide_spectrum_of_roots(spectrum, exponents, exact.N, c->M, exact.divisor, exact.kind);
}

// Each element becomes the mean of itself and what the element opposite says that it is.
void average_reflections(scalar *spectrum, int64_t M, reflection kind) {
    const bool conjugate = kind == reflection::alternating_conjugate;
    for (int64_t j = 1; 2 * j <= M; ++j) {
        const scalar re = conjugate && j % 2 ? -1 : 1, im = conjugate ? -re : 1;
        scalar *a = spectrum + 2 * j, *b = spectrum + 2 * (M - j);
        a[0] = (a[0] + re * b[0]) / 2;
        a[1] = (a[1] + im * b[1]) / 2;
        b[0] = re * a[0];
        b[1] = im * a[1];
    }
}

// The filter's spectrum. Its error would be a quarter of that of every result: the mean of the
// spectra of the filter and a rotation of it and of their reflections, whose rounding errors are
// independent, has half of it.
bool transform_filter(const plan *p, const convolution *c, const filter_roots &exact,
                      scalar *spectrum) {
    const int64_t M = c->M, shift = M / 2 + 1;
    const bool twice = M > 1 && M <= 1 << 16;  // planning is to take milliseconds
    const plan *child = p->children;
    // The filter, and the turns that follow from its rotation, each from a multiple of 64 bytes on,
    // scratch for the child.
    const int64_t room = (M + line - 1) / line * 2 * line;
    scalar *filter = static_cast<scalar *>(
        aligned_alloc_zero(static_cast<uint64_t>(2 * room) * scalar_bytes + child->scratch_bytes));
    if (!filter) return false;
    scalar *turns = filter + room, *scratch = turns + room;
    exact.fill(c, exact, spectrum);
    if (twice) {
        memcpy(filter, spectrum + 2 * shift, static_cast<size_t>(complex_bytes * (M - shift)));
        memcpy(filter + 2 * (M - shift), spectrum, static_cast<size_t>(complex_bytes * shift));
    }
    child->execute_fn(child, spectrum, spectrum, scratch);
    if (twice) {
        child->execute_fn(child, filter, filter, scratch);
        root_source roots;
        root_source_init(&roots, M, M);
        fill_twiddle_row(turns + 2, &roots, M, shift, -1);
        root_source_release(&roots);
        turns[0] = 1;
        c->products.elements(filter, 1, filter, 1, turns, M);
        for (int64_t k = 0; k < 2 * M; ++k) spectrum[k] = (spectrum[k] + filter[k]) / 2;
    }
    average_reflections(spectrum, M, exact.kind);
    aligned_free(filter);
    return true;
}

}  // namespace

convolution *convolution_begin(plan *p, const int64_t *factors, int count, int64_t M, int64_t room,
                               int32_t *status) {
    *status = -1;
    const int64_t n = p->dims[0].n, prime = factors[count - 1], m = n / prime;
    int64_t order[max_factors];
    order[0] = prime;
    for (int s = 1; s < count; ++s) order[s] = factors[s - 1];
    constexpr int64_t record = (sizeof(convolution) + complex_bytes - 1) / complex_bytes;
    scalar *extra = build_stages(p, order, count, record + room);
    if (!extra) return nullptr;
    convolution *c = reinterpret_cast<convolution *>(extra);
    const bookkeeping b = {c};
    memcpy(p->solver_words, &b, sizeof b);
    c->p = prime;
    c->M = M;
    c->filter = extra + 2 * record;
    c->products = active_table()->products;

    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return nullptr;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->kind = kind_complex;
    child->sign = -1;
    child->in = scratch_array(p);
    child->out = scratch_array(p, 1);
    child->rank = 1;
    child->dims[0] = {M, 1, 1};
    child->howmany_rank = 0;
    child->shares_stages = m != 1;
    if (suits_turned_three(child))
        c->spectra = (M + line - 1) / line * line;
    else
        child->out = child->in;
    if ((*status = m == 1 ? plan_solve(child) : plan_solve_in_stages(child)) != 0) return nullptr;

    *status = -1;
    c->list = slab_stages_of(child);
    if (m == 1 || 2 * line * complex_bytes * M > side_by_side_bytes) c->list.count = 0;
    c->width = choose_width(M, m, c->list.count > 0);
    const int64_t scratch = c->list.count ? slab_scratch(c->list, c->width) : 0;
    const int64_t stage_scratch = unit_strides(p) ? n : 2 * n;
    c->vectors = (stage_scratch + line - 1) / line * line;
    p->work_bytes =
        static_cast<uint64_t>(c->vectors + c->spectra + M * c->width + scratch) * complex_bytes;
    *status = 0;
    return c;
}

int32_t convolution_finish(plan *p, const filter_roots &exact, const char *unit_name,
                           const char *general_name) {
    const convolution *c = convolution_of(p);
    scalar *spectrum = const_cast<scalar *>(c->filter);
    if (!compute_spectrum(c, exact, spectrum) && !transform_filter(p, c, exact, spectrum))
        return -1;
    p->execute_fn = unit_strides(p) ? execute_unit : execute_general;
    p->execute_name = unit_strides(p) ? unit_name : general_name;
    p->form = plan_form::own_stages;
    return 0;
}

namespace {

void transform_blocks(const plan *p, const convolution *c, scalar *vectors, scalar *from,
                      scalar *to, int64_t width) {
    if (c->list.count) {
        walk_slab(c->list, {from, width, 1, to, width, width}, vectors + 2 * c->M * c->width);
        return;
    }
    const plan *child = p->children;
    scalar *scratch = scratch_below(p, vectors - 2 * c->vectors);
    for (int64_t j = 0; j < width; ++j)
        child->execute_fn(child, from + 2 * j * c->M, to + 2 * j * c->M, scratch);
}

}  // namespace

void convolution_transform(const plan *p, const convolution *c, scalar *vectors, int64_t width) {
    transform_blocks(p, c, vectors, vectors, spectra_of(c, vectors), width);
}

void convolution_return(const plan *p, const convolution *c, scalar *vectors, int64_t width) {
    transform_blocks(p, c, vectors, spectra_of(c, vectors), vectors, width);
}

void convolution_filter(const convolution *c, scalar *spectra, int64_t width) {
    if (c->list.count) {
        c->products.rows(spectra, width, spectra, width, c->filter, c->M, width);
        return;
    }
    for (int64_t j = 0; j < width; ++j) {
        scalar *spectrum = spectra + 2 * j * c->M;
        c->products.elements(spectrum, 1, spectrum, 1, c->filter, c->M);
    }
}

}  // namespace lyr
