// Transforms of split arrays that stay split from the first stage to the last: vectors hold real
// parts or imaginary ones.
#pragma once

#include "codelets/codelet.h"

namespace lyr {

inline constexpr int most_split_stages = 4;

// One length, forward: backward transforms arrive with the parts in each other's places. Without
// stages (count 0) the whole transform takes place in registers. The table
// has for each stage but the first and the last one L rows of r - 1 plain twiddles, for the last
// one groups of `lanes` rows: for each input but the first the real parts of all rows of the group,
// then the imaginary ones. room: split_stage_rooms(count) complex numbers for each point. Reads all
// input before it writes an output.
struct split_stages {
    int64_t n;
    int count;
    int64_t radices[most_split_stages];
    int64_t lanes;
    void (*run)(const scalar *re, const scalar *im, scalar *out_re, scalar *out_im,
                const scalar *table, scalar *room);
};

constexpr int split_stage_rooms(int count) {
    return count > 2 ? 2 : count > 0 ? 1 : 0;
}

// The stages for length n in the active table, or null.
const split_stages *split_stages_for(int64_t n);

}  // namespace lyr
