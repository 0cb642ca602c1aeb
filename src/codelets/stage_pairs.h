// Two neighbouring stages in one pass over memory, for lengths whose arrays do not fit into the
// first-level cache while what two stages need of them does.
#pragma once

#include "codelets/codelet.h"

namespace lyr {

// What lies between the pairs.
enum class pair_form {
    // A matrix of r1*r2 rows, pair_padding numbers longer than the r3*r4 that they hold, so that
    // rows do not all begin in the same cache sets.
    rows,
    // r3*r4 rows of r1*r2 and the padding: lanes never run along r4, so that whole lines are read
    // and written all the way. d[0].twiddles are those of all stages between first and last for
    // lanes along rows (fill_lanes). Only where the first-level cache is small, instead of a later
    // entry of the same length. Shorter lengths have three stages, of which the last two are a
    // pair, or two; their rows have no padding.
    turned,
    // As the turned one of four stages, without padding, which the second pair may work on in
    // place: the matrix lies in the output unless that is the input. d[0].twiddles are those of the
    // third and last stage for half of the columns, the others are their mirror images
    // (fill_mirrored).
    mirrored,
};

// Where the next transform of a batch lies.
struct next_arrays {
    const scalar *in;
    scalar *out;
};

// Radices r1..r4 of a length of four stages (d: the first of them); those that a turned length of
// fewer stages does not have are 0.
struct paired_stages {
    int64_t n;
    int64_t radices[4];
    // [0 forward, 1 backward]
    void (*columns[2])(const stage *d, const scalar *in, scalar *matrix);
    void (*rows[2])(const stage *d, const scalar *matrix, scalar *out);
    pair_form form;
    // As rows, while the lines of the next transform are called for; null for four stages.
    void (*rows_ahead[2])(const stage *d, const scalar *matrix, scalar *out,
                          const next_arrays &next) = {};
};
inline constexpr int64_t pair_padding = 8;

struct stage_pair_set {
    paired_stages lengths[80];  // n is 0 behind the last one
};

}  // namespace lyr
