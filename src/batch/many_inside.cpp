// Batches of rank 2 and 3 that lie inside their transforms (distances below all strides), such as
// transforms side by side: one dimension after the other, each for a row of neighbouring transforms
// at a time. One transform after the other would fetch a cache line for every number.
//
// A slice of the batch is read once, into scratch memory: the first pass leads there, the last one
// to the output. Long transforms, whose slices would be too narrow for that, stay in the output
// after the first pass. Complex to real there are always slices, copied first: numbers that are
// real by symmetry have imaginary parts that count for nothing, and are set to 0 in the copy.
//
// Children: the passes in their order; where these do not serve any count, the same for the last
// slice. aux: where the passes begin and go on.
#include "batch/many_inside.h"

#include <cstring>

#include "api/memory.h"
#include "planner/cache_sizes.h"
#include "planner/registry.h"

namespace lyr {

namespace {

enum place { in_input, in_slice, in_output };

struct pass {
    int64_t count[2];                  // of the other dimensions; 1 where there is none
    int64_t from_step[2], to_step[2];  // along these, in bytes
    place from, to;
    int64_t fold;  // numbers along another dimension that are taken for neighbouring transforms
};

struct pass_list {           // aux
    int64_t width;           // transforms of a slice
    int64_t slice_steps[3];  // in elements
    pass passes[3];
};

const pass_list &list_of(const plan *p) {
    return *static_cast<const pass_list *>(p->aux);
}

void run_pass(const pass &q, const plan *child, scalar *const *arrays, int64_t count,
              scalar *below) {
    plan some;
    if (child->any_count && child->howmany_dims[0].n != count) {
        some = *child;
        some.howmany_dims[0].n = count;
        child = &some;
    }
    for (int64_t i = 0; i < q.count[0]; ++i)
        for (int64_t j = 0; j < q.count[1]; ++j)
            child->execute_fn(child,
                              advance(arrays[q.from], i * q.from_step[0] + j * q.from_step[1]),
                              advance(arrays[q.to], i * q.to_step[0] + j * q.to_step[1]), below);
}

// Calls f(input, slice) with the offsets, in complex numbers, of all numbers of the first transform
// of a complex-to-real slice; step(d) leads from one index along dimension d to the next.
template <class stepper, class function>
void for_each_number(const plan *p, stepper step, function f) {
    const lyr_fft_iodim64 one = {1, 0, 0};
    const int last = p->rank - 1;
    const lyr_fft_iodim64 &a = p->rank == 3 ? p->dims[0] : one, &b = p->dims[last - 1],
                          &c = p->dims[last];
    const int64_t *slice = list_of(p).slice_steps;
    for (int64_t i = 0; i < a.n; i += step(a.n))
        for (int64_t j = 0; j < b.n; j += step(b.n))
            for (int64_t k = 0; k <= c.n / 2; k += step(c.n))
                f(i * a.is + j * b.is + k * c.is,
                  (p->rank == 3 ? i * slice[0] : 0) + j * slice[last - 1] + k * slice[last]);
}

void copy_slice(const plan *p, const scalar *in, scalar *slice, int64_t count) {
    const int64_t idist = p->howmany_dims[0].is;
    const int64_t pieces = idist == 1 ? 1 : count, piece = count / pieces * complex_bytes;
    for_each_number(
        p, [](int64_t) { return 1; },
        [=](int64_t from, int64_t to) {
            for (int64_t j = 0; j < pieces; ++j)
                memcpy(slice + 2 * (to + j), in + 2 * (from + j * idist),
                       static_cast<size_t>(piece));
        });
    for_each_number(
        p, [](int64_t n) { return n % 2 ? n : n / 2; },
        [=](int64_t, int64_t to) {
            for (int64_t j = 0; j < count; ++j) slice[2 * (to + j) + 1] = 0;
        });
}

void execute_many_inside(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const pass_list &list = list_of(p);
    const auto [h, idist, odist] = p->howmany_dims[0];
    scalar *below = scratch_below(p, scratch);
    for (int64_t first = 0; first < h; first += list.width) {
        const int64_t count = first + list.width <= h ? list.width : h - first;
        scalar *const arrays[] = {advance(in, first * idist * input_element_bytes(p)), scratch,
                                  advance(out, first * odist * output_element_bytes(p))};
        if (p->kind == kind_c2r) copy_slice(p, arrays[in_input], scratch, count);
        const plan *child = p->children;
        if (count < list.width && p->nchildren > p->rank) child += p->rank;
        for (int k = 0; k < p->rank; ++k)
            run_pass(list.passes[k], child + k, arrays, count * list.passes[k].fold, below);
    }
}

// ---- Planning -----------------------------------------------------------------------------------

constexpr int64_t least_width = 16;
// Slices of so many bytes leave room in the second-level cache for what comes and goes. Measured.
constexpr int64_t slice_bytes = 256 << 10;
// Fewer transforms are taken together with the numbers along another dimension.
constexpr int64_t few = 32;

bool is_real(const plan *p) {
    return p->kind == kind_r2c || p->kind == kind_c2r;
}

// Numbers along dimension d where passes over other dimensions see it.
int64_t count_along(const plan *p, int d) {
    const int64_t n = p->dims[d].n;
    return is_real(p) && d == p->rank - 1 ? n / 2 + 1 : n;
}

int64_t slice_element_bytes(const plan *p) {
    return p->kind == kind_r2r ? scalar_bytes : complex_bytes;
}

// Distances in a slice; returns its elements. No rows begin in the same cache sets.
int64_t fill_slice_steps(const plan *p, int64_t width, int64_t (&steps)[3]) {
    int64_t step = width;
    for (int d = p->rank - 1; d >= 0; --d) {
        steps[d] = step;
        step *= count_along(p, d);
        if (step * slice_element_bytes(p) % 4096 == 0) step += 64 / slice_element_bytes(p);
    }
    return step;
}

// Transforms of a slice; 0: no slices. What stays in the second-level cache does not need them.
int64_t choose_width(const plan *p) {
    const int64_t h = p->howmany_dims[0].n;
    int64_t bytes = slice_element_bytes(p);
    for (int d = 0; d < p->rank; ++d) bytes *= count_along(p, d);
    int64_t width = slice_bytes / bytes / least_width * least_width;
    if (p->kind != kind_c2r && (width == 0 || h < few || h <= caches().second / bytes)) return 0;
    if (width == 0) width = least_width;
    while (width < h && h % width == 1) ++width;  // a single one might have other bits
    return width < h ? width : h;
}

struct side {
    place where;
    int64_t step[3], lane;  // from an index to the next, and from a transform; in elements
    int64_t element_bytes;
    scalar *array;
};

side side_at(plan *p, const pass_list &list, place where) {
    side s = {where, {}, 1, 0, nullptr};
    for (int d = 0; d < p->rank; ++d)
        s.step[d] = where == in_input   ? p->dims[d].is
                    : where == in_slice ? list.slice_steps[d]
                                        : p->dims[d].os;
    if (where != in_slice)
        s.lane = where == in_input ? p->howmany_dims[0].is : p->howmany_dims[0].os;
    s.element_bytes = where == in_input   ? input_element_bytes(p)
                      : where == in_slice ? slice_element_bytes(p)
                                          : output_element_bytes(p);
    s.array = where == in_input ? p->in : where == in_slice ? scratch_array(p) : p->out;
    return s;
}

// The pass over dimension d, for `lanes` transforms.
void make_pass(pass *q, plan *child, const plan *p, int d, const side &from, const side &to,
               int64_t lanes) {
    *q = {{1, 1}, {}, {}, from.where, to.where, 1};
    const bool may_fold = lanes < few && from.where != in_slice && to.where != in_slice;
    int others = 0;
    for (int e = p->rank - 1; e >= 0; --e) {
        if (e == d) continue;
        if (may_fold && from.step[e] == lanes * q->fold * from.lane &&
            to.step[e] == lanes * q->fold * to.lane) {
            q->fold *= count_along(p, e);
            continue;
        }
        // The loops' order is that of the dimensions.
        q->count[1 - others] = count_along(p, e);
        q->from_step[1 - others] = from.step[e] * from.element_bytes;
        q->to_step[1 - others] = to.step[e] * to.element_bytes;
        ++others;
    }
    plan_copy_problem(child, p);
    if (is_real(p) && d != p->rank - 1) child->kind = kind_complex;
    child->rank = 1;
    child->dims[0] = {p->dims[d].n, from.step[d], to.step[d]};
    child->dims[1] = child->dims[2] = {};
    child->r2r_kinds[0] = p->r2r_kinds[d];
    child->howmany_dims[0] = {lanes * q->fold, from.lane, to.lane};
    child->in = from.array;
    child->out = to.array;
}

// A pass for each dimension, for `lanes` transforms. The first one of a real transform's spectrum
// is over the last dimension; complex to real it is over the first one, in the copy.
int solve_passes(plan *p, pass_list *list, plan *children, int64_t lanes, bool slices) {
    const int rank = p->rank;
    for (int k = 0; k < rank; ++k) {
        const int d = p->kind == kind_c2r ? k : rank - 1 - k;
        const place between = slices ? in_slice : in_output;
        const place from = k > 0 || p->kind == kind_c2r ? between : in_input;
        const place to = k < rank - 1 ? between : in_output;
        make_pass(&list->passes[k], children + k, p, d, side_at(p, *list, from),
                  side_at(p, *list, to), lanes);
        if (slices) children[k].nthreads = 1;
        if (plan_solve(children + k) != 0) return -1;
    }
    return 0;
}

// Transforms that single ones take less time for. Measured.
bool are_too_few(const plan *p) {
    constexpr int64_t short_points = 512;
    int64_t points = 1;
    for (int d = 0; d < p->rank; ++d) points *= p->dims[d].n;
    return p->howmany_dims[0].n < line_complex && (is_real(p) || points <= short_points);
}

}  // namespace

bool lies_inside(const plan *p) {
    if (p->rank < 2 || p->howmany_rank != 1) return false;
    for (int d = 0; d < p->rank; ++d)
        if (p->howmany_dims[0].is >= p->dims[d].is || p->howmany_dims[0].os >= p->dims[d].os)
            return false;
    return true;
}

int solve_problem_many_inside(plan *p) {
    if (p->split == 1 || p->kind > kind_r2r) return -1;
    if (!lies_inside(p)) return -1;
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (h < 2 || are_too_few(p)) return -1;
    if (p->in == p->out && (is_real(p) || idist != odist)) return -1;
    for (int d = 0; d < p->rank; ++d) {
        if (p->dims[d].n < 2) return -1;
        if (p->in == p->out && p->dims[d].is != p->dims[d].os) return -1;
    }
    p->aux_bytes = sizeof(pass_list);
    p->aux = aligned_alloc_zero(p->aux_bytes);
    if (!p->aux) return -1;
    p->aux_owned = 1;
    pass_list *list = static_cast<pass_list *>(p->aux);
    list->width = choose_width(p);
    const bool slices = list->width != 0;
    if (slices)
        p->work_bytes = static_cast<uint64_t>(fill_slice_steps(p, list->width, list->slice_steps) *
                                              slice_element_bytes(p));
    else
        list->width = h;
    p->execute_fn = execute_many_inside;
    p->execute_name = "execute_many_inside";
    p->nchildren = 2 * p->rank;
    p->children = plan_alloc_children(p->nchildren);
    if (!p->children) return -1;
    if (solve_passes(p, list, p->children, list->width, slices) != 0) return -1;
    p->any_count = 1;
    for (int k = 0; k < p->rank; ++k)
        if (!p->children[k].any_count || list->passes[k].fold > 1) p->any_count = 0;
    const int64_t rest = h % list->width;
    if (!slices || rest == 0 || p->any_count) {
        p->nchildren = p->rank;
        return 0;
    }
    return solve_passes(p, list, p->children + p->rank, rest, slices);
}

}  // namespace lyr
