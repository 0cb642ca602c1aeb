"""A backend for `scipy.fft`: with it, programs that call scipy.fft use this package unchanged.

    import lyra_fft, scipy.fft
    scipy.fft.set_global_backend(lyra_fft.scipy_backend)

or, for a part of a program,

    with scipy.fft.set_backend(lyra_fft.scipy_backend):
        y = scipy.fft.fft(x)

What is not done here falls through to SciPy: fast Hankel transforms, extended precision, arrays of
other libraries, plans.

>>> import scipy.fft
>>> import lyra_fft
>>> with scipy.fft.set_backend(lyra_fft.scipy_backend, only=True):
...     y = scipy.fft.fft([1, 0, 0, 0])
>>> y.real
array([1., 1., 1., 1.])
"""

import numpy as np

from . import _core

__all__ = ["__ua_domain__", "__ua_function__"]

__ua_domain__ = "numpy.scipy.fft"

_functions = {
    name: getattr(_core, name)
    for name in (
        "fft", "ifft", "fft2", "ifft2", "fftn", "ifftn", "rfft", "irfft", "rfft2", "irfft2", "rfftn",
        "irfftn", "hfft", "ihfft", "hfft2", "ihfft2", "hfftn", "ihfftn", "dct", "idct", "dctn",
        "idctn", "dst", "idst", "dstn", "idstn")
}
# The number of positional arguments that include workers.
_workers_at = {name: 7 if name.strip("i")[:3] in ("dct", "dst") else 6 for name in _functions}
_get_workers = None


def _meet_scipy():
    # A global backend takes SciPy's own place, which then has to wait for what is declined here.
    global _get_workers
    from scipy.fft import get_workers, register_backend
    register_backend("scipy")
    _get_workers = get_workers


# Types that NumPy turns into arrays of numbers; arrays of other libraries are theirs.
_taken = (np.ndarray, np.generic, list, tuple, int, float, complex)
_left_to_scipy = "gG" if _core.has_single else "gGfFe"


def __ua_function__(method, args, kwargs):
    if _get_workers is None:
        _meet_scipy()
    function = _functions.get(method.__name__)
    if function is None:
        return NotImplemented
    x = args[0] if args else kwargs.get("x")
    if not isinstance(x, _taken):
        if x is None or hasattr(x, "__array_function__") or not (
                hasattr(x, "__array__") or hasattr(x, "__array_interface__")):
            return NotImplemented
        x = np.asarray(x)
    dtype = getattr(x, "dtype", None)
    if dtype is not None and dtype.char in _left_to_scipy:
        return NotImplemented
    if kwargs.get("plan") is not None:
        return NotImplemented
    if kwargs.get("workers") is None and len(args) < _workers_at[method.__name__]:
        workers = _get_workers()  # of scipy.fft.set_workers
        if workers != 1:
            kwargs["workers"] = workers
    return function(*args, **kwargs)
