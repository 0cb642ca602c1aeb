// The module lyra_fft._core: functions, the Plan type, and settings.
#define LYRA_PYTHON_IMPORTS_NUMPY
#include <cstdio>
#include <cstring>

#include "call.h"
#include "library.h"
#include "memory.h"

namespace lyra_python {

namespace {

plan_cache shared_cache;
constexpr size_t default_cache_bytes = 64 << 20;

enum function_index : int {
    fft_,
    ifft_,
    fft2_,
    ifft2_,
    fftn_,
    ifftn_,
    rfft_,
    irfft_,
    rfft2_,
    irfft2_,
    rfftn_,
    irfftn_,
    hfft_,
    ihfft_,
    hfft2_,
    ihfft2_,
    hfftn_,
    ihfftn_,
    dct_,
    idct_,
    dctn_,
    idctn_,
    dst_,
    idst_,
    dstn_,
    idstn_,
};

#define LYRA_FOURIER(name, what, inverse, axes) \
    { #name, operation::what, inverse, false, extent::axes, false }
#define LYRA_REAL(name, inverse, sine, axes) \
    { #name, operation::r2r, inverse, sine, extent::axes, false }
const function functions[] = {
    LYRA_FOURIER(fft, c2c, false, one),    LYRA_FOURIER(ifft, c2c, true, one),
    LYRA_FOURIER(fft2, c2c, false, two),   LYRA_FOURIER(ifft2, c2c, true, two),
    LYRA_FOURIER(fftn, c2c, false, many),  LYRA_FOURIER(ifftn, c2c, true, many),
    LYRA_FOURIER(rfft, r2c, false, one),   LYRA_FOURIER(irfft, c2r, true, one),
    LYRA_FOURIER(rfft2, r2c, false, two),  LYRA_FOURIER(irfft2, c2r, true, two),
    LYRA_FOURIER(rfftn, r2c, false, many), LYRA_FOURIER(irfftn, c2r, true, many),
    LYRA_FOURIER(hfft, c2r, false, one),   LYRA_FOURIER(ihfft, r2c, true, one),
    LYRA_FOURIER(hfft2, c2r, false, two),  LYRA_FOURIER(ihfft2, r2c, true, two),
    LYRA_FOURIER(hfftn, c2r, false, many), LYRA_FOURIER(ihfftn, r2c, true, many),
    LYRA_REAL(dct, false, false, one),     LYRA_REAL(idct, true, false, one),
    LYRA_REAL(dctn, false, false, many),   LYRA_REAL(idctn, true, false, many),
    LYRA_REAL(dst, false, true, one),      LYRA_REAL(idst, true, true, one),
    LYRA_REAL(dstn, false, true, many),    LYRA_REAL(idstn, true, true, many),
};

// ---- Functions -------------------------------------------------------------------------------

PyObject *call_plan(PyObject *plan, const function &f, PyArrayObject *x, const request &r);

PyObject *call(const function &f, PyObject *const *args, Py_ssize_t count, PyObject *names) {
    arguments a = {};
    if (parse_arguments(f, a, args, count, names) != 0) return nullptr;
    int overwrite = 0;
    if (a.overwrite && a.overwrite != Py_False) {
        overwrite = PyObject_IsTrue(a.overwrite);
        if (overwrite < 0) return nullptr;
    }
    PyArrayObject *const x = as_array(a.x, f);
    if (!x) return nullptr;
    request r;
    PyObject *result = nullptr;
    if (make_request(r, f, a, PyArray_TYPE(x), PyArray_NDIM(x), PyArray_DIMS(x)) == 0) {
        if (a.plan && a.plan != Py_None)
            result = call_plan(a.plan, f, x, r);
        else
            result = perform(r, shared_cache, x, nullptr, overwrite != 0);
    }
    Py_DECREF(x);
    return result;
}

template <int index>
PyObject *entry(PyObject *, PyObject *const *args, Py_ssize_t count, PyObject *names) {
    return call(functions[index], args, count, names);
}

// The same transform with numpy.fft's parameters.
template <int index>
PyObject *numpy_entry(PyObject *, PyObject *const *args, Py_ssize_t count, PyObject *names) {
    static const function f = [] {
        function like = functions[index];
        like.like_numpy = true;
        return like;
    }();
    return call(f, args, count, names);
}

// ---- Plan ------------------------------------------------------------------------------------

struct plan_object {
    PyObject_HEAD request r;
    plan_cache cache;  // of this plan alone, without a bound
    int type;          // of the input
    int ndim;
    npy_intp shape[max_ndim];
};

PyTypeObject *plan_type;

PyObject *execute(plan_object *self, PyArrayObject *x, PyArrayObject *out) {
    if (PyArray_NDIM(x) != self->ndim || PyArray_TYPE(x) != self->type ||
        !PyArray_CompareLists(PyArray_DIMS(x), self->shape, self->ndim)) {
        PyErr_Format(PyExc_ValueError,
                     "%R cannot be executed on an array of another shape or dtype", self);
        return nullptr;
    }
    if (out) {
        npy_intp shape[max_ndim];
        result_shape(self->r, self->ndim, self->shape, shape);
        if (PyArray_NDIM(out) != self->ndim || PyArray_TYPE(out) != result_type(self->r) ||
            !PyArray_CompareLists(PyArray_DIMS(out), shape, self->ndim)) {
            PyErr_SetString(PyExc_ValueError, "out has another shape or dtype than the result");
            return nullptr;
        }
        bool usable = PyArray_ISBEHAVED(out);
        for (int k = 0; k < self->ndim; ++k) {
            const npy_intp stride = PyArray_STRIDE(out, k);
            usable &=
                PyArray_DIM(out, k) < 2 || (stride > 0 && stride % PyArray_ITEMSIZE(out) == 0);
        }
        if (!usable) {
            PyErr_SetString(PyExc_ValueError,
                            "out must be writeable, aligned, in native byte order, and its strides "
                            "positive multiples of its item size");
            return nullptr;
        }
    }
    return perform(self->r, self->cache, x, out, false);
}

PyObject *plan_execute(PyObject *object, PyObject *args, PyObject *names) {
    auto *const self = reinterpret_cast<plan_object *>(object);
    static const char *keywords[] = {"x", "out", nullptr};
    PyObject *in, *to = nullptr;
    if (!PyArg_ParseTupleAndKeywords(args, names, "O|O:execute", const_cast<char **>(keywords), &in,
                                     &to))
        return nullptr;
    if (to == Py_None) to = nullptr;
    if (to && !PyArray_Check(to)) {
        PyErr_SetString(PyExc_TypeError, "out must be an array");
        return nullptr;
    }
    PyArrayObject *const x = as_array(in, *self->r.f);
    if (!x) return nullptr;
    PyObject *const result = execute(self, x, reinterpret_cast<PyArrayObject *>(to));
    Py_DECREF(x);
    return result;
}

bool same_request(const request &a, const request &b) {
    if (a.t.naxes != b.t.naxes || a.factor != b.factor || a.t.kind != b.t.kind ||
        a.first_in != b.first_in || a.last_in != b.last_in || a.first_out != b.first_out ||
        a.last_out != b.last_out)
        return false;
    for (int k = 0; k < a.t.naxes; ++k)
        if (a.t.axes[k] != b.t.axes[k] || a.t.n[k] != b.t.n[k]) return false;
    return a.t.what == b.t.what && a.f->inverse == b.f->inverse;
}

PyObject *call_plan(PyObject *plan, const function &f, PyArrayObject *x, const request &r) {
    if (!PyObject_TypeCheck(plan, plan_type)) {
        PyErr_Format(PyExc_TypeError, "%s(): plan must be a lyra_fft.Plan, not %.100s", f.name,
                     Py_TYPE(plan)->tp_name);
        return nullptr;
    }
    auto *const self = reinterpret_cast<plan_object *>(plan);
    if (!same_request(self->r, r)) {
        PyErr_Format(PyExc_ValueError, "%s(): %R is for another transform", f.name, plan);
        return nullptr;
    }
    return execute(self, x, nullptr);
}

const function *function_named(PyObject *name) {
    const char *const text = PyUnicode_AsUTF8(name);
    if (!text) return nullptr;
    for (const function &f : functions)
        if (strcmp(f.name, text) == 0) return &f;
    PyErr_Format(PyExc_ValueError,
                 "no transform is called %R; there are fft, ifft, rfft, irfft, "
                 "hfft, ihfft, dct, idct, dst, idst, and each with n or (not dct, dst) 2 behind it",
                 name);
    return nullptr;
}

PyObject *plan_new(PyTypeObject *type, PyObject *args, PyObject *names) {
    static const char *keywords[] = {"shape", "axes",    "dtype", "transform",     "s",
                                     "norm",  "workers", "type",  "orthogonalize", nullptr};
    PyObject *shape_object, *axes = nullptr, *transform = nullptr;
    PyArray_Descr *descr = nullptr;
    arguments a = {};
    if (!PyArg_ParseTupleAndKeywords(args, names, "O|OO&U$OOOOO:Plan",
                                     const_cast<char **>(keywords), &shape_object, &axes,
                                     PyArray_DescrConverter2, &descr, &transform, &a.lengths,
                                     &a.norm, &a.workers, &a.type, &a.orthogonalize)) {
        Py_XDECREF(descr);
        return nullptr;
    }
    PyArray_Dims dims = {nullptr, 0};
    const function *f = &functions[fftn_];
    if (transform) f = function_named(transform);
    plan_object *self = nullptr;
    if (f && PyArray_IntpConverter(shape_object, &dims) && dims.ptr)
        self = reinterpret_cast<plan_object *>(type->tp_alloc(type, 0));
    if (self) {
        const bool complex = f->what == operation::c2c || f->what == operation::c2r;
        self->type = descr ? descr->type_num : complex ? NPY_CDOUBLE : NPY_DOUBLE;
        self->cache.limit = SIZE_MAX;
        self->ndim = dims.len;
        bool valid = dims.len <= max_ndim;
        for (int k = 0; k < dims.len && valid; ++k) {
            self->shape[k] = dims.ptr[k];
            valid = dims.ptr[k] >= 1;
        }
        const bool floating = self->type == NPY_DOUBLE || self->type == NPY_CDOUBLE ||
                              self->type == NPY_FLOAT || self->type == NPY_CFLOAT;
        a.axes = axes;
        if (!valid)
            PyErr_SetString(PyExc_ValueError, "every length of shape must be at least 1");
        else if (!floating || (descr && !PyArray_ISNBO(descr->byteorder)))
            PyErr_SetString(PyExc_TypeError,
                            "dtype must be float32, float64, complex64 or "
                            "complex128 in native byte order");
        else if (f->what == operation::c2r && !is_complex(self->type))
            PyErr_Format(PyExc_TypeError, "dtype of %s must be complex", f->name);
        if (PyErr_Occurred() || make_request(self->r, *f, a, self->type, self->ndim, self->shape) ||
            plan_ahead(self->r, self->cache, self->ndim, self->shape))
            Py_CLEAR(self);
    }
    PyDimMem_FREE(dims.ptr);
    Py_XDECREF(descr);
    return reinterpret_cast<PyObject *>(self);
}

void plan_dealloc(PyObject *object) {
    auto *const self = reinterpret_cast<plan_object *>(object);
    trim_cache(self->cache, 0);
    PyTypeObject *const type = Py_TYPE(object);
    type->tp_free(object);
    Py_DECREF(type);
}

PyObject *tuple_of(int count, const npy_intp *numbers) {
    PyObject *const tuple = PyTuple_New(count);
    for (int k = 0; tuple && k < count; ++k) {
        PyObject *const number = PyLong_FromSsize_t(numbers[k]);
        if (!number) {
            Py_DECREF(tuple);
            return nullptr;
        }
        PyTuple_SET_ITEM(tuple, k, number);
    }
    return tuple;
}

PyObject *plan_shape(PyObject *object, void *) {
    auto *const self = reinterpret_cast<plan_object *>(object);
    return tuple_of(self->ndim, self->shape);
}

PyObject *plan_result_shape(PyObject *object, void *) {
    auto *const self = reinterpret_cast<plan_object *>(object);
    npy_intp shape[max_ndim];
    result_shape(self->r, self->ndim, self->shape, shape);
    return tuple_of(self->ndim, shape);
}

PyObject *plan_axes(PyObject *object, void *) {
    auto *const self = reinterpret_cast<plan_object *>(object);
    npy_intp axes[max_ndim];
    for (int k = 0; k < self->r.t.naxes; ++k) axes[k] = self->r.t.axes[k];
    return tuple_of(self->r.t.naxes, axes);
}

PyObject *plan_dtype(PyObject *object, void *) {
    return reinterpret_cast<PyObject *>(
        PyArray_DescrFromType(reinterpret_cast<plan_object *>(object)->type));
}

PyObject *plan_result_dtype(PyObject *object, void *) {
    return reinterpret_cast<PyObject *>(
        PyArray_DescrFromType(result_type(reinterpret_cast<plan_object *>(object)->r)));
}

PyObject *plan_transform(PyObject *object, void *) {
    return PyUnicode_FromString(reinterpret_cast<plan_object *>(object)->r.f->name);
}

PyObject *plan_workers(PyObject *object, void *) {
    return PyLong_FromLong(reinterpret_cast<plan_object *>(object)->r.t.workers);
}

PyObject *plan_repr(PyObject *object) {
    PyObject *const shape = plan_shape(object, nullptr);
    PyObject *const axes = plan_axes(object, nullptr);
    PyObject *const dtype = plan_dtype(object, nullptr);
    auto *const self = reinterpret_cast<plan_object *>(object);
    PyObject *text = nullptr;
    if (shape && axes && dtype)
        text = PyUnicode_FromFormat("<lyra_fft.Plan: %s of shape %R, axes %R, %S>", self->r.f->name,
                                    shape, axes, dtype);
    Py_XDECREF(shape);
    Py_XDECREF(axes);
    Py_XDECREF(dtype);
    return text;
}

PyMethodDef plan_methods[] = {
    {"execute", reinterpret_cast<PyCFunction>(reinterpret_cast<void *>(plan_execute)),
     METH_VARARGS | METH_KEYWORDS, nullptr},
    {nullptr, nullptr, 0, nullptr}};

PyGetSetDef plan_attributes[] = {
    {"shape", plan_shape, nullptr, "Shape of the input.", nullptr},
    {"dtype", plan_dtype, nullptr, "Data type of the input.", nullptr},
    {"result_shape", plan_result_shape, nullptr, "Shape of the result.", nullptr},
    {"result_dtype", plan_result_dtype, nullptr, "Data type of the result.", nullptr},
    {"axes", plan_axes, nullptr, "The transformed axes.", nullptr},
    {"transform", plan_transform, nullptr, "Name of the function.", nullptr},
    {"workers", plan_workers, nullptr, "Number of threads.", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr}};

PyType_Slot plan_slots[] = {{Py_tp_new, reinterpret_cast<void *>(plan_new)},
                            {Py_tp_dealloc, reinterpret_cast<void *>(plan_dealloc)},
                            {Py_tp_repr, reinterpret_cast<void *>(plan_repr)},
                            {Py_tp_methods, plan_methods},
                            {Py_tp_getset, plan_attributes},

                            {0, nullptr}};

PyType_Spec plan_spec = {"lyra_fft.Plan", sizeof(plan_object), 0, Py_TPFLAGS_DEFAULT, plan_slots};

// ---- Settings --------------------------------------------------------------------------------

PyObject *get_workers(PyObject *, PyObject *) {
    return PyLong_FromLong(default_workers);
}

PyObject *set_default_workers(PyObject *, PyObject *workers) {
    const int32_t count = parse_workers(workers);
    if (count < 1) return nullptr;
    default_workers = count;
    Py_RETURN_NONE;
}

PyObject *plan_cache_info(PyObject *, PyObject *) {
    return Py_BuildValue("{s:n,s:n,s:n,s:K,s:K}", "plans", shared_cache.count, "bytes",
                         shared_cache.bytes, "limit", shared_cache.limit, "hits",
                         static_cast<unsigned long long>(shared_cache.hits), "misses",
                         static_cast<unsigned long long>(shared_cache.misses));
}

// A number of bytes; -1 with an exception set.
Py_ssize_t limit_of(PyObject *limit) {
    const Py_ssize_t bytes = PyNumber_AsSsize_t(limit, PyExc_OverflowError);
    if (bytes == -1 && PyErr_Occurred()) return -1;
    if (bytes < 0) {
        PyErr_SetString(PyExc_ValueError, "the limit must not be negative");
        return -1;
    }
    return bytes;
}

PyObject *set_plan_cache_limit(PyObject *, PyObject *limit) {
    const Py_ssize_t bytes = limit_of(limit);
    if (bytes < 0) return nullptr;
    shared_cache.limit = static_cast<size_t>(bytes);
    trim_cache(shared_cache, shared_cache.limit);
    Py_RETURN_NONE;
}

PyObject *set_kept_memory_limit(PyObject *, PyObject *limit) {
    const Py_ssize_t bytes = limit_of(limit);
    if (bytes < 0) return nullptr;
    limit_kept_memory(static_cast<size_t>(bytes));
    Py_RETURN_NONE;
}

PyObject *clear_plan_cache(PyObject *, PyObject *) {
    trim_cache(shared_cache, 0);
    Py_RETURN_NONE;
}

// The smallest product of the primes 2 and primes[0 .. count-1] that is at least `target` and
// contains `odd`, or `best` if that is smaller.
uint64_t next_product(uint64_t target, uint64_t odd, const unsigned *primes, int count,
                      uint64_t best) {
    for (; odd < best; odd *= primes[0]) {
        if (count > 0) best = next_product(target, odd, primes + 1, count - 1, best);
        uint64_t n = odd;
        while (n < target) n *= 2;
        if (n < best) best = n;
        if (count == 0) break;
    }
    return best;
}

PyObject *next_fast_len(PyObject *, PyObject *args, PyObject *names) {
    static const char *keywords[] = {"target", "real", nullptr};
    PyObject *object;
    int real = 0;
    if (!PyArg_ParseTupleAndKeywords(args, names, "O|p:next_fast_len",
                                     const_cast<char **>(keywords), &object, &real))
        return nullptr;
    const Py_ssize_t target = PyNumber_AsSsize_t(object, PyExc_ValueError);
    if (target == -1 && PyErr_Occurred()) return nullptr;
    constexpr unsigned primes[] = {3, 5, 7, 11, 0};
    if (target < 0 || target > (Py_ssize_t{1} << 40)) {
        PyErr_Format(PyExc_ValueError, "target must be between 0 and 2**40, not %zd", target);
        return nullptr;
    }
    if (target == 0) return PyLong_FromLong(0);
    return PyLong_FromUnsignedLongLong(
        next_product(static_cast<uint64_t>(target), 1, primes, real ? 2 : 4, UINT64_MAX));
}

PyObject *set_docs(PyObject *, PyObject *docs);

template <class callable>
PyCFunction as_method(callable f) {
    return reinterpret_cast<PyCFunction>(reinterpret_cast<void *>(f));
}

#define LYRA_METHOD(name) \
    { #name, as_method(entry <name##_>), METH_FASTCALL | METH_KEYWORDS, nullptr }
#define LYRA_NUMPY_METHOD(name) \
    { "numpy_" #name, as_method(numpy_entry<name##_>), METH_FASTCALL | METH_KEYWORDS, nullptr }

PyMethodDef methods[] = {
    LYRA_METHOD(fft),
    LYRA_METHOD(ifft),
    LYRA_METHOD(fft2),
    LYRA_METHOD(ifft2),
    LYRA_METHOD(fftn),
    LYRA_METHOD(ifftn),
    LYRA_METHOD(rfft),
    LYRA_METHOD(irfft),
    LYRA_METHOD(rfft2),
    LYRA_METHOD(irfft2),
    LYRA_METHOD(rfftn),
    LYRA_METHOD(irfftn),
    LYRA_METHOD(hfft),
    LYRA_METHOD(ihfft),
    LYRA_METHOD(hfft2),
    LYRA_METHOD(ihfft2),
    LYRA_METHOD(hfftn),
    LYRA_METHOD(ihfftn),
    LYRA_METHOD(dct),
    LYRA_METHOD(idct),
    LYRA_METHOD(dctn),
    LYRA_METHOD(idctn),
    LYRA_METHOD(dst),
    LYRA_METHOD(idst),
    LYRA_METHOD(dstn),
    LYRA_METHOD(idstn),
    LYRA_NUMPY_METHOD(fft),
    LYRA_NUMPY_METHOD(ifft),
    LYRA_NUMPY_METHOD(fft2),
    LYRA_NUMPY_METHOD(ifft2),
    LYRA_NUMPY_METHOD(fftn),
    LYRA_NUMPY_METHOD(ifftn),
    LYRA_NUMPY_METHOD(rfft),
    LYRA_NUMPY_METHOD(irfft),
    LYRA_NUMPY_METHOD(rfft2),
    LYRA_NUMPY_METHOD(irfft2),
    LYRA_NUMPY_METHOD(rfftn),
    LYRA_NUMPY_METHOD(irfftn),
    LYRA_NUMPY_METHOD(hfft),
    LYRA_NUMPY_METHOD(ihfft),
    {"next_fast_len", as_method(next_fast_len), METH_VARARGS | METH_KEYWORDS, nullptr},
    {"get_workers", get_workers, METH_NOARGS, nullptr},
    {"_set_workers", set_default_workers, METH_O, nullptr},
    {"plan_cache_info", plan_cache_info, METH_NOARGS, nullptr},
    {"set_plan_cache_limit", set_plan_cache_limit, METH_O, nullptr},
    {"set_kept_memory_limit", set_kept_memory_limit, METH_O, nullptr},
    {"clear_plan_cache", clear_plan_cache, METH_NOARGS, nullptr},
    {"_set_docs", set_docs, METH_O, nullptr},
    {nullptr, nullptr, 0, nullptr}};

// A copy that stays as long as the process, like the text of a literal.
char *lasting(PyObject *text) {
    Py_ssize_t size;
    const char *const utf8 = PyUnicode_AsUTF8AndSize(text, &size);
    auto *const copy =
        utf8 ? static_cast<char *>(PyObject_Malloc(static_cast<size_t>(size) + 1)) : nullptr;
    if (copy)
        memcpy(copy, utf8, static_cast<size_t>(size) + 1);
    else if (utf8)
        PyErr_NoMemory();
    return copy;
}

// Docstrings, with signatures in front of them, are written in Python: a dict by name.
PyObject *set_docs(PyObject *, PyObject *docs) {
    PyObject *name, *text;
    for (Py_ssize_t at = 0; PyDict_Next(docs, &at, &name, &text);) {
        char *const doc = lasting(text);
        const char *const key = doc ? PyUnicode_AsUTF8(name) : nullptr;
        if (!key) return nullptr;
        if (strcmp(key, "Plan") == 0) {
            PyObject_Free(const_cast<char *>(plan_type->tp_doc));
            plan_type->tp_doc = doc;
            const char *const behind = strstr(doc, "\n--\n\n");
            PyObject *const shown = PyUnicode_FromString(behind ? behind + 5 : doc);
            const int status = shown
                                   ? PyObject_SetAttrString(reinterpret_cast<PyObject *>(plan_type),
                                                            "__doc__", shown)
                                   : -1;
            Py_XDECREF(shown);
            if (status != 0) return nullptr;
            continue;
        }
        PyMethodDef *const lists[] = {methods, plan_methods};
        for (PyMethodDef *m : lists)
            for (; m->ml_name; ++m)
                if (strcmp(m->ml_name, key) == 0) m->ml_doc = doc;
    }
    Py_RETURN_NONE;
}

PyModuleDef definition = {PyModuleDef_HEAD_INIT,
                          "lyra_fft._core",
                          nullptr,
                          -1,
                          methods,
                          nullptr,
                          nullptr,
                          nullptr,
                          nullptr};

}  // namespace

}  // namespace lyra_python

PyMODINIT_FUNC PyInit__core() {
    using namespace lyra_python;
    import_array();
    shared_cache.limit = default_cache_bytes;
    if (prepare_calls() != 0 || prepare_memory() != 0) return nullptr;
    PyObject *const module = PyModule_Create(&definition);
    if (!module) return nullptr;
    plan_type = reinterpret_cast<PyTypeObject *>(PyType_FromSpec(&plan_spec));
    if (!plan_type || PyModule_AddType(module, plan_type) != 0 ||
        PyModule_AddObject(module, "has_single", PyBool_FromLong(has_single)) != 0) {
        Py_DECREF(module);
        return nullptr;
    }
    return module;
}
