// One plan for many signals, executed by the threads of OpenMP: any number of threads may execute
// the same plan at the same time, each on arrays of its own.
#include <lyr_fft.h>
#include <math.h>
#include <stdio.h>

int main(void) {
    enum { n = 1000, signals = 200 };
    lyr_fft_complex *in = lyr_fft_malloc(sizeof(lyr_fft_complex) * n * signals);
    lyr_fft_complex *out = lyr_fft_malloc(sizeof(lyr_fft_complex) * n * signals);
    if (!in || !out) return 1;
    for (int i = 0; i < signals; ++i)  // signal i is a wave of frequency i
        for (int j = 0; j < n; ++j) {
            const double angle = 2 * 3.14159265358979323846 * i * j / n;
            in[i * n + j][0] = cos(angle);
            in[i * n + j][1] = sin(angle);
        }

    lyr_fft_plan plan = lyr_fft_plan_dft_1d(n, in, out, LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
    if (!plan) return 1;
#pragma omp parallel for
    for (int i = 0; i < signals; ++i) lyr_fft_execute_dft(plan, in + i * n, out + i * n);
    lyr_fft_destroy_plan(plan);

    int found = 0;
    for (int i = 0; i < signals; ++i) found += fabs(out[i * n + i][0] - n) < 1e-6;
    printf("%d of %d frequencies found\n", found, signals);
    lyr_fft_free(in);
    lyr_fft_free(out);
    return found != signals;
}
