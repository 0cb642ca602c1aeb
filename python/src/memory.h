// Memory of new arrays.
#ifndef LYRA_PYTHON_MEMORY_H
#define LYRA_PYTHON_MEMORY_H

#include "numpy_api.h"

namespace lyra_python {

// Once, before the other one. Returns 0, or -1 with an exception set.
int prepare_memory();

// A new array in C order that begins at a cache line where it is long; null with an exception
// set.
PyArrayObject *new_array(int ndim, const npy_intp *shape, int type);

// Bounds the memory of released arrays that is kept for new ones.
void limit_kept_memory(size_t bytes);

}  // namespace lyra_python

#endif
