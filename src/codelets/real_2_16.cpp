#include LYR_ISA_HEADER
#include "codelets/kernel/real_batch.h"

LYR_DEFINE_REAL(2)
LYR_DEFINE_REAL(4)
LYR_DEFINE_REAL(8)
LYR_DEFINE_REAL(16)

namespace lyr::LYR_ISA {

template void forward_kernel<3> LYR_REAL_TYPES;
template void r2c_many_zeroed_kernel<2> LYR_REAL_TYPES;
template void r2c_many_zeroed_kernel<3> LYR_REAL_TYPES;
template void r2c_many_zeroed_kernel<4> LYR_REAL_TYPES;
template void r2c_many_zeroed_kernel<8> LYR_REAL_TYPES;
template void r2c_many_zeroed_kernel<16> LYR_REAL_TYPES;

template void r2c_kernel<3> LYR_REAL_TYPES;
template void r2c_kernel<5> LYR_REAL_TYPES;
template void r2c_kernel<7> LYR_REAL_TYPES;
template void r2c_unit<3>(const plan *, scalar *, scalar *, scalar *);
template void r2c_unit<5>(const plan *, scalar *, scalar *, scalar *);
template void r2c_unit<7>(const plan *, scalar *, scalar *, scalar *);

}  // namespace lyr::LYR_ISA
