/* A plug-in that holds the static library. */
#include <stdlib.h>

#include "interface.h"

/* 1 when all went well. */
int transform_and_clean_up(int threads) {
    enum { n = 64, howmany = 100 };
    const int length = n;
    lyr_fft_complex *x = calloc(n * howmany, sizeof *x);
    if (!x) return 0;
    for (int k = 0; k < howmany; ++k) x[n * k][0] = 1;
    lyr_fft_plan_with_nthreads(threads);
    lyr_fft_plan plan = lyr_fft_plan_many_dft(1, &length, howmany, x, NULL, 1, n, x, NULL, 1, n,
                                              LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
    int right = plan != NULL;
    lyr_fft_execute(plan);
    for (int k = 0; k < n * howmany; ++k) right &= x[k][0] == 1 && x[k][1] == 0;
    lyr_fft_destroy_plan(plan);
    lyr_fft_cleanup_threads();
    free(x);
    return right;
}
