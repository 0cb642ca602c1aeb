// From Python's arguments to transforms of arrays, and back.
#ifndef LYRA_PYTHON_CALL_H
#define LYRA_PYTHON_CALL_H

#include "engine.h"
#include "numpy_api.h"

namespace lyra_python {

enum class extent { one, two, many };  // axes: axis, two of them, any number

struct function {
    const char *name;
    operation what;
    bool inverse;  // by sign and norm
    bool sine;     // real-to-real: DST
    extent axes;
    bool like_numpy;  // all in double precision, and other messages
};

// As Python passes them; null or None where nothing is given.
struct arguments {
    PyObject *x, *type, *lengths, *axes, *norm, *overwrite, *workers, *plan, *orthogonalize;
};

// Everything about a call but the array.
struct request {
    const function *f;
    transform t;
    double factor;
    bool complex_input;        // of the array that is given
    bool first_in, last_in;    // real to real: orthogonal transforms scale these before
    bool first_out, last_out;  // and these behind
};

extern PyObject *axis_error;  // numpy's, an IndexError and a ValueError

// Make interned strings and the like. Returns 0, or -1 with an exception set.
int prepare_calls();

// The parameters of a function from positional and keyword arguments.
int parse_arguments(const function &f, arguments &a, PyObject *const *args, Py_ssize_t count,
                    PyObject *names);

// What to transform in arrays of the given type number and shape. Returns 0, or -1 with an
// exception set.
int make_request(request &r, const function &f, const arguments &a, int type, int ndim,
                 const npy_intp *shape);

// An array of a type that can be transformed, or copied into one that can; a new reference.
PyArrayObject *as_array(PyObject *x, const function &f);

bool is_complex(int type);
int result_type(const request &r);
void result_shape(const request &r, int ndim, const npy_intp *shape, npy_intp *result);

// Transform x into `out`, or into a new array when that is null; x itself may be overwritten when
// `overwrite` is set. Returns a new reference, or null with an exception set.
PyObject *perform(const request &r, plan_cache &cache, PyArrayObject *x, PyArrayObject *out,
                  bool overwrite);

// Make the plans of arrays in C order without touching any.
int plan_ahead(const request &r, plan_cache &cache, int ndim, const npy_intp *shape);

// The number of threads that a `workers` argument means, or -1 with an exception set.
int32_t parse_workers(PyObject *workers);

extern thread_local int32_t default_workers;

}  // namespace lyra_python

#endif
