// The libraries under measurement, each behind the same few functions.
#pragma once

#include <string>
#include <vector>

#include "buffers.h"
#include "codelets/select.h"
#include "problem.h"

namespace lyr_bench {

using lyr_tools::buffers;
using lyr_tools::problem;

struct engine {
    std::string name;
    // Planning measures nothing, so that its time can be compared with other planners'.
    bool plans_at_once;
    // Called before planning and before executions that are timed.
    void (*select)();
    // Make the next plan start from nothing that earlier plans found out.
    void (*forget)();
    // A plan for a problem on its arrays, which planning may overwrite, and so many threads. Null:
    // refused.
    void *(*plan)(const problem &p, const buffers &b, int threads);
    void (*execute)(void *plan);
    void (*destroy)(void *plan);
};

// What takes part beside this library with its first vector target, FFTW estimate and FFTW measure.
struct engine_choice {
    bool native = false;   // measure mode of the second build of FFTW
    bool patient = false;  // FFTW patient
    bool single = false;   // this library on a single thread, for problems on several
};

// The first three are "lyra", "estimate" and "measure". Then come "native", "patient", "single",
// and for this library's further vector targets "lyra-TARGET" and "single-TARGET".
std::vector<engine> engines(const engine_choice &choice);

// Choose the vector targets that take part, at most two, the first one active from now on.
void use_targets(const std::vector<const lyr::codelet_table *> &targets);

// Load the shared library of FFTW that "estimate" and "measure" are; and another build of it that
// shares no symbol with the first, for "native". Returns the reason when a library cannot be used,
// else nothing. Must be called before anything else that concerns FFTW.
std::string load_fftw(const std::string &library);
std::string load_native_fftw(const std::string &library);

// Limit the time that FFTW may spend on one plan.
void limit_planning(double seconds);

// True when an engine may overwrite the input of a problem.
bool input_may_change(const problem &p);

// Name, version and vector units of the loaded builds of FFTW.
std::string fftw_description();
std::string native_fftw_description();

}  // namespace lyr_bench
