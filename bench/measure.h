// One problem, measured with every engine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "classes.h"
#include "engines.h"

namespace lyr_bench {

struct measure_options {
    double seconds = 0.5;        // aim for the timed part of one problem, all engines together
    double repetition = 100e-6;  // seconds that one repetition takes at least
    int least_repetitions = 7;   // also when they take longer than `seconds`
    double planning_limit = 60;  // seconds for one FFTW plan
};

struct engine_times {
    bool refused = false;
    // Seconds to plan: the shortest of several fresh plans where planning measures nothing, else
    // the one plan made.
    double planning = 0;
    bool planning_cut = false;  // planning ran into the limit: the plan is an estimate in part
    // Seconds of one execution, over the repetitions.
    double least = 0;
    double median = 0;
};

struct measurement {
    std::string name;    // the problem in its notation
    int64_t points = 0;  // of one transform
    int64_t batch = 1;
    int64_t executions = 0;  // in one repetition
    int64_t repetitions = 0;
    std::vector<engine_times> times;  // one per engine, in their order
    std::string failure;              // why there are no times; empty when all went well
};

// Plan a problem with every engine, compare their results with each other, and time those that
// did not refuse. Results that differ or damaged arrays are a failure: nothing is timed then.
measurement measure(const bench_problem &what, const std::vector<engine> &list,
                    const measure_options &options);

}  // namespace lyr_bench
