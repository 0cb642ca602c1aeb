// In-place batches that no other solver can work off: results of a transform would fall on input of
// another one, or the layout moves. Transforms go from the arrays to a buffer without gaps, as out
// of place, and are copied from there.
//
// The outer batch dimensions that may be walked in ascending order are: then the buffer holds some
// neighbouring transforms of the innermost of them. Else it holds the whole batch.
//
// Scratch: the buffer; of split results first all real, then all imaginary parts. In the order of
// the output, so that copies run along memory. Child 0: the transforms; child 1: the copy, of the
// inner three of its dimensions.
#include <cstring>

#include "batch/split.h"
#include "planner/places.h"
#include "planner/registry.h"

namespace lyr {

namespace {

// Small transforms are buffered together up to this size.
constexpr int64_t group_bytes = 16 << 10;
constexpr int most_dims = 6;
constexpr int copied_dims = 3;  // that a plan of rank 0 has

// Dimensions of the copy, output strides descending; `is` is the stride in the buffer.
struct layout {
    lyr_fft_iodim64 dims[most_dims];
    int count;
    int64_t elements;
};

struct bookkeeping {  // in solver_words
    int64_t walked;   // batch dimensions
    int64_t group;    // transforms of the last of these in the buffer
};

bookkeeping words_of(const plan *p) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    return b;
}

// The batch dimensions that the buffer holds, the partly walked one included.
int buffered_batch(const plan *p, const bookkeeping &b, lyr_fft_iodim64 *dims) {
    int count = 0;
    for (int64_t k = b.walked; k < p->howmany_rank; ++k) dims[count++] = p->howmany_dims[k];
    if (b.walked == 0 || b.group == 1) return count;
    for (int k = count; k > 0; --k) dims[k] = dims[k - 1];
    dims[0] = p->howmany_dims[b.walked - 1];
    dims[0].n = b.group;
    return count + 1;
}

// Gives the results of so many batch dimensions and one transform their places in the buffer.
// places[k]: the stride of batch dimension k, then those of the transform.
layout buffer_layout(const plan *p, const lyr_fft_iodim64 *batch, int batch_rank,
                     int64_t (&places)[most_dims]) {
    layout l = {};
    int origin[most_dims] = {};
    for (int k = 0; k < batch_rank + p->rank; ++k) {
        lyr_fft_iodim64 d = k < batch_rank ? batch[k] : p->dims[k - batch_rank];
        if (p->kind == kind_r2c && k == batch_rank + p->rank - 1) d.n = d.n / 2 + 1;
        int at = l.count++;
        for (; at > 0 && l.dims[at - 1].os < d.os; --at) {
            l.dims[at] = l.dims[at - 1];
            origin[at] = origin[at - 1];
        }
        l.dims[at] = d;
        origin[at] = k;
    }
    l.elements = 1;
    for (int k = l.count - 1; k >= 0; --k) {
        places[origin[k]] = l.dims[k].is = l.elements;
        l.elements *= l.dims[k].n;
    }
    return l;
}

// Dimensions without gaps between them become one; those of length 1 go.
void merge(layout &l) {
    int count = 0;
    for (int k = 0; k < l.count; ++k) {
        const lyr_fft_iodim64 d = l.dims[k];
        if (d.n == 1) continue;
        lyr_fft_iodim64 *outer = count > 0 ? &l.dims[count - 1] : nullptr;
        if (outer && outer->os == d.n * d.os && outer->is == d.n * d.is)
            *outer = {outer->n * d.n, d.is, d.os};
        else
            l.dims[count++] = d;
    }
    l.count = count;
}

// Doubles in an element of an output array.
int64_t output_width(const plan *p) {
    return p->split == 1 ? 1 : output_element_bytes(p) / scalar_bytes;
}
int64_t input_width(const plan *p) {
    return p->split == 1 ? 1 : input_element_bytes(p) / scalar_bytes;
}

// Results in the buffer, of one array.
layout copy_of(const plan *p) {
    lyr_fft_iodim64 batch[copied_dims] = {};
    int64_t places[most_dims] = {};
    layout l = buffer_layout(p, batch, buffered_batch(p, words_of(p), batch), places);
    merge(l);
    return l;
}

void copy_out(const plan *p, const layout &l, scalar *buffer, scalar *out, scalar *below) {
    lyr_fft_iodim64 outer[copied_dims] = {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}};
    for (int k = 0; k < l.count - copied_dims; ++k) outer[k] = l.dims[k];
    const auto [a, b, c] = outer;
    const int64_t width = output_width(p);
    const plan *copy = &p->children[1];
    for (int64_t i = 0; i < a.n; ++i)
        for (int64_t j = 0; j < b.n; ++j)
            for (int64_t k = 0; k < c.n; ++k)
                copy->execute_fn(copy, buffer + (i * a.is + j * b.is + k * c.is) * width,
                                 out + (i * a.os + j * b.os + k * c.os) * width, below);
}

scalar *step(scalar *array, int64_t doubles) {
    return array ? array + doubles : nullptr;
}

// Calls f(input offset, output offset), in doubles, for every content of the buffer.
template <class function>
void for_each_group(const plan *p, const bookkeeping &b, function f) {
    lyr_fft_iodim64 walk[3] = {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}};
    for (int64_t k = 0; k < b.walked; ++k) walk[k] = p->howmany_dims[k];
    if (b.walked > 0) {
        lyr_fft_iodim64 &last = walk[b.walked - 1];
        if (last.n > 1) last = {last.n / b.group, last.is * b.group, last.os * b.group};
    }
    const int64_t in = input_width(p), out = output_width(p);
    for (int64_t i = 0; i < walk[0].n; ++i)
        for (int64_t j = 0; j < walk[1].n; ++j)
            for (int64_t k = 0; k < walk[2].n; ++k)
                f((i * walk[0].is + j * walk[1].is + k * walk[2].is) * in,
                  (i * walk[0].os + j * walk[1].os + k * walk[2].os) * out);
}

void execute_inplace_buffered(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    scalar *buffer = scratch, *below = scratch_below(p, scratch);
    const plan *transforms = &p->children[0];
    const layout l = copy_of(p);
    for_each_group(p, words_of(p), [&](int64_t from, int64_t to) {
        transforms->execute_fn(transforms, in + from, buffer, below);
        copy_out(p, l, buffer, out + to, below);
    });
}

void execute_inplace_buffered_split(const plan *p, scalar *ri, scalar *ii, scalar *ro, scalar *io,
                                    scalar *scratch) {
    const layout l = copy_of(p);
    scalar *re = scratch, *below = scratch_below(p, scratch);
    scalar *im = p->kind == kind_c2r ? nullptr : re + l.elements;
    const plan *transforms = &p->children[0];
    for_each_group(p, words_of(p), [&](int64_t from, int64_t to) {
        transforms->execute_split_fn(transforms, step(ri, from), step(ii, from), re, im, below);
        copy_out(p, l, re, ro + to, below);
        if (im) copy_out(p, l, im, io + to, below);
    });
}

// How many transforms along a dimension of length n share the buffer: a divisor of n.
int64_t group_of(int64_t n, int64_t bytes) {
    int64_t group = group_bytes / bytes;
    if (group > n) group = n;
    if (group < 1) group = 1;
    while (n % group != 0) --group;
    return group;
}

int build(plan *p) {
    const bool parts = p->split == 1 && p->kind != kind_c2r;
    const int64_t result_bytes = (parts ? 2 : output_width(p)) * scalar_bytes;
    bookkeeping b = {walkable_dimensions(p), 1};
    lyr_fft_iodim64 batch[copied_dims] = {};
    int64_t places[most_dims] = {};
    if (b.walked > 0) {
        const layout one = buffer_layout(p, batch, buffered_batch(p, b, batch), places);
        b.group = group_of(p->howmany_dims[b.walked - 1].n, one.elements * result_bytes);
    }
    memcpy(p->solver_words, &b, sizeof b);
    const int batch_rank = buffered_batch(p, b, batch);
    const layout held = buffer_layout(p, batch, batch_rank, places);
    p->work_bytes = static_cast<uint64_t>(held.elements * result_bytes);
    scalar *buffer = scratch_array(p);

    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    plan *transforms = &p->children[0], *copy = &p->children[1];
    plan_copy_problem(transforms, p);
    transforms->out = buffer;
    if (parts) transforms->out_imag = scratch_array(p, 1);
    transforms->howmany_rank = batch_rank;
    for (int k = 0; k < 3; ++k) {
        if (k < batch_rank)
            transforms->howmany_dims[k] = {batch[k].n, batch[k].is, places[k]};
        else
            transforms->howmany_dims[k] = {};
        if (k < p->rank) transforms->dims[k].os = places[batch_rank + k];
    }

    const layout l = copy_of(p);
    plan_copy_problem(copy, p);
    copy->kind = output_width(p) == 2 ? kind_complex : kind_r2r;
    copy->split = -1;
    copy->in = buffer;
    copy->in_imag = copy->out_imag = nullptr;
    copy->rank = 0;
    copy->howmany_rank = l.count < copied_dims ? l.count : copied_dims;
    for (int k = 0; k < 3; ++k) {
        copy->dims[k] = {};
        if (k < copy->howmany_rank)
            copy->howmany_dims[k] = l.dims[l.count - copy->howmany_rank + k];
        else
            copy->howmany_dims[k] = {};
    }
    if (plan_solve(transforms) != 0) return -1;
    return plan_solve(copy);
}

}  // namespace

int solve_problem_inplace_buffered(plan *p) {
    if (p->kind > kind_r2r) return -1;
    if (p->howmany_rank < 1) return -1;
    if (p->rank < 1 && p->split != 1) return -1;
    if (!is_in_place(p)) return -1;
    p->execute_name = "execute_inplace_buffered";
    p->execute_fn = execute_inplace_buffered;
    if (has_split_arrays(p)) {
        p->execute_fn = execute_forwarded;
        p->execute_split_fn = execute_inplace_buffered_split;
        p->execute_name = "execute_inplace_buffered_split";
    }
    return build(p);
}

}  // namespace lyr
