// The solvers, in the order in which the planner tries them.
#pragma once

#include "planner/plan.h"

namespace lyr {

// A solver returns 0 when it has solved the problem and -1 when the problem is not its kind or its
// plan could not be built; what it attached to the record is then released by the planner.
using solver = int (*)(plan *);

struct registry_entry {
    solver solve;
    const char *name;
};

inline constexpr int registry_size = 43;
extern const registry_entry registry[registry_size];

// Mostly one function per file, which is named for it; see registry.cpp for what each accepts.
int solve_problem_rearrange_inplace(plan *p);
int solve_problem_dft_split(plan *p);
int solve_problem_dft_many_split(plan *p);
int solve_problem_nop(plan *p);
int solve_problem_c2r_multidimension_many(plan *p);
int solve_problem_r2c_multidimension_many(plan *p);
int solve_problem_dft_many_multithread(plan *p);
int solve_problem_many_inside(plan *p);
int solve_bufferized_problem(plan *p);
int solve_indirect_problem(plan *p);
int solve_problem_dft_many_transpose(plan *p);
int solve_problem_dft_many_post_transpose(plan *p);
int solve_problem_r2c_1d_direct(plan *p);
int solve_problem_r2c_many_direct(plan *p);
int solve_problem_c2r_direct(plan *p);
int solve_problem_real_unit(plan *p);
int solve_problem_r2hc_direct(plan *p);
int solve_problem_hc2r_direct(plan *p);
int solve_problem_dht_direct(plan *p);
int solve_problem_redft00_direct(plan *p);
int solve_problem_c2r_many(plan *p);
int solve_problem_r2c_many(plan *p);
int solve_problem_r2hc_many(plan *p);
int solve_problem_dft_many(plan *p);
int solve_problem_dft_unit(plan *p);
int solve_problem_c2c_1d_rader(plan *p);
int solve_problem_c2c_1d_bluestein(plan *p);
int solve_problem_c2c_1d_large(plan *p);
int solve_problem_dft_direct(plan *p);
int solve_problem_c2c_1d(plan *p);
int solve_problem_odd_real_large(plan *p);
int solve_problem_r2c_1d(plan *p);
int solve_problem_c2r_1d(plan *p);
int solve_problem_r2hc_1d(plan *p);
int solve_problem_hc2r_1d(plan *p);
int solve_problem_dht_1d(plan *p);
int solve_problem_redft00_1d(plan *p);
int solve_problem_r2r_1d(plan *p);
int solve_problem_multidimension(plan *p);
int solve_problem_c2r_multidimension(plan *p);
int solve_problem_rearrange_outplace(plan *p);
int solve_problem_dft_many_transpose_rotate(plan *p);
int solve_problem_inplace_buffered(plan *p);

}  // namespace lyr
