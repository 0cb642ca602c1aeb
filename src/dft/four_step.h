// A long transform as two passes over memory: n = n1*n2, transforms of length n1 down the columns
// of an n1 x n2 matrix, a rotation of every element, transforms of length n2 along its rows (the
// four-step method: Gentleman and Sande, 1966; Bailey, 1990). Between the passes the matrix lies in
// scratch memory, rows padded, or transposed in the output, in place in scratch memory unless it is
// square.
//
// Child 0 is the first pass, a rotated batch; child 1 the second, a batch with transposed output,
// or the columns of the transposed matrix.
#pragma once

#include "codelets/select.h"

namespace lyr {

// Whether the matrix of a long transform lies transposed.
bool transposes_matrix(const plan *p);

// Fills children, work_bytes and aux of the unit-stride one-dimensional problem p and sets its
// executor. 0, -1 when memory runs out, or what the planner
// says.
int build_four_step(plan *p, int64_t n1, int64_t n2);

// Complex numbers from one row of the intermediate matrix to the next: rows of full cache lines
// that do not all begin in the same cache sets.
int64_t padded_row(int64_t n2);

// The factors of the first pass, W(sign*j*k, n1*n2) for column j and row k, of one level or two
// (struct rotation), slab by slab. Two levels are n/together + n1*together numbers instead of n, of
// which the second part stays in the cache.
// Where the matrix lies transposed, `columns` are the factors less 1 of the first columns, n1
// numbers for each, and `turns` always there.
struct rotation_table {
    int64_t together;       // columns of a slab, but for the last one
    const scalar *columns;  // one level: a table for each slab
    const scalar *turns;    // n1 numbers for each slab, or null
};

// Fills aux of p with a rotation_table for the passes of an n1 x n2 matrix, which may lie
// transposed, for the active codelet table. False without memory.
bool build_rotation(plan *p, int64_t n1, int64_t n2, bool transposed);

// The factors of the slab that begins with this column.
rotation rotation_of_slab(const rotation_table *table, int64_t n1, int64_t column);

}  // namespace lyr
