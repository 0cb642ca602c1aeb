#include LYR_ISA_HEADER
#include "codelets/kernel/real_batch.h"

LYR_DEFINE_REAL(128)
