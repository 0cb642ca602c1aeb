#include "codelets/kernel/members.h"
#include "codelets/wide_stages.h"

namespace lyr::LYR_ISA {

const wide_stages wide_14_15[2] = {make_wide_stages<14>(), make_wide_stages<15>()};

}  // namespace lyr::LYR_ISA
