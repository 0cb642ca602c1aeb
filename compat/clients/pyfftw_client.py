"""pyFFTW: its classes, builders and interfaces, on arrays of many shapes, axes and strides.

Prints a line of figures for every transform; what pyFFTW itself refuses is printed as such.
"""
import itertools

import numpy
import pyfftw

pyfftw.config.NUM_THREADS = 1
pyfftw.config.PLANNER_EFFORT = "FFTW_ESTIMATE"
quick = ("FFTW_ESTIMATE",)  # the original takes minutes otherwise
random = numpy.random.RandomState(7)


def show(name, y):
    y = numpy.asarray(y, dtype=complex).ravel()
    w = numpy.cos(0.7 * numpy.arange(y.size))
    s = (y * w).sum()
    print(f"{name} {numpy.linalg.norm(y):.9e} {s.real:.9e} {s.imag:.9e}")


def attempt(name, function):
    try:
        show(name, function())
    except (ValueError, RuntimeError, NotImplementedError) as error:
        print(name, type(error).__name__)


def complex_random(shape):
    return random.standard_normal(shape) + 1j * random.standard_normal(shape)


# The class: complex, real and real-to-real, over any axes, in place or not, with strides.
shapes = [(16,), (97,), (12, 10), (5, 6, 7), (4, 3, 6, 5), (3, 4, 2, 5, 4)]
for shape in shapes:
    rank = len(shape)
    for count in range(1, rank + 1):
        for axes in itertools.combinations(range(rank), count):
            for direction in ("FFTW_FORWARD", "FFTW_BACKWARD"):
                a = pyfftw.empty_aligned(shape, "complex128")
                b = pyfftw.empty_aligned(shape, "complex128")
                plan = pyfftw.FFTW(a, b, axes=axes, direction=direction, flags=quick)
                a[:] = complex_random(shape)
                show(f"c2c {shape} {axes} {direction}", plan())
                inside = pyfftw.FFTW(a, a, axes=axes, direction=direction, threads=2, flags=quick)
                a[:] = complex_random(shape)
                show(f"c2c {shape} {axes} {direction} in place", inside())
            last = axes[-1]
            half = list(shape)
            half[last] = shape[last] // 2 + 1
            x = pyfftw.empty_aligned(shape, "float64")
            y = pyfftw.empty_aligned(half, "complex128")
            forward = pyfftw.FFTW(x, y, axes=axes, flags=quick)
            back = pyfftw.FFTW(y, x, axes=axes, direction="FFTW_BACKWARD", flags=quick)
            x[:] = random.standard_normal(shape)
            show(f"r2c {shape} {axes}", forward())
            show(f"c2r {shape} {axes}", back())
for kind in ("FFTW_REDFT00", "FFTW_REDFT10", "FFTW_REDFT01", "FFTW_REDFT11", "FFTW_RODFT00",
             "FFTW_RODFT10", "FFTW_RODFT01", "FFTW_RODFT11"):
    x, y = (pyfftw.empty_aligned((6, 9), "float64") for _ in range(2))
    plan = pyfftw.FFTW(x, y, axes=(0, 1), direction=(kind, kind))
    x[:] = random.standard_normal(x.shape)
    show(kind, plan())
big = complex_random((20, 24))
views = [big[::2, ::3], big[1::3, ::2].T, big[:7, :5], big[::-1, ::-1][:8, :8]]
for number, view in enumerate(views):
    out = numpy.empty(view.shape, complex)
    attempt(f"view {number}", lambda: pyfftw.FFTW(view, out, axes=(0, 1), flags=("FFTW_ESTIMATE",))())

# New arrays, normalising.
plan = pyfftw.builders.irfftn(complex_random((4, 5, 4)), planner_effort="FFTW_ESTIMATE")
array = complex_random((4, 5, 4))
show("irfftn", plan(array))

# Interfaces that stand for those of numpy and scipy, and the cache.
pyfftw.interfaces.cache.enable()
x = random.standard_normal((6, 8, 10))
for name in ("fft", "ifft", "rfft", "irfft", "hfft", "ihfft", "fft2", "ifft2", "rfft2", "irfft2", "fftn",
             "ifftn", "rfftn", "irfftn"):
    attempt(f"numpy {name}", lambda: getattr(pyfftw.interfaces.numpy_fft, name)(x + 0j))
try:
    from pyfftw.interfaces import scipy_fft
    for name in ("fft", "irfftn", "rfft2", "dct", "idct", "dst", "idst", "dctn", "idctn"):
        attempt(f"scipy {name}", lambda: getattr(scipy_fft, name)(x))
except ImportError:
    pass
for n in range(1, 70):
    attempt(f"length {n}", lambda: pyfftw.interfaces.numpy_fft.fft(complex_random(n)))

# Wisdom.
pyfftw.forget_wisdom()
a = pyfftw.empty_aligned(48, "complex128")
b = pyfftw.empty_aligned(48, "complex128")
only = dict(flags=("FFTW_MEASURE", "FFTW_WISDOM_ONLY"))
attempt("no wisdom", lambda: pyfftw.FFTW(a, b, **only)() * 0)
pyfftw.FFTW(a, b, flags=("FFTW_MEASURE",))
wisdom = pyfftw.export_wisdom()
a[:] = 1
attempt("wisdom", lambda: pyfftw.FFTW(a, b, **only)())
pyfftw.forget_wisdom()
attempt("forgotten", lambda: pyfftw.FFTW(a, b, **only)() * 0)
print("imported", bool(pyfftw.import_wisdom(wisdom)[0]))
attempt("wisdom again", lambda: pyfftw.FFTW(a, b, **only)())
