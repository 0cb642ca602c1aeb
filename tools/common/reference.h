// What the outputs of a problem should be, and how far off they are.
//
// The reference sums the definitions of the header in long double on x86 and in double-double
// arithmetic elsewhere. Angles are reduced as exact integer fractions of a turn. Short transforms
// are summed term by term, long ones by a plain mixed-radix or chirp algorithm that shares no code
// with the library.
#pragma once

#include <cstdint>
#include <string>

#include "buffers.h"
#include "problem.h"

namespace lyr_tools {

// The arithmetic of the reference.
enum class precision { native, extended, double_double };

// Errors of the worst transform of a batch.
struct accuracy {
    double l2 = 0;         // |output - reference| / |reference| in units of 2^-53 sqrt(log2 points)
    double linf = 0;       // largest |output - reference| relative to the largest |reference|
    int64_t checked = 0;   // transforms of the batch that were compared
    const char *how = "";  // one word for the method
};

// True when the reference takes about a second at most for one transform.
bool reference_is_affordable(const problem &p);

// Compare the outputs with the reference of the saved inputs. Of batches too large to compare all
// in about a second, evenly spaced transforms with the first and the last are compared.
accuracy compare_with_reference(const problem &p, const buffers &b,
                                precision arithmetic = precision::native);

// For transforms too large for the reference: run the plan on new inputs, written to its arrays,
// and compare the response to unit impulses at random places with the definition, the transform of
// a sum with the sum of transforms, and, for complex and real-to-complex ones, the transform of a
// cyclic shift with the turned transform. Needs memory for a copy of the inputs and two of the
// outputs. An error of the arrays (see check_buffers) is put into `damage`.
accuracy check_structure(const problem &p, buffers &b, lyr_fft_plan plan, uint64_t seed,
                         std::string &damage);

// The largest prime factor of the numbers of roots that a problem's dimensions need.
int64_t largest_prime(const problem &p);

// The largest l2 that passes.
double l2_bound(const problem &p);

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
