// NumPy's allocator puts long arrays 16 bytes behind a multiple of 64, where every vector of 64
// bytes lies in two cache lines. Results are allocated by a handler of our own, which NumPy keeps
// with an array to release it: the arrays own their data as all others do.
#include "memory.h"

#include <malloc.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace lyra_python {

namespace {

constexpr size_t cache_line = 64, page = 4096, huge_pages_from = 4 << 20;

// From which number of elements on it pays: changing handlers takes 0.2 us.
constexpr npy_intp aligned_from = 8192;

// As NumPy does for long arrays.
void advise(void *p, size_t bytes) {
    if (!p || bytes < huge_pages_from) return;
    const size_t before = -reinterpret_cast<uintptr_t>(p) % page;
    madvise(static_cast<char *>(p) + before, (bytes - before) / page * page, MADV_HUGEPAGE);
}

void *allocate(void *, size_t bytes) {
    void *p = nullptr;
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
    free(p);
}

PyDataMem_Handler aligned = {
    "lyra_fft_aligned", 1, {nullptr, allocate, allocate_zeros, reallocate, release}};
PyObject *handler;  // a capsule

}  // namespace

int prepare_memory() {
    handler = PyCapsule_New(&aligned, "mem_handler", nullptr);
    return handler ? 0 : -1;
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
