// What stages cost on a vector target, for the choice of radices.
#pragma once

#include <cstdint>

namespace lyr {

// The radices of stages, and what stages cost on a target, in nanoseconds on the processor that
// they were measured with; dft/orders.h has the model. bench/orders measures and fits them.
inline constexpr int modelled_radix_count = 19;
inline constexpr uint8_t modelled_radices[modelled_radix_count] = {
    2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 16, 17, 19, 23, 29, 31, 37};
struct stage_costs {
    // Each vector of butterflies, by position and radix.
    float first[modelled_radix_count], middle[modelled_radix_count], last[modelled_radix_count];
    float row;               // each row of a middle stage
    float row_twiddle;       // each of its twiddles
    float collision_in[2];   // each vector read (written) where half of the ways of the
    float collision_out[2];  // first-level cache do not suffice; in addition, where all do not
    float pass_line;         // each line of arrays beyond the first-level cache, for each stage
    float table_line;        // each line of large tables
};

// By lanes; null where there are none.
template <int Lanes>
inline constexpr const stage_costs *fitted_costs = nullptr;

// What follows was printed by "lyra-orders fit" (bench/orders.cpp). Costs of other processors
// differ by little more than a factor, which changes no choice.

// AVX2, Zen 5, November 2026.
inline constexpr stage_costs costs_of_2_lanes = {
    .first = {0.36F, 0.78F, 0.96F, 1.75F, 1.81F, 3.01F, 2.76F, 4.61F, 4.38F, 9.51F, 5.27F, 14.55F,
              8.30F, 32.83F, 43.49F, 60.35F, 92.07F, 106.71F, 164.36F},
    .middle = {0.77F, 1.39F, 1.92F, 3.47F, 3.65F, 5.80F, 5.36F, 8.29F, 8.62F, 13.77F, 9.92F, 19.60F,
               15.60F, 37.22F, 48.56F, 66.76F, 102.37F, 117.44F, 177.32F},
    .last = {1.28F, 1.90F, 2.26F, 3.62F, 3.72F, 5.89F, 5.31F, 8.52F, 8.18F, 12.88F, 9.34F, 19.40F,
             14.69F, 37.51F, 46.85F, 65.67F, 102.57F, 117.31F, 174.58F},
    .row = 0.032F,
    .row_twiddle = 0.000F,
    .collision_in = {0.01F, 0.07F},
    .collision_out = {0.12F, 0.67F},
    .pass_line = 0.000F,
    .table_line = 0.000F,
};
template <>
inline constexpr const stage_costs *fitted_costs<2> = &costs_of_2_lanes;

// AVX-512, Zen 5, November 2026.
inline constexpr stage_costs costs_of_4_lanes = {
    .first = {0.27F, 0.63F, 0.56F, 1.69F, 2.08F, 2.91F, 2.61F, 4.89F, 5.81F, 7.20F, 6.05F, 11.12F,
              8.41F, 37.38F, 42.63F, 60.05F, 94.14F, 111.73F, 165.97F},
    .middle = {1.43F, 2.12F, 2.91F, 4.65F, 5.26F, 7.18F, 7.40F, 10.31F, 12.02F, 16.69F, 14.50F,
               21.98F, 20.37F, 49.80F, 55.11F, 80.14F, 125.70F, 146.02F, 203.18F},
    .last = {0.41F, 0.59F, 3.15F, 4.34F, 4.94F, 5.79F, 6.66F, 9.73F, 9.99F, 13.73F, 11.33F, 18.81F,
             16.76F, 40.79F, 48.62F, 58.63F, 110.01F, 125.35F, 165.96F},
    .row = 0.000F,
    .row_twiddle = 0.000F,
    .collision_in = {0.04F, 0.38F},
    .collision_out = {0.07F, 1.55F},
    .pass_line = 0.025F,
    .table_line = 0.335F,
};
template <>
inline constexpr const stage_costs *fitted_costs<4> = &costs_of_4_lanes;

}  // namespace lyr
