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
    // Four or five stages: rows of r1 numbers, results of one butterfly of the first stage each
    // (struct turned_blocks). Lanes run along these rows in all later stages, which work in place
    // and transpose nothing. The first row is a column in front of the input's first one
    // (columns_before): the last stage but one and the last one then take inputs before and behind
    // input 0 whose factors are conjugates, and half of them do. Only where the first-level cache
    // is small, instead of a later entry of the same length. d[0].twiddles are those of all stages
    // behind the first, in the order of the walk (build_turned).
    // Shorter lengths have three stages, of which the last two are a pair, or two. Their rows have
    // no padding. Those of three stages begin in front, too (inputs_before_third), those of two
    // have the order of the columns.
    turned,
    // r3*r4 rows of r1*r2, which the second pair may work on in place: the matrix lies in the
    // output unless that is the input. d[0].twiddles are those of the third and last stage for half
    // of the columns, the others are their mirror images (fill_mirrored).
    mirrored,
};

// Where the next transform of a batch lies.
struct next_arrays {
    const scalar *in;
    scalar *out;
};

// Transforms side by side: number e of transform j is in[e*is + j]. Their matrices are `row`
// numbers apart.
struct neighbours {
    const scalar *in;
    int64_t is;
    scalar *matrix;
    int64_t row;
    int64_t count;
    // How many columns ahead the input is called for; from the last ones on at the next transforms.
    int64_t ahead;
};

// Parts of turned stages from block, or group of blocks, `begin` on (struct turned_blocks): the
// first stage's for any blocks, the second's for blocks of every group, those of the others for
// groups. Each begins when all parts of the one before are done.
struct stage_parts {
    void (*first)(const stage *d, const scalar *in, scalar *matrix, int64_t begin, int64_t end);
    void (*second)(const stage *d, scalar *matrix, int64_t begin, int64_t end);
    void (*later)(const stage *d, scalar *matrix, scalar *out, int64_t begin, int64_t end);
};

// Radices r1, r2.. of the stages of a length (d: the first of them); those that it does not have
// are 0.
inline constexpr int most_paired_stages = 5;
struct paired_stages {
    int64_t n;
    int64_t radices[most_paired_stages];
    // [0 forward, 1 backward]
    void (*columns[2])(const stage *d, const scalar *in, scalar *matrix);
    void (*rows[2])(const stage *d, scalar *matrix, scalar *out);
    pair_form form;
    // As rows, while the lines of the next transform are called for; null for more than three
    // stages.
    void (*rows_ahead[2])(const stage *d, const scalar *matrix, scalar *out,
                          const next_arrays &next) = {};
    // As columns, for several transforms of this length whose columns begin at column -before; null
    // for more than three stages.
    void (*columns_beside[2])(int64_t n, int64_t before, const neighbours &b) = {};
    stage_parts parts[2] = {};  // of four and five turned stages, which threads may share
};
inline constexpr int64_t pair_padding = 8;

// The matrix of four or five turned stages: the rows that the last two stages work on are a block,
// the blocks that a third of five does are a group (four stages: a block). Padding behind both: the
// inputs of a butterfly are then not all in the same cache sets.
struct turned_blocks {
    int64_t rows, in_group, groups;

    constexpr int64_t block(int64_t row) const { return rows * row + pair_padding; }
    constexpr int64_t group(int64_t row) const { return in_group * block(row) + pair_padding; }
    constexpr int64_t place(int64_t row, int64_t b) const {
        return b / in_group * group(row) + b % in_group * block(row);
    }
};

// Whether outputs of so many bytes are called for before turned stages store them: those that the
// second-level cache keeps, and those of which it keeps little. Measured.
constexpr bool is_called_for(int64_t bytes) {
    constexpr int64_t near_bytes = 256 << 10, far_bytes = 2 << 20;
    return bytes <= near_bytes || bytes >= far_bytes;
}

// Columns that a block of a pair of stages holds.
inline constexpr int64_t columns_at_once = 8;

// Inputs before input 0 of the last of four or five turned stages and of the one before it, radix
// r: about half of them, and even, so that vectors begin in front of the first column or at it.
constexpr int64_t inputs_before_last_but_one(int64_t r) {
    return r / 4 * 2;
}
constexpr int64_t inputs_before(int64_t r) {
    return r > 4 ? r / 4 * 2 : 0;
}
constexpr int64_t columns_before(int64_t before_last, int64_t last) {
    return last * inputs_before_last_but_one(before_last) + inputs_before(last);
}
// The same for the last of three: a multiple of any target's lanes, where it gains. Measured.
constexpr int inputs_before_third(int r) {
    return r >= 7 && r <= 9 ? 4 : 0;
}
// How many factors a butterfly of radix r has then; those before input 0 are their conjugates.
constexpr int64_t factors_around(int64_t r, int64_t before) {
    return before > r - 1 - before ? before : r - 1 - before;
}

struct stage_pair_set {
    paired_stages lengths[128];  // n is 0 behind the last one
};

}  // namespace lyr
