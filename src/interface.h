// The public header of the precision that is built. Sources call public names by those of double
// precision; lyr_fftf_names.h, made from lyr_fft.h as lyr_fftf.h is, gives them the others.
#pragma once

#ifdef LYRA_SINGLE
    #include "lyr_fftf.h"
    #include "lyr_fftf_names.h"
#else
    #include "lyr_fft.h"
#endif
