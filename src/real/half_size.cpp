#include "real/half_size.h"

#include <cstring>

#include "api/memory.h"
#include "codelets/select.h"
#include "dft/c2c_1d_large.h"
#include "dft/stages.h"
#include "dft/twiddle.h"
#include "threads/pool.h"

namespace lyr {

namespace {

// The pass alone takes less time than it takes to share it.
constexpr int64_t shortest_threaded = 2 * shortest_shared;
// Threads with fewer elements than this stay close to each other.
constexpr int64_t spread_elements = 8192;

// From here on the factors come in two levels: as fast where memory or planning counts, but more to
// compute for vectors of one number.
int64_t shortest_of_two_levels(int64_t lanes) {
    return lanes == 1 ? 131072 : 8192;
}

// Aux of a pass in two levels: the words of real_pass, and what they point at.
struct pass_tables {
    const scalar *twiddles, *turns;
};
constexpr int64_t tables_header = 64;

bool allocate_tables(plan *p, int64_t h) {
    const bool two_levels = unit_strides(p) && h >= shortest_of_two_levels(active_table()->lanes);
    const int64_t count = (h + 1) / 2, blocks = (count + real_pass_block - 1) / real_pass_block;
    const int64_t numbers = two_levels ? real_pass_block + blocks : h;
    const uint64_t bytes = static_cast<uint64_t>(tables_header + numbers * complex_bytes);
    p->aux = aligned_alloc_any(bytes);
    if (!p->aux) return false;
    p->aux_bytes = bytes;
    p->aux_owned = 1;
    scalar *twiddles = advance(static_cast<scalar *>(p->aux), tables_header);
    scalar *turns = two_levels ? twiddles + 2 * real_pass_block : nullptr;
    *static_cast<pass_tables *>(p->aux) = {twiddles, turns};
    const int64_t sign = p->kind == kind_r2c ? -1 : +1;
    if (two_levels)
        fill_turned_twiddles(twiddles, turns, h, sign);
    else
        fill_pass_twiddles(twiddles, h, sign);
    return true;
}

void share_elements(plan *p, int64_t count) {
    p->nthreads = threads_for_plan(p->nthreads);
    affinity_set_once(count / p->nthreads < spread_elements ? affinity_close : affinity_spread);
}

bool make_complex_child(plan *p, int64_t n, scalar *in, scalar *out) {
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return false;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->kind = kind_complex;
    child->dims[0] = {n, 1, 1};
    child->in = in;
    child->out = out;
    if (out == p->out && p->kind == kind_c2r) child->far_output = p->far_output;
    return true;
}

}  // namespace

namespace {

// The numbers become -i/2 times themselves, exactly.
void turn_halves(scalar *numbers, int64_t count) {
    for (scalar *w = numbers; w < numbers + 2 * count; w += 2) {
        const scalar re = w[0];
        w[0] = w[1] / 2;
        w[1] = -re / 2;
    }
}

}  // namespace

void fill_pass_twiddles(scalar *twiddles, int64_t h, int64_t sign) {
    const int64_t count = (h + 1) / 2;
    if (h < 2) return;
    root_source roots;
    root_source_init(&roots, 2 * h, count);
    fill_roots(twiddles, 1, &roots, 1, 1, count, -1);
    root_source_release(&roots);
    if (sign < 0) turn_halves(twiddles, count);
}

void fill_turned_twiddles(scalar *twiddles, scalar *turns, int64_t h, int64_t sign) {
    const int64_t blocks = ((h + 1) / 2 + real_pass_block - 1) / real_pass_block;
    root_source roots;
    root_source_init(&roots, 2 * h, real_pass_block + blocks);
    fill_roots(twiddles, 1, &roots, 0, 1, real_pass_block, sign);
    subtract_one(twiddles, real_pass_block);
    fill_roots(turns, 1, &roots, 1, real_pass_block, blocks, sign);
    if (sign < 0) turn_halves(turns, blocks);
    root_source_release(&roots);
}

int build_half_size(plan *p, const real_executors &executors) {
    const int64_t n = p->dims[0].n;
    if (n % 2 != 0) {
        p->execute_fn = executors.odd;
        p->execute_name = executors.odd_name;
        if (p->nthreads >= 2 && n >= shortest_threaded) {
            p->execute_fn = executors.odd_threaded;
            p->execute_name = executors.odd_threaded_name;
            share_elements(p, n);
        }
        p->work_bytes = static_cast<uint64_t>(n) * complex_bytes;
        scalar *work = scratch_array(p);
        return make_complex_child(p, n, work, work) ? plan_solve(p->children) : -1;
    }
    const int64_t h = n / 2;
    const real_pass_set *passes = active_table()->real_passes;
    const real_pass_function pass = p->kind == kind_r2c ? passes->forward : passes->backward;
    memcpy(p->solver_words, &pass, sizeof pass);
    p->execute_fn = unit_strides(p) ? executors.unit : executors.discrete;
    p->execute_name = unit_strides(p) ? executors.unit_name : executors.discrete_name;
    if (!unit_strides(p)) p->work_bytes = static_cast<uint64_t>(h) * complex_bytes;
    if (!allocate_tables(p, h)) return -1;
    const bool threaded = unit_strides(p) && p->nthreads >= 2 && n >= shortest_threaded;
    if (threaded) {
        p->execute_fn = executors.threaded;
        p->execute_name = executors.threaded_name;
        share_elements(p, h);
    }
    scalar *to = unit_strides(p) ? p->out : scratch_array(p);
    scalar *from = unit_strides(p) && p->kind == kind_r2c ? p->in : to;
    if (!make_complex_child(p, h, from, to)) return -1;
    plan *child = p->children;
    if (unit_strides(p) && p->kind == kind_c2r && !threaded) {
        child->in = scratch_array(p);
        if (suits_turned_three(child))
            p->work_bytes = static_cast<uint64_t>(h) * complex_bytes;
        else
            child->in = to;
    }
    return plan_solve(child);
}

void run_real_pass(const plan *p, const scalar *in, int64_t in_step, scalar *out, int64_t out_step,
                   int64_t first, int64_t last) {
    real_pass_function pass;
    memcpy(&pass, p->solver_words, sizeof pass);
    const auto [twiddles, turns] = *static_cast<const pass_tables *>(p->aux);
    pass({p->dims[0].n / 2, first, last, in_step, out_step, twiddles, 1, turns}, in, out);
}

namespace {

struct shared_pass {
    const plan *p;
    const scalar *in;
    scalar *out;
};

void run_chunk(const pool_task *task) {
    const shared_pass *pass = static_cast<const shared_pass *>(task->arg);
    const int64_t pairs = pass->p->dims[0].n / 4;
    const int64_t before = task->index * task->chunk;
    const int64_t last = before + task->chunk < pairs ? before + task->chunk : pairs;
    run_real_pass(pass->p, pass->in, 1, pass->out, 1, before + 1, last);
}

struct shared_copy {
    const plan *p;
    odd_copy copy;
    const scalar *from;
    scalar *to;
    int64_t count;
};

void copy_chunk(const pool_task *task) {
    const auto &[p, copy, from, to, count] = *static_cast<const shared_copy *>(task->arg);
    const int64_t first = task->index * task->chunk, last = first + task->chunk;
    copy(p, from, to, first, last < count ? last : count);
}

}  // namespace

void run_real_pass_threaded(const plan *p, const scalar *in, scalar *out) {
    shared_pass pass = {p, in, out};
    const int64_t pairs = p->dims[0].n / 4;
    thread_pool_run(pairs, p->nthreads, chunk_align(pairs, p->nthreads), run_chunk, &pass);
}

void run_copy_threaded(const plan *p, odd_copy copy, const scalar *from, scalar *to,
                       int64_t count) {
    shared_copy shared = {p, copy, from, to, count};
    thread_pool_run(count, p->nthreads, chunk_align(count, p->nthreads), copy_chunk, &shared);
}

}  // namespace lyr
