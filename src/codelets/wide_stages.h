// Which file has the stages of which wide radix (wide_stages).
#pragma once

#include "codelets/codelet.h"

namespace lyr::LYR_ISA {

extern const wide_stages wide_14_15[2], wide_20_24[2];

}  // namespace lyr::LYR_ISA
