#include "codelets/kernel/registers.h"
#include "codelets/kernel/streams.h"

namespace lyr::LYR_ISA {
namespace {

// The quickest of all factorisations, measured; four lanes that are half a line have half as many
// registers as others. For single lanes lengths that have no codelet and would else take two
// stages.
template <class V>
struct choice {
    template <int A, int B>
    using ab = rows_columns<V, A, B>;

    static constexpr const unit_transform *list() {
        if constexpr (V::lanes == 8) return choice<typename V::half>::list();
        if constexpr (V::lanes == 4 && half_a_line)
            return unit_list<ab<1, 2>, ab<1, 3>, ab<1, 4>, ab<1, 5>, ab<1, 6>, ab<1, 7>, ab<2, 4>,
                             ab<3, 3>, ab<2, 5>, ab<2, 6>, ab<2, 7>, ab<3, 5>, ab<4, 4>, ab<3, 6>,
                             ab<4, 5>, ab<7, 3>, ab<2, 11>, ab<4, 6>, ab<5, 5>, ab<2, 13>, ab<3, 9>,
                             ab<4, 7>, ab<6, 5>>;
        if constexpr (V::lanes == 4 && !half_a_line)
            return unit_list<ab<1, 2>, ab<1, 3>, ab<1, 4>, ab<1, 5>, ab<1, 6>, ab<1, 7>, ab<2, 4>,
                             ab<3, 3>, ab<1, 10>, ab<3, 4>, ab<2, 7>, ab<3, 5>, ab<4, 4>, ab<3, 6>,
                             ab<4, 5>, ab<7, 3>, ab<4, 6>, ab<5, 5>, ab<3, 9>, ab<7, 4>, ab<3, 10>>;
        if constexpr (V::lanes == 2)
            return unit_list<ab<1, 2>, ab<1, 3>, ab<1, 4>, ab<1, 5>, ab<1, 6>, ab<1, 7>, ab<2, 4>,
                             ab<3, 3>, ab<2, 5>, ab<2, 6>, ab<2, 7>, ab<3, 5>, ab<4, 4>, ab<2, 9>,
                             ab<2, 10>, ab<7, 3>, ab<2, 12>, ab<5, 5>, ab<9, 3>, ab<4, 7>,
                             ab<6, 5>>;
        return unit_list<ab<1, 14>, ab<1, 15>, ab<1, 18>, ab<1, 20>, ab<1, 21>, ab<1, 24>>;
    }
};

}  // namespace

extern const unit_transform *const units_2_30;
constinit const unit_transform *const units_2_30 = choice<vec>::list();

}  // namespace lyr::LYR_ISA
