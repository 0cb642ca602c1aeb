#include "codelets/kernel/members.h"
#include "codelets/wide_stages.h"

namespace lyr::LYR_ISA {

const wide_stages wide_20_24[2] = {make_wide_stages<20>(), make_wide_stages<24>()};

}  // namespace lyr::LYR_ISA
