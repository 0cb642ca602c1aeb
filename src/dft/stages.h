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

}  // namespace lyr
