#include "call.h"

#include <unistd.h>

#include <cmath>
#include <cstring>

#include "library.h"
#include "memory.h"

namespace lyra_python {

PyObject *axis_error;
thread_local int32_t default_workers = 1;

namespace {

// ---- Parameters ------------------------------------------------------------------------------

using slot = PyObject *arguments::*;

struct parameter {
    const char *name;
    slot to;
    PyObject *interned;
};

constexpr int most_parameters = 9;

struct signature {
    parameter list[most_parameters];
    int count, positional;
};

signature fourier_one = {{{"x", &arguments::x, nullptr},
                          {"n", &arguments::lengths, nullptr},
                          {"axis", &arguments::axes, nullptr},
                          {"norm", &arguments::norm, nullptr},
                          {"overwrite_x", &arguments::overwrite, nullptr},
                          {"workers", &arguments::workers, nullptr},
                          {"plan", &arguments::plan, nullptr}},
                         7,
                         6};
signature fourier_many = {{{"x", &arguments::x, nullptr},
                           {"s", &arguments::lengths, nullptr},
                           {"axes", &arguments::axes, nullptr},
                           {"norm", &arguments::norm, nullptr},
                           {"overwrite_x", &arguments::overwrite, nullptr},
                           {"workers", &arguments::workers, nullptr},
                           {"plan", &arguments::plan, nullptr}},
                          7,
                          6};
signature real_one = {{{"x", &arguments::x, nullptr},
                       {"type", &arguments::type, nullptr},
                       {"n", &arguments::lengths, nullptr},
                       {"axis", &arguments::axes, nullptr},
                       {"norm", &arguments::norm, nullptr},
                       {"overwrite_x", &arguments::overwrite, nullptr},
                       {"workers", &arguments::workers, nullptr},
                       {"orthogonalize", &arguments::orthogonalize, nullptr},
                       {"plan", &arguments::plan, nullptr}},
                      9,
                      8};
signature real_many = {{{"x", &arguments::x, nullptr},
                        {"type", &arguments::type, nullptr},
                        {"s", &arguments::lengths, nullptr},
                        {"axes", &arguments::axes, nullptr},
                        {"norm", &arguments::norm, nullptr},
                        {"overwrite_x", &arguments::overwrite, nullptr},
                        {"workers", &arguments::workers, nullptr},
                        {"orthogonalize", &arguments::orthogonalize, nullptr},
                        {"plan", &arguments::plan, nullptr}},
                       9,
                       8};
signature numpy_one = {{{"a", &arguments::x, nullptr},
                        {"n", &arguments::lengths, nullptr},
                        {"axis", &arguments::axes, nullptr},
                        {"norm", &arguments::norm, nullptr}},
                       4,
                       4};
signature numpy_many = {{{"a", &arguments::x, nullptr},
                         {"s", &arguments::lengths, nullptr},
                         {"axes", &arguments::axes, nullptr},
                         {"norm", &arguments::norm, nullptr}},
                        4,
                        4};

const signature &signature_of(const function &f) {
    const bool one = f.axes == extent::one;
    if (f.like_numpy) return one ? numpy_one : numpy_many;
    if (f.what == operation::r2r) return one ? real_one : real_many;
    return one ? fourier_one : fourier_many;
}

bool numpy_keeps_single;  // numpy.fft since NumPy 2

PyObject *word_backward, *word_ortho, *word_forward, *word_real;

// Whether a string is one of ours, which usually is the same object.
bool is_word(PyObject *s, PyObject *word) {
    return s == word || (PyUnicode_Check(s) && PyUnicode_Compare(s, word) == 0);
}

// ---- Values ----------------------------------------------------------------------------------

enum class norm { backward, ortho, forward, invalid };

norm parse_norm(PyObject *o, bool like_numpy) {
    if (!o || o == Py_None || is_word(o, word_backward)) return norm::backward;
    if (is_word(o, word_ortho)) return norm::ortho;
    if (is_word(o, word_forward)) return norm::forward;
    PyErr_Format(PyExc_ValueError,
                 like_numpy
                     ? "Invalid norm value %S; should be \"backward\", \"ortho\" or \"forward\"."
                     : "Invalid norm value %R, should be \"backward\", \"ortho\" or \"forward\"",
                 o);
    return norm::invalid;
}

bool given(PyObject *o) {
    return o && o != Py_None;
}

// An integer, or -1 with an exception set.
int64_t as_integer(PyObject *o) {
    return PyNumber_AsSsize_t(o, PyExc_OverflowError);
}

// One integer or a sequence of them: their number, or -1 with an exception set.
int parse_integers(PyObject *o, int64_t *to, const char *what) {
    const bool array = PyArray_Check(o) && PyArray_NDIM(reinterpret_cast<PyArrayObject *>(o)) > 0;
    if (PyIndex_Check(o) && !array) {
        to[0] = as_integer(o);
        return to[0] == -1 && PyErr_Occurred() ? -1 : 1;
    }
    PyObject *const list = PySequence_Fast(o, "");
    if (!list) {
        PyErr_Format(PyExc_ValueError, "%s must be a scalar or iterable of integers", what);
        return -1;
    }
    int count = 0;
    const Py_ssize_t size = PySequence_Fast_GET_SIZE(list);
    for (Py_ssize_t k = 0; k < size; ++k) {
        PyObject *const item = PySequence_Fast_GET_ITEM(list, k);
        if (!PyIndex_Check(item) || size > max_ndim) {
            PyErr_Format(PyExc_ValueError,
                         size > max_ndim ? "%s has more elements than an array has dimensions"
                                         : "%s must be a scalar or iterable of integers",
                         what);
            count = -1;
            break;
        }
        to[k] = as_integer(item);
        if (to[k] == -1 && PyErr_Occurred()) {
            count = -1;
            break;
        }
        ++count;
    }
    Py_DECREF(list);
    return count;
}

int invalid_length(const function &f, const int64_t *n, int count) {
    const char *const form = f.like_numpy ? "Invalid number of FFT data points (%s) specified."
                                          : "invalid number of data points (%s) specified";
    if (f.axes == extent::one || f.like_numpy) {
        char text[32];
        int k = 0;
        while (k < count - 1 && n[k] >= 1) ++k;
        snprintf(text, sizeof text, "%lld", static_cast<long long>(n[k]));
        PyErr_Format(PyExc_ValueError, form, text);
        return -1;
    }
    PyObject *const list = PyList_New(count);
    for (int k = 0; list && k < count; ++k) PyList_SET_ITEM(list, k, PyLong_FromLongLong(n[k]));
    if (list) PyErr_Format(PyExc_ValueError, "invalid number of data points (%R) specified", list);
    Py_XDECREF(list);
    return -1;
}

// ---- Axes and lengths ------------------------------------------------------------------------

// The length of the real data whose transform has m numbers, if it is even; 0 when there are none.
int64_t real_length(int64_t m) {
    return m == 0 ? 0 : 2 * (m - 1);
}

int resolve_axis(transform &t, const function &f, const arguments &a, int ndim,
                 const npy_intp *shape) {
    int64_t axis = -1;
    if (a.axes) {
        axis = as_integer(a.axes);
        if (axis == -1 && PyErr_Occurred()) return -1;
    }
    if (axis < -ndim || axis >= ndim) {
        PyErr_Format(axis_error, "axis %lld is out of bounds for array of dimension %d",
                     static_cast<long long>(axis), ndim);
        return -1;
    }
    if (axis < 0) axis += ndim;
    t.naxes = 1;
    t.axes[0] = static_cast<int>(axis);
    if (given(a.lengths)) {
        t.n[0] = as_integer(a.lengths);
        if (t.n[0] == -1 && PyErr_Occurred()) return -1;
    } else {
        t.n[0] = f.what == operation::c2r ? real_length(shape[axis]) : shape[axis];
    }
    return t.n[0] < 1 ? invalid_length(f, t.n, 1) : 0;
}

int resolve_axes(transform &t, const function &f, const arguments &a, int ndim,
                 const npy_intp *shape) {
    int64_t axes[max_ndim], lengths[max_ndim];
    int naxes = -1, nlengths = -1;
    if (given(a.lengths)) {
        nlengths = parse_integers(a.lengths, lengths, "shape");
        if (nlengths < 0) return -1;
    }
    if (a.axes ? a.axes != Py_None : f.axes == extent::two) {
        if (a.axes) {
            naxes = parse_integers(a.axes, axes, "axes");
            if (naxes < 0) return -1;
        } else {
            naxes = 2;
            axes[0] = -2;
            axes[1] = -1;
        }
        if (nlengths >= 0 && naxes != nlengths) {
            PyErr_SetString(PyExc_ValueError,
                            f.like_numpy ? "Shape and axes have different lengths."
                                         : "when given, axes and shape arguments have to be of the "
                                           "same length");
            return -1;
        }
        for (int k = 0; k < naxes; ++k) {
            if (axes[k] < -ndim || axes[k] >= ndim) {
                PyErr_Format(axis_error, "axes exceeds dimensionality of input: axis %lld of %d",
                             static_cast<long long>(axes[k]), ndim);
                return -1;
            }
            if (axes[k] < 0) axes[k] += ndim;
            for (int j = 0; j < k; ++j)
                if (axes[j] == axes[k]) {
                    PyErr_SetString(PyExc_ValueError, "all axes must be unique");
                    return -1;
                }
        }
    } else {
        naxes = nlengths >= 0 ? nlengths : ndim;
        if (naxes > ndim) {
            PyErr_SetString(axis_error, "shape requires more axes than are present");
            return -1;
        }
        for (int k = 0; k < naxes; ++k) axes[k] = ndim - naxes + k;
    }
    if (naxes == 0 && f.what != operation::c2c && f.what != operation::r2r) {
        PyErr_SetString(f.like_numpy ? PyExc_IndexError : PyExc_ValueError,
                        "at least 1 axis must be transformed");
        return -1;
    }
    bool valid = true;
    t.naxes = naxes;
    for (int k = 0; k < naxes; ++k) {
        t.axes[k] = static_cast<int>(axes[k]);
        // SciPy: -1 keeps the length of the input.
        const bool stays = nlengths >= 0 && lengths[k] == -1 && !f.like_numpy;
        if (nlengths < 0 && f.what == operation::c2r && k == naxes - 1)
            // SciPy: a single number is the transform of one.
            t.n[k] = shape[axes[k]] == 1 && !f.like_numpy ? 1 : real_length(shape[axes[k]]);
        else
            t.n[k] = nlengths < 0 || stays ? shape[axes[k]] : lengths[k];
        valid &= t.n[k] >= 1;
    }
    return valid ? 0 : invalid_length(f, t.n, naxes);
}

// Library kinds of types 1 to 4.
constexpr int32_t cosine_kinds[4] = {LYR_FFT_REDFT00, LYR_FFT_REDFT10, LYR_FFT_REDFT01,
                                     LYR_FFT_REDFT11};
constexpr int32_t sine_kinds[4] = {LYR_FFT_RODFT00, LYR_FFT_RODFT10, LYR_FFT_RODFT01,
                                   LYR_FFT_RODFT11};

// Type and norm of a cosine or sine transform.
int resolve_type(request &r, const arguments &a, norm scaling) {
    const function &f = *r.f;
    const char *const name = f.sine ? "DST" : "DCT";
    int64_t type = 2;
    if (a.type) {
        type = as_integer(a.type);
        if (type == -1 && PyErr_Occurred()) return -1;
    }
    if (type < 1 || type > 4) {
        PyErr_Format(PyExc_ValueError, "invalid %s type %lld, should be 1, 2, 3 or 4", name,
                     static_cast<long long>(type));
        return -1;
    }
    if (f.inverse && (type == 2 || type == 3)) type = 5 - type;
    r.t.kind = (f.sine ? sine_kinds : cosine_kinds)[type - 1];

    double n = 1;
    const int64_t more = type != 1 ? 0 : f.sine ? 1 : -1;
    for (int k = 0; k < r.t.naxes; ++k) {
        n *= 2 * static_cast<double>(r.t.n[k] + more);
        if (n <= 0) {
            PyErr_SetString(PyExc_ValueError, "DCT-I needs at least 2 data points");
            return -1;
        }
    }
    int orthogonal = scaling == norm::ortho;
    if (given(a.orthogonalize)) {
        orthogonal = PyObject_IsTrue(a.orthogonalize);
        if (orthogonal < 0) return -1;
    }
    r.factor = scaling == norm::ortho                     ? 1 / std::sqrt(n)
               : (scaling == norm::backward) == f.inverse ? 1 / n
                                                          : 1;
    // As SciPy, the first element also of DST-II and III, where the last one would make the matrix
    // orthogonal.
    const bool both = type == 1 && !f.sine;
    r.first_in = orthogonal && (both || type == 3);
    r.first_out = orthogonal && (both || type == 2);
    r.last_in = r.last_out = orthogonal && both;
    return 0;
}

}  // namespace

int prepare_calls() {
    signature *const all[] = {&fourier_one, &fourier_many, &real_one,
                              &real_many,   &numpy_one,    &numpy_many};
    for (signature *s : all)
        for (int k = 0; k < s->count; ++k) {
            s->list[k].interned = PyUnicode_InternFromString(s->list[k].name);
            if (!s->list[k].interned) return -1;
        }
    numpy_keeps_single = PyArray_GetNDArrayCVersion() >= 0x02000000;
    word_backward = PyUnicode_InternFromString("backward");
    word_ortho = PyUnicode_InternFromString("ortho");
    word_forward = PyUnicode_InternFromString("forward");
    word_real = PyUnicode_InternFromString("real");
    if (!word_backward || !word_ortho || !word_forward || !word_real) return -1;

    PyObject *home = PyImport_ImportModule("numpy.exceptions");  // since NumPy 1.25
    if (!home) {
        PyErr_Clear();
        home = PyImport_ImportModule("numpy");
    }
    if (!home) return -1;
    axis_error = PyObject_GetAttrString(home, "AxisError");
    Py_DECREF(home);
    return axis_error ? 0 : -1;
}

int parse_arguments(const function &f, arguments &a, PyObject *const *args, Py_ssize_t count,
                    PyObject *names) {
    const signature &s = signature_of(f);
    if (count > s.positional) {
        PyErr_Format(PyExc_TypeError, "%s() takes at most %d positional arguments (%zd given)",
                     f.name, s.positional, count);
        return -1;
    }
    for (Py_ssize_t k = 0; k < count; ++k) a.*(s.list[k].to) = args[k];
    const Py_ssize_t named = names ? PyTuple_GET_SIZE(names) : 0;
    for (Py_ssize_t k = 0; k < named; ++k) {
        PyObject *const name = PyTuple_GET_ITEM(names, k);
        int at = 0;
        while (at < s.count && s.list[at].interned != name) ++at;
        if (at == s.count)
            for (at = 0; at < s.count && !is_word(name, s.list[at].interned);) ++at;
        if (at == s.count) {
            PyErr_Format(PyExc_TypeError, "%s() got an unexpected keyword argument %R", f.name,
                         name);
            return -1;
        }
        if (at < count) {
            PyErr_Format(PyExc_TypeError, "%s() got multiple values for argument %R", f.name, name);
            return -1;
        }
        a.*(s.list[at].to) = args[count + k];
    }
    if (!a.x) {
        PyErr_Format(PyExc_TypeError, "%s() missing required argument '%s'", f.name,
                     s.list[0].name);
        return -1;
    }
    return 0;
}

int32_t parse_workers(PyObject *workers) {
    if (!given(workers)) return default_workers;
    const int64_t w = as_integer(workers);
    if (w == -1 && PyErr_Occurred()) return -1;
    if (w == 0) {
        PyErr_SetString(PyExc_ValueError, "workers must not be zero");
        return -1;
    }
    constexpr int64_t most = 512;  // threads of a plan
    if (w > 0) return static_cast<int32_t>(w < most ? w : most);
    const int64_t processors = sysconf(_SC_NPROCESSORS_ONLN);
    if (w < -processors) {
        PyErr_Format(PyExc_ValueError,
                     "workers value out of range; got %lld, must not be less than %lld",
                     static_cast<long long>(w), static_cast<long long>(-processors));
        return -1;
    }
    const int64_t all = processors + 1 + w;
    return static_cast<int32_t>(all < most ? all : most);
}

bool is_complex(int type) {
    return type == NPY_CDOUBLE || type == NPY_CFLOAT;
}

namespace {

bool is_single(int type) {
    return type == NPY_FLOAT || type == NPY_CFLOAT || type == NPY_HALF;
}

}  // namespace

int make_request(request &r, const function &f, const arguments &a, int type, int ndim,
                 const npy_intp *shape) {
    r.f = &f;
    transform &t = r.t;
    t.what = f.what;
    t.sign = f.inverse ? 1 : -1;
    t.kind = 0;
    r.complex_input = is_complex(type);
    t.single = is_single(type);
    if (f.like_numpy && !numpy_keeps_single) t.single = false;
    if (f.what == operation::r2c && r.complex_input) {
        PyErr_SetString(PyExc_TypeError, "x must be a real sequence");
        return -1;
    }
    if (t.single && !has_single) {
        PyErr_SetString(PyExc_TypeError,
                        "single precision is not supported by this build of lyra_fft; convert to "
                        "double precision first, x.astype(float) or x.astype(complex)");
        return -1;
    }
    t.workers = parse_workers(a.workers);
    if (t.workers < 1) return -1;
    const int status = f.axes == extent::one ? resolve_axis(t, f, a, ndim, shape)
                                             : resolve_axes(t, f, a, ndim, shape);
    if (status != 0) return -1;
    const norm scaling = parse_norm(a.norm, f.like_numpy);
    if (scaling == norm::invalid) return -1;
    r.first_in = r.last_in = r.first_out = r.last_out = false;
    if (f.what == operation::r2r) return resolve_type(r, a, scaling);

    double n = 1;
    for (int k = 0; k < t.naxes; ++k) n *= static_cast<double>(t.n[k]);
    r.factor = scaling == norm::ortho                     ? 1 / std::sqrt(n)
               : (scaling == norm::backward) == f.inverse ? 1 / n
                                                          : 1;
    return 0;
}

PyArrayObject *as_array(PyObject *x, const function &f) {
    PyArrayObject *array;
    if (PyArray_CheckExact(x)) {
        Py_INCREF(x);
        array = reinterpret_cast<PyArrayObject *>(x);
    } else {
        array = reinterpret_cast<PyArrayObject *>(PyArray_FROM_OF(x, NPY_ARRAY_ENSUREARRAY));
        if (!array) return nullptr;
    }
    int to;
    const int type = PyArray_TYPE(array);
    switch (type) {
        case NPY_DOUBLE:
        case NPY_CDOUBLE:
        case NPY_FLOAT:
        case NPY_CFLOAT:
        case NPY_HALF:
            to = -1;
            break;
        case NPY_LONGDOUBLE:
        case NPY_CLONGDOUBLE:
            if (f.like_numpy) {
                to = type == NPY_LONGDOUBLE ? NPY_DOUBLE : NPY_CDOUBLE;
                break;
            }
            PyErr_SetString(
                PyExc_TypeError,
                f.what == operation::r2c && type == NPY_CLONGDOUBLE
                    ? "x must be a real sequence"
                    : "extended precision is not supported; convert to double precision "
                      "first, x.astype(float) or x.astype(complex)");
            Py_DECREF(array);
            return nullptr;
        default:
            // Numbers are converted where they are needed; of anything else numpy may know some.
            to = PyTypeNum_ISNUMBER(type) || PyTypeNum_ISBOOL(type) ? -1 : NPY_DOUBLE;
    }
    if (to >= 0) {
        PyArray_Descr *const descr = PyArray_DescrFromType(to);
        auto *const converted =
            reinterpret_cast<PyArrayObject *>(PyArray_CastToType(array, descr, 0));
        Py_DECREF(array);
        array = converted;
    }
    if (array && f.like_numpy && f.what == operation::r2c && is_complex(PyArray_TYPE(array))) {
        // As numpy.fft: a warning, and the imaginary parts are left out.
        PyObject *const real = PyObject_GetAttr(reinterpret_cast<PyObject *>(array), word_real);
        Py_DECREF(array);
        array = reinterpret_cast<PyArrayObject *>(real);
        PyObject *home = array ? PyImport_ImportModule("numpy") : nullptr;
        PyObject *warning = home ? PyObject_GetAttrString(home, "ComplexWarning") : nullptr;
        PyErr_Clear();
        if (PyErr_WarnEx(warning ? warning : PyExc_RuntimeWarning,
                         "Casting complex values to real discards the imaginary part", 1) < 0)
            Py_CLEAR(array);
        Py_XDECREF(warning);
        Py_XDECREF(home);
    }
    return array;
}

int result_type(const request &r) {
    const bool complex = r.t.what == operation::c2c || r.t.what == operation::r2c ||
                         (r.t.what == operation::r2r && r.complex_input);
    return complex ? (r.t.single ? NPY_CFLOAT : NPY_CDOUBLE)
                   : (r.t.single ? NPY_FLOAT : NPY_DOUBLE);
}

void result_shape(const request &r, int ndim, const npy_intp *shape, npy_intp *result) {
    for (int k = 0; k < ndim; ++k) result[k] = shape[k];
    for (int k = 0; k < r.t.naxes; ++k) result[r.t.axes[k]] = r.t.n[k];
    if (r.t.what == operation::r2c) {
        const int halved = r.t.axes[r.t.naxes - 1];
        result[halved] = result[halved] / 2 + 1;
    }
}

namespace {

// Elements that the transform reads along every dimension.
void source_shape(const request &r, int ndim, const npy_intp *shape, npy_intp *result) {
    for (int k = 0; k < ndim; ++k) result[k] = shape[k];
    for (int k = 0; k < r.t.naxes; ++k) result[r.t.axes[k]] = r.t.n[k];
    if (r.t.what == operation::c2r) {
        const int halved = r.t.axes[r.t.naxes - 1];
        result[halved] = result[halved] / 2 + 1;
    }
}

// Whether plans can work on the array as it is.
bool is_ready(PyArrayObject *a, int type) {
    if (PyArray_TYPE(a) != type || !PyArray_ISBEHAVED_RO(a)) return false;
    const npy_intp size = PyArray_ITEMSIZE(a);
    for (int k = 0; k < PyArray_NDIM(a); ++k) {
        const npy_intp stride = PyArray_STRIDE(a, k);
        if (PyArray_DIM(a, k) > 1 && (stride <= 0 || stride % size != 0)) return false;
    }
    return true;
}

// `units` elements of the view are one of the array.
void make_view(view &v, PyArrayObject *a, int units) {
    const npy_intp size = PyArray_ITEMSIZE(a) / units;
    v.data = PyArray_BYTES(a);
    v.ndim = PyArray_NDIM(a);
    for (int k = 0; k < v.ndim; ++k) {
        v.shape[k] = PyArray_DIM(a, k);
        v.stride[k] = v.shape[k] > 1 ? PyArray_STRIDE(a, k) / size : 1;
    }
}

// Part of an array, its first shape[k] elements along every dimension.
PyArrayObject *corner(PyArrayObject *a, const npy_intp *shape) {
    PyArray_Descr *const descr = PyArray_DESCR(a);
    Py_INCREF(descr);
    Py_INCREF(a);
    auto *const part = reinterpret_cast<PyArrayObject *>(PyArray_NewFromDescr(
        &PyArray_Type, descr, PyArray_NDIM(a), shape, PyArray_STRIDES(a), PyArray_DATA(a),
        PyArray_FLAGS(a) & (NPY_ARRAY_WRITEABLE | NPY_ARRAY_ALIGNED), nullptr));
    if (!part || PyArray_SetBaseObject(part, reinterpret_cast<PyObject *>(a)) != 0) {
        if (!part) Py_DECREF(a);
        Py_XDECREF(part);
        return nullptr;
    }
    return part;
}

// Copy what `to` has room for, converting as needed; zero the rest.
int copy_padded(PyArrayObject *to, PyArrayObject *from) {
    const int ndim = PyArray_NDIM(to);
    npy_intp shape[max_ndim];
    bool padded = false, cut = false;
    for (int k = 0; k < ndim; ++k) {
        const npy_intp wanted = PyArray_DIM(to, k), there = PyArray_DIM(from, k);
        padded |= there < wanted;
        cut |= there > wanted;
        shape[k] = there < wanted ? there : wanted;
    }
    if (!padded && !cut) return PyArray_CopyInto(to, from);
    if (padded && PyArray_IS_C_CONTIGUOUS(to)) {
        memset(PyArray_DATA(to), 0, static_cast<size_t>(PyArray_NBYTES(to)));
    } else if (padded) {
        PyObject *const zero = PyLong_FromLong(0);
        const int status = zero ? PyArray_FillWithScalar(to, zero) : -1;
        Py_XDECREF(zero);
        if (status != 0) return -1;
    }
    PyArrayObject *const to_part = corner(to, shape);
    PyArrayObject *const from_part = to_part ? corner(from, shape) : nullptr;
    const int status = from_part ? PyArray_CopyInto(to_part, from_part) : -1;
    Py_XDECREF(to_part);
    Py_XDECREF(from_part);
    return status;
}

int64_t elements(int ndim, const npy_intp *shape) {
    int64_t count = 1;
    for (int k = 0; k < ndim; ++k) count *= shape[k];
    return count;
}

// Arrays with fewer numbers are transformed without releasing the interpreter lock: that is done
// sooner than the lock changes hands.
constexpr int64_t short_transform = 1024;

// Everything that happens while the interpreter lock is released.
struct work {
    const request *r;
    const schedule *s;
    const transform *passes;  // as the library sees it
    const view *source, *out;
    bool conjugate_source;
    bool mirror;
    int parts;  // 2 for complex input of real transforms
};

template <typename real>
void scale_ends(const request &r, const view &v, bool first, bool last, double factor, int parts) {
    for (int k = 0; k < r.t.naxes; ++k) {
        const int axis = r.t.axes[k];
        for (int part = 0; part < parts; ++part) {
            view one = v;
            one.data += part * static_cast<int>(sizeof(real));
            if (first) scale_slice<real>(one, axis, 0, factor);
            if (last) scale_slice<real>(one, axis, r.t.n[k] - 1, factor);
        }
    }
}

template <typename real>
void run(const work &w) {
    const request &r = *w.r;
    const bool complex = r.t.what == operation::c2c || r.t.what == operation::r2c;
    if (w.conjugate_source) scale<real>(*w.source, true, 1, -1);
    if (r.first_in || r.last_in)
        scale_ends<real>(r, *w.source, r.first_in, r.last_in, std::sqrt(2.0), w.parts);
    run_schedule(*w.s);
    if (w.mirror) complete_hermitian<real>(*w.out, *w.passes);
    if (r.first_out || r.last_out)
        scale_ends<real>(r, *w.out, r.first_out, r.last_out, std::sqrt(0.5), w.parts);
    // Transforms of real data run forward alone.
    const bool conjugate = r.f->inverse && (r.t.what == operation::r2c || w.mirror);
    if (r.factor == 1 && !conjugate) return;
    for (int part = 0; part < w.parts; ++part) {
        view one = *w.out;
        one.data += part * static_cast<int>(sizeof(real));
        scale<real>(one, complex, r.factor, conjugate ? -r.factor : r.factor);
    }
}

// The passes of a transform from one array to another.
int add_passes(schedule &s, plan_cache &cache, const transform &t, const view &in, const view &out,
               int parts) {
    int status = 0;
    for (int part = 0; part < parts && status == 0; ++part) {
        view from = in, to = out;
        from.data += part * (t.single ? 4 : 8);
        to.data += part * (t.single ? 4 : 8);
        status = add_transform(s, cache, t, from, to);
    }
    if (status != 0) PyErr_SetString(PyExc_MemoryError, "no memory for the plan of a transform");
    return status;
}

bool contiguous(PyArrayObject *a) {
    return PyArray_IS_C_CONTIGUOUS(a) || PyArray_IS_F_CONTIGUOUS(a);
}

bool same_memory(PyArrayObject *a, PyArrayObject *b) {
    if (PyArray_DATA(a) != PyArray_DATA(b) || PyArray_TYPE(a) != PyArray_TYPE(b)) return false;
    for (int k = 0; k < PyArray_NDIM(a); ++k)
        if (PyArray_DIM(a, k) != PyArray_DIM(b, k) ||
            (PyArray_DIM(a, k) > 1 && PyArray_STRIDE(a, k) != PyArray_STRIDE(b, k)))
            return false;
    return true;
}

// Both strides positive or the first element's address meaningless: bounds of what an array
// touches.
void bounds(PyArrayObject *a, char *&low, char *&high) {
    low = PyArray_BYTES(a);
    high = low + PyArray_ITEMSIZE(a);
    for (int k = 0; k < PyArray_NDIM(a); ++k) {
        const npy_intp reach = (PyArray_DIM(a, k) - 1) * PyArray_STRIDE(a, k);
        (reach < 0 ? low : high) += reach;
    }
}

bool may_overlap(PyArrayObject *a, PyArrayObject *b) {
    char *a_low, *a_high, *b_low, *b_high;
    bounds(a, a_low, a_high);
    bounds(b, b_low, b_high);
    return a_low < b_high && b_low < a_high;
}

PyObject *perform(const request &r, plan_cache &cache, PyArrayObject *x, PyArrayObject *out,
                  bool overwrite, bool plan_only) {
    const int ndim = PyArray_NDIM(x);
    const operation what = r.t.what;
    // The transform of real numbers is half computed and half copied.
    const bool mirror = what == operation::c2c && !PyTypeNum_ISCOMPLEX(PyArray_TYPE(x));
    const int out_type = result_type(r);
    const bool complex_source = what == operation::c2r || (what == operation::c2c && !mirror) ||
                                (what == operation::r2r && r.complex_input);
    const int source_type = complex_source ? (r.t.single ? NPY_CFLOAT : NPY_CDOUBLE)
                                           : (r.t.single ? NPY_FLOAT : NPY_DOUBLE);
    const int parts = what == operation::r2r && r.complex_input ? 2 : 1;

    npy_intp in_shape[max_ndim], out_shape[max_ndim];
    source_shape(r, ndim, PyArray_DIMS(x), in_shape);
    result_shape(r, ndim, PyArray_DIMS(x), out_shape);
    bool padded = false, cut = false;
    for (int k = 0; k < ndim; ++k) {
        padded |= in_shape[k] > PyArray_DIM(x, k);
        cut |= in_shape[k] < PyArray_DIM(x, k);
    }
    const bool same_kind = source_type == out_type && !mirror;  // and same shape, but for c2r
    const bool ready = !padded && is_ready(x, source_type);
    const bool conjugate_source = what == operation::c2r && !r.f->inverse;
    const bool writes_source =
        conjugate_source || r.first_in || r.last_in || (what == operation::c2r && r.t.naxes > 3);

    PyArrayObject *source = nullptr;
    const bool given_out = out != nullptr;
    if (out) {
        Py_INCREF(out);
    } else if (overwrite && same_kind && ready && !cut && contiguous(x) && PyArray_ISWRITEABLE(x)) {
        Py_INCREF(x);
        out = x;
    } else {
        out = new_array(ndim, out_shape, out_type);
        if (!out) return nullptr;
    }
    if (elements(ndim, out_shape) == 0) return reinterpret_cast<PyObject *>(out);

    const bool in_place = same_kind && !cut && !padded && same_memory(x, out);
    const bool overlaps = given_out && !in_place && may_overlap(x, out);
    int status = 0;
    if (in_place || (ready && !writes_source && !overlaps)) {
        source = x;
        Py_INCREF(source);
    } else if (same_kind && !overlaps) {
        source = out;
        Py_INCREF(source);
        if (!plan_only) status = copy_padded(source, x);
    } else {
        source = new_array(ndim, in_shape, source_type);
        if (source && !plan_only) status = copy_padded(source, x);
    }
    if (!source || status != 0) {
        Py_XDECREF(source);
        Py_DECREF(out);
        return nullptr;
    }

    const int units = what == operation::r2r ? parts : 1;
    view in_view, out_view;
    make_view(in_view, source, units);
    make_view(out_view, out, units);
    transform passes = r.t;
    view half;
    const view *target = &out_view;
    if (mirror) {
        passes.what = operation::r2c;
        const int halved = passes.axes[passes.naxes - 1];
        half = out_view;
        half.shape[halved] = half.shape[halved] / 2 + 1;
        target = &half;
    }
    schedule s;
    s.count = 0;
    if (add_passes(s, cache, passes, in_view, *target, parts) != 0) {
        Py_CLEAR(out);
    } else if (!plan_only) {
        const work w = {&r, &s, &passes, &in_view, &out_view, conjugate_source, mirror, parts};
        PyThreadState *state = nullptr;
        if (elements(ndim, out_shape) >= short_transform) state = PyEval_SaveThread();
        r.t.single ? run<float>(w) : run<double>(w);
        if (state) PyEval_RestoreThread(state);
    }
    release_schedule(s);
    Py_DECREF(source);
    return reinterpret_cast<PyObject *>(out);
}

}  // namespace

PyObject *perform(const request &r, plan_cache &cache, PyArrayObject *x, PyArrayObject *out,
                  bool overwrite) {
    if (r.t.naxes == 0) {  // as SciPy: x itself
        if (out) {
            if (PyArray_CopyInto(out, x) != 0) return nullptr;
            x = out;
        }
        Py_INCREF(x);
        return reinterpret_cast<PyObject *>(x);
    }
    return perform(r, cache, x, out, overwrite, false);
}

int plan_ahead(const request &r, plan_cache &cache, int ndim, const npy_intp *shape) {
    if (r.t.naxes == 0) return 0;
    const bool complex = r.complex_input || r.t.what == operation::c2r;
    const int type =
        complex ? (r.t.single ? NPY_CFLOAT : NPY_CDOUBLE) : (r.t.single ? NPY_FLOAT : NPY_DOUBLE);
    PyArrayObject *const x = new_array(ndim, shape, type);
    if (!x) return -1;
    PyObject *const out = perform(r, cache, x, nullptr, false, true);
    Py_DECREF(x);
    Py_XDECREF(out);
    return out ? 0 : -1;
}

}  // namespace lyra_python
