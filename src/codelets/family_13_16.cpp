#include "codelets/kernel/members.h"

LYR_DEFINE_CODELETS(13)
LYR_DEFINE_CODELETS(16)
