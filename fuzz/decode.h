// A constructor call made of bytes, hostile ones included.
#pragma once

#include <cstddef>
#include <cstdint>

#include "lyr_fft.h"
#include "problem.h"

namespace lyr_fuzz {

enum class form { basic, many, guru, guru64 };

// The arguments as they are passed; forms of 32 bits pass the lower halves.
struct call {
    form how = form::guru64;
    lyr_tools::transform kind = lyr_tools::transform::c2c;
    bool split = false, in_place = false;
    int sign = LYR_FFT_FORWARD;
    int rank = 0;
    lyr_fft_iodim64 dims[3] = {};
    int kinds[3] = {};
    int batch_rank = 0;  // `many` uses 1: {howmany, idist, odist}
    lyr_fft_iodim64 batch[3] = {};
    bool inembed = false, onembed = false;  // `many` only; extents of the dimensions
    int in_extent[3] = {}, out_extent[3] = {};
    unsigned null_arrays = 0;  // bits: in, imaginary in, out, imaginary out
    bool null_dims = false, null_batch = false, null_kinds = false;

    int threads = 1;
    int table = 0;              // of the supported ones
    int64_t failure = -1;       // this allocation fails; negative: none
    bool other_arrays = false;  // executed by a new-array function
    uint64_t seed = 1;
};

call decode(const uint8_t *data, size_t size);

// What the header says of a call.
enum class claim {
    refused,  // null
    planned,  // a plan, if there is memory
    open,     // either
};
claim claim_of(const call &c);

// The problem that a call describes; false when it describes none.
bool problem_of(const call &c, lyr_tools::problem &p);

// One line for reports.
void print_call(const call &c);

}  // namespace lyr_fuzz
