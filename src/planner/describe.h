// Plans as text. For tools and tests; not exported from the shared library.
#pragma once

#include <cstdint>

#include "planner/plan.h"

namespace lyr {

// Calls line(context, depth, text) twice for each record of the plan tree, parents before children:
// first with solver and executor names, then with the problem, radices and buffer sizes.
void plan_describe(const lyr_fft_plan_s *root,
                   void (*line)(void *context, int depth, const char *text), void *context);

// The radices of a plan's own stages, in their order; returns how many there are, 0 when the plan
// has no stages of its own. `radices` has room for most_stages.
inline constexpr int most_stages = 64;
int plan_stages(const plan *p, int64_t *radices);

// The name of the vector target in use.
const char *active_target();

}  // namespace lyr
