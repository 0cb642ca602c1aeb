#include "threads/threads.h"

#include "lyr_fft.h"

namespace lyr {

namespace {

constexpr int max_threads = 512;
int64_t pool_nthreads = 1;  // read and written with relaxed atomics: any thread may plan

}  // namespace

int64_t library_threads() {
    return __atomic_load_n(&pool_nthreads, __ATOMIC_RELAXED);
}

}  // namespace lyr

extern "C" int lyr_fft_init_threads(void) {
    return 1;
}

extern "C" void lyr_fft_plan_with_nthreads(int nthreads) {
    const int64_t count = nthreads < 1                  ? 1
                          : nthreads > lyr::max_threads ? lyr::max_threads
                                                        : nthreads;
    __atomic_store_n(&lyr::pool_nthreads, count, __ATOMIC_RELAXED);
}

extern "C" void lyr_fft_cleanup_threads(void) {}
