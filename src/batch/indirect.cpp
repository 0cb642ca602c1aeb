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

typedef scalar unaligned_pair
    __attribute__((vector_size(complex_bytes), aligned(scalar_bytes), may_alias));

void copy_strided(const scalar *in, scalar *out, int64_t n, int64_t is) {
#pragma GCC unroll 4
    for (int64_t e = 0; e < n; ++e)
        *reinterpret_cast<unaligned_pair *>(out + 2 * e) =
            *reinterpret_cast<const unaligned_pair *>(in + 2 * e * is);
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
    return plan_solve(child);
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
