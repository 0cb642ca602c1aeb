// The libraries under measurement, each behind the same few functions.
#pragma once

#include <vector>

#include "buffers.h"
#include "problem.h"

namespace lyr_bench {

using lyr_tools::buffers;
using lyr_tools::problem;

struct engine {
    const char *name;
    // Planning measures nothing, so that its time can be compared with other planners'.
    bool plans_at_once;
    // Make the next plan start from nothing that earlier plans found out.
    void (*forget)();
    // A plan for a problem on its arrays, which planning may overwrite, and so many threads. Null:
    // refused.
    void *(*plan)(const problem &p, const buffers &b, int threads);
    void (*execute)(void *plan);
    void (*destroy)(void *plan);
};

// This library first, then FFTW estimate and measure, FFTW patient on request, and, for problems on
// several threads, this library on a single one.
std::vector<engine> engines(bool with_patient, bool with_single);

// Limit the time that FFTW may spend on one plan.
void limit_planning(double seconds);

// True when an engine may overwrite the input of a problem.
bool input_may_change(const problem &p);

// Name, version and vector units of FFTW.
const char *fftw_description();

}  // namespace lyr_bench
