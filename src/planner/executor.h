// What runs a plan. Apart from the plan record, for kernels that are executors themselves.
#pragma once

struct lyr_fft_plan_s;

namespace lyr {

using plan = lyr_fft_plan_s;

// An executor gets the arrays and its scratch memory: plan::scratch_bytes bytes at a multiple of
// 64, with anything in them. It changes nothing else, so that one plan may be executed by any
// number of threads at once.
using executor = void (*)(const plan *, double *in, double *out, double *scratch);
using split_executor = void (*)(const plan *, double *ri, double *ii, double *ro, double *io,
                                double *scratch);

}  // namespace lyr
