// Batches whose transforms are strided in the input and lie one after another in the output. Groups
// of transforms are gathered into scratch memory without gaps, and transformed from there: short
// kernels want neighbours, and transforms that lie side by side share cache lines.
//
// Transforms side by side that are too long for that are transposed into the output, and
// transformed there.
#include <cstring>

#include "batch/bufferization.h"
#include "batch/copy_transpose.h"
#include "codelets/select.h"
#include "codelets/stage_pairs.h"
#include "dft/stages.h"
#include "planner/registry.h"

namespace lyr {

namespace {

// ---- By way of scratch memory -------------------------------------------------------------------

// Two cache lines of transforms side by side, or one of longer ones.
constexpr int64_t line = line_complex, together = 2 * line;
constexpr int64_t most_scratch_bytes = 512 << 10;
// Others in groups of so many bytes: what is gathered by small stores is not loaded at once.
constexpr int64_t strided_bytes = 8 << 10;

// Short transforms are gathered by their codelets, if there are any: several at a time, as many as
// a vector has lanes. Measured.
int64_t shortest_gathered(const plan *p) {
    const int64_t n = p->dims[0].n;
    if (!codelets_for(p, n)) return n;
    return p->howmany_dims[0].is != 1 && active_table()->lanes > 2 ? 16 : 17;
}

struct gathered_words {  // in solver_words
    int64_t group;       // transforms
    int64_t row;         // complex numbers from one of them to the next
};

struct turned_words {  // in solver_words
    int64_t group;     // transforms
    int64_t before;    // columns in front of the first one
    int64_t ahead;     // columns
    int64_t row;       // complex numbers from a matrix to the next in scratch memory, else 0
};

// Two words: the parts of one number, or two numbers of single precision.
typedef int64_t unaligned_word __attribute__((aligned(scalar_bytes), may_alias));
typedef int64_t two_words __attribute__((vector_size(16), aligned(scalar_bytes), may_alias));

void copy_strided(const scalar *in, scalar *out, int64_t n, int64_t is) {
    constexpr int64_t numbers = 16 / complex_bytes;
    int64_t e = 0;
#pragma GCC unroll 4
    for (; e + numbers <= n; e += numbers, in += 2 * numbers * is) {
        auto &to = *reinterpret_cast<two_words *>(out + 2 * e);
        if constexpr (numbers == 1)
            to = *reinterpret_cast<const two_words *>(in);
        else
            to = two_words{*reinterpret_cast<const unaligned_word *>(in),
                           *reinterpret_cast<const unaligned_word *>(in + 2 * is)};
    }
    if (e < n) memcpy(out + 2 * e, in, complex_bytes);
}

void gather(const plan *p, const gathered_words &words, const scalar *in, scalar *rows,
            int64_t count) {
    const auto [n, is, os] = p->dims[0];
    const int64_t idist = p->howmany_dims[0].is;
    if (idist == 1)
        copy_transpose_cpx(in, rows, n, count, is, words.row);
    else
        for (int64_t j = 0; j < count; ++j)
            copy_strided(in + 2 * j * idist, rows + 2 * j * words.row, n, is);
}

// Transforms in front of the first cache line that is whole, where input lies side by side.
int64_t before_line(const scalar *in) {
    return static_cast<int64_t>(-(reinterpret_cast<uintptr_t>(in) / complex_bytes) % line);
}

void execute_gathered(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    gathered_words words;
    memcpy(&words, p->solver_words, sizeof words);
    const auto [h, idist, odist] = p->howmany_dims[0];
    const plan *child = p->children;
    const executor run = child->execute_fn;
    scalar *below = scratch_below(p, scratch);
    int64_t group = idist == 1 ? before_line(in) : 0;
    if (group == 0) group = words.group;
    for (int64_t left = h; left > 0; left -= group, group = words.group) {
        if (group > left) group = left;
        gather(p, words, in, scratch, group);
        for (int64_t j = 0; j < group; ++j) {
            run(child, scratch + 2 * j * words.row, out, below);
            out += 2 * odist;
        }
        in += 2 * group * idist;
    }
}

// Transforms side by side of turned stages: the first one reads them where they lie. Matrices of
// two stages are in scratch memory, those of three in the output.
void execute_turned_beside(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    turned_words words;
    memcpy(&words, p->solver_words, sizeof words);
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    const paired_stages *pairs = pairs_of(p->children);
    const stage *stages = stages_of(p->children->aux).stages;
    const int backward = p->sign != -1;
    const int64_t row = words.row ? words.row : odist;
    int64_t group = before_line(in);
    if (group == 0 || group > words.group) group = words.group;
    for (int64_t left = h; left > 0; left -= group, group = words.group) {
        if (group > left) group = left;
        scalar *matrix = words.row ? scratch : out;
        pairs->columns_beside[backward](n, words.before, {in, is, matrix, row, group, words.ahead});
        for (int64_t j = 0; j < group; ++j) {
            pairs->rows[backward](stages, matrix + 2 * j * row, out);
            out += 2 * odist;
        }
        in += 2 * group;
    }
}

// Rows begin with a cache line, and do not all begin in the same cache sets.
int64_t row_of(int64_t n) {
    const int64_t lines = (n + line - 1) / line;
    return line * (lines % 16 == 0 ? lines + 1 : lines);
}

bool is_strided_batch(const plan *p) {
    if (p->split == 1 || p->kind != kind_complex) return false;
    if (p->rank != 1 || p->howmany_rank != 1 || p->in == p->out) return false;
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    return n >= shortest_gathered(p) && is != 1 && os == 1 && h > 1 && odist >= n;
}

// Whether the first of turned stages had better read input that is `is` apart. Not where all
// inputs of a butterfly fall into one set, twice as many as it has ways. Measured.
bool falls_into_one_set(int64_t step) {
    return step % (assumed_near_cache.way() / complex_bytes) == 0;
}
bool reads_beside(const paired_stages *pairs, int64_t is) {
    if (!pairs) return false;
    const int64_t r1 = pairs->radices[0];
    return r1 < 2 * assumed_near_cache.ways || !falls_into_one_set(pairs->n / r1 * is) ||
           falls_into_one_set(is);
}

// Input is called for one column ahead; where the first-level cache could not keep the lines of
// neighbouring columns, as much ahead as the next transforms are. Measured.
void run_beside(plan *p, const paired_stages &pairs, const gathered_words &gathered) {
    const int64_t r1 = pairs.radices[0], r3 = pairs.radices[2];
    const turned_words words = {gathered.group, r3 ? inputs_before_third(static_cast<int>(r3)) : 0,
                                falls_into_one_set(p->dims[0].is) ? pairs.n / r1 : 1,
                                r3 ? 0 : gathered.row};
    memcpy(p->solver_words, &words, sizeof words);
    if (r3) p->work_bytes = 0;
    p->execute_fn = execute_turned_beside;
    p->execute_name = "execute_turned_beside";
}

int solve_gathered(plan *p) {
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    gathered_words words = {together, row_of(n)};
    if (idist != 1) {
        words.row = (n + line - 1) / line * line;
        words.group = strided_bytes / complex_bytes / n;
        if (words.group < 1) words.group = 1;
    } else if (words.group * words.row > most_scratch_bytes / complex_bytes) {
        words.group = line;
    }
    if (words.group > h) words.group = h;
    memcpy(p->solver_words, &words, sizeof words);
    p->work_bytes = static_cast<uint64_t>(words.group * words.row) * complex_bytes;
    p->execute_fn = execute_gathered;
    p->execute_name = "execute_gathered";
    p->any_count = 1;
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    plan_drop_batch_dimension(child);
    child->dims[0].is = 1;
    child->in = scratch_array(p);
    const paired_stages *pairs = idist == 1 ? turned_pairs_for(child) : nullptr;
    if (!reads_beside(pairs, is)) return plan_solve(child);
    if (const int32_t status = plan_solve_in_stages(child)) return status;
    run_beside(p, *pairs, words);
    return 0;
}

// ---- By way of the output -----------------------------------------------------------------------

constexpr int64_t group_bytes = 128 << 10, least_group = 16;

void execute_indirect_before(const plan *p, scalar *in, scalar *out, scalar *scratch) {
    const plan *rows = p->children;
    const auto [n, is, os] = p->dims[0];
    const auto [h, idist, odist] = p->howmany_dims[0];
    if (rows->form != plan_form::loop) {
        copy_transpose_cpx(in, out, n, h, is, odist);
        rows->execute_fn(rows, out, out, scratch);
        return;
    }
    const int64_t most = group_bytes / complex_bytes / n,
                  group = most < least_group ? least_group : most;
    for (int64_t first = 0; first < h; first += group) {
        plan some = *rows;
        some.howmany_dims[0].n = group < h - first ? group : h - first;
        scalar *to = out + 2 * first * odist;
        copy_transpose_cpx(in + 2 * first, to, n, some.howmany_dims[0].n, is, odist);
        some.execute_fn(&some, to, to, scratch);
    }
}

bool is_slice(const plan *p) {
    slice_words words;
    memcpy(&words, p->solver_words, sizeof words);
    return words.marker == slice_marker;
}

}  // namespace

int solve_indirect_problem(plan *p) {
    if (!is_slice(p)) {
        if (!is_strided_batch(p)) return -1;
        if (row_of(p->dims[0].n) <= most_scratch_bytes / complex_bytes / line)
            return solve_gathered(p);
        if (p->howmany_dims[0].is != 1) return -1;
    }
    p->execute_fn = execute_indirect_before;
    p->execute_name = "execute_indirect_before";
    p->nchildren = 1;
    p->children = plan_alloc_children(1);
    if (!p->children) return -1;
    plan *child = p->children;
    plan_copy_problem(child, p);
    child->in = p->out;
    child->dims[0].is = child->dims[0].os;
    child->howmany_dims[0].is = child->howmany_dims[0].os;
    return plan_solve(child);
}

}  // namespace lyr
