// What stages cost on a vector target, for the choice of radices.
#pragma once

#include <cstdint>

#include "codelets/codelet.h"

namespace lyr {

// The radices of stages, and what stages cost on a target, in nanoseconds of the processor that
// they were measured on; dft/orders.h has the model. bench/orders.cpp measures and fits them.
inline constexpr uint8_t modelled_radices[all_radix_count] = {
    2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 16, 17, 19, 23, 29, 31, 37, 14, 15, 20, 24};
template <int Radices>
struct costs_of_radices {
    static constexpr int radices = Radices;
    // Each vector of butterflies, by position and radix.
    float first[Radices], middle[Radices], last[Radices];
    float row;               // each row of a middle stage
    float collision_in[2];   // each vector read (written) where half of the ways of the
    float collision_out[2];  // first-level cache do not suffice; in addition, where all do not
    float pass_line[2];      // each line of arrays beyond the first-level cache, for each stage; in
                             // addition, beyond the second-level cache
    float table_line;        // each line of large tables

    float ways;  // of the first-level cache that the costs are for; no cost itself
};

// What follows was printed by "lyra-orders fit" (bench/orders.cpp), and serves all processors of a
// target. Each object that uses them has a copy, lest the linker take one for another.

// AVX2, Zen 5, November 2026.
constexpr stage_costs costs_of_2_lanes = {
    .first = {0.47F, 0.98F, 1.18F, 2.01F, 2.19F, 3.48F, 3.18F, 5.17F, 4.95F, 10.18F, 6.01F, 15.28F,
              9.27F, 33.67F, 44.35F, 61.61F, 93.31F, 108.03F, 166.12F},
    .middle = {0.74F, 1.36F, 1.85F, 3.32F, 3.60F, 5.79F, 5.24F, 8.28F, 8.48F, 13.69F, 9.89F, 19.48F,
               15.38F, 37.00F, 48.28F, 66.63F, 101.91F, 116.94F, 176.88F},
    .last = {1.18F, 1.79F, 2.08F, 3.32F, 3.46F, 5.67F, 4.91F, 8.21F, 7.85F, 12.48F, 8.97F, 18.87F,
             14.15F, 36.74F, 45.85F, 64.76F, 101.01F, 115.67F, 172.75F},
    .row = 0.098F,
    .collision_in = {0.02F, 0.05F},
    .collision_out = {0.13F, 0.49F},
    .pass_line = {0.00F, 0.23F},
    .table_line = 0.000F,
    .ways = 12,
};

// AVX2, Zen 4: for first-level caches of at most 32 KiB, November 2026.
constexpr stage_costs near_costs_of_2_lanes = {
    .first = {0.59F, 1.29F, 1.63F, 2.76F, 3.11F, 4.94F, 4.62F, 7.17F, 6.94F, 13.65F, 8.60F, 20.89F,
              14.06F, 50.72F, 62.93F, 90.35F, 140.30F, 158.79F, 245.93F},
    .middle = {1.28F, 2.45F, 3.17F, 5.32F, 5.99F, 9.33F, 8.68F, 13.13F, 13.60F, 21.11F, 15.88F,
               28.43F, 25.04F, 60.01F, 70.88F, 104.32F, 170.92F, 186.88F, 277.20F},
    .last = {1.45F, 2.60F, 2.71F, 4.47F, 4.58F, 7.31F, 6.39F, 10.60F, 9.88F, 16.82F, 11.71F, 24.58F,
             18.50F, 50.57F, 64.39F, 89.01F, 147.97F, 159.04F, 243.96F},
    .row = 0.505F,
    .collision_in = {0.08F, 0.29F},
    .collision_out = {0.29F, 0.80F},
    .pass_line = {0.08F, 0.15F},
    .table_line = 0.113F,
    .ways = 8,
};

// AVX-512, Zen 5, November 2026.
constexpr stage_costs costs_of_4_lanes = {
    .first = {0.36F, 0.81F, 0.75F, 1.83F, 2.34F, 3.26F, 2.89F, 5.19F, 6.00F, 7.58F, 6.33F, 11.37F,
              8.64F, 37.37F, 42.56F, 60.38F, 93.53F, 111.16F, 165.59F},
    .middle = {1.33F, 2.02F, 2.71F, 4.27F, 5.00F, 6.95F, 6.97F, 9.99F, 11.37F, 16.19F, 13.87F,
               21.25F, 19.50F, 48.71F, 54.01F, 78.90F, 123.34F, 143.49F, 200.37F},
    .last = {0.54F, 0.91F, 3.27F, 4.42F, 5.19F, 6.33F, 6.84F, 10.11F, 10.22F, 14.20F, 11.68F,
             19.13F, 17.01F, 40.92F, 48.56F, 58.78F, 109.55F, 124.94F, 165.38F},
    .row = 0.075F,
    .collision_in = {0.05F, 0.29F},
    .collision_out = {0.08F, 1.26F},
    .pass_line = {0.03F, 0.28F},
    .table_line = 0.342F,
    .ways = 12,
};

// AVX2, single precision, Zen 5, November 2026.
constexpr stage_costs single_costs_of_4_lanes = {
    .first = {0.38F, 0.70F, 0.77F, 1.46F, 1.53F, 2.55F, 2.08F, 3.65F, 3.70F, 8.28F, 3.86F, 12.56F,
              6.69F, 33.99F, 40.03F, 55.74F, 93.11F, 101.81F, 165.03F},
    .middle = {0.72F, 1.27F, 1.59F, 2.91F, 3.05F, 4.98F, 4.30F, 6.94F, 7.39F, 11.97F, 8.04F, 17.66F,
               13.38F, 35.58F, 43.52F, 62.70F, 100.04F, 110.07F, 165.49F},
    .last = {2.05F, 3.21F, 3.55F, 5.66F, 6.11F, 8.80F, 7.62F, 11.50F, 11.46F, 17.13F, 11.95F,
             22.26F, 18.09F, 42.67F, 52.07F, 70.37F, 109.09F, 123.47F, 177.21F},
    .row = 0.473F,
    .collision_in = {0.05F, 0.04F},
    .collision_out = {0.12F, 0.51F},
    .pass_line = {0.06F, 0.24F},
    .table_line = 0.000F,
    .ways = 12,
};

// AVX-512, single precision, Zen 5, November 2026.
constexpr stage_costs single_costs_of_8_lanes = {
    .first = {1.70F, 2.49F, 3.23F, 4.43F, 4.96F, 6.38F, 5.80F, 8.33F, 9.52F, 11.76F, 9.96F, 15.59F,
              11.63F, 36.42F, 38.12F, 59.85F, 88.58F, 101.72F, 161.76F},
    .middle = {1.05F, 1.48F, 1.74F, 3.51F, 3.32F, 5.65F, 4.57F, 7.75F, 8.32F, 12.57F, 8.73F, 17.33F,
               14.18F, 44.66F, 52.36F, 72.40F, 102.14F, 122.61F, 178.08F},
    .last = {3.36F, 5.82F, 5.13F, 8.46F, 8.12F, 11.74F, 9.63F, 16.64F, 15.68F, 21.96F, 15.50F,
             26.98F, 19.08F, 50.76F, 51.96F, 71.52F, 108.15F, 119.84F, 182.58F},
    .row = 0.951F,
    .collision_in = {0.06F, 0.31F},
    .collision_out = {0.13F, 1.17F},
    .pass_line = {0.04F, 0.22F},
    .table_line = 0.409F,
    .ways = 12,
};

// AVX2, single precision, Zen 4, November 2026.
constexpr wide_costs single_wide_costs_of_4_lanes = {
    .first = {0.47F,   0.87F,   0.95F,   1.92F,  2.01F, 3.42F,  2.64F,  4.81F,
              4.63F,   11.21F,  4.79F,   16.76F, 8.80F, 43.99F, 56.54F, 82.29F,
              124.17F, 142.62F, 222.37F, 11.64F, 9.59F, 18.00F, 24.42F},
    .middle = {1.06F,   2.03F,   2.31F,   4.43F,  4.52F,  7.40F,  6.29F,  10.35F,
               10.86F,  21.17F,  12.10F,  24.77F, 20.15F, 49.43F, 62.68F, 91.19F,
               143.73F, 159.78F, 238.97F, 19.41F, 21.29F, 35.30F, 46.31F},
    .last = {3.30F,   4.88F,   5.82F,   9.19F,  9.87F,  12.94F, 11.75F, 17.54F,
             17.14F,  25.52F,  18.21F,  32.25F, 25.71F, 59.47F, 73.67F, 100.67F,
             153.73F, 175.47F, 254.51F, 25.50F, 29.03F, 36.97F, 47.67F},
    .row = 0.451F,
    .collision_in = {0.12F, 0.41F},
    .collision_out = {0.35F, 0.78F},
    .pass_line = {0.12F, 0.33F},
    .table_line = 0.154F,
    .ways = 8,
};

// AArch64 with single lanes. Half of a cost are the cycles that a loop of the stage takes in a
// model of Neoverse V2 (with complex-number instructions) or N1 (without), llvm-mca 19 on what g++
// 12 makes of it; the other half are its instructions at the rate of such loops, 4.8 and 2.2 a
// cycle, since modelled cycles alone make light of spilled registers. Lines beyond caches are
// assumptions.
constexpr wide_costs wide_costs_of_complex = {
    .first = {1.0F,   2.7F,   2.9F,   6.1F,  6.6F,  10.0F, 8.4F,   15.7F,
              15.7F,  23.5F,  17.1F,  33.0F, 24.6F, 83.9F, 103.0F, 151.9F,
              275.0F, 323.4F, 490.6F, 25.1F, 29.3F, 36.4F, 43.2F},
    .middle = {1.5F,   3.7F,   4.2F,   7.8F,  9.1F,  13.3F, 11.9F,  20.1F,
               19.9F,  30.4F,  23.1F,  41.2F, 34.1F, 90.5F, 110.5F, 161.2F,
               286.5F, 335.8F, 505.9F, 32.4F, 37.6F, 49.7F, 61.5F},
    .last = {1.6F,   3.9F,   4.5F,   8.3F,  9.3F,  13.5F, 12.7F,  19.9F,
             20.0F,  29.5F,  22.2F,  41.0F, 33.7F, 89.7F, 109.5F, 160.0F,
             285.0F, 334.2F, 503.3F, 32.0F, 37.4F, 51.2F, 62.7F},
    .row = 2.3F,
    .collision_in = {0, 0},
    .collision_out = {0, 0},
    .pass_line = {0.5F, 2},
    .table_line = 0,
    .ways = 4,
};
constexpr wide_costs wide_costs_of_armv8 = {
    .first = {2.6F,   6.1F,   6.9F,    13.5F, 15.4F, 23.0F,  20.6F,  41.5F,
              36.5F,  53.5F,  43.2F,   78.2F, 68.1F, 178.2F, 234.7F, 338.1F,
              584.4F, 693.5F, 1041.9F, 58.5F, 70.2F, 93.4F,  114.9F},
    .middle = {3.1F,   8.0F,   9.7F,    17.0F, 19.6F, 33.2F,  31.6F,  51.8F,
               49.4F,  67.8F,  60.0F,   93.8F, 87.2F, 198.3F, 256.8F, 365.5F,
               620.0F, 732.0F, 1089.2F, 75.0F, 87.0F, 119.2F, 145.7F},
    .last = {4.0F,   9.0F,   11.3F,   18.8F, 21.6F, 31.1F,  30.1F,  50.5F,
             48.2F,  65.3F,  59.9F,   94.2F, 86.1F, 195.8F, 253.6F, 362.0F,
             613.5F, 725.7F, 1079.7F, 75.0F, 86.2F, 116.1F, 142.8F},
    .row = 4.7F,
    .collision_in = {0, 0},
    .collision_out = {0, 0},
    .pass_line = {0.5F, 2},
    .table_line = 0,
    .ways = 4,
};

}  // namespace lyr
