#include "plans.h"

#include <pthread.h>
#include <Python.h>

#include <cstdlib>
#include <cstring>

#include "library.h"

namespace lyra_python {

struct kept_plan {
    problem key;
    uint64_t hash;
    size_t bytes;
    int64_t references;
    void *plan;
    plan_cache *home;  // null when no cache holds it any more
    kept_plan *next_in_bucket, *newer, *older;
};

namespace {

// The number of threads is a setting of the whole library, so plans are made one after another. The
// mutex is never waited for by who holds the interpreter lock and ends nowhere but in the planner,
// so that a fork may wait for it.
pthread_mutex_t planning = PTHREAD_MUTEX_INITIALIZER;

[[maybe_unused]] const int fork_handlers =
    pthread_atfork([] { pthread_mutex_lock(&planning); }, [] { pthread_mutex_unlock(&planning); },
                   [] { pthread_mutex_unlock(&planning); });

template <typename real>
void *make_plan(const problem &p, void *in, void *out) {
    using lib = library<real>;
    using complex = typename lib::complex;
    lyr_fft_iodim64 dims[3], batch[3];
    lyr_fft_r2r_kind kinds[3];
    for (int k = 0; k < p.rank; ++k) {
        dims[k] = {p.dims[k].n, p.dims[k].is, p.dims[k].os};
        kinds[k] = static_cast<lyr_fft_r2r_kind>(p.kinds[k]);
    }
    for (int k = 0; k < p.batch_rank; ++k) batch[k] = {p.batch[k].n, p.batch[k].is, p.batch[k].os};

    // Left alone as long as nobody asks for threads; afterwards always put back to 1.
    if (p.workers > 1) lib::set_threads(p.workers);
    void *plan = nullptr;
    const unsigned flags = LYR_FFT_ESTIMATE;
    switch (p.what) {
        case operation::c2c:
            plan = lib::plan_c2c(p.rank, dims, p.batch_rank, batch, static_cast<complex *>(in),
                                 static_cast<complex *>(out), p.sign, flags);
            break;
        case operation::r2c:
            plan = lib::plan_r2c(p.rank, dims, p.batch_rank, batch, static_cast<real *>(in),
                                 static_cast<complex *>(out), flags);
            break;
        case operation::c2r:
            plan = lib::plan_c2r(p.rank, dims, p.batch_rank, batch, static_cast<complex *>(in),
                                 static_cast<real *>(out), flags);
            break;
        case operation::r2r:
            plan = lib::plan_r2r(p.rank, dims, p.batch_rank, batch, static_cast<real *>(in),
                                 static_cast<real *>(out), kinds, flags);
            break;
    }
    if (p.workers > 1) lib::set_threads(1);
    return plan;
}

template <typename real>
void run_plan(void *plan, operation what, void *in, void *out) {
    using lib = library<real>;
    using complex = typename lib::complex;
    const auto p = static_cast<typename lib::plan>(plan);
    switch (what) {
        case operation::c2c:
            lib::execute_c2c(p, static_cast<complex *>(in), static_cast<complex *>(out));
            break;
        case operation::r2c:
            lib::execute_r2c(p, static_cast<real *>(in), static_cast<complex *>(out));
            break;
        case operation::c2r:
            lib::execute_c2r(p, static_cast<complex *>(in), static_cast<real *>(out));
            break;
        case operation::r2r:
            lib::execute_r2r(p, static_cast<real *>(in), static_cast<real *>(out));
            break;
    }
}

void destroy(kept_plan *k) {
#ifdef LYRA_PYTHON_SINGLE
    if (k->key.single)
        library<float>::destroy(static_cast<library<float>::plan>(k->plan));
    else
#endif
        library<double>::destroy(static_cast<library<double>::plan>(k->plan));
    free(k);
}

// A guess at what a plan occupies: records, and for every length its roots of unity, scratch
// memory, and where the length has large prime factors a convolution of up to four times its
// length.
size_t estimated_bytes(const problem &p) {
    size_t elements = 0;
    for (int k = 0; k < p.rank; ++k) elements += static_cast<size_t>(p.dims[k].n);
    return 8192 + (p.single ? 24 : 48) * elements;
}

// A copy in which what the ranks leave out is zero, to be compared as bytes.
void normalise(problem &to, const problem &from) {
    memset(&to, 0, sizeof to);
    to.what = from.what;
    to.single = from.single;
    to.in_place = from.in_place;
    to.sign = from.sign;
    to.workers = from.workers;
    to.rank = from.rank;
    to.batch_rank = from.batch_rank;
    for (int k = 0; k < from.rank; ++k) {
        to.dims[k] = from.dims[k];
        if (from.what == operation::r2r) to.kinds[k] = from.kinds[k];
    }
    for (int k = 0; k < from.batch_rank; ++k) to.batch[k] = from.batch[k];
}

uint64_t hash_of(const problem &p) {
    uint64_t words[sizeof p / 8], h = 0x9e3779b97f4a7c15;
    memcpy(words, &p, sizeof words);
    for (const uint64_t word : words) {
        h = (h ^ word) * 0xff51afd7ed558ccd;
        h ^= h >> 32;
    }
    return h;
}

void unlink_age(plan_cache &cache, kept_plan *k) {
    (k->newer ? k->newer->older : cache.newest) = k->older;
    (k->older ? k->older->newer : cache.oldest) = k->newer;
}

void link_newest(plan_cache &cache, kept_plan *k) {
    k->newer = nullptr;
    k->older = cache.newest;
    (cache.newest ? cache.newest->newer : cache.oldest) = k;
    cache.newest = k;
}

void remove(plan_cache &cache, kept_plan *k) {
    kept_plan **place = &cache.buckets[k->hash % plan_cache::bucket_count];
    while (*place != k) place = &(*place)->next_in_bucket;
    *place = k->next_in_bucket;
    unlink_age(cache, k);
    cache.bytes -= k->bytes;
    --cache.count;
    k->home = nullptr;
    if (k->references == 0) destroy(k);
}

kept_plan *find(plan_cache &cache, const problem &key, uint64_t hash) {
    kept_plan *k = cache.buckets[hash % plan_cache::bucket_count];
    while (k && (k->hash != hash || memcmp(&k->key, &key, sizeof key) != 0)) k = k->next_in_bucket;
    if (!k) return nullptr;
    if (cache.newest != k) {
        unlink_age(cache, k);
        link_newest(cache, k);
    }
    ++k->references;
    return k;
}

}  // namespace

kept_plan *acquire_plan(plan_cache &cache, const problem &p, void *in, void *out) {
    problem key;
    normalise(key, p);
    const uint64_t hash = hash_of(key);
    if (kept_plan *k = find(cache, key, hash)) {
        ++cache.hits;
        return k;
    }
    ++cache.misses;
    auto *k = static_cast<kept_plan *>(malloc(sizeof(kept_plan)));
    if (!k) return nullptr;
    memcpy(&k->key, &key, sizeof key);

    PyThreadState *const state = PyEval_SaveThread();
    pthread_mutex_lock(&planning);
#ifdef LYRA_PYTHON_SINGLE
    k->plan = key.single ? make_plan<float>(key, in, out) : make_plan<double>(key, in, out);
#else
    k->plan = make_plan<double>(key, in, out);
#endif
    pthread_mutex_unlock(&planning);
    PyEval_RestoreThread(state);
    if (!k->plan) {
        free(k);
        return nullptr;
    }

    // Another thread may have been faster.
    if (kept_plan *same = find(cache, key, hash)) {
        destroy(k);
        return same;
    }
    k->hash = hash;
    k->bytes = estimated_bytes(key);
    k->references = 1;
    k->home = nullptr;
    if (k->bytes <= cache.limit) {
        trim_cache(cache, cache.limit - k->bytes);
        k->home = &cache;
        k->next_in_bucket = cache.buckets[hash % plan_cache::bucket_count];
        cache.buckets[hash % plan_cache::bucket_count] = k;
        link_newest(cache, k);
        cache.bytes += k->bytes;
        ++cache.count;
    }
    return k;
}

void release_plan(kept_plan *k) {
    if (--k->references == 0 && !k->home) destroy(k);
}

void execute_plan(const kept_plan *k, void *in, void *out) {
#ifdef LYRA_PYTHON_SINGLE
    if (k->key.single) return run_plan<float>(k->plan, k->key.what, in, out);
#endif
    run_plan<double>(k->plan, k->key.what, in, out);
}

void trim_cache(plan_cache &cache, size_t limit) {
    while (cache.bytes > limit) remove(cache, cache.oldest);
}

}  // namespace lyra_python
