#include "codelets/kernel/mirrored_walk.h"

namespace lyr::LYR_ISA {

namespace {

// Lanes keeps compilers from making those of other targets.
template <int Lanes, int... Radices>
[[maybe_unused]] constexpr paired_stages turned = make_turned<Radices...>();

// Two lanes of double precision. The quickest radices of those tried, measured with a first-level
// cache of 32 KiB; lengths that gained less than a fiftieth have no entry. Lengths up to 48 are for
// transforms side by side: one at a time they run in registers.
template <int Lanes>
constexpr stage_pair_set turned_set() {
    return {{turned<Lanes, 6, 4>,
             turned<Lanes, 6, 5>,
             turned<Lanes, 8, 4>,
             turned<Lanes, 6, 6>,
             turned<Lanes, 10, 4>,
             turned<Lanes, 6, 7>,
             turned<Lanes, 12, 4>,
             turned<Lanes, 10, 5>,
             turned<Lanes, 6, 9>,
             turned<Lanes, 6, 10>,
             turned<Lanes, 8, 8>,
             turned<Lanes, 6, 11>,
             turned<Lanes, 10, 7>,
             turned<Lanes, 12, 6>,
             turned<Lanes, 6, 13>,
             turned<Lanes, 10, 8>,
             turned<Lanes, 12, 7>,
             turned<Lanes, 8, 11>,
             turned<Lanes, 10, 9>,
             turned<Lanes, 12, 8>,
             turned<Lanes, 10, 10>,
             turned<Lanes, 8, 13>,
             turned<Lanes, 12, 9>,
             turned<Lanes, 10, 11>,
             turned<Lanes, 16, 7>,
             turned<Lanes, 10, 12>,
             turned<Lanes, 16, 8>,
             turned<Lanes, 10, 13>,
             turned<Lanes, 12, 11>,
             turned<Lanes, 12, 12>,
             turned<Lanes, 12, 13>,
             turned<Lanes, 10, 16>,
             turned<Lanes, 16, 11>,
             turned<Lanes, 12, 16>,
             turned<Lanes, 16, 13>,
             turned<Lanes, 16, 16>,
             turned<Lanes, 10, 2, 7>,
             turned<Lanes, 10, 3, 5>,
             turned<Lanes, 12, 2, 7>,
             turned<Lanes, 12, 3, 5>,
             turned<Lanes, 10, 5, 4>,
             turned<Lanes, 12, 3, 6>,
             turned<Lanes, 6, 4, 10>,
             turned<Lanes, 10, 5, 5>,
             turned<Lanes, 10, 3, 9>,
             turned<Lanes, 6, 6, 8>,
             turned<Lanes, 6, 5, 10>,
             turned<Lanes, 10, 4, 8>,
             turned<Lanes, 10, 5, 7>,
             turned<Lanes, 10, 6, 6>,
             turned<Lanes, 6, 8, 8>,
             turned<Lanes, 10, 4, 10>,
             turned<Lanes, 10, 6, 7>,
             turned<Lanes, 8, 8, 7>,
             turned<Lanes, 10, 5, 9>,
             turned<Lanes, 12, 5, 8>,
             turned<Lanes, 10, 5, 10>,
             turned<Lanes, 8, 8, 8>,
             turned<Lanes, 12, 6, 8>,
             turned<Lanes, 10, 6, 10>,
             turned<Lanes, 10, 8, 8>,
             turned<Lanes, 10, 8, 9>,
             turned<Lanes, 12, 8, 8>,
             turned<Lanes, 10, 8, 10>,
             turned<Lanes, 10, 7, 12>,
             turned<Lanes, 10, 10, 9>,
             turned<Lanes, 12, 8, 10>,
             turned<Lanes, 10, 10, 10>,
             turned<Lanes, 16, 8, 8>,
             turned<Lanes, 16, 8, 10>,
             turned<Lanes, 8, 8, 8, 4>,
             turned<Lanes, 8, 10, 8, 4>,
             turned<Lanes, 8, 12, 10, 8>,
             turned<Lanes, 8, 12, 8, 4>,
             turned<Lanes, 8, 8, 8, 8>,
             turned<Lanes, 8, 10, 8, 8>,
             turned<Lanes, 8, 12, 8, 8>,
             turned<Lanes, 8, 16, 8, 8>,
             turned<Lanes, 8, 12, 12, 8>,
             turned<Lanes, 8, 16, 10, 8>,
             turned<Lanes, 8, 16, 12, 8>,
             turned<Lanes, 8, 16, 16, 8>,
             turned<Lanes, 8, 8, 10, 8, 4>,
             turned<Lanes, 8, 8, 12, 8, 4>,
             turned<Lanes, 8, 8, 8, 8, 8>,
             turned<Lanes, 8, 8, 16, 8, 8>,
             turned<Lanes, 8, 16, 16, 8, 8>,
             turned<Lanes, 8, 8, 10, 8, 8>,
             turned<Lanes, 8, 8, 12, 8, 8>,
             turned<Lanes, 8, 16, 10, 8, 8>,
             turned<Lanes, 8, 16, 12, 8, 8>,
             turned<Lanes, 8, 16, 16, 16, 8>,
             turned<Lanes, 10, 10, 10, 4>,
             turned<Lanes, 10, 10, 10, 5>,
             turned<Lanes, 10, 10, 10, 10>,
             turned<Lanes, 10, 10, 3, 10, 10>,
             turned<Lanes, 8, 12, 10, 6, 7>,
             turned<Lanes, 10, 10, 5, 10, 10>,
             turned<Lanes, 10, 10, 10, 10, 10>,
             turned<Lanes, 12, 10, 10, 10, 10>,
             make_pairs<4, 8, 8, 8>(),
             make_pairs<8, 8, 8, 8>()}};
}

// Four lanes of single precision, whose first radices are multiples of four, by the same measure.
// Those up to 144 but for 140 are for transforms side by side.
template <int Lanes>
constexpr stage_pair_set single_turned_set() {
    return {{turned<Lanes, 8, 3>,
             turned<Lanes, 8, 4>,
             turned<Lanes, 12, 3>,
             turned<Lanes, 8, 5>,
             turned<Lanes, 12, 4>,
             turned<Lanes, 8, 7>,
             turned<Lanes, 12, 5>,
             turned<Lanes, 8, 8>,
             turned<Lanes, 8, 9>,
             turned<Lanes, 8, 10>,
             turned<Lanes, 12, 7>,
             turned<Lanes, 12, 8>,
             turned<Lanes, 20, 5>,
             turned<Lanes, 12, 9>,
             turned<Lanes, 16, 7>,
             turned<Lanes, 12, 10>,
             turned<Lanes, 16, 8>,
             turned<Lanes, 20, 7>,
             turned<Lanes, 12, 12>,
             turned<Lanes, 12, 14>,
             turned<Lanes, 16, 11>,
             turned<Lanes, 12, 15>,
             turned<Lanes, 16, 12>,
             turned<Lanes, 16, 13>,
             turned<Lanes, 16, 14>,
             turned<Lanes, 16, 16>,
             turned<Lanes, 24, 11>,
             turned<Lanes, 20, 15>,
             turned<Lanes, 24, 13>,
             turned<Lanes, 8, 5, 5>,
             turned<Lanes, 12, 3, 6>,
             turned<Lanes, 12, 3, 7>,
             turned<Lanes, 8, 5, 7>,
             turned<Lanes, 12, 4, 6>,
             turned<Lanes, 8, 5, 8>,
             turned<Lanes, 12, 3, 9>,
             turned<Lanes, 12, 4, 7>,
             turned<Lanes, 8, 4, 11>,
             turned<Lanes, 12, 5, 6>,
             turned<Lanes, 12, 4, 8>,
             turned<Lanes, 8, 7, 7>,
             turned<Lanes, 12, 3, 11>,
             turned<Lanes, 8, 5, 10>,
             turned<Lanes, 8, 4, 13>,
             turned<Lanes, 12, 5, 7>,
             turned<Lanes, 12, 6, 6>,
             turned<Lanes, 8, 7, 8>,
             turned<Lanes, 12, 5, 8>,
             turned<Lanes, 12, 6, 7>,
             turned<Lanes, 8, 8, 8>,
             turned<Lanes, 12, 4, 11>,
             turned<Lanes, 12, 5, 9>,
             turned<Lanes, 8, 7, 10>,
             turned<Lanes, 12, 6, 8>,
             turned<Lanes, 12, 7, 7>,
             turned<Lanes, 12, 5, 10>,
             turned<Lanes, 12, 4, 13>,
             turned<Lanes, 8, 8, 10>,
             turned<Lanes, 12, 6, 9>,
             turned<Lanes, 12, 7, 8>,
             turned<Lanes, 12, 6, 10>,
             turned<Lanes, 12, 7, 9>,
             turned<Lanes, 12, 8, 8>,
             turned<Lanes, 8, 7, 14>,
             turned<Lanes, 8, 10, 10>,
             turned<Lanes, 12, 7, 10>,
             turned<Lanes, 12, 6, 12>,
             turned<Lanes, 8, 10, 11>,
             turned<Lanes, 8, 8, 14>,
             turned<Lanes, 12, 5, 15>,
             turned<Lanes, 12, 8, 10>,
             turned<Lanes, 12, 9, 9>,
             turned<Lanes, 12, 7, 12>,
             turned<Lanes, 16, 8, 8>,
             turned<Lanes, 8, 8, 8, 4>,
             turned<Lanes, 8, 10, 8, 4>,
             turned<Lanes, 8, 12, 8, 4>,
             turned<Lanes, 8, 8, 8, 8>,
             turned<Lanes, 8, 10, 8, 8>,
             turned<Lanes, 8, 12, 8, 8>,
             turned<Lanes, 8, 16, 8, 8>,
             turned<Lanes, 8, 12, 12, 8>,
             turned<Lanes, 8, 16, 10, 8>,
             turned<Lanes, 8, 16, 12, 8>,
             turned<Lanes, 8, 16, 16, 8>,
             turned<Lanes, 8, 8, 10, 8, 4>,
             turned<Lanes, 8, 8, 12, 8, 4>,
             turned<Lanes, 8, 8, 8, 8, 8>,
             turned<Lanes, 8, 8, 10, 8, 8>,
             turned<Lanes, 8, 8, 12, 8, 8>,
             turned<Lanes, 8, 8, 16, 8, 8>,
             turned<Lanes, 8, 16, 10, 8, 8>,
             turned<Lanes, 8, 16, 12, 8, 8>,
             turned<Lanes, 8, 16, 16, 8, 8>,
             turned<Lanes, 8, 16, 16, 16, 8>,
             turned<Lanes, 12, 10, 10, 10, 10>,
             turned<Lanes, 20, 10, 5, 10, 10>,

             turned<Lanes, 20, 5, 5, 10, 10>,
             make_pairs<8, 8, 4, 16>(),
             make_pairs<8, 8, 16, 8>()}};
}

// Not for single lanes without pairs of numbers, which lose less by memory, nor for 2048 numbers of
// single precision, which fit into a first-level cache. Radices by timing; vectors of half a line
// gain at 8192, too, in single precision.
template <int Lanes, class V = vec>
constexpr stage_pair_set make_set() {
    constexpr bool single = sizeof(scalar) == sizeof(float);
    if constexpr (Lanes > 1 && single && half_a_line)
        return single_turned_set<Lanes>();
    else if constexpr (Lanes > 1 && single)
        return {{make_pairs<8, 8, 8, 8>()}};
    else if constexpr (Lanes == line_complex)
        return {{make_pairs<4, 8, 8, 8>(), make_pairs<8, 8, 8, 8>()}};
    else if constexpr (Lanes > 1)
        return turned_set<Lanes>();
    else if constexpr (multiplies_by_conjugates<V>)
        return {{make_mirrored<V, 8, 8, 8, 8>(), make_mirrored<V, 16, 8, 8, 8>()}};
    else if constexpr (moves_pairs<vec>)
        return {{make_pairs<8, 8, 8, 8>(), make_pairs<16, 8, 8, 8>()}};
    else
        return {};
}

}  // namespace

extern const stage_pair_set stage_pairs;
const stage_pair_set stage_pairs = make_set<vec::lanes>();

}  // namespace lyr::LYR_ISA
