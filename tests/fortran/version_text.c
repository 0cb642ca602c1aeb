#include <lyr_fft.h>

/* The address of the version, for Fortran, which cannot name C's data without defining it. */
const char *version_text(void);
const char *version_text(void) {
    return lyr_fft_version;
}
