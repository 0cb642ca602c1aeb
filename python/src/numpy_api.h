// NumPy's C interface; every source file shares the table that the module imports.
#ifndef LYRA_PYTHON_NUMPY_API_H
#define LYRA_PYTHON_NUMPY_API_H

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
#define NPY_TARGET_VERSION NPY_1_22_API_VERSION  // handlers of memory
#define PY_ARRAY_UNIQUE_SYMBOL lyra_python_array_api
#ifndef LYRA_PYTHON_IMPORTS_NUMPY
    #define NO_IMPORT_ARRAY
#endif
#include <numpy/arrayobject.h>

#endif
