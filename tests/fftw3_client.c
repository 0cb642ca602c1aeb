/* A program that is linked with FFTW 3 and knows nothing of this library; with an argument it loads
 * that other library besides and uses both. */
#include <dlfcn.h>
#include <fftw3.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

/* 1 when transforms of the library that is loaded agree with those of the one that is linked. */
static int agree(const char *name) {
    enum { n = 24 };
    void *library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (!library) return 0;
    fftw_plan (*plan)(int, fftw_complex *, fftw_complex *, int, unsigned);
    void (*execute)(const fftw_plan);
    void (*destroy)(fftw_plan);
    *(void **)&plan = dlsym(library, "fftw_plan_dft_1d");
    *(void **)&execute = dlsym(library, "fftw_execute");
    *(void **)&destroy = dlsym(library, "fftw_destroy_plan");
    if (!plan || !execute || !destroy || plan == fftw_plan_dft_1d) return 0;
    fftw_complex x[n], here[n], there[n];
    fftw_plan p = fftw_plan_dft_1d(n, x, here, FFTW_FORWARD, FFTW_ESTIMATE);
    fftw_plan q = plan(n, x, there, FFTW_FORWARD, FFTW_ESTIMATE);
    double error = 0;
    for (int k = 0; k < n; ++k) x[k][0] = sin(k * k), x[k][1] = cos(k * k * k);
    execute(q);
    fftw_execute(p);
    for (int k = 0; k < n; ++k)
        error = fmax(error, fabs(here[k][0] - there[k][0]) + fabs(here[k][1] - there[k][1]));
    destroy(q);
    fftw_destroy_plan(p);
    return error < 1e-13;
}

int main(int argc, char **argv) {
    enum { rows = 6, columns = 10, half = columns / 2 + 1 };
    double *x = fftw_alloc_real(rows * columns);
    fftw_complex *y = fftw_alloc_complex(rows * half);
    fftw_plan forward = fftw_plan_dft_r2c_2d(rows, columns, x, y, FFTW_MEASURE);
    fftw_plan back = fftw_plan_dft_c2r_2d(rows, columns, y, x, FFTW_ESTIMATE);
    if (!forward || !back || fftw_plan_dft_1d(0, y, y, FFTW_FORWARD, FFTW_ESTIMATE)) return 1;
    for (int k = 0; k < rows * columns; ++k) x[k] = sin(k * k);
    fftw_execute(forward);
    fftw_execute(back);
    double error = 0;
    for (int k = 0; k < rows * columns; ++k)
        error = fmax(error, fabs(x[k] / (rows * columns) - sin(k * k)));
    fftw_destroy_plan(forward);
    fftw_destroy_plan(back);
    fftw_free(x);
    fftw_free(y);
    printf("%s %s\n", strstr(fftw_version, "lyra_fft") ? "ours" : "theirs",
           error < 1e-14 ? "right" : "wrong");
    if (argc > 1) puts(agree(argv[1]) ? "both agree" : "they do not agree");
    fflush(stdout);
    return error < 1e-14 ? 0 : 1;
}
