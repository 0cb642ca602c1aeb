// The cosine transform of an 8x8 block of a picture, as picture formats use it: most of a smooth
// block is in few coefficients, and dropping the small ones hardly shows.
#include <lyr_fft.h>
#include <math.h>
#include <stdio.h>

int main(void) {
    enum { n = 8 };
    double block[n][n], coefficients[n][n], again[n][n];
    lyr_fft_plan forward = lyr_fft_plan_r2r_2d(n, n, block[0], coefficients[0], LYR_FFT_REDFT10,
                                               LYR_FFT_REDFT10, LYR_FFT_ESTIMATE);
    lyr_fft_plan backward = lyr_fft_plan_r2r_2d(n, n, coefficients[0], again[0], LYR_FFT_REDFT01,
                                                LYR_FFT_REDFT01, LYR_FFT_ESTIMATE);
    if (!forward || !backward) return 1;

    // A shaded edge, grey levels 0 to 255.
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) block[y][x] = round(128 + 90 * tanh((x + 0.5 * y - 5) / 2));
    lyr_fft_execute(forward);
    int kept = 0;
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x)
            if (fabs(coefficients[y][x]) < 400)
                coefficients[y][x] = 0;
            else
                ++kept;
    lyr_fft_execute(backward);

    double largest = 0;
    const double scale = 1.0 / (2 * n) / (2 * n);  // 2n per dimension, both ways together
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x)
            largest = fmax(largest, fabs(again[y][x] * scale - block[y][x]));
    printf("%d of %d coefficients kept, no grey level off by more than %.1f\n", kept, n * n,
           largest);
    lyr_fft_destroy_plan(forward);
    lyr_fft_destroy_plan(backward);
    return 0;
}
