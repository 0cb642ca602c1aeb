// What runs a plan. Apart from the plan record, for kernels that are executors themselves.
#pragma once

#include "precision.h"

struct lyr_fft_plan_s;

namespace lyr {

using plan = lyr_fft_plan_s;

// An executor gets the arrays and its scratch memory: plan::scratch_bytes bytes at a multiple of
// 64, with anything in them. It changes nothing else, so that one plan may be executed by any
// number of threads at once.
using executor = void (*)(const plan *, scalar *in, scalar *out, scalar *scratch);
using split_executor = void (*)(const plan *, scalar *ri, scalar *ii, scalar *ro, scalar *io,
                                scalar *scratch);

}  // namespace lyr
