// Checks of transforms too large for the reference, by what their outputs must have in common.
#pragma once

#include <cstdint>
#include <string>

#include "accuracy.h"
#include "buffers.h"
#include "problem.h"

namespace lyr_tools {

// Run the plan on new inputs, written to its arrays, and compare the response to unit impulses at
// random places with the definition, the transform of a sum with the sum of transforms, and, for
// complex and real-to-complex ones, the transform of a cyclic shift with the turned transform.
// Needs memory for a copy of the inputs and two of the outputs. An error of the arrays (see
// check_buffers) is put into `damage`.
accuracy check_structure(const problem &p, buffers &b, lyr_fft_plan plan, uint64_t seed,
                         std::string &damage);

}  // namespace lyr_tools
