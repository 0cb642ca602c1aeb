// NumPy's allocator puts long arrays 16 bytes behind a multiple of 64, where every vector of 64
// bytes lies in two cache lines. Results are allocated by a handler of our own, which NumPy keeps
// with an array to release it: the arrays own their data as all others do. The memory of released
// results is kept for the next ones: the system takes as long to give new pages as a transform of
// them takes.
#include "memory.h"

#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace lyra_python {

namespace {

constexpr size_t cache_line = 64, page = 4096, huge_pages_from = 4 << 20;

// From which number of elements on it pays: changing handlers takes 0.2 us.
constexpr npy_intp aligned_from = 8192;

// What malloc keeps itself is as good below.
constexpr size_t kept_from = 64 << 10;

struct block {
    void *data;
    size_t bytes;
};

// Released blocks, the oldest first. NumPy need not hold the interpreter lock here.
pthread_mutex_t keeping = PTHREAD_MUTEX_INITIALIZER;
constexpr int most_kept = 16;
block kept[most_kept];
int kept_count;
size_t kept_bytes, kept_limit = 64 << 20;

[[maybe_unused]] const int fork_handlers =
    pthread_atfork([] { pthread_mutex_lock(&keeping); }, [] { pthread_mutex_unlock(&keeping); },
                   [] { pthread_mutex_unlock(&keeping); });

block take(int k) {
    const block b = kept[k];
    memmove(kept + k, kept + k + 1, static_cast<size_t>(--kept_count - k) * sizeof(block));
    kept_bytes -= b.bytes;
    return b;
}

// The youngest block that is long enough and not much longer: it may still be in the caches. Null
// when there is none.
void *take_kept(size_t bytes) {
    void *p = nullptr;
    pthread_mutex_lock(&keeping);
    for (int k = kept_count - 1; k >= 0 && !p; --k)
        if (kept[k].bytes >= bytes && kept[k].bytes - bytes <= bytes / 8) p = take(k).data;
    pthread_mutex_unlock(&keeping);
    return p;
}

// The oldest blocks make room for this one.
void keep(block b) {
    pthread_mutex_lock(&keeping);
    const bool fits = b.bytes >= kept_from && b.bytes <= kept_limit;
    while (fits && (kept_count == most_kept || kept_bytes > kept_limit - b.bytes))
        free(take(0).data);
    if (fits) {
        kept[kept_count++] = b;
        kept_bytes += b.bytes;
    }
    pthread_mutex_unlock(&keeping);
    if (!fits) free(b.data);
}

// As NumPy does for long arrays.
void advise(void *p, size_t bytes) {
    if (!p || bytes < huge_pages_from) return;
    const size_t before = -reinterpret_cast<uintptr_t>(p) % page;
    madvise(static_cast<char *>(p) + before, (bytes - before) / page * page, MADV_HUGEPAGE);
}

void *allocate(void *, size_t bytes) {
    void *p = take_kept(bytes);
    if (p) return p;
    if (posix_memalign(&p, cache_line, bytes ? bytes : 1) != 0) return nullptr;
    advise(p, bytes);
    return p;
}

void *allocate_zeros(void *, size_t count, size_t size) {
    size_t bytes;
    if (__builtin_mul_overflow(count, size, &bytes)) return nullptr;
    void *const p = allocate(nullptr, bytes);
    return p ? memset(p, 0, bytes) : nullptr;
}

void *reallocate(void *, void *old, size_t bytes) {
    void *const p = allocate(nullptr, bytes);
    if (!p || !old) return p;
    const size_t before = malloc_usable_size(old);
    memcpy(p, old, before < bytes ? before : bytes);
    free(old);
    return p;
}

void release(void *, void *p, size_t) {
    if (p) keep({p, malloc_usable_size(p)});
}

PyDataMem_Handler aligned = {
    "lyra_fft_aligned", 1, {nullptr, allocate, allocate_zeros, reallocate, release}};
PyObject *handler;  // a capsule

}  // namespace

int prepare_memory() {
    handler = PyCapsule_New(&aligned, "mem_handler", nullptr);
    return handler ? 0 : -1;
}

void limit_kept_memory(size_t bytes) {
    pthread_mutex_lock(&keeping);
    kept_limit = bytes;
    const bool too_many = kept_bytes > kept_limit;
    while (kept_bytes > kept_limit) free(take(0).data);
    pthread_mutex_unlock(&keeping);
    if (too_many) malloc_trim(0);  // who asks means the system's memory, not malloc's
}

PyArrayObject *new_array(int ndim, const npy_intp *shape, int type) {
    npy_intp elements = 1;
    for (int k = 0; k < ndim && elements < aligned_from; ++k)
        elements = shape[k] < aligned_from ? elements * shape[k] : aligned_from;
    PyObject *before = nullptr;
    if (elements >= aligned_from && !(before = PyDataMem_SetHandler(handler))) return nullptr;
    PyObject *const array = PyArray_SimpleNew(ndim, const_cast<npy_intp *>(shape), type);
    if (before) {
        PyObject *kind, *value, *trace;
        PyErr_Fetch(&kind, &value, &trace);
        Py_XDECREF(PyDataMem_SetHandler(before));
        Py_DECREF(before);
        PyErr_Restore(kind, value, trace);
    }
    return reinterpret_cast<PyArrayObject *>(array);
}

}  // namespace lyra_python
