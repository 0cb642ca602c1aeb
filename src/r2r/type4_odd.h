// Cosine and sine transforms of type IV of odd lengths.
#pragma once

#include "planner/plan.h"

namespace lyr {

// Plans p, one-dimensional, unbatched, of kind REDFT11 or RODFT11 and of odd length. 0, or -1 when
// memory runs out.
int build_type4_odd(plan *p);

}  // namespace lyr
