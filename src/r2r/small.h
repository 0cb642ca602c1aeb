// Short real-to-real transforms.
#pragma once

#include "planner/plan.h"

namespace lyr {

// True for the kinds and lengths that a product with the matrix is fastest for.
bool is_small_r2r(int32_t kind, int64_t n);

// Plans p, one-dimensional, unbatched and small. 0, or -1 when memory runs out.
int build_small(plan *p);

}  // namespace lyr
