// Transforms side by side, slab by slab: the walks of a mixed-radix plan's stages over them.
#pragma once

#include "dft/stages.h"

namespace lyr {

// The stage list of a plan for transforms side by side: the stages of a mixed-radix plan with the
// slab codelets of the table that it was made with.
struct slab_stages {
    int64_t count;  // 0: the plan has no stage list
    const stage *stages;
    const codelet_table *table;
};
slab_stages slab_stages_of(const plan *p);

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
