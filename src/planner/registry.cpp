// The whole planning policy on one screen: the first solver that accepts a problem wins. Special
// layouts come first, then batches, then codelets, then the general one-dimensional algorithms,
// then the decomposition of higher ranks.
#include "planner/registry.h"

namespace lyr {

const registry_entry registry[registry_size] = {
    {solve_problem_rearrange_inplace, "solve_problem_rearrange_inplace"},
    {solve_problem_dft_split, "solve_problem_dft_split"},
    {solve_problem_dft_many_split, "solve_problem_dft_many_split"},
    {solve_problem_nop, "solve_problem_nop"},
    {solve_problem_c2r_multidimension_many, "solve_problem_c2r_multidimension_many"},
    {solve_problem_r2c_multidimension_many, "solve_problem_r2c_multidimension_many"},
    {solve_problem_dft_many_multithread, "solve_problem_dft_many_multithread"},
    {solve_problem_many_inside, "solve_problem_many_inside"},
    {solve_bufferized_problem, "solve_bufferized_problem"},
    {solve_indirect_problem, "solve_indirect_problem"},
    {solve_problem_dft_many_transpose, "solve_problem_dft_many_transpose"},
    {solve_problem_dft_many_post_transpose, "solve_problem_dft_many_post_transpose"},
    {solve_problem_r2c_1d_direct, "solve_problem_r2c_1d_direct"},
    {solve_problem_r2c_many_direct, "solve_problem_r2c_many_direct"},
    {solve_problem_c2r_direct, "solve_problem_c2r_direct"},
    {solve_problem_real_unit, "solve_problem_real_unit"},
    {solve_problem_r2hc_direct, "solve_problem_r2hc_direct"},
    {solve_problem_hc2r_direct, "solve_problem_hc2r_direct"},
    {solve_problem_dht_direct, "solve_problem_dht_direct"},
    {solve_problem_redft00_direct, "solve_problem_redft00_direct"},
    {solve_problem_c2r_many, "solve_problem_c2r_many"},
    {solve_problem_r2c_many, "solve_problem_r2c_many"},
    {solve_problem_r2hc_many, "solve_problem_r2hc_many"},
    {solve_problem_dft_many, "solve_problem_dft_many"},
    {solve_problem_dft_unit, "solve_problem_dft_unit"},
    {solve_problem_c2c_1d_rader, "solve_problem_c2c_1d_rader"},
    {solve_problem_c2c_1d_bluestein, "solve_problem_c2c_1d_bluestein"},
    {solve_problem_c2c_1d_large, "solve_problem_c2c_1d_large"},
    {solve_problem_dft_direct, "solve_problem_dft_direct"},
    {solve_problem_c2c_1d, "solve_problem_c2c_1d"},
    {solve_problem_odd_real_large, "solve_problem_odd_real_large"},
    {solve_problem_r2c_1d, "solve_problem_r2c_1d"},
    {solve_problem_c2r_1d, "solve_problem_c2r_1d"},
    {solve_problem_r2hc_1d, "solve_problem_r2hc_1d"},
    {solve_problem_hc2r_1d, "solve_problem_hc2r_1d"},
    {solve_problem_dht_1d, "solve_problem_dht_1d"},
    {solve_problem_redft00_1d, "solve_problem_redft00_1d"},
    {solve_problem_r2r_1d, "solve_problem_r2r_1d"},
    {solve_problem_multidimension, "solve_problem_multidimension"},
    {solve_problem_c2r_multidimension, "solve_problem_c2r_multidimension"},
    {solve_problem_rearrange_outplace, "solve_problem_rearrange_outplace"},
    {solve_problem_dft_many_transpose_rotate, "solve_problem_dft_many_transpose_rotate"},
    {solve_problem_inplace_buffered, "solve_problem_inplace_buffered"},
};

}  // namespace lyr
