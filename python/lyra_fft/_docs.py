"""The docstrings of lyra_fft._core, put together from what many functions share.

Their examples are tests.
"""

from . import _core


def _one(name):
    return (name + "($module, x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, "
            "plan=None)\n--\n\n")


def _two(name):
    return (name + "($module, x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, "
            "workers=None, *, plan=None)\n--\n\n")


def _many(name):
    return (name + "($module, x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, "
            "plan=None)\n--\n\n")


def _real_one(name):
    return (name + "($module, x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, "
            "workers=None, orthogonalize=None, *, plan=None)\n--\n\n")


def _real_many(name):
    return (name + "($module, x, type=2, s=None, axes=None, norm=None, overwrite_x=False, "
            "workers=None, orthogonalize=None, *, plan=None)\n--\n\n")


_x = """Parameters
----------
x : array_like
    The data, of any shape, strides and byte order. Single precision (float16, float32, complex64)
    gives single precision, everything else is taken as double.
"""

_real_x = """Parameters
----------
x : array_like
    Real data, of any shape, strides and byte order. Single precision (float16, float32) gives
    single precision, everything else is taken as double.
"""

_n = """n : int, optional
    Length of the transform. Longer input is cut off, shorter input continued with zeros. By
    default the length of x along the axis.
"""

_half_n = """n : int, optional
    Length of the result. n//2 + 1 numbers of the input are used: longer input is cut off, shorter
    input continued with zeros. By default 2*(m - 1) where m is the length of x along the axis; odd
    lengths have to be given.
"""

_axis = """axis : int, optional
    The axis to transform; the last one by default.
"""

_s = """s : int or sequence of ints, optional
    Lengths of the transform along the axes. Longer input is cut off, shorter input continued with
    zeros; -1 keeps the length of the input. By default the lengths of x.
"""

_half_s = """s : int or sequence of ints, optional
    Lengths of the result along the axes. s[-1]//2 + 1 numbers of the input are used along the last
    one. Longer input is cut off, shorter input continued with zeros. By default the lengths of x,
    and 2*(m - 1) where m is the last of them; odd last lengths have to be given.
"""

_axes2 = """axes : sequence of ints, optional
    The axes to transform; the last two by default.
"""

_axes = """axes : int or sequence of ints, optional
    The axes to transform: all by default, or as many of the last ones as s has elements.
"""

_norm = """norm : {"backward", "ortho", "forward"}, optional
    Where to divide by the number N of transformed points: in the inverse transforms ("backward",
    the default), in the forward transforms, or in both by its square root.
"""

_workers = """overwrite_x : bool, optional
    Whether x may be destroyed. Where the result has the shape and the type of x, it then takes the
    place of x.
workers : int, optional
    Number of threads; negative numbers count back from all processors, -1. By default what
    `set_workers` says, at first 1.
"""

_plan = """plan : Plan, optional
    A plan for this very transform. It gains nothing but the independence of the plan cache.
"""

_orthogonalize = """orthogonalize : bool, optional
    Whether to multiply by the square root of 2 what makes the matrix of the cosine transform
    orthogonal, up to a factor: x[0] for type 3, x[0] and x[n-1] for type 1, and to divide y[0] for
    type 2, y[0] and y[n-1] for type 1. Sine transforms of types 2 and 3 do the same, as in SciPy,
    which does not make them orthogonal. By default with norm "ortho" alone.
"""

_errors = """
Raises
------
ValueError
    A length below 1, an axis that x does not have or that is named twice, lengths and axes that do
    not match, an unknown norm, workers that are 0.
TypeError
    x holds no numbers, or numbers of extended precision.
"""

_real_errors = """
Raises
------
ValueError
    A length below 1, an axis that x does not have or that is named twice, lengths and axes that do
    not match, an unknown norm, workers that are 0.
TypeError
    x holds no numbers, or complex ones, or numbers of extended precision.
"""

_docs = {}

_docs["fft"] = (_one("fft") + """Discrete Fourier transform along one axis.

    y[k] = sum over j of x[j] * exp(-2j*pi*j*k/n),   k = 0 .. n-1

""" + _x + _n + _axis + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with n along the axis. Frequencies come in the order of
    `fftfreq`.
""" + _errors + """
See Also
--------
ifft : the inverse
rfft : of real data, half of the result
fftn : along several axes

Notes
-----
Every length is fast, primes too; `next_fast_len` knows the fastest. The transform of real x is
computed as that of `rfft` and completed by its symmetry.

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> t = np.arange(8)
>>> y = lyra_fft.fft(np.exp(2j * np.pi * 3 * t / 8))
>>> int(np.argmax(abs(y)))
3
>>> bool(np.allclose(y, [0, 0, 0, 8, 0, 0, 0, 0]))
True
""")

_docs["ifft"] = (_one("ifft") + """Inverse discrete Fourier transform along one axis: ifft(fft(x)) is x.

    y[k] = 1/n * sum over j of x[j] * exp(2j*pi*j*k/n),   k = 0 .. n-1

""" + _x + _n + _axis + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with n along the axis.
""" + _errors + """
See Also
--------
fft : the forward transform, and its conventions

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> bool(np.allclose(lyra_fft.ifft([0, 4, 0, 0]), [1, 1j, -1, -1j]))
True
""")

_docs["fft2"] = (_two("fft2") + """Discrete Fourier transform along two axes, such as those of an image.

""" + _x + _s + _axes2 + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with s along the axes.
""" + _errors + """
See Also
--------
ifft2 : the inverse
fftn : along any number of axes

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> lyra_fft.fft2(np.ones((2, 3))).real
array([[6., 0., 0.],
       [0., 0., 0.]])
""")

_docs["ifft2"] = (_two("ifft2") + """Inverse discrete Fourier transform along two axes: ifft2(fft2(x)) is x.

""" + _x + _s + _axes2 + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with s along the axes.
""" + _errors + """
See Also
--------
fft2 : the forward transform

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(12.0).reshape(3, 4)
>>> bool(np.allclose(lyra_fft.ifft2(lyra_fft.fft2(x)), x))
True
""")

_docs["fftn"] = (_many("fftn") + """Discrete Fourier transform along several axes.

It is `fft` along one axis after another, in any order.

""" + _x + _s + _axes + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with s along the axes. Without any axis, x itself.
""" + _errors + """
See Also
--------
ifftn : the inverse
rfftn : of real data, half of the result

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.zeros((4, 4, 4))
>>> x[0, 0, 0] = 1
>>> bool(np.all(lyra_fft.fftn(x) == 1))
True
""")

_docs["ifftn"] = (_many("ifftn") + """Inverse discrete Fourier transform along several axes: ifftn(fftn(x)) is x.

""" + _x + _s + _axes + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with s along the axes. Without any axis, x itself.
""" + _errors + """
See Also
--------
fftn : the forward transform

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(24.0).reshape(2, 3, 4)
>>> bool(np.allclose(lyra_fft.ifftn(lyra_fft.fftn(x, axes=(0, 2)), axes=(0, 2)), x))
True
""")

_docs["rfft"] = (_one("rfft") + """Discrete Fourier transform of real data along one axis.

The transform of n real numbers is symmetric, y[n - k] = conj(y[k]), so that its first n//2 + 1
numbers are all there is to know.

""" + _real_x + _n + _axis + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with n//2 + 1 along the axis. Frequencies come in the
    order of `rfftfreq`.
""" + _real_errors + """
See Also
--------
irfft : the inverse
fft : of complex data; its definition

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> bool(np.allclose(lyra_fft.rfft([0, 1, 0, -1]), [0, -2j, 0]))
True
""")

_docs["irfft"] = (_one("irfft") + """Inverse of `rfft`: irfft(rfft(x), len(x)) is x.

""" + _x + _half_n + _axis + _norm + _workers + _plan + """
Returns
-------
ndarray
    Real, in C order, of the shape of x with n along the axis.
""" + _errors + """
See Also
--------
rfft : the forward transform

Notes
-----
Imaginary parts that are zero in the transform of real data, those of x[0] and for even n of
x[n//2], are ignored.

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> bool(np.allclose(lyra_fft.irfft([0, -2j, 0]), [0, 1, 0, -1]))
True
>>> lyra_fft.irfft(lyra_fft.rfft(np.ones(5)), 5).shape
(5,)
""")

_docs["rfft2"] = (_two("rfft2") + """Discrete Fourier transform of real data along two axes.

""" + _real_x + _s + _axes2 + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with s along the axes, s[-1]//2 + 1 along the last of
    them.
""" + _real_errors + """
See Also
--------
irfft2 : the inverse
rfftn : along any number of axes

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(20.0).reshape(4, 5)
>>> lyra_fft.rfft2(x).shape
(4, 3)
>>> bool(np.allclose(lyra_fft.rfft2(x), lyra_fft.fft2(x)[:, :3]))
True
""")

_docs["irfft2"] = (_two("irfft2") + """Inverse of `rfft2`: irfft2(rfft2(x), x.shape) is x.

""" + _x + _half_s + _axes2 + _norm + _workers + _plan + """
Returns
-------
ndarray
    Real, in C order, of the shape of x with s along the axes.
""" + _errors + """
See Also
--------
rfft2 : the forward transform

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(20.0).reshape(4, 5)
>>> bool(np.allclose(lyra_fft.irfft2(lyra_fft.rfft2(x), x.shape), x))
True
""")

_docs["rfftn"] = (_many("rfftn") + """Discrete Fourier transform of real data along several axes.

It is `rfft` along the last of the axes, and `fft` along the others.

""" + _real_x + _s + _axes + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with s along the axes, s[-1]//2 + 1 along the last of
    them.
""" + _real_errors + """
See Also
--------
irfftn : the inverse
fftn : of complex data

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> lyra_fft.rfftn(np.ones((2, 4, 6))).shape
(2, 4, 4)
>>> lyra_fft.rfftn(np.ones((2, 4, 6)), axes=(2, 1)).shape
(2, 3, 6)
""")

_docs["irfftn"] = (_many("irfftn") + """Inverse of `rfftn`: irfftn(rfftn(x), x.shape) is x.

""" + _x + _half_s + _axes + _norm + _workers + _plan + """
Returns
-------
ndarray
    Real, in C order, of the shape of x with s along the axes.
""" + _errors + """
See Also
--------
rfftn : the forward transform

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(30.0).reshape(2, 3, 5)
>>> bool(np.allclose(lyra_fft.irfftn(lyra_fft.rfftn(x), x.shape), x))
True
""")

_docs["hfft"] = (_one("hfft") + """Discrete Fourier transform of data with Hermitian symmetry along one axis.

x holds the first n//2 + 1 of n numbers whose others follow from x[n - j] = conj(x[j]). Their
transform is real: it is a spectrum, where x is a signal.

""" + _x + _half_n + _axis + _norm + _workers + _plan + """
Returns
-------
ndarray
    Real, in C order, of the shape of x with n along the axis.
""" + _errors + """
See Also
--------
ihfft : the inverse
irfft : the same with the other sign and norm

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> half = np.array([1, 2 - 1j, 3])
>>> whole = np.array([1, 2 - 1j, 3, 2 + 1j])
>>> bool(np.allclose(lyra_fft.hfft(half), lyra_fft.fft(whole)))
True
""")

_docs["ihfft"] = (_one("ihfft") + """Inverse of `hfft`, of real data: ihfft(hfft(x)) is x.

""" + _real_x + _n + _axis + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with n//2 + 1 along the axis.
""" + _real_errors + """
See Also
--------
hfft : the forward transform

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.array([15.0, -4, 0, -1])
>>> bool(np.allclose(lyra_fft.ihfft(x), lyra_fft.ifft(x)[:3]))
True
""")

_docs["hfft2"] = (_two("hfft2") + """Discrete Fourier transform of data with Hermitian symmetry along two axes.

""" + _x + _half_s + _axes2 + _norm + _workers + _plan + """
Returns
-------
ndarray
    Real, in C order, of the shape of x with s along the axes.
""" + _errors + """
See Also
--------
ihfft2 : the inverse
hfft : along one axis

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(20.0).reshape(4, 5)
>>> bool(np.allclose(lyra_fft.hfft2(lyra_fft.ihfft2(x), x.shape), x))
True
""")

_docs["ihfft2"] = (_two("ihfft2") + """Inverse of `hfft2`, of real data.

""" + _real_x + _s + _axes2 + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with s along the axes, s[-1]//2 + 1 along the last of
    them.
""" + _real_errors + """
See Also
--------
hfft2 : the forward transform

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(20.0).reshape(4, 5)
>>> bool(np.allclose(lyra_fft.ihfft2(x), lyra_fft.ifft2(x)[:, :3]))
True
""")

_docs["hfftn"] = (_many("hfftn") + """Discrete Fourier transform of data with Hermitian symmetry along several axes.

It is `fft` along all but the last of the axes, and `hfft` along the last.

""" + _x + _half_s + _axes + _norm + _workers + _plan + """
Returns
-------
ndarray
    Real, in C order, of the shape of x with s along the axes.
""" + _errors + """
See Also
--------
ihfftn : the inverse
hfft : along one axis

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(30.0).reshape(2, 3, 5)
>>> bool(np.allclose(lyra_fft.hfftn(lyra_fft.ihfftn(x), x.shape), x))
True
""")

_docs["ihfftn"] = (_many("ihfftn") + """Inverse of `hfftn`, of real data.

""" + _real_x + _s + _axes + _norm + _workers + _plan + """
Returns
-------
ndarray
    Complex, in C order, of the shape of x with s along the axes, s[-1]//2 + 1 along the last of
    them.
""" + _real_errors + """
See Also
--------
hfftn : the forward transform

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(30.0).reshape(2, 3, 5)
>>> bool(np.allclose(lyra_fft.ihfftn(x), lyra_fft.ifftn(x)[..., :3]))
True
""")

_type = """type : {1, 2, 3, 4}, optional
    The type of the transform, 2 by default.
"""

_real_norm = """norm : {"backward", "ortho", "forward"}, optional
    Where to divide by the product of 2*n (2*(n - 1) for DCT-I, 2*(n + 1) for DST-I) of all axes: in
    the inverse transforms ("backward", the default), in the forward transforms, or in both by its
    square root.
"""

_complex_x = """Parameters
----------
x : array_like
    The data, of any shape, strides and byte order; real and imaginary parts of complex numbers are
    transformed independently. Single precision gives single precision, everything else is taken as
    double.
"""

_result = """
Returns
-------
ndarray
    Real, or complex if x is, in C order, of the shape of x with the lengths of the transform along
    the axes.
"""

_r2r_errors = """
Raises
------
ValueError
    A type or a norm that there is not, a length below 1, DCT-I of length 1, an axis that x does
    not have or that is named twice, lengths and axes that do not match, workers that are 0.
TypeError
    x holds no numbers, or numbers of extended precision.
"""

_docs["dct"] = (_real_one("dct") + """Discrete cosine transform along one axis.

For k = 0 .. n-1, by type:

    1:  y[k] = x[0] + (-1)**k * x[n-1] + 2 * sum over j = 1 .. n-2 of x[j] * cos(pi*j*k/(n-1))
    2:  y[k] = 2 * sum over j = 0 .. n-1 of x[j] * cos(pi*(j + 1/2)*k/n)
    3:  y[k] = x[0] + 2 * sum over j = 1 .. n-1 of x[j] * cos(pi*j*(k + 1/2)/n)
    4:  y[k] = 2 * sum over j = 0 .. n-1 of x[j] * cos(pi*(j + 1/2)*(k + 1/2)/n)

""" + _complex_x + _type + _n + _axis + _real_norm + _workers + _orthogonalize + _plan + _result + _r2r_errors + """
See Also
--------
idct : the inverse
dctn : along several axes

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> y = lyra_fft.dct([1.0, 1.0, 1.0, 1.0])
>>> bool(np.allclose(y, [8, 0, 0, 0]))
True
>>> x = np.arange(5.0)
>>> y = lyra_fft.dct(x, norm="ortho")
>>> bool(np.isclose(np.sum(y**2), np.sum(x**2)))
True
""")

_docs["idct"] = (_real_one("idct") + """Inverse discrete cosine transform along one axis: idct(dct(x)) is x.

Types 1 and 4 are their own inverses, up to a factor; types 2 and 3 each other's.

""" + _complex_x + _type + _n + _axis + _real_norm + _workers + _orthogonalize + _plan + _result + _r2r_errors + """
See Also
--------
dct : the forward transform, and its definition

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(5.0)
>>> bool(np.allclose(lyra_fft.idct(lyra_fft.dct(x, 3), 3), x))
True
""")

_docs["dctn"] = (_real_many("dctn") + """Discrete cosine transform along several axes.

""" + _complex_x + _type + _s + _axes + _real_norm + _workers + _orthogonalize + _plan + _result + _r2r_errors + """
See Also
--------
idctn : the inverse
dct : along one axis; its definition

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(12.0).reshape(3, 4)
>>> bool(np.allclose(lyra_fft.dctn(x), lyra_fft.dct(lyra_fft.dct(x, axis=0), axis=1)))
True
""")

_docs["idctn"] = (_real_many("idctn") + """Inverse discrete cosine transform along several axes: idctn(dctn(x)) is x.

""" + _complex_x + _type + _s + _axes + _real_norm + _workers + _orthogonalize + _plan + _result + _r2r_errors + """
See Also
--------
dctn : the forward transform

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(12.0).reshape(3, 4)
>>> bool(np.allclose(lyra_fft.idctn(lyra_fft.dctn(x)), x))
True
""")

_docs["dst"] = (_real_one("dst") + """Discrete sine transform along one axis.

For k = 0 .. n-1, by type:

    1:  y[k] = 2 * sum over j = 0 .. n-1 of x[j] * sin(pi*(j + 1)*(k + 1)/(n+1))
    2:  y[k] = 2 * sum over j = 0 .. n-1 of x[j] * sin(pi*(j + 1/2)*(k + 1)/n)
    3:  y[k] = (-1)**k * x[n-1] + 2 * sum over j = 0 .. n-2 of x[j] * sin(pi*(j + 1)*(k + 1/2)/n)
    4:  y[k] = 2 * sum over j = 0 .. n-1 of x[j] * sin(pi*(j + 1/2)*(k + 1/2)/n)

""" + _complex_x + _type + _n + _axis + _real_norm + _workers + _orthogonalize + _plan + _result + _r2r_errors + """
See Also
--------
idst : the inverse
dstn : along several axes

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> j = np.arange(4)
>>> y = lyra_fft.dst(np.sin(np.pi * (j + 1) * 2 / 5), type=1)
>>> bool(np.allclose(y, [0, 5, 0, 0]))
True
""")

_docs["idst"] = (_real_one("idst") + """Inverse discrete sine transform along one axis: idst(dst(x)) is x.

Types 1 and 4 are their own inverses, up to a factor; types 2 and 3 each other's.

""" + _complex_x + _type + _n + _axis + _real_norm + _workers + _orthogonalize + _plan + _result + _r2r_errors + """
See Also
--------
dst : the forward transform, and its definition

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(5.0)
>>> bool(np.allclose(lyra_fft.idst(lyra_fft.dst(x)), x))
True
""")

_docs["dstn"] = (_real_many("dstn") + """Discrete sine transform along several axes.

""" + _complex_x + _type + _s + _axes + _real_norm + _workers + _orthogonalize + _plan + _result + _r2r_errors + """
See Also
--------
idstn : the inverse
dst : along one axis; its definition

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(12.0).reshape(3, 4)
>>> bool(np.allclose(lyra_fft.dstn(x), lyra_fft.dst(lyra_fft.dst(x, axis=0), axis=1)))
True
""")

_docs["idstn"] = (_real_many("idstn") + """Inverse discrete sine transform along several axes: idstn(dstn(x)) is x.

""" + _complex_x + _type + _s + _axes + _real_norm + _workers + _orthogonalize + _plan + _result + _r2r_errors + """
See Also
--------
dstn : the forward transform

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> x = np.arange(12.0).reshape(3, 4)
>>> bool(np.allclose(lyra_fft.idstn(lyra_fft.dstn(x)), x))
True
""")

_docs["Plan"] = ("""Plan(shape, axes=None, dtype=None, transform="fftn", *, s=None, norm=None, workers=None, type=2, orthogonalize=None)
--

A transform of arrays of one shape and type, prepared once.

The functions keep their plans in a cache, so that a Plan is seldom faster. It is for programs that
want planning to be over at a known time, write results into arrays of their own, or must not depend
on what the cache holds.

Parameters
----------
shape : int or sequence of ints
    Shape of the input.
axes : int or sequence of ints, optional
    As in the function that `transform` names, and with its default.
dtype : dtype, optional
    Type of the input: complex128 or float64 by default, whichever the transform takes.
transform : str, optional
    Name of the function to prepare: "fft", "rfft2", "dctn", and so on.
s : int or sequence of ints, optional
    Lengths of the transform: n or s of the function.
norm, workers : optional
    As in the function.
type, orthogonalize : optional
    As in the function, of cosine and sine transforms.

Raises
------
ValueError, TypeError
    As the function does.

Notes
-----
A plan may be executed by several threads at the same time. Its arrays may have any strides; plans
for those in C order are made by the constructor, others when they come first.

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> plan = lyra_fft.Plan((4, 8), axes=1, transform="rfft")
>>> plan.result_shape
(4, 5)
>>> out = np.empty(plan.result_shape, plan.result_dtype)
>>> plan.execute(np.ones((4, 8)), out) is out
True
>>> float(out[3, 0].real)
8.0
""")

_docs["execute"] = ("""execute($self, x, out=None)
--

Transform an array.

Parameters
----------
x : array_like
    Of the planned shape and type. It is not changed unless it is `out`.
out : ndarray, optional
    Where the result goes: of the result's shape and type, in native byte order, with positive
    strides. x itself, where the result has its shape and type. By default a new array.

Returns
-------
ndarray
    `out`, or the new array.

Raises
------
ValueError
    An array of another shape or type than planned, or an `out` that cannot be written.

Examples
--------
>>> import numpy as np
>>> import lyra_fft
>>> plan = lyra_fft.Plan(4)
>>> x = np.array([1, 0, 0, 0], complex)
>>> plan.execute(x, x) is x
True
>>> x
array([1.+0.j, 1.+0.j, 1.+0.j, 1.+0.j])
""")

_docs["next_fast_len"] = ("""next_fast_len($module, target, real=False)
--

The smallest length, at least `target`, that is transformed fast: worth padding to.

Parameters
----------
target : int
    The length to start from.
real : bool, optional
    Whether the data is real (`rfft`, `irfft`).

Returns
-------
int
    A product of 2, 3, 5, 7 and 11; for real data of 2, 3 and 5.

Raises
------
ValueError
    A target below 0 or above 2**40.
TypeError
    A target that is no integer.

Examples
--------
>>> import lyra_fft
>>> lyra_fft.next_fast_len(1021)
1024
""")

_docs["get_workers"] = ("""get_workers($module)
--

Number of threads that functions take in the current thread when `workers` is not given.

Examples
--------
>>> import lyra_fft
>>> lyra_fft.get_workers()
1
""")

_docs["plan_cache_info"] = ("""plan_cache_info($module)
--

What the plan cache holds: a dict with the number of plans, their bytes (estimated), the limit of
the bytes, and how many calls found a plan (hits) and how many made one (misses).

Examples
--------
>>> import lyra_fft
>>> lyra_fft.clear_plan_cache()
>>> y = lyra_fft.fft([1, 2, 3])
>>> lyra_fft.plan_cache_info()["plans"]
1
""")

_docs["set_plan_cache_limit"] = ("""set_plan_cache_limit($module, limit, /)
--

Bound the plan cache to so many bytes; the least recently used plans go first. 64 MiB at start; 0
keeps no plans.

Examples
--------
>>> import lyra_fft
>>> lyra_fft.set_plan_cache_limit(64 << 20)
""")

_docs["set_kept_memory_limit"] = ("""set_kept_memory_limit($module, limit, /)
--

Bound the memory of released results that is kept for the next ones, in bytes: 64 MiB at start; 0
keeps none and gives back at once what is kept. Only results of 8192 numbers and more are kept.

Examples
--------
>>> import lyra_fft
>>> lyra_fft.set_kept_memory_limit(64 << 20)
""")

_docs["clear_plan_cache"] = ("""clear_plan_cache($module)
--

Release all plans of the cache.

Examples
--------
>>> import lyra_fft
>>> lyra_fft.clear_plan_cache()
>>> lyra_fft.plan_cache_info()["plans"]
0
""")

_core._set_docs(_docs)
