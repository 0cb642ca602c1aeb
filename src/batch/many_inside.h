// Between the solver of batches that lie inside their transforms and that of batches on threads.
#pragma once

#include "planner/plan.h"

namespace lyr {

// Whether neighbouring transforms of a batch of rank 2 or 3 are closer to each other than
// neighbouring elements of one.
bool lies_inside(const plan *p);

}  // namespace lyr
