// Plans as text. For tools and tests; not exported from the shared library.
#pragma once

#include <cstdint>

#include "planner/plan.h"

namespace lyr {

// Calls line(context, depth, text) for each record of the plan tree, parents before children:
// solver and executor names, the problem, radices, buffer sizes.
void plan_describe(const lyr_fft_plan_s *plan,
                   void (*line)(void *context, int depth, const char *text), void *context);

// The name of the vector target in use.
const char *active_target();

}  // namespace lyr
