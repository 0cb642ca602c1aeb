/* Where OpenMP binds the calling thread to a processor, workers still get those of the program. */
#define _GNU_SOURCE
#include <dirent.h>
#include <omp.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>

#include "lyr_fft.h"

static int processors_of(int thread) {
    cpu_set_t set;
    return sched_getaffinity(thread, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 0;
}

int main(void) {
    enum { n = 64, howmany = 400 };
    const int length = n, places = omp_get_num_places();
    if (places < 2 || processors_of(0) >= places) {
        puts("skipped: OpenMP binds nothing here");
        return 77;
    }
    lyr_fft_complex *x = calloc(n * howmany, sizeof *x);
    if (!x) return 1;
    lyr_fft_plan_with_nthreads(3);
    lyr_fft_plan plan = lyr_fft_plan_many_dft(1, &length, howmany, x, NULL, 1, n, x, NULL, 1, n,
                                              LYR_FFT_FORWARD, LYR_FFT_ESTIMATE);
    lyr_fft_plan_with_nthreads(3); /* the first plan chose a policy; now it is NO again */
    lyr_fft_execute(plan);

    int workers = 0, wrong = 0;
    DIR *tasks = opendir("/proc/self/task");
    for (struct dirent *entry; tasks && (entry = readdir(tasks));) {
        const int thread = atoi(entry->d_name);
        if (thread == 0 || processors_of(thread) == processors_of(0)) continue;
        ++workers;
        if (processors_of(thread) < places) ++wrong;
    }
    if (tasks) closedir(tasks);
    lyr_fft_destroy_plan(plan);
    lyr_fft_cleanup_threads();
    free(x);
    printf("%d workers, %d of them with fewer processors than OpenMP has\n", workers, wrong);
    return workers == 2 && wrong == 0 ? 0 : 1;
}
