// Real-to-real transforms side by side.
#pragma once

#include "planner/plan.h"

namespace lyr {

// True for batches that are better transformed in a buffer: long transforms side by side, strided.
bool has_columns(const plan *p);

// Plans a batch with distances 1. 0, or -1 when memory runs out or the length cannot be served.
int build_columns(plan *p);

}  // namespace lyr
