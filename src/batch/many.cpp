// The general batch: a loop over the outermost batch dimension around a child plan for the rest.
#include <cstring>

#include "batch/copy_transpose.h"
#include "codelets/select.h"
#include "codelets/stage_pairs.h"
#include "dft/slabs.h"
#include "planner/cache_sizes.h"
#include "planner/places.h"
#include "planner/registry.h"
#include "r2r/columns.h"

namespace lyr {

namespace {

void execute_many(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    const executor run = child->execute_fn;
    const int64_t in_step = p->howmany_dims[0].is * input_element_bytes(p);
    const int64_t out_step = p->howmany_dims[0].os * output_element_bytes(p);
#pragma GCC unroll 4
    for (int64_t i = 0; i < p->howmany_dims[0].n; ++i) {
        run(child, in, out, scratch);
        in = advance(in, in_step);
        out = advance(out, out_step);
    }
}

// Transforms of one codelet, lanes along the batch.
void execute_many_direct(const plan *p, scalar *in, scalar *out, scalar *) {
    many_codelet codelet;
    memcpy(&codelet, p->solver_words, sizeof codelet);
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    codelet(in, is, idist, out, os, odist, h);
}

struct dense_words {  // in solver_words
    const dense_batch *batch;
};

// Those without gaps.
void execute_many_dense(const plan *p, scalar *in, scalar *out, scalar *) {
    dense_words words;
    memcpy(&words, p->solver_words, sizeof words);
    words.batch->run[p->sign != -1](in, out, p->howmany_dims[0].n);
}

constexpr int64_t line_bytes = 64;

// Whether a batch without gaps streams through the second-level cache.
bool is_far(const plan *p) {
    constexpr int64_t smallest_cache = 64 << 10;
    const int64_t h = p->howmany_dims[0].n, bytes = p->dims[0].n * complex_bytes;
    return h > smallest_cache / bytes && h > caches().second / bytes;
}

// Whether the first-level cache keeps both arrays, or most of them.
bool is_near(const plan *p) {
    constexpr int64_t most_bytes = 48 << 10;
    return p->howmany_dims[0].n <= most_bytes / 2 / (p->dims[0].n * complex_bytes);
}

// Whether the second-level cache cannot keep both arrays.
bool exceeds_second_cache(const plan *p) {
    const int64_t arrays = p->in == p->out ? 1 : 2;
    return p->howmany_dims[0].n > caches().second / (arrays * p->dims[0].n * complex_bytes);
}

enum class access { read, write };

template <access Access>
void call_for(const scalar *array, int64_t bytes) {
    const char *p = reinterpret_cast<const char *>(array);
    for (int64_t b = 0; b < bytes; b += line_bytes)
        __builtin_prefetch(p + b, Access == access::write);
}

// Large batches of transforms without gaps. Butterflies visit memory in an order that no processor
// foresees, so the lines of a transform are called for one pass before they are needed.
void execute_many_far(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    stage_list list;
    memcpy(&list, p->solver_words, sizeof list);
    const int64_t bytes = p->dims[0].n * complex_bytes;
    const int64_t in_step = p->howmany_dims[0].is * complex_bytes,
                  out_step = p->howmany_dims[0].os * complex_bytes;
    for (int64_t i = 0; i < p->howmany_dims[0].n; ++i) {
        scalar *const next = advance(in, in_step);
        if (in != out) call_for<access::write>(out, bytes);
        const scalar *from = in;
        for (int64_t s = 0; s < list.count; ++s) {
            scalar *to = (list.count - 1 - s) % 2 == 0 ? out : scratch;
            list.stages[s].codelet(list.stages + s, from, to);
            if (s == 0) call_for<access::read>(next, bytes);
            from = to;
        }
        in = next;
        out = advance(out, out_step);
    }
}

// The same for short transforms and pairs of stages: what is called for is further ahead than the
// next one.
constexpr int64_t ahead_bytes = 2 << 10;

void execute_many_far_units(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    const executor run = child->execute_fn;
    const int64_t bytes = p->dims[0].n * complex_bytes, ahead = (ahead_bytes + bytes - 1) / bytes;
    const int64_t in_step = p->howmany_dims[0].is * complex_bytes,
                  out_step = p->howmany_dims[0].os * complex_bytes;
    for (int64_t i = 0; i < p->howmany_dims[0].n; ++i) {
        call_for<access::read>(advance(in, ahead * in_step), bytes);
        if (in != out) call_for<access::write>(advance(out, ahead * out_step), bytes);
        run(child, in, out, scratch);
        in = advance(in, in_step);
        out = advance(out, out_step);
    }
}

// The same for turned stages: between their passes, as above, or a few lines at a time as the last
// pass goes.
enum class calls { between_passes, as_it_goes };

template <calls When>
void execute_many_turned(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const paired_stages *pairs = pairs_of(p->children);
    const bool two = pairs->radices[2] == 0;
    const stage *stages = stages_of(p->children->aux).stages;
    const int backward = p->sign != -1;
    const int64_t bytes = p->dims[0].n * complex_bytes;
    const int64_t in_step = p->howmany_dims[0].is * complex_bytes,
                  out_step = p->howmany_dims[0].os * complex_bytes;
    for (int64_t i = 0; i < p->howmany_dims[0].n; ++i) {
        scalar *const matrix = two || in == out ? scratch : out;
        const next_arrays next = {advance(in, in_step), advance(out, out_step)};
        if (When == calls::between_passes && in != out) call_for<access::write>(out, bytes);
        pairs->columns[backward](stages, in, matrix);
        if constexpr (When == calls::between_passes) {
            call_for<access::read>(next.in, bytes);
            pairs->rows[backward](stages, matrix, out);
        } else {
            pairs->rows_ahead[backward](stages, matrix, out, next);
        }
        in = advance(in, in_step);
        out = advance(out, out_step);
    }
}

// Batches of which the last-level cache keeps neither array: each transform is copied to its place
// and takes place there, as stages can though they were not planned so. Processors leave out some
// of so many lines called for at once, while they fetch and store a copy's lines ahead of it.
void execute_many_copied(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    const auto bytes = static_cast<size_t>(p->dims[0].n * complex_bytes);
    for (int64_t i = 0; i < p->howmany_dims[0].n; ++i) {
        memcpy(out, in, bytes);
        child->execute_fn(child, out, out, scratch);
        in += 2 * p->howmany_dims[0].is;
        out += 2 * p->howmany_dims[0].os;
    }
}

// Real numbers of a result.
int64_t numbers_of_result(const plan *p) {
    const int64_t n = p->dims[0].n;
    if (p->kind == kind_complex) return 2 * n;
    return p->kind == kind_r2c ? n / 2 * 2 + 2 : n;
}

// The same where the output is not read again soon: each transform takes place in scratch memory
// and is copied past the caches, which saves reading the lines that it is copied to. Those of the
// next one are called for meanwhile, or by the last pass.
template <bool Turned>
void execute_many_past_copied(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *child = p->children;
    const int64_t numbers = numbers_of_result(p);
    const int64_t in_step = p->howmany_dims[0].is * input_element_bytes(p);
    const int64_t out_step = p->howmany_dims[0].os * output_element_bytes(p);
    scalar *const result = scratch, *const below = scratch_below(p, scratch);
    for (int64_t i = 0; i < p->howmany_dims[0].n; ++i) {
        scalar *const next = advance(in, in_step);
        if constexpr (Turned) {
            const paired_stages *pairs = pairs_of(child);
            const stage *stages = stages_of(child->aux).stages;
            const int backward = p->sign != -1;
            scalar *const matrix = pairs->radices[2] == 0 ? below : result;
            pairs->columns[backward](stages, in, matrix);
            pairs->rows_ahead[backward](stages, matrix, result, {next, matrix});
            copy_past(result, out, numbers, nullptr);
        } else {
            child->execute_fn(child, in, result, below);
            copy_past(result, out, numbers, next);
        }
        in = next;
        out = advance(out, out_step);
    }
    finish_copies_past();
}

void copy_past_caches(plan *p) {
    p->work_bytes = static_cast<uint64_t>(numbers_of_result(p)) * scalar_bytes;
    p->execute_fn =
        pairs_of(p->children) ? execute_many_past_copied<true> : execute_many_past_copied<false>;
    p->execute_name = "execute_many_past_copied";
}

// Batches between real and complex numbers, of even counts, that are better copied so. Measured.
bool is_real_copied_past(const plan *p) {
    constexpr int64_t shortest = 2 << 10, longest_share = 16;
    const bool real = p->kind == kind_r2c || p->kind == kind_c2r;
    if (!has_copies_past || !p->far_output || !real || p->rank != 1 || p->howmany_rank != 1 ||
        p->in == p->out || p->dims[0].n % 2 != 0 || p->dims[0].is != 1 || p->dims[0].os != 1)
        return false;
    const int64_t peers = p->peers > 1 ? p->peers : 1;
    const int64_t bytes = numbers_of_result(p) * scalar_bytes;
    return bytes >= shortest && bytes <= caches().second / longest_share &&
           p->howmany_dims[0].n > far_output_bytes() / peers / bytes;
}

// Longer ones gain nothing. Measured.
bool is_copied_past(const plan *p) {
    return has_copies_past && p->far_output && p->dims[0].n <= 2 * caches().second / complex_bytes;
}

struct past_words {  // in solver_words
    const dense_batch *past;
    const dense_batch *near;  // null: the child one by one
    void (*finish)();
};

// Those whose output goes past the caches.
void execute_many_past(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    past_words words;
    memcpy(&words, p->solver_words, sizeof words);
    const int backward = p->sign != -1;
    const int64_t h = p->howmany_dims[0].n;
    if (reinterpret_cast<uintptr_t>(out) % line_bytes == 0) {
        words.past->run[backward](in, out, h);
        words.finish();
    } else if (words.near) {
        words.near->run[backward](in, out, h);
    } else {
        execute_many_far_units(p, in, out, scratch);
    }
}

// Transforms shorter than a few vectors run with lanes along the batch.
constexpr int64_t longest_across_batch = 12;

// Whether the last-level cache keeps neither array, which threads share.
bool passes_last_cache(const plan *p) {
    const int64_t peers = p->peers > 1 ? p->peers : 1;
    return p->howmany_dims[0].n > far_output_bytes() / peers / (p->dims[0].n * complex_bytes);
}

// Whether the child takes two stages at a time, and its executor beats stages with calls in
// between: where the batch does not stream through the last-level cache as well, and turned stages
// in place. Measured.
bool keeps_pairs(const plan *p) {
    const plan_form form = p->children->form;
    if (form == plan_form::turned_stages && p->in == p->out) return true;
    return (form == plan_form::paired_stages || form == plan_form::turned_stages) &&
           !passes_last_cache(p);
}

// Vectors of half a line take so long over a transform that processors foresee the next one.
// Measured.
bool calls_for_units() {
    return !is_half_line(active_table()->lanes);
}

// Copies of less than a page cost more than what they gain. Measured.
bool is_better_copied(const plan *p) {
    constexpr int64_t page = 4096;
    return p->in != p->out && p->dims[0].n >= page / complex_bytes && passes_last_cache(p);
}

// Batches of complex transforms that need not be called one by one. The child is solved.
void choose_executor(plan *p) {
    const plan *child = p->children;
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    const bool unit = child->form == plan_form::unit;
    const codelet_set *codelets = codelets_for(p, n);
    const dense_batch *dense = dense_batch_for(n);
    const bool far = p->far_output && p->in != p->out;
    const dense_batch *past = far ? far_batch_for(n) : nullptr;
    if (past && unit && idist == n && odist == n) {
        const past_words words = {past, dense, active_table()->finish_far};
        memcpy(p->solver_words, &words, sizeof words);
        p->execute_fn = execute_many_past;
        p->execute_name = "execute_many_past";
    } else if (dense && (unit || (unit_strides(p) && is_near(p))) && idist == n && odist == n) {
        const dense_words words = {dense};
        memcpy(p->solver_words, &words, sizeof words);
        p->execute_fn = execute_many_dense;
        p->execute_name = "execute_many_dense";
    } else if ((unit && (n > longest_across_batch || !codelets)) || keeps_pairs(p)) {
        if (is_far(p) && calls_for_units()) {
            p->execute_fn = execute_many_far_units;
            p->execute_name = "execute_many_far_units";
        }
    } else if (codelets && (unit || child->form == plan_form::codelet)) {
        if (idist == 0 || odist == 0) return;  // on the same arrays, one after another
        const many_codelet codelet = codelets->direct_many;
        memcpy(p->solver_words, &codelet, sizeof codelet);
        p->execute_fn = execute_many_direct;
        p->execute_name = "execute_many_direct";
    } else if (pairs_of(child) && exceeds_second_cache(p) && !passes_last_cache(p)) {
        p->execute_fn = execute_many_turned<calls::as_it_goes>;
        p->execute_name = "execute_many_ahead";
    } else if (pairs_of(child) && passes_last_cache(p) && !is_better_copied(p)) {
        p->execute_fn = execute_many_turned<calls::between_passes>;
        p->execute_name = "execute_many_far_turned";
    } else if (unit_strides(p) && is_far(p)) {
        const auto [count, stages, table] = slab_stages_of(child);
        if (count == 0 && child->form != plan_form::turned_stages && !pairs_of(child)) return;
        const stage_list list = {count, const_cast<stage *>(stages)};
        memcpy(p->solver_words, &list, sizeof list);
        if (is_better_copied(p) && is_copied_past(p)) {
            copy_past_caches(p);
        } else if (is_better_copied(p)) {
            p->execute_fn = execute_many_copied;
            p->execute_name = "execute_many_copied";
        } else {
            p->execute_fn = execute_many_far;
            p->execute_name = "execute_many_far";
        }
    }
}

}  // namespace

int solve_problem_dft_many(plan *p) {
    if (p->split == 1) return -1;
    if (p->rank < 1) return -1;
    if (p->howmany_rank < 1) return -1;
    if (p->kind > kind_r2r) return -1;
    if (!works_one_by_one(p)) return -1;
    p->form = plan_form::loop;
    if (has_columns(p)) return build_columns(p);

    p->execute_fn = execute_many;
    p->execute_name = "execute_many";
    p->any_count = 1;
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    plan_drop_batch_dimension(child);
    child->far_output = p->far_output;
    if (const int32_t status = plan_solve(child)) return status;
    if (p->kind == kind_complex && p->rank == 1 && p->howmany_rank == 1) choose_executor(p);
    if (is_real_copied_past(p)) copy_past_caches(p);
    return 0;
}

}  // namespace lyr
