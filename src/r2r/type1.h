// Cosine and sine transforms of type I.
#pragma once

#include "planner/plan.h"

namespace lyr {

// Plans p, one-dimensional, unbatched, of kind REDFT00 or RODFT00 and of length 2 or more. 0, or -1
// when memory runs out.
int build_type1(plan *p);

}  // namespace lyr
