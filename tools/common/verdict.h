// The verdict on a plan.
#pragma once

#include <cstdint>
#include <string>

#include "accuracy.h"
#include "buffers.h"
#include "problem.h"

namespace lyr_tools {

// Fill the arrays, run the plan and judge the result by the reference, or by structure when it is
// too large.
struct verdict {
    accuracy error;
    double bound = 0;
    bool ok = false;
    std::string damage;  // what check_buffers found
};
verdict verify(const problem &p, buffers &b, lyr_fft_plan plan, uint64_t seed);

}  // namespace lyr_tools
