// The stage list of a mixed-radix transform: one block that holds the descriptors and the twiddle
// tables, shared by all solvers that run codelets in stages.
#pragma once

#include "codelets/select.h"
#include "codelets/stage_pairs.h"
#include "dft/factorize.h"

namespace lyr {

// Block of k stages (all offsets in bytes):
//   k != 2: the count k as a 64-bit word, k descriptors, and from the next multiple of 64 the
//           twiddle tables of stages 1..k-1
//   k == 2: two descriptors, then the twiddle table of stage 1; no count
// Tables of stages 1..k-2 are rows k = 0..L-1 of r-1 complex numbers or ready vectors
// (has_ready_rows); the last one is in the order that the active codelets read
// (codelet_table::lanes).
struct stage_list {
    int64_t count;
    stage *stages;
};

// Finds the stages in a block.
inline stage_list stages_of(void *block) {
    int64_t *words = static_cast<int64_t *>(block);
    return {words[0], reinterpret_cast<stage *>(words + 1)};
}
inline stage *two_stages_of(void *block) {
    return static_cast<stage *>(block);
}

// Builds the block for the one-dimensional complex problem of p into p->aux, with `extra` zero
// complex numbers behind the tables. A first factor without a codelet is left to its own kernel:
// the codelet of stage 0 is then null. Returns the extra room, or null when another factor has no
// codelet or memory runs out.
scalar *build_stages(plan *p, const int64_t *factors, int count, int64_t extra);

// The stage list of a plan for transforms side by side: the stages of a mixed-radix plan with the
// slab codelets of the table that it was made with.
struct slab_stages {
    int64_t count;  // 0: the plan has no stage list
    const stage *stages;
    const codelet_table *table;
};
slab_stages slab_stages_of(const plan *p);

// How a plan of two or three turned stages runs them; null for all others.
const paired_stages *pairs_of(const plan *p);
// The ones that plan_solve_in_stages would choose for the problem of p.
const paired_stages *turned_pairs_for(const plan *p);
// Whether the problem of p had better run in four or five turned stages than as two passes.
bool suits_turned_blocks(const plan *p);
// Whether three turned stages solve it, out of place: in place these gain nothing.
bool suits_turned_three(const plan *p);

// As plan_solve, for a child whose stages are wanted: also where a shorter way than by stages
// exists for one transform.
int32_t plan_solve_in_stages(plan *p);

// Builds the block for turned stages (codelets/stage_pairs.h), whose tables only these read: behind
// the count and the descriptors the factors of the second stage, lanes along its rows, then those
// of the other stages in the order of the walk, where half of a butterfly's factors may do for all
// (factors_around). They are ready vectors with the signs of products (codelets/simd/conjugates.h),
// the last two of four stages plain groups of as many columns as lanes. Returns 0 or -1.
int build_turned(plan *p, const int64_t (&radices)[most_paired_stages]);

// Writes the factors of the last two of four stages for half of the L columns of the third one's
// matrix and one more: those of the third stage, then column by column those of the rows
// k + p*L of the last one. Single lanes; (L/2 + 1)*(r - 1 + r*(r_last - 1)) numbers.
void fill_mirrored(scalar *table, const stage &third, const stage &last);

// Puts the rows of a last stage's twiddle table, radix r, into the order that split_last takes: of
// each 2*lanes rows the even ones in one group, the odd ones in the next.
void alternate_rows(scalar *table, int64_t r, int64_t L, int64_t lanes);

// Split arrays that take the outputs of a slab, element e of transform j at [e*row + j], by way of
// room for split_room complex numbers.
struct split_output {
    scalar *re, *im;
    int64_t row;
    scalar *room;
};

// Transforms side by side. Element e of transform j is in[e*in_row + j*in_lane] (complex numbers)
// and out[e*out_row + j], unless the outputs go to split arrays.
struct slab {
    const scalar *in;
    int64_t in_row, in_lane;
    scalar *out;
    int64_t out_row;
    int64_t width;
    const split_output *split = nullptr;
    bool far = false;  // the outputs may go past the caches: finish_far of the table makes it known
    bool apart = false;  // no output falls on an input
};
int64_t split_room(const slab_stages &list, int64_t width);

// Multiplies `width` columns of a matrix of n rows, `row` complex numbers apart, by factors. r is
// the last radix of n, lanes that of the codelet table.
void rotate_rows(scalar *rows, int64_t row, int64_t width, int64_t n, int64_t r, int64_t lanes,
                 const rotation &factors);

// The radices of the passes of long transforms, whose slabs are walked pass_width wide. As
// factorize_size.
int pass_radices(int64_t n, int64_t lanes, int64_t *factors);

// How many neighbours the passes of a long transform walk together, a multiple of 8; n has `count`
// radices. Memory takes pieces of 512 bytes more than twice as fast as those of 256, but a slab of
// two stages must stay in the first-level cache, and one of more in the second. Measured.
int64_t pass_width(int64_t n, int count, int64_t lanes);

// Complex numbers of scratch that walk_slab needs for slabs of so many transforms, or fewer.
int64_t slab_scratch(const slab_stages &list, int64_t width);

// Runs the stages over a slab, through the scratch, which may hold the input. The outputs are
// multiplied by factors unless they are null.
// `out` may overlap `in` only when there are two stages or more, and then in any way.
void walk_slab(const slab_stages &list, const slab &where, scalar *scratch,
               const rotation *factors = nullptr);

}  // namespace lyr
