// The stage list of a mixed-radix transform: one block that holds the descriptors and the twiddle
// tables, shared by all solvers that run codelets in stages.
#pragma once

#include "codelets/codelet.h"
#include "dft/factorize.h"

namespace lyr {

// Block of k stages (all offsets in bytes):
//   k != 2: the count k as a 64-bit word, k descriptors, and from the next multiple of 64 the
//           twiddle tables of stages 1..k-1
//   k == 2: two descriptors, then the twiddle table of stage 1; no count
// Tables of stages 1..k-2 are rows k = 0..L-1 of r-1 complex numbers; the last one is in the order
// that the active codelets read (codelet_table::lanes).
struct stage_list {
    int64_t count;
    stage *stages;
};

// lanes: codelet_table::lanes; wide tables of a last stage of radix r take twice the room.
uint64_t stage_block_bytes(int64_t n, int64_t count, int64_t last_radix, int64_t lanes);

// Finds the stages in a block.
inline stage_list stages_of(void *block) {
    int64_t *words = static_cast<int64_t *>(block);
    return {words[0], reinterpret_cast<stage *>(words + 1)};
}
inline stage *two_stages_of(void *block) {
    return static_cast<stage *>(block);
}

// Codelets of the stages: for one transform, or slab codelets for transforms side by side.
enum class stage_form { single, slab };

// Builds the block for the one-dimensional complex problem of p into p->aux. Returns the number of
// stages, or -1 when a factor has no codelet or memory runs out.
int build_stages(plan *p, stage_form form);

// A slab stage keeps its codelet in the descriptor's codelet field, under another type. (Compilers
// take void () for any function.)
inline stage_codelet stored_slab_codelet(slab_codelet codelet) {
    return reinterpret_cast<stage_codelet>(reinterpret_cast<void (*)()>(codelet));
}
inline slab_codelet slab_codelet_of(const stage &s) {
    return reinterpret_cast<slab_codelet>(reinterpret_cast<void (*)()>(s.codelet));
}

}  // namespace lyr
