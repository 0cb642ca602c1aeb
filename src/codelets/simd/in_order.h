// For instructions that overwrite an operand: compilers that change `then` before they have made
// `first` from it copy it first.
#pragma once

#include "codelets/simd/contract.h"

namespace lyr::LYR_ISA {
namespace {

// Both are made before anything is made of `then`.
template <class V>
LYR_INLINE void in_order([[maybe_unused]] V &first, [[maybe_unused]] V &then) {
#if defined(__aarch64__)
    __asm__("" : "+w"(first.v), "+w"(then.v));
#endif
}

}  // namespace
}  // namespace lyr::LYR_ISA
