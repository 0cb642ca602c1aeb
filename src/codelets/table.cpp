// The codelet table of one vector target: the 19 lengths, found by length - 1.
#include LYR_ISA_HEADER

#include "codelets/codelet.h"

#define LYR_TEXT_(x) #x
#define LYR_TEXT(x) LYR_TEXT_(x)

#define LYR_LENGTHS(X) \
    X(2)               \
    X(3)               \
    X(4) X(5) X(6) X(7) X(8) X(9) X(10) X(11) X(12) X(13) X(16) X(17) X(19) X(23) X(29) X(31) X(37)

namespace lyr::LYR_ISA {

#define LYR_DECLARE(R) extern const codelet_set forward_##R, backward_##R;
LYR_LENGTHS(LYR_DECLARE)
#undef LYR_DECLARE

#define LYR_ROW(d)                                                                                 \
    {                                                                                              \
        nullptr, &d##_2, &d##_3, &d##_4, &d##_5, &d##_6, &d##_7, &d##_8, &d##_9, &d##_10, &d##_11, \
            &d##_12, &d##_13, nullptr, nullptr, &d##_16, &d##_17, nullptr, &d##_19, nullptr,       \
            nullptr, nullptr, &d##_23, nullptr, nullptr, nullptr, nullptr, nullptr, &d##_29,       \
            nullptr, &d##_31, nullptr, nullptr, nullptr, nullptr, nullptr, &d##_37                 \
    }

extern const codelet_table table;
const codelet_table table = {LYR_TEXT(LYR_ISA), vec::lanes, {LYR_ROW(forward), LYR_ROW(backward)}};

}  // namespace lyr::LYR_ISA
