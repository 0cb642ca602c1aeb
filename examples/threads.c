// One large transform on several threads: same numbers, sooner.
#include <lyr_fft.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static double now(void) {
    struct timespec t;
    timespec_get(&t, TIME_UTC);
    return (double)t.tv_sec + 1e-9 * (double)t.tv_nsec;
}

int main(int argc, char **argv) {
    const int threads = argc > 1 ? atoi(argv[1]) : 4;
    enum { n = 512 };  // rows and columns
    const size_t bytes = sizeof(lyr_fft_complex) * n * n;
    lyr_fft_complex *in = lyr_fft_malloc(bytes);
    lyr_fft_complex *out[2] = {lyr_fft_malloc(bytes), lyr_fft_malloc(bytes)};
    if (!in || !out[0] || !out[1]) return 1;
    for (int j = 0; j < n * n; ++j) in[j][0] = j % 17 - 8;

    for (int i = 0; i < 2; ++i) {
        // The number counts for plans made from now on.
        lyr_fft_plan_with_nthreads(i == 0 ? 1 : threads);
        lyr_fft_plan plan =
            lyr_fft_plan_dft_2d(n, n, in, out[i], LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
        if (!plan) return 1;
        lyr_fft_execute(plan);  // starts the threads, touches the memory
        const double start = now();
        lyr_fft_execute(plan);
        printf("%d threads: %.2f ms\n", i == 0 ? 1 : threads, 1e3 * (now() - start));
        lyr_fft_destroy_plan(plan);
    }
    lyr_fft_cleanup_threads();

    double largest = 0;
    for (int j = 0; j < n * n; ++j)
        for (int part = 0; part < 2; ++part) {
            const double d = out[0][j][part] - out[1][j][part];
            if (d * d > largest * largest) largest = d;
        }
    printf("%s\n", largest * largest < 1e-16 ? "results agree" : "results differ");
    lyr_fft_free(in);
    lyr_fft_free(out[0]);
    lyr_fft_free(out[1]);
    return 0;
}
