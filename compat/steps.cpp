#include "steps.h"

#include <sched.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace compat {

namespace {

// ---- Executors ----------------------------------------------------------------------------------

lyra_complex *complexes(real *array) {
    return reinterpret_cast<lyra_complex *>(array);
}

void run_nothing(const step *, const arrays &) {}

void run_c2c(const step *s, const arrays &a) {
    LYRA(execute_dft)(s->leaf, complexes(a.ri), complexes(a.ro));
}
void run_r2c(const step *s, const arrays &a) {
    LYRA(execute_dft_r2c)(s->leaf, a.ri, complexes(a.ro));
}
void run_c2r(const step *s, const arrays &a) {
    LYRA(execute_dft_c2r)(s->leaf, complexes(a.ri), a.ro);
}
void run_r2r(const step *s, const arrays &a) {
    LYRA(execute_r2r)(s->leaf, a.ri, a.ro);
}
void run_split_forward(const step *s, const arrays &a) {
    LYRA(execute_split_dft)(s->leaf, a.ri, a.ii, a.ro, a.io);
}
// Real and imaginary parts exchanged: the other direction.
void run_split_backward(const step *s, const arrays &a) {
    LYRA(execute_split_dft)(s->leaf, a.ii, a.ri, a.io, a.ro);
}
void run_split_r2c(const step *s, const arrays &a) {
    LYRA(execute_split_dft_r2c)(s->leaf, a.ri, a.ro, a.io);
}
void run_split_c2r(const step *s, const arrays &a) {
    LYRA(execute_split_dft_c2r)(s->leaf, a.ri, a.ii, a.ro);
}

arrays shifted(const arrays &a, ptrdiff_t in, ptrdiff_t out) {
    return {a.ri + in, a.ii ? a.ii + in : nullptr, a.ro + out, a.io ? a.io + out : nullptr};
}

void run_shifted(const step *s, const arrays &a) {
    s->first->run(s->first, shifted(a, s->moved.in, s->moved.out));
}

void walk(const step *s, int k, const arrays &a) {
    const loop &l = s->loops[k];
    arrays here = a;
    for (ptrdiff_t i = 0; i < l.n; ++i) {
        if (k + 1 < s->loop_count)
            walk(s, k + 1, here);
        else
            s->first->run(s->first, here);
        here = shifted(here, l.in, l.out);
    }
}

void run_loop(const step *s, const arrays &a) {
    walk(s, 0, a);
}

template <int width>
void copy(const loop *loops, int count, const real *in, real *out) {
    if (count == 0) {
        memcpy(out, in, width * sizeof(real));
        return;
    }
    const loop l = loops[0];
    for (ptrdiff_t i = 0; i < l.n; ++i) {
        if (count > 1)
            copy<width>(loops + 1, count - 1, in + i * l.in, out + i * l.out);
        else
            memcpy(out + i * l.out, in + i * l.in, width * sizeof(real));
    }
}

void run_copy(const step *s, const arrays &a) {
    const auto copy_array = s->width == 2 ? copy<2> : copy<1>;
    copy_array(s->loops, s->loop_count, a.ri, a.ro);
    if (a.ii) copy_array(s->loops, s->loop_count, a.ii, a.io);
}

// Input to output, then in place on the output.
void run_then_on_output(const step *s, const arrays &a) {
    s->first->run(s->first, a);
    s->second->run(s->second, {a.ro, a.io, a.ro, a.io});
}

// In place on the input, then input to output.
void run_on_input_then(const step *s, const arrays &a) {
    s->first->run(s->first, {a.ri, a.ii, a.ri, a.ii});
    s->second->run(s->second, a);
}

// Waits for the plan's own buffer when there is no memory for another.
real *borrow(const buffer &b) {
    if (__atomic_exchange_n(&b.taken, 1, __ATOMIC_ACQUIRE) == 0) return b.memory;
    void *other;
    if (posix_memalign(&other, 64, static_cast<size_t>(b.count) * sizeof(real)) == 0)
        return static_cast<real *>(other);
    while (__atomic_exchange_n(&b.taken, 1, __ATOMIC_ACQUIRE) != 0) sched_yield();
    return b.memory;
}

void give_back(const buffer &b, real *memory) {
    if (memory == b.memory)
        __atomic_store_n(&b.taken, 0, __ATOMIC_RELEASE);
    else
        free(memory);
}

void run_through_buffer(const step *s, const arrays &a) {
    const buffer &b = s->between;
    real *re = borrow(b);
    real *im = b.imaginary ? re + b.imaginary : nullptr;
    s->first->run(s->first, {a.ri, a.ii, re, im});
    s->second->run(s->second, {re, im, a.ro, a.io});
    give_back(b, re);
}

// ---- Making steps -------------------------------------------------------------------------------

step *new_step(step_function run) {
    step *s = static_cast<step *>(calloc(1, sizeof(step)));
    if (s) s->run = run;
    return s;
}

// Takes the steps over: null, with both released, when one is missing.
step *new_step(step_function run, step *first, step *second) {
    step *s = first && second ? new_step(run) : nullptr;
    if (!s) {
        destroy(first);
        destroy(second);
        return nullptr;
    }
    s->first = first;
    s->second = second;
    return s;
}

step *shift(step *first, offsets moved) {
    if (!first || (moved.in == 0 && moved.out == 0)) return first;
    step *s = new_step(run_shifted);
    if (!s) {
        destroy(first);
        return nullptr;
    }
    s->first = first;
    s->moved = moved;
    return s;
}

// Stand for the addresses of buffers while plans are made: nothing is read or written there.
real *address_of(int which) {
    return reinterpret_cast<real *>(uintptr_t{1} << which);
}
constexpr int gathered = 52, scattered = 53, half_done = 54;

bool has_backward_input(const problem &p) {
    for (int k = 0; k < p.rank; ++k)
        if (p.dims[k].is < 1) return true;
    return false;
}

bool has_backward_output(const problem &p) {
    for (int k = 0; k < p.rank; ++k)
        if (p.dims[k].os < 1) return true;
    return false;
}

iodim64 *append_batch(problem &p) {
    return &p.batch[p.batch_rank++];
}

bool fits(const problem &p) {
    return p.rank + p.batch_rank < most_dimensions;
}

// A rearrangement of complex or real numbers from the input layout of p to another; strides of both
// sides in units of the element.
step *copy_step(const iodim64 *dims, int rank, int width) {
    step *s = new_step(run_copy);
    if (!s) return nullptr;
    s->loops = static_cast<loop *>(calloc(static_cast<size_t>(rank) + 1, sizeof(loop)));
    if (!s->loops) {
        destroy(s);
        return nullptr;
    }
    s->loop_count = rank;
    s->width = width;
    for (int k = 0; k < rank; ++k)
        s->loops[k] = {dims[k].n, dims[k].is * width, dims[k].os * width};
    return s;
}

// Between two steps: takes them over.
step *through_buffer(step *first, step *second, ptrdiff_t elements, int width, bool split) {
    step *s = new_step(run_through_buffer, first, second);
    if (!s) return nullptr;
    constexpr ptrdiff_t line = 8;  // the imaginary array on a cache line of its own
    const ptrdiff_t one = elements * width;
    s->between.imaginary = split ? (one + line - 1) / line * line : 0;
    s->between.count = s->between.imaginary + one;
    void *memory;
    if (posix_memalign(&memory, 64, static_cast<size_t>(s->between.count) * sizeof(real)) != 0) {
        destroy(s);
        return nullptr;
    }
    s->between.memory = static_cast<real *>(memory);
    return s;
}

// Takes dimension k out of the batch.
iodim64 remove_batch(problem &p, int k) {
    const iodim64 d = p.batch[k];
    for (int j = k; j + 1 < p.batch_rank; ++j) p.batch[j] = p.batch[j + 1];
    --p.batch_rank;
    return d;
}

// Runs what `inner` computes for every element of the dimensions.
step *loop_over(const iodim64 *dims, int count, const problem &p, step *inner) {
    if (!inner || count == 0) return inner;
    step *s = new_step(run_loop);
    if (s) s->loops = static_cast<loop *>(calloc(static_cast<size_t>(count), sizeof(loop)));
    if (!s || !s->loops) {
        destroy(s);
        destroy(inner);
        return nullptr;
    }
    s->first = inner;
    s->loop_count = count;
    for (int k = 0; k < count; ++k)
        s->loops[k] = {dims[k].n, dims[k].is * input_unit(p), dims[k].os * output_unit(p)};
    return s;
}

// The problem whose input is a buffer, after a copy into it.
step *gather_input(const problem &p) {
    problem *rest = static_cast<problem *>(malloc(sizeof(problem)));
    if (!rest) return nullptr;
    *rest = p;
    make_input_dense(*rest);
    iodim64 dims[2 * most_dimensions];
    int rank = 0;
    for (int k = 0; k < p.batch_rank; ++k)
        dims[rank++] = {p.batch[k].n, p.batch[k].is, rest->batch[k].is};
    for (int k = 0; k < p.rank; ++k)
        dims[rank++] = {input_length(p, k), p.dims[k].is, rest->dims[k].is};
    const bool split = p.at.ii != nullptr;
    const int width = static_cast<int>(input_unit(p));
    const ptrdiff_t volume = input_volume(p);
    rest->at.ri = address_of(gathered);
    rest->at.ii = split ? address_of(gathered) + volume : nullptr;
    rest->in_place = false;
    step *first = volume < 0 ? nullptr : copy_step(dims, rank, width);
    step *second = first ? build(*rest) : nullptr;
    free(rest);
    return through_buffer(first, second, volume, width, split);
}

// The problem whose output is a buffer, before a copy out of it.
step *scatter_output(const problem &p) {
    problem *rest = static_cast<problem *>(malloc(sizeof(problem)));
    if (!rest) return nullptr;
    *rest = p;
    make_output_dense(*rest);
    iodim64 dims[2 * most_dimensions];
    int rank = 0;
    for (int k = 0; k < p.batch_rank; ++k)
        dims[rank++] = {p.batch[k].n, rest->batch[k].os, p.batch[k].os};
    for (int k = 0; k < p.rank; ++k)
        dims[rank++] = {output_length(p, k), rest->dims[k].os, p.dims[k].os};
    const bool split = p.at.io != nullptr;
    const int width = static_cast<int>(output_unit(p));
    const ptrdiff_t volume = output_volume(p);
    rest->at.ro = address_of(scattered);
    rest->at.io = split ? address_of(scattered) + volume : nullptr;
    rest->in_place = false;
    step *second = volume < 0 ? nullptr : copy_step(dims, rank, width);
    step *first = second ? build(*rest) : nullptr;
    free(rest);
    return through_buffer(first, second, volume, width, split);
}

// Elements of a buffer for a part of a batch: 512 KiB of complex numbers in double precision, which
// stay in a second-level cache.
constexpr ptrdiff_t part_volume = 32768;

// Takes batch dimensions away, outermost first, until what is left is small; returns how many.
int take_outer_batches(problem &p, iodim64 *taken) {
    int count = 0;
    while (p.batch_rank > 0) {
        const ptrdiff_t in = input_volume(p), out = output_volume(p);
        if (in >= 0 && in <= part_volume && out >= 0 && out <= part_volume) break;
        taken[count++] = remove_batch(p, 0);
    }
    return count;
}

// Where a problem may be computed one part of its batch after the other.
bool parts_are_independent(const problem &p) {
    return !p.in_place || stays(p);
}

// ---- Rank 0 -------------------------------------------------------------------------------------

plan_handle plan_copy_leaf(const problem &p) {
    lyr_fft_iodim64 batch[3];
    for (int k = 0; k < p.batch_rank; ++k) batch[k] = {p.batch[k].n, p.batch[k].is, p.batch[k].os};
    if (p.split)
        return LYRA(plan_guru64_split_dft)(0, nullptr, p.batch_rank, batch, p.at.ri, p.at.ii,
                                           p.at.ro, p.at.io, 0);
    if (p.kind == problem_kind::r2r)
        return LYRA(plan_guru64_r2r)(0, nullptr, p.batch_rank, batch, p.at.ri, p.at.ro, nullptr, 0);
    return LYRA(plan_guru64_dft)(0, nullptr, p.batch_rank, batch, complexes(p.at.ri),
                                 complexes(p.at.ro), -1, 0);
}

bool is_leaf_batch(const problem &p) {
    if (p.batch_rank > 3) return false;
    for (int k = 0; k < p.batch_rank; ++k)
        if (p.batch[k].is < 1 || p.batch[k].os < 1) return false;
    return true;
}

// The arrays of an in-place problem begin at the same places.
bool same_arrays(const problem &p) {
    return p.at.ri == p.at.ro && p.at.ii == p.at.io;
}

step *new_leaf(step_function run, plan_handle leaf) {
    step *s = leaf ? new_step(run) : nullptr;
    if (!s)
        LYRA(destroy_plan)(leaf);
    else
        s->leaf = leaf;
    return s;
}

step *build_copy(problem &p) {
    if (p.in_place && stays(p) && same_arrays(p)) return new_step(run_nothing);
    if (is_leaf_batch(p) && (!p.in_place || same_arrays(p))) {
        step *s = new_leaf(p.split                       ? run_split_forward
                           : p.kind == problem_kind::r2r ? run_r2r
                                                         : run_c2c,
                           plan_copy_leaf(p));
        if (s) return s;
    }
    if (p.in_place) return gather_input(p);
    return copy_step(p.batch, p.batch_rank, static_cast<int>(input_unit(p)));
}

// ---- Rank 1 to 3 --------------------------------------------------------------------------------

step *build_leaf(const problem &p) {
    lyr_fft_iodim64 dims[3], batch[3];
    lyr_fft_r2r_kind kinds[3];
    for (int k = 0; k < p.rank; ++k) {
        dims[k] = {p.dims[k].n, p.dims[k].is, p.dims[k].os};
        kinds[k] = static_cast<lyr_fft_r2r_kind>(p.kinds[k]);
    }
    for (int k = 0; k < p.batch_rank; ++k) batch[k] = {p.batch[k].n, p.batch[k].is, p.batch[k].os};
    const arrays &a = p.at;
    const int rank = p.rank, h = p.batch_rank;
    switch (p.kind) {
        case problem_kind::c2c:
            if (!p.split)
                return new_leaf(run_c2c,
                                LYRA(plan_guru64_dft)(rank, dims, h, batch, complexes(a.ri),
                                                      complexes(a.ro), p.sign, 0));
            if (p.sign == -1)
                return new_leaf(
                    run_split_forward,
                    LYRA(plan_guru64_split_dft)(rank, dims, h, batch, a.ri, a.ii, a.ro, a.io, 0));
            return new_leaf(
                run_split_backward,
                LYRA(plan_guru64_split_dft)(rank, dims, h, batch, a.ii, a.ri, a.io, a.ro, 0));
        case problem_kind::r2c:
            if (p.split)
                return new_leaf(run_split_r2c, LYRA(plan_guru64_split_dft_r2c)(
                                                   rank, dims, h, batch, a.ri, a.ro, a.io, 0));
            return new_leaf(
                run_r2c, LYRA(plan_guru64_dft_r2c)(rank, dims, h, batch, a.ri, complexes(a.ro), 0));
        case problem_kind::c2r:
            if (p.split)
                return new_leaf(run_split_c2r, LYRA(plan_guru64_split_dft_c2r)(
                                                   rank, dims, h, batch, a.ri, a.ii, a.ro, 0));
            return new_leaf(
                run_c2r, LYRA(plan_guru64_dft_c2r)(rank, dims, h, batch, complexes(a.ri), a.ro, 0));
        default:
            return new_leaf(run_r2r,
                            LYRA(plan_guru64_r2r)(rank, dims, h, batch, a.ri, a.ro, kinds, 0));
    }
}

// A loop over what the library does not take of the batch.
step *build_low_rank(problem &p) {
    iodim64 taken[most_dimensions];
    int count = 0;
    for (int k = 0; k < p.batch_rank;)
        if (p.batch[k].is < 1 || p.batch[k].os < 1)
            taken[count++] = remove_batch(p, k);
        else
            ++k;
    while (p.batch_rank > 3) taken[count++] = remove_batch(p, 0);
    return loop_over(taken, count, p, build_leaf(p));
}

// ---- Higher ranks -------------------------------------------------------------------------------

// The inner dimensions, with the outer ones as a part of the batch.
void keep_inner(problem &p, int outer) {
    for (int k = 0; k < outer; ++k) *append_batch(p) = p.dims[k];
    for (int k = outer; k < p.rank; ++k) {
        p.dims[k - outer] = p.dims[k];
        p.kinds[k - outer] = p.kinds[k];
    }
    p.rank -= outer;
}

// The outer dimensions alone, complex to complex unless real to real, with the inner ones as a part
// of the batch.
void keep_outer(problem &p, int outer, ptrdiff_t (*length)(const problem &, int)) {
    for (int k = outer; k < p.rank; ++k)
        *append_batch(p) = {length(p, k), p.dims[k].is, p.dims[k].os};
    p.rank = outer;
    if (p.kind == problem_kind::r2c) p.sign = -1;
    if (p.kind == problem_kind::c2r) p.sign = +1;
    if (p.kind != problem_kind::r2r) p.kind = problem_kind::c2c;
}

// A copy of p on the heap.
problem *clone(const problem &p) {
    problem *q = static_cast<problem *>(malloc(sizeof(problem)));
    if (q) *q = p;
    return q;
}

// Inner dimensions first, then the outer ones on the results.
step *build_inner_first(const problem &p, int outer) {
    problem *inner = clone(p), *rest = clone(p);
    step *first = nullptr, *second = nullptr;
    if (inner && rest) {
        keep_inner(*inner, outer);
        first = build(*inner);
        keep_outer(*rest, outer, output_length);
        for (int k = 0; k < rest->rank; ++k) rest->dims[k].is = rest->dims[k].os;
        for (int k = 0; k < rest->batch_rank; ++k) rest->batch[k].is = rest->batch[k].os;
        rest->at.ri = p.at.ro;
        rest->at.ii = p.at.io;
        rest->in_place = true;
        if (first) second = build(*rest);
    }
    free(inner);
    free(rest);
    return new_step(run_then_on_output, first, second);
}

// Complex to real where input is overwritten anyway: outer dimensions on the input.
step *build_outer_first(const problem &p, int outer) {
    problem *inner = clone(p), *rest = clone(p);
    step *first = nullptr, *second = nullptr;
    if (inner && rest) {
        keep_outer(*rest, outer, input_length);
        for (int k = 0; k < rest->rank; ++k) rest->dims[k].os = rest->dims[k].is;
        for (int k = 0; k < rest->batch_rank; ++k) rest->batch[k].os = rest->batch[k].is;
        rest->at.ro = p.at.ri;
        rest->at.io = p.at.ii;
        rest->in_place = true;
        first = build(*rest);
        keep_inner(*inner, outer);
        if (first) second = build(*inner);
    }
    free(inner);
    free(rest);
    return new_step(run_on_input_then, first, second);
}

// Complex to real, input kept: outer dimensions into a buffer.
step *build_outer_through_buffer(const problem &p, int outer) {
    problem *inner = clone(p), *rest = clone(p);
    step *first = nullptr, *second = nullptr;
    const ptrdiff_t volume = input_volume(p);
    if (inner && rest && volume >= 0) {
        make_input_dense(*inner);
        for (int k = 0; k < p.rank; ++k) rest->dims[k].os = inner->dims[k].is;
        for (int k = 0; k < p.batch_rank; ++k) rest->batch[k].os = inner->batch[k].is;
        real *re = address_of(half_done);
        real *im = p.split ? re + volume : nullptr;
        rest->at.ro = inner->at.ri = re;
        rest->at.io = inner->at.ii = im;
        rest->in_place = inner->in_place = false;
        keep_outer(*rest, outer, input_length);
        first = build(*rest);
        keep_inner(*inner, outer);
        if (first) second = build(*inner);
    }
    free(inner);
    free(rest);
    return through_buffer(first, second, volume, p.split ? 1 : 2, p.split);
}

step *build_in_passes(problem &p, int outer) {
    if (p.kind != problem_kind::c2r) return build_inner_first(p, outer);
    if (p.in_place && stays(p)) return build_outer_first(p, outer);
    iodim64 taken[most_dimensions];
    const int count = p.in_place ? 0 : take_outer_batches(p, taken);
    return loop_over(taken, count, p, build_outer_through_buffer(p, outer));
}

// ---- Any problem --------------------------------------------------------------------------------

// What has strides from 1 on within transforms.
step *build_positive(problem &p) {
    if (p.rank > 3) return build_in_passes(p, p.rank - 3);
    return build_low_rank(p);
}

step *build_normal(problem &p) {
    if (!fits(p)) return nullptr;
    if (is_copy(p)) return build_copy(p);
    const bool independent = parts_are_independent(p);
    if (p.in_place && !independent && (!same_arrays(p) || !is_leaf_batch(p)))
        return gather_input(p);
    if (has_backward_input(p) || has_backward_output(p)) {
        iodim64 taken[most_dimensions];
        const int count = independent ? take_outer_batches(p, taken) : 0;
        return loop_over(taken, count, p,
                         has_backward_input(p) ? gather_input(p) : scatter_output(p));
    }
    if (!p.in_place) return build_positive(p);
    problem *tried = clone(p);
    if (!tried) return nullptr;
    step *s = build_positive(*tried);
    free(tried);
    // The library refuses some layouts in place.
    return s ? s : gather_input(p);
}

}  // namespace

step *build(problem &p) {
    const offsets moved = normalise(p);
    return shift(build_normal(p), moved);
}

step *build_nothing() {
    return new_step(run_nothing);
}

void destroy(step *s) {
    if (!s) return;
    LYRA(destroy_plan)(s->leaf);
    destroy(s->first);
    destroy(s->second);
    free(s->loops);
    free(s->between.memory);
    free(s);
}

void describe(const step *s, int depth, void (*line)(void *context, int depth, const char *text),
              void *context) {
    if (!s) return;
    char text[200];
    const char *name = s->run == run_nothing          ? "nothing"
                       : s->run == run_shifted        ? "shifted"
                       : s->run == run_copy           ? "copy"
                       : s->run == run_loop           ? "loop"
                       : s->run == run_through_buffer ? "through-buffer"
                       : s->run == run_then_on_output ? "then-on-output"
                       : s->run == run_on_input_then  ? "on-input-then"
                       : s->run == run_c2c            ? "dft"
                       : s->run == run_r2c            ? "dft-r2c"
                       : s->run == run_c2r            ? "dft-c2r"
                       : s->run == run_r2r            ? "r2r"
                       : s->run == run_split_r2c      ? "split-dft-r2c"
                       : s->run == run_split_c2r      ? "split-dft-c2r"
                       : s->run == run_split_backward ? "split-dft-backward"
                                                      : "split-dft-forward";
    size_t used = static_cast<size_t>(snprintf(text, sizeof text, "%s", name));
    for (int k = 0; k < s->loop_count && used < sizeof text - 24; ++k)
        used +=
            static_cast<size_t>(snprintf(text + used, sizeof text - used, " %td", s->loops[k].n));
    line(context, depth, text);
    describe(s->first, depth + 1, line, context);
    describe(s->second, depth + 1, line, context);
}

}  // namespace compat
