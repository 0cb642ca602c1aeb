// One complex transform of any length whose prime factors are at most 37: a sequence of stages,
// each one pass of butterflies over the data (Cooley and Tukey, 1965; self-sorting in Stockham's
// order, 1966, so that no reordering pass is needed).
//
// aux holds the stages (dft/stages.h). Scratch: n complex numbers, or 2n when a stride is not 1.
// Some lengths run as two passes instead, with two children and no stages (dft/four_step.h).
#include <cstring>

#include "api/memory.h"
#include "codelets/stage_pairs.h"
#include "dft/c2c_1d_large.h"
#include "dft/four_step.h"
#include "dft/orders.h"
#include "dft/stages.h"
#include "planner/registry.h"
#include "threads/pool.h"

namespace lyr {

namespace {

void run(const stage *s, const scalar *in, scalar *out) {
    s->codelet(s, in, out);
}

void execute_1d_two_stages(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const stage *stages = two_stages_of(p->aux);
    run(stages, in, scratch);
    run(stages + 1, scratch, out);
}

// Back and forth between the scratch and the output, so that the last stage writes the output.
void execute_1d(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const auto [count, stages] = stages_of(p->aux);
    const scalar *from = in;
    for (int64_t s = 0; s < count; ++s) {
        scalar *to = (count - 1 - s) % 2 == 0 ? out : scratch;
        run(stages + s, from, to);
        from = to;
    }
}

// A strided output cannot hold intermediate results: back and forth between the halves of the
// scratch.
void execute_1d_discrete(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const auto [count, stages] = stages_of(p->aux);
    scalar *half_a = scratch, *half_b = half_a + 2 * p->dims[0].n;
    const scalar *from = in;
    for (int64_t s = 0; s < count; ++s) {
        scalar *to = s == count - 1 ? out : (count - s) % 2 == 0 ? half_a : half_b;
        run(stages + s, from, to);
        from = to;
    }
}

struct bookkeeping {  // in solver_words
    const paired_stages *pairs;
};

// Two stages at a time, with a matrix in between (codelets/stage_pairs.h).
void execute_1d_paired(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const stage *stages = stages_of(p->aux).stages;
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    const int backward = p->sign != -1;
    scalar *matrix = b.pairs->form == pair_form::mirrored && in != out ? out : scratch;
    b.pairs->columns[backward](stages, in, matrix);
    b.pairs->rows[backward](stages, matrix, out);
}

// Two stages, turned in between.
void execute_1d_turned_two(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const stage *stages = stages_of(p->aux).stages;
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    const int backward = p->sign != -1;
    b.pairs->columns[backward](stages, in, scratch);
    b.pairs->rows[backward](stages, scratch, out);
}

// Three stages, turned after the first one, by way of the output. Batches may run them in place
// though they were not planned so.
void execute_1d_turned_three(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const stage *stages = stages_of(p->aux).stages;
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    const int backward = p->sign != -1;
    scalar *matrix = in == out ? scratch : out;
    b.pairs->columns[backward](stages, in, matrix);
    b.pairs->rows[backward](stages, matrix, out);
}

// Five turned stages, which threads share (struct stage_parts).
struct shared_run {
    const plan *p;
    const stage *stages;
    const paired_stages *pairs;
    scalar *in, *out, *matrix;
    int64_t blocks_in_group, groups;

    const stage_parts &parts() const { return pairs->parts[p->sign != -1]; }
    void share(int64_t items, work_function fn) {
        thread_pool_run(items, p->nthreads, 1, fn, this);
    }
};

struct share_of_run {
    shared_run *run;
    int64_t begin, end;
};

share_of_run share_of(const pool_task *task, int64_t items) {
    const int64_t begin = task->index * task->chunk, end = begin + task->chunk;
    return {static_cast<shared_run *>(task->arg), begin, end < items ? end : items};
}

int64_t all_blocks(const pool_task *task) {
    const auto *run = static_cast<const shared_run *>(task->arg);
    return run->blocks_in_group * run->groups;
}

void share_first(const pool_task *task) {
    const auto [run, begin, end] = share_of(task, all_blocks(task));
    run->parts().first(run->stages, run->in, run->matrix, begin, end);
}

void share_second(const pool_task *task) {
    const auto [run, begin, end] =
        share_of(task, static_cast<const shared_run *>(task->arg)->blocks_in_group);
    run->parts().second(run->stages, run->matrix, begin, end);
}

void share_later(const pool_task *task) {
    const auto [run, begin, end] =
        share_of(task, static_cast<const shared_run *>(task->arg)->groups);
    run->parts().later(run->stages, run->matrix, run->out, begin, end);
}

void execute_1d_turned_multithread(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    shared_run run = {p,
                      stages_of(p->aux).stages,
                      b.pairs,
                      in,
                      out,
                      scratch,
                      b.pairs->radices[2],
                      b.pairs->radices[1]};
    run.share(run.blocks_in_group * run.groups, share_first);
    run.share(run.blocks_in_group, share_second);
    run.share(run.groups, share_later);
}

// Whether the plan can run these stages. Parents that run the stages of short ones themselves have
// orders of radices of their own; three stages gain nothing in place.
bool suits(const plan *p, const paired_stages &pairs) {
    const auto &[r1, r2, r3, r4, r5] = pairs.radices;
    if (pairs.form == pair_form::turned && !first_level_cache_is_small()) return false;
    if (r4 == 0 && p->shares_stages) return false;
    return r4 != 0 || r3 == 0 || p->in != p->out;
}

const paired_stages *paired_stages_of(const plan *p) {
    const stage_pair_set *set = active_table()->paired;
    if (!unit_strides(p)) return nullptr;
    for (const paired_stages &pairs : set->lengths) {
        if (pairs.n == 0) break;
        if (pairs.n == p->dims[0].n && suits(p, pairs)) return &pairs;
    }
    return nullptr;
}

int run_by(plan *p, executor execute, const char *name, plan_form form) {
    p->execute_fn = execute;
    p->execute_name = name;
    p->form = form;
    return 0;
}

int build_tables(plan *p, const paired_stages &pairs, int count) {
    const auto &[r1, r2, r3, r4, r5] = pairs.radices;
    if (pairs.form == pair_form::turned) return build_turned(p, pairs.radices);
    const bool mirrored = pairs.form == pair_form::mirrored;
    const int64_t entries = mirrored ? (r1 * r2 / 2 + 1) * (r3 - 1 + r3 * (r4 - 1)) : 0;
    scalar *table = build_stages(p, pairs.radices, count, entries);
    if (!table) return -1;
    if (mirrored) {
        stage *stages = stages_of(p->aux).stages;
        stages[0].twiddles = table;
        fill_mirrored(table, stages[2], stages[3]);
    }
    return 0;
}

// Complex numbers of the matrix between the passes.
int64_t matrix_numbers(const paired_stages &pairs) {
    const auto &[r1, r2, r3, r4, r5] = pairs.radices;
    if (r4 == 0 || pairs.form == pair_form::mirrored) return pairs.n;
    if (pairs.form == pair_form::rows) return r1 * r2 * (r3 * r4 + pair_padding);
    const turned_blocks blocks =
        r5 ? turned_blocks{r4 * r5, r3, r2} : turned_blocks{r3 * r4, 1, r2};
    return r2 * blocks.group(r1);
}

// Whether threads share the stages, which several of them can by groups of blocks.
bool shares_blocks(const plan *p, const paired_stages &pairs) {
    const int64_t threads = threads_for_plan(p->nthreads);
    return threads > 1 && threads <= pairs.radices[1] && p->dims[0].n >= shortest_shared &&
           pairs.form == pair_form::turned && pairs.radices[4] != 0;
}

int solve_paired(plan *p, const paired_stages *pairs) {
    const int count = pairs->radices[3] ? 4 : pairs->radices[2] ? 3 : 2;
    const bool turned = pairs->form == pair_form::turned;
    p->work_bytes = static_cast<uint64_t>(matrix_numbers(*pairs)) * complex_bytes;
    if (build_tables(p, *pairs, count) != 0) return -1;
    const bookkeeping b = {pairs};
    memcpy(p->solver_words, &b, sizeof b);
    if (count == 2)
        return run_by(p, execute_1d_turned_two, "execute_1d_turned_two", plan_form::turned_two);
    if (count == 3)
        return run_by(p, execute_1d_turned_three, "execute_1d_turned_three",
                      plan_form::turned_three);
    if (shares_blocks(p, *pairs)) {
        p->nthreads = threads_for_plan(p->nthreads);
        return run_by(p, execute_1d_turned_multithread, "execute_1d_turned_multithread",
                      plan_form::turned_stages);
    }
    return run_by(p, execute_1d_paired, "execute_1d_paired",
                  turned ? plan_form::turned_stages : plan_form::paired_stages);
}

// n1 of n1*n2 for lengths that run as two passes, else 0: long ones whose first stage steps through
// memory in multiples of a large power of two. All streams of a butterfly then fall into a few
// cache sets, which costs vectors of half a line more than the rotation between two passes does;
// vectors of a whole line or of one number lose nothing. Measured.
int64_t two_pass_split(const plan *p, int64_t first_radix) {
    const int64_t n = p->dims[0].n;
    if (n <= longest_modelled || !is_half_line(active_table()->lanes)) return 0;
    const int64_t step = complex_bytes * (n / first_radix);
    if (first_radix * (step & -step) <= assumed_near_cache.bytes / 2) return 0;
    const int64_t n1 = split_large(n, active_table()->lanes, transposes_matrix(p));
    return n1 > max_radix ? n1 : 0;
}

}  // namespace

const paired_stages *pairs_of(const plan *p) {
    if (p->form != plan_form::turned_two && p->form != plan_form::turned_three) return nullptr;
    bookkeeping b;
    memcpy(&b, p->solver_words, sizeof b);
    return b.pairs;
}

const paired_stages *turned_pairs_for(const plan *p) {
    const paired_stages *pairs = paired_stages_of(p);
    return pairs && pairs->radices[3] == 0 ? pairs : nullptr;
}

bool suits_turned_three(const plan *p) {
    const paired_stages *pairs = turned_pairs_for(p);
    return pairs && pairs->radices[2] != 0;
}

bool suits_turned_blocks(const plan *p) {
    const paired_stages *pairs = paired_stages_of(p);
    if (!pairs || pairs->form != pair_form::turned || pairs->radices[3] == 0) return false;
    return p->nthreads < 2 || shares_blocks(p, *pairs);
}

int solve_problem_c2c_1d(plan *p) {
    if (p->split == 1) return -1;
    if (p->kind != kind_complex) return -1;
    if (p->howmany_rank != 0) return -1;
    if (p->rank != 1) return -1;

    if (const paired_stages *pairs = paired_stages_of(p)) return solve_paired(p, pairs);
    int64_t factors[max_factors];
    const bool alone = unit_strides(p) && !p->shares_stages;
    const int count = alone ? order_with_wide_radices(active_table(), p->dims[0].n, factors)
                            : order_of_radices(active_table(), p->dims[0].n, factors);
    if (count < 1 || part_above_37(p->dims[0].n) != 1) return -1;
    const int64_t n1 = unit_strides(p) ? two_pass_split(p, factors[0]) : 0;
    if (n1) return build_four_step(p, n1, p->dims[0].n / n1);

    const uint64_t halves = unit_strides(p) ? 1 : 2;
    p->work_bytes = static_cast<uint64_t>(p->dims[0].n) * complex_bytes * halves;
    if (!build_stages(p, factors, count, 0)) return -1;

    if (count == 2)
        return run_by(p, execute_1d_two_stages, "execute_1d_two_stages", plan_form::two_stages);
    if (unit_strides(p)) return run_by(p, execute_1d, "execute_1d", plan_form::stages);
    return run_by(p, execute_1d_discrete, "execute_1d_discrete", plan_form::own_stages);
}

}  // namespace lyr
