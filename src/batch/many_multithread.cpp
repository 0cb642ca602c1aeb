// Batches on several threads: the outermost batch dimension is cut into chunks, one for each
// thread, and every chunk is a plan of its own, with its own scratch memory, so that all may run
// at the same time.
#include "batch/many_multithread.h"

#include <cstring>

#include "codelets/real.h"
#include "planner/places.h"
#include "planner/registry.h"
#include "threads/pool.h"

namespace lyr {

namespace {

// A chunk, or all of them, of more points than this pay for the hand-over.
constexpr int64_t chunk_points = 256, total_points = 1280;
// Threads with more work than this would rather have a cache of their own than be close to others.
constexpr int64_t spread_points = 8192;

struct batch_run {
    double *in, *out;
    int64_t in_step, out_step;  // bytes
    plan *children;
};

void run_chunk(const pool_task *task) {
    const batch_run *run = static_cast<const batch_run *>(task->arg);
    plan *child = run->children + task->index;
    const int64_t first = task->index * task->chunk;
    child->execute_fn(child, advance(run->in, first * run->in_step),
                      advance(run->out, first * run->out_step));
}

// How a batch is dealt out: to so many threads at most, in chunks whose length is a multiple of
// align.
struct batch_cut {  // in solver_words
    int64_t threads, align;
};

void execute_multithread(plan *p, double *in, double *out) {
    const auto [h, is, os] = p->howmany_dims[0];
    batch_cut cut;
    memcpy(&cut, p->solver_words, sizeof cut);
    batch_run run = {in, out, is * input_element_bytes(p), os * output_element_bytes(p),
                     p->children};
    pool_refresh_placement();
    thread_pool_run(h, cut.threads, cut.align, run_chunk, &run);
}

int64_t points(const plan *p) {
    int64_t product = 1;
    for (int k = 0; k < p->rank; ++k) product *= p->dims[k].n;
    for (int k = 0; k < p->howmany_rank; ++k) product *= p->howmany_dims[k].n;
    return product;
}

// Transform `first` and the `count - 1` after it; of a single one the dimension goes away.
void make_child(plan *child, const plan *p, int64_t first, int64_t chunk, int64_t count) {
    plan_copy_problem(child, p);
    child->howmany_dims[0].n = count;
    if (chunk == 1) plan_drop_batch_dimension(child);
    if (p->work && p->work_bytes) {
        const uint64_t bytes = p->work_bytes / static_cast<uint64_t>(p->howmany_dims[0].n);
        child->work = static_cast<char *>(p->work) + bytes * static_cast<uint64_t>(first);
    }
}

// Real codelets compute transforms side by side in another way than a single one.
bool singles_differ(const plan *p) {
    if (p->kind == kind_complex || p->rank != 1 || p->howmany_rank != 1) return false;
    const auto [h, is, os] = p->howmany_dims[0];
    return is == 1 && os == 1 && p->dims[0].n <= longest_real;
}

// No chunk of a single transform next to longer ones where its bits would differ.
batch_cut cut_batch(const plan *p, int64_t threads) {
    const int64_t h = p->howmany_dims[0].n;
    const auto is_even = [&](const batch_cut &cut) {
        const auto [chunk, count] = chunks_of(h, cut.threads, cut.align);
        return chunk == 1 || h % chunk != 1;
    };
    batch_cut cut = {threads, chunk_align(h, threads)};
    if (!singles_differ(p) || is_even(cut)) return cut;
    cut.align = 1;
    while (!is_even(cut)) --cut.threads;
    return cut;
}

}  // namespace

bool worth_threads(int64_t total, int64_t chunks) {
    return total / chunks > chunk_points || total > total_points;
}

int solve_problem_dft_many_multithread(plan *p) {
    if (p->split == 1) return -1;
    if (p->howmany_rank < 1 || p->nthreads < 2) return -1;
    if (p->kind > kind_r2r) return -1;  // rotated batches see to their threads themselves
    if (!works_one_by_one(p, batch_order::any)) return -1;

    const int64_t h = p->howmany_dims[0].n, threads = threads_for_plan(p->nthreads);
    p->nthreads = threads;
    const batch_cut cut = cut_batch(p, threads);
    const auto [chunk, chunks] = chunks_of(h, cut.threads, cut.align);
    if (chunk == h && h > 1) return -1;
    if (!worth_threads(points(p), chunks)) return -1;
    memcpy(p->solver_words, &cut, sizeof cut);

    // Without binding, children may use threads of their own.
    int64_t child_threads = 1;
    if (chunks == 1 || affinity_policy_get() == affinity_none) child_threads = threads / chunks;
    const int64_t points_per_thread = h * (p->rank > 0 ? p->dims[0].n : 1) / threads;
    affinity_set_once(points_per_thread >= spread_points ? affinity_spread : affinity_close);

    p->execute_fn = execute_multithread;
    p->execute_name = "execute_multithread";
    p->nchildren = static_cast<int32_t>(chunks);
    p->children = plan_alloc_children(chunks);
    if (!p->children) return -1;
    for (int64_t i = 0; i < chunks; ++i) {
        plan *child = p->children + i;
        const int64_t first = i * chunk;
        make_child(child, p, first, chunk, i + 1 < chunks ? chunk : h - first);
        child->nthreads = child_threads;
        if (plan_solve(child) != 0) return -1;
    }
    return 0;
}

}  // namespace lyr
