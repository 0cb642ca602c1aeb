// The plan that programs hold, and what is counted and noted when one is made.
#pragma once

#include "steps.h"

struct FFTW(plan_s) {
    compat::step *root;
    compat::step_function run;  // of the root
    compat::arrays at;          // as given at planning
    compat::problem_kind kind;
    bool split;
    int rank;
    double points;      // of the transforms, together
    double log_points;  // sum of the logarithms of the lengths to base 2
    char text[200];     // the problem
};

namespace compat {

using plan = FFTW(plan_s);

// A problem as constructors hand it over: any number of dimensions, of either width.
struct request {
    problem_kind kind;
    int sign;
    bool split;
    arrays at;
    unsigned flags;
    const int *kinds;
};

// Why there is no plan. The order is that of the texts in report.cpp.
enum class refusal : int { arguments, length, kind, wisdom, memory };
inline constexpr int refusals = 5;

// Makes a plan; null, with the reason in the report, when there is none.
plan *make_plan(const request &r, int rank, const iodim64 *dims, int batch_rank,
                const iodim64 *batch);
plan *make_plan(const request &r, int rank, const iodim *dims, int batch_rank, const iodim *batch);

// The layout arguments of a basic or an advanced constructor.
struct many_layout {
    int rank;
    const int *n;
    int howmany;
    const int *inembed;
    int istride, idist;
    const int *onembed;
    int ostride, odist;
};
plan *make_plan(const request &r, const many_layout &l);

// ---- Wisdom -------------------------------------------------------------------------------------

// A number that tells problems apart.
uint64_t problem_hash(const problem &p);

// Planning rigour: 0 estimate, 1 measure, 2 patient, 3 exhaustive.
int rigour_of(unsigned flags);

bool wisdom_knows(uint64_t hash, int rigour);
void wisdom_note(uint64_t hash, int rigour);

// ---- Report -------------------------------------------------------------------------------------

// Whether the environment asks for a report.
bool report_wanted();
void report_refused(const request &r, refusal why);
// Counts a plan that was made, and lets its executions be timed.
void report_plan(plan *p);

}  // namespace compat
