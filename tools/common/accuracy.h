// How far off the outputs of a problem are, and how far off they may be.
#pragma once

#include <cstdint>

#include "problem.h"

namespace lyr_tools {

// Errors of the worst transform of a batch.
struct accuracy {
    double l2 = 0;    // |output - reference| / |reference| in units of epsilon/2 sqrt(log2 points)
    double linf = 0;  // largest |output - reference| relative to the largest |reference|
    int64_t checked = 0;   // transforms of the batch that were compared
    const char *how = "";  // one word for the method
};

// Differences of one transform from what it should be.
struct deviation {
    double error_square = 0, square = 0, error_max = 0, max = 0;

    // One output: its difference from what it should be, and what it should be.
    void add(double d_re, double d_im, double re, double im);
};

// Let the errors of one more transform count.
void merge(const problem &p, const deviation &d, accuracy &a);

// The largest l2 that passes.
double l2_bound(const problem &p);

}  // namespace lyr_tools
