// Arrays for a problem, with guard zones, and plans on them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "interface.h"
#include "precision.h"
#include "problem.h"

namespace lyr_tools {

using lyr::scalar;

struct buffer_options {
    uint64_t seed = 1;
    int64_t guard = 64;       // numbers before and after each array
    bool misaligned = false;  // one number off the 64-byte boundary
    bool tracked = true;      // fill the arrays and remember what they held, for checking
};

// One array of real numbers between two guard zones.
struct guarded_array {
    std::unique_ptr<unsigned char[], void (*)(void *)> block{nullptr, nullptr};
    scalar *data = nullptr;  // first number after the guard
    int64_t count = 0;       // numbers between the guards
    int64_t guard = 0;
    // When tracked: what each number is for (bits of array_role), and the values before execution.
    std::vector<uint8_t> role;
    std::vector<scalar> before;
};

enum array_role : uint8_t { role_input = 1, role_output = 2 };

// The arrays of a problem: in[0] and out[0] are the interleaved complex, the real, or the
// real-part array, in[1] and out[1] the imaginary-part array of split problems, otherwise null. In
// place the pointers are equal.
struct buffers {
    std::vector<guarded_array> arrays;
    scalar *in[2] = {};
    scalar *out[2] = {};
};

// Allocate the arrays of a problem. When tracked, inputs are filled (see fill_buffers) and
// everything else holds a NaN pattern; otherwise all is zero and no memory is touched. Returns
// false, with one line in `error`, when memory runs out or, tracked, when the outputs overlap.
bool make_buffers(const problem &p, const buffer_options &options, buffers &b, std::string &error);

// Start again: inputs uniform in [-0.5, 0.5] from the seed, the same on every machine and for
// every layout, outputs, gaps and guards a NaN pattern. Half-complex inputs of several dimensions
// get the symmetry that the transform of a real array has. The arrays must be tracked.
void fill_buffers(const problem &p, uint64_t seed, buffers &b);

// The same with the inputs all zero.
void clear_buffers(const problem &p, buffers &b);

// Write every number of arrays that need not be tracked, for timing: out of place random inputs and
// zeros, in place only zeros, because transforms repeated in place overflow on anything else.
void fill_for_timing(const problem &p, uint64_t seed, buffers &b);

// Take the present inputs as those to check against. Call after writing into them.
void note_inputs(buffers &b);

// What a transform must not have done to tracked arrays: written guards, gaps or, out of place, its
// input. Empty when all is well, else one line.
std::string check_buffers(const problem &p, const buffers &b);

// Element `offset` of one side, the imaginary part 0 on real sides. `saved` gives the input as it
// was before execution.
struct complex_value {
    double re, im;
};
complex_value load_element(const problem &p, const buffers &b, side s, int64_t offset);
complex_value load_saved_input(const problem &p, const buffers &b, int64_t offset);
void store_element(const problem &p, buffers &b, side s, int64_t offset, complex_value value);

// The constructors that can plan a problem. `automatic` is the first of basic, many and guru64 that
// its layout belongs to.
enum class constructor { automatic, basic, many, guru, guru64 };

// Plan a problem on its arrays; the caller destroys the plan. Null when the library refuses it or
// when its layout is not the constructor's.
lyr_fft_plan make_plan(const problem &p, const buffers &b,
                       constructor with = constructor::automatic,
                       unsigned flags = LYR_FFT_ESTIMATE);

// Run a plan on arrays other than its own.
void execute_on(const problem &p, const buffers &b, lyr_fft_plan plan);

}  // namespace lyr_tools
