#include "codelets/kernel/pair_walk.h"

namespace lyr::LYR_ISA {

namespace {

// Not for single lanes without pairs of numbers, which lose less by memory, nor for 2048 numbers of
// single precision, which fit into a first-level cache. Radices by timing; vectors of half a line
// gain at 8192, too, in single precision.
template <int Lanes>
constexpr stage_pair_set make_set() {
    constexpr bool single = sizeof(scalar) == sizeof(float);
    if constexpr (Lanes > 1 && single && half_a_line)
        return {{make_pairs<8, 8, 4, 16>(), make_pairs<8, 8, 16, 8>()}};
    else if constexpr (Lanes > 1 && single)
        return {{make_pairs<8, 8, 8, 8>()}};
    else if constexpr (Lanes == line_complex)
        return {{make_pairs<4, 8, 8, 8>(), make_pairs<8, 8, 8, 8>()}};
    else if constexpr (Lanes > 1)
        return {{make_turned<8, 8, 8, 4>(), make_turned<8, 8, 12, 4>(), make_turned<8, 8, 16, 4>(),
                 make_turned<8, 8, 10, 8>(), make_turned<8, 8, 12, 8>(), make_turned<8, 8, 16, 8>(),
                 make_turned<8, 12, 12, 8>(), make_turned<8, 16, 10, 8>(),
                 make_turned<8, 16, 12, 8>(), make_turned<8, 16, 16, 8>(), make_pairs<4, 8, 8, 8>(),
                 make_pairs<8, 8, 8, 8>()}};
    else if constexpr (moves_pairs<vec>)
        return {{make_pairs<8, 8, 8, 8>(), make_pairs<16, 8, 8, 8>()}};
    else
        return {};
}

}  // namespace

extern const stage_pair_set stage_pairs;
const stage_pair_set stage_pairs = make_set<vec::lanes>();

}  // namespace lyr::LYR_ISA
