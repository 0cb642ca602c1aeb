// A long transform as two passes over memory: n = n1*n2, transforms of length n1 down the columns
// of an n1 x n2 matrix, a rotation of every element, transforms of length n2 along its rows (the
// four-step method: Gentleman and Sande, 1966; Bailey, 1990). Between the passes the matrix lies in
// scratch memory, rows padded.
//
// Child 0 is the first pass, a rotated batch; child 1 the second, a batch with transposed output.
#pragma once

#include "codelets/select.h"

namespace lyr {

// Fills children, work_bytes and aux of the unit-stride one-dimensional problem p and sets its
// executor; the caller gives the executor's name. 0, -1 when memory runs out, or what the planner
// says.
int build_four_step(plan *p, int64_t n1, int64_t n2);

// Complex numbers from one row of the intermediate matrix to the next: rows of full cache lines
// that do not all begin in the same cache sets.
int64_t padded_row(int64_t n2);

// Fills the n1*n2 factors of the first pass, W(sign*j*k, n1*n2) for column j and row k: one table
// after another for every walked_together(n1) columns, in the order of rotated_slab_codelet for the
// lanes of a codelet table.
void fill_rotation(scalar *table, int64_t n1, int64_t n2, int64_t sign, int64_t lanes);

}  // namespace lyr
