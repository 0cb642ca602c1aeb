// The real-to-real kinds by their definitions in the header.
#pragma once

#include <cstdint>

#include "interface.h"

namespace lyr_tools {

// A real-to-real kind as weight(j) * trig(2 pi a(j) b(k)/turn), a(j) = a_step*j + a_first and
// likewise b. The weights are 2, but 1 at the inputs named.
struct r2r_formula {
    int64_t turn = 1;
    int64_t a_step = 1, a_first = 0;
    int64_t b_step = 1, b_first = 0;
    bool sine = false;
    bool first_once = false, last_once = false;
};

r2r_formula formula_of(lyr_fft_r2r_kind kind, int64_t n);

// The weights of cosine and sine in output k of input j.
struct r2r_weights {
    double cosine = 0;
    double sine = 0;
};

r2r_weights weights_of(lyr_fft_r2r_kind kind, const r2r_formula &f, int64_t n, int64_t j,
                       int64_t k);

}  // namespace lyr_tools
