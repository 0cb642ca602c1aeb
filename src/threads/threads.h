// The library-wide thread setting.
#pragma once

#include <cstdint>

namespace lyr {

// The count set by lyr_fft_plan_with_nthreads, 1 to 512; new plans record it.
int64_t library_threads();

}  // namespace lyr
