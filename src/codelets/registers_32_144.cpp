#include "codelets/kernel/on_stack.h"
#include "codelets/kernel/registers.h"
#include "codelets/kernel/streams.h"
#include "codelets/simd/balanced.h"

namespace lyr::LYR_ISA {
namespace {

// The quickest of all factorisations, measured. Longer ones gain nothing over stages: with two
// lanes there are no registers left beyond 48, and what streams from memory does better in stages.
// Four lanes that are half a line have half as many registers as others.
template <class V>
struct choice {
    template <int A, int B>
    using ab = rows_columns<V, A, B>;
    template <int A, int B>
    using turned = turned_rows_columns<balanced<V>, A, B>;

    static constexpr const unit_transform *list() {
        if constexpr (V::lanes == 8) return list_of_eight();
        if constexpr (V::lanes == 4 && half_a_line)
            return unit_list<ab<8, 4>, ab<3, 11>, ab<7, 5>, ab<4, 9>, ab<4, 10>, ab<6, 7>,
                             ab<4, 11>, ab<9, 5>, ab<4, 12>, ab<7, 7>, ab<10, 5>, ab<4, 13>,
                             ab<6, 9>, ab<11, 5>, ab<4, 14>, ab<4, 15>, ab<9, 7>, ab<8, 8>,
                             ab<13, 5>, ab<11, 6>, ab<10, 7>, ab<12, 6>, ab<15, 5>, ab<11, 7>,
                             ab<13, 6>, ab<4, 20>, ab<9, 9>, ab<4, 21>, ab<11, 8>, ab<10, 9>,
                             ab<12, 8>, ab<14, 7>, ab<10, 10>, ab<13, 8>, ab<15, 7>, ab<12, 9>,
                             ab<11, 10>, ab<14, 8>, ab<12, 10>, ab<16, 8>, ab<15, 9>, ab<12, 12>>;
        if constexpr (V::lanes == 4 && !half_a_line)
            return unit_list<ab<8, 4>, ab<7, 5>, ab<4, 9>, ab<4, 10>, ab<6, 7>, ab<5, 9>, ab<12, 4>,
                             ab<6, 9>, ab<8, 7>, ab<6, 10>, ab<16, 4>, ab<12, 6>, ab<8, 10>,
                             ab<12, 8>, ab<10, 10>, ab<9, 12>, ab<16, 7>, ab<12, 10>, ab<16, 8>,
                             ab<12, 12>>;
        if constexpr (has_balanced<V>)
            return unit_list<turned<8, 4>, ab<7, 5>, ab<6, 6>, turned<10, 4>, ab<6, 7>, ab<9, 5>,
                             turned<12, 4>>;
        if constexpr (V::lanes == 2)
            return unit_list<ab<4, 8>, ab<7, 5>, ab<6, 6>, ab<4, 10>, ab<6, 7>, ab<9, 5>,
                             ab<12, 4>>;
        if constexpr (moves_pairs<V>) return unit_list<ab<1, 32>, stack_rows_columns<V, 8, 8>>;
        return unit_list<ab<1, 32>>;
    }
    static constexpr const unit_transform *list_of_eight() {
        using half = typename V::half;
        return unit_list<rows_columns<half, 8, 4>, rows_columns<half, 7, 5>,
                         rows_columns<half, 4, 9>, rows_columns<half, 4, 10>,
                         rows_columns<half, 6, 7>, rows_columns<half, 5, 9>, ab<6, 8>, ab<6, 9>,
                         ab<7, 8>, ab<6, 10>, ab<8, 8>, ab<9, 8>, ab<10, 8>, ab<12, 8>, ab<10, 10>,
                         ab<9, 12>, ab<16, 7>, ab<12, 10>, ab<16, 8>, ab<12, 12>>;
    }
};

}  // namespace

extern const unit_transform *const units_32_144;
constinit const unit_transform *const units_32_144 = choice<vec>::list();

}  // namespace lyr::LYR_ISA
