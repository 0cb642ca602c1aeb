// Batches worked off in slabs of neighbouring transforms, which lie side by side in the output:
// what the solvers of such batches share.
#pragma once

#include <cstdint>

#include "dft/slabs.h"
#include "planner/plan.h"

namespace lyr {

struct slab_batch {
    int64_t width;
    slab_stages list;
    int64_t far;  // 1: outputs go past the caches
};

// Memory delivers rows of a kilobyte at full speed, and a slab's scratch should not outgrow the
// caches. Widths are odd multiples of a few lines, so that rows in the scratch do not fall into few
// cache sets where n is a power of two. Measured.
inline constexpr int64_t slab_quantum = 16;
inline constexpr int64_t slab_width_limit = 5 * slab_quantum;
inline constexpr int64_t slab_scratch_bytes = 4 << 20;

// How many of `howmany` transforms of length n with distance 1 are walked together.
int64_t slab_width(int64_t n, int64_t howmany, int64_t stage_count);

// Builds the stages of a batch of one-dimensional transforms into aux. False when the length has no
// stages or memory runs out.
bool build_slab_stages(plan *p, slab_stages *list);

// The same for the passes of long transforms.
bool build_pass_stages(plan *p, slab_stages *list);

// Keeps the batch in solver_words and reserves scratch for it.
void keep_slab_batch(plan *p, const slab_batch &batch);

// The batch that a plan keeps; false for plans that keep none.
bool get_slab_batch(const plan *p, slab_batch *batch);

// Transforms the whole batch. Input element e of transform j is in[e*in_row + j*in_lane].
void walk_slab_batch(const plan *p, const scalar *in, int64_t in_row, int64_t in_lane, scalar *out,
                     scalar *scratch);

}  // namespace lyr
