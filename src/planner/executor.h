// What runs a plan. Apart from the plan record, for kernels that are executors themselves.
#pragma once

struct lyr_fft_plan_s;

namespace lyr {

using plan = lyr_fft_plan_s;
using executor = void (*)(plan *, double *, double *);
using split_executor = void (*)(plan *, double *, double *, double *, double *);

}  // namespace lyr
