// Plans as text. For tools and tests; not exported from the shared library.
#pragma once

#include <cstdint>

#include "planner/plan.h"

namespace lyr {

// Calls line(context, depth, text) twice for each record of the plan tree, parents before children:
// first with solver and executor names, then with the problem, radices and buffer sizes.
void plan_describe(const lyr_fft_plan_s *root,
                   void (*line)(void *context, int depth, const char *text), void *context);

// The name of the vector target in use.
const char *active_target();

}  // namespace lyr
