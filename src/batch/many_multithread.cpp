// Batches on several threads: the outermost batch dimension is cut into chunks, one for each
// thread. All run the same plan at the same time, each with its own scratch memory.
#include "batch/many_multithread.h"

#include <cstdlib>
#include <cstring>

#include "batch/many_inside.h"
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
    const plan *p;
    scalar *in, *out, *scratch;
};

// Children: a chunk of the planned length, and the last one where that is shorter and the first
// child does not serve it.
void run_chunk(const pool_task *task) {
    const auto &[p, in, out, scratch] = *static_cast<const batch_run *>(task->arg);
    const auto [h, is, os] = p->howmany_dims[0];
    const int64_t first = task->index * task->chunk, left = h - first;
    scalar *from = advance(in, first * is * input_element_bytes(p));
    scalar *to = advance(out, first * os * output_element_bytes(p));
    scalar *share = scratch_below(p, scratch, task->index);
    const plan *child = p->children;
    if (left >= task->chunk) {
        child->execute_fn(child, from, to, share);
    } else if (p->nchildren == 2) {
        child[1].execute_fn(child + 1, from, to, share);
    } else {
        plan some = *child;
        some.howmany_dims[0].n = left;
        some.execute_fn(&some, from, to, share);
    }
}

// How a batch is dealt out: to so many threads at most, in chunks whose length is a multiple of
// align.
struct batch_cut {  // in solver_words
    int64_t threads, align;
};

void execute_multithread(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const int64_t h = p->howmany_dims[0].n;
    batch_cut cut;
    memcpy(&cut, p->solver_words, sizeof cut);
    batch_run run = {p, in, out, scratch};
    thread_pool_run(h, cut.threads, cut.align, run_chunk, &run);
}

int64_t points(const plan *p) {
    int64_t product = 1;
    for (int k = 0; k < p->rank; ++k) product *= p->dims[k].n;
    for (int k = 0; k < p->howmany_rank; ++k) product *= p->howmany_dims[k].n;
    return product;
}

// `count` of the transforms, of chunks of `chunk`; of a single one the dimension goes away.
int make_child(plan *child, const plan *p, int64_t chunk, int64_t count, int64_t threads) {
    plan_copy_problem(child, p);
    child->peers = p->shares;
    child->howmany_dims[0].n = count;
    child->far_output = p->far_output;
    if (chunk == 1) plan_drop_batch_dimension(child);
    child->nthreads = threads;
    return plan_solve(child);
}

// Real codelets, and passes over several dimensions, compute transforms side by side in another way
// than a single one.
bool singles_differ(const plan *p) {
    if (lies_inside(p)) return true;
    if (p->kind == kind_complex || p->rank != 1 || p->howmany_rank != 1) return false;
    const auto [h, is, os] = p->howmany_dims[0];
    return is == 1 && os == 1 && p->dims[0].n <= longest_real;
}

// Items of so many points, which have lines of their own, are dealt out more evenly than by eights
// where eights would leave a thread without work for long. Measured.
int64_t align_of(const plan *p, int64_t threads) {
    constexpr int64_t least_points = 2048, least_share = 32;
    const auto &dim = p->howmany_dims[0];
    int64_t align = chunk_align(dim.n, threads);
    if (points(p) / dim.n < least_points || llabs(dim.is) * input_element_bytes(p) < 64 ||
        llabs(dim.os) * output_element_bytes(p) < 64)
        return align;
    while (align > 1 &&
           chunks_of(dim.n, threads, align).chunk * threads - dim.n > dim.n / least_share)
        align /= 2;
    return align;
}

// No chunk of a single transform next to longer ones where its bits would differ.
batch_cut cut_batch(const plan *p, int64_t threads) {
    const int64_t h = p->howmany_dims[0].n;
    const auto is_even = [&](const batch_cut &cut) {
        const auto [chunk, count] = chunks_of(h, cut.threads, cut.align);
        return chunk == 1 || h % chunk != 1;
    };
    batch_cut cut = {threads, align_of(p, threads)};
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
    const int64_t rest = h - (chunks - 1) * chunk;
    p->shares = chunks;
    p->nchildren = 2;
    p->children = plan_alloc_children(2);
    if (!p->children) return -1;
    if (make_child(p->children, p, chunk, chunk, child_threads) != 0) return -1;
    if (rest == chunk || p->children->any_count)
        p->nchildren = 1;
    else if (make_child(p->children + 1, p, chunk, rest, child_threads) != 0)
        return -1;
    return 0;
}

}  // namespace lyr
