// Questions about the places in memory that a problem reads and writes: which results fall on each
// other, and which fall on input that is still to be read.
//
// Two elements share a place when an integer equation in their indices has a solution within the
// bounds of the indices. That is decided exactly, by a search whose every step is bounded by what
// the remaining indices can still reach; on layouts whose dimensions nest it ends at once. Layouts
// so entangled that it takes too many steps count as sharing places.
#pragma once

#include "planner/plan.h"

namespace lyr {

// True when an output array is an input array.
bool is_in_place(const plan *p);

// Whether two different elements of the whole problem share a place. Outputs include both arrays of
// split problems, and the places that these have in common.
bool outputs_overlap(const plan *p);
bool inputs_overlap(const plan *p);

// In which order the transforms of a batch are worked off.
enum class batch_order { ascending, any };

// Whether the transforms of an in-place problem may be executed in place one by one along the
// outermost batch dimension: each leaves its results where its own input began, and none has a
// place, of input or results, where another one, executed later, reads. False for problems that are
// not a batch; true out of place.
bool works_one_by_one(const plan *p, batch_order order = batch_order::ascending);

// How many of the outer batch dimensions of an in-place problem can be walked in ascending order,
// when each step first reads all its input and then writes its results: the greatest such number.
int walkable_dimensions(const plan *p);

}  // namespace lyr
