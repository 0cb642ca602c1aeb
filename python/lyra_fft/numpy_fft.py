"""The functions of `numpy.fft`, with its parameters, types of results and errors.

    from lyra_fft import numpy_fft as fft      # instead of: from numpy import fft

As `numpy.fft` does, everything is computed in double precision before NumPy 2; since NumPy 2 single
precision stays what it is. Results are in C order. Extended precision is converted to double. NumPy
2's parameter `out` is not there.

>>> import numpy as np
>>> from lyra_fft import numpy_fft
>>> bool(np.allclose(numpy_fft.fft(np.ones(4)), [4, 0, 0, 0]))
True
"""

from numpy import asarray
from numpy.fft import fftfreq, fftshift, ifftshift, rfftfreq

from . import _core
from ._core import numpy_fft as fft
from ._core import numpy_hfft as hfft
from ._core import numpy_ifft as ifft
from ._core import numpy_ihfft as ihfft
from ._core import numpy_irfft as irfft
from ._core import numpy_rfft as rfft

__all__ = [
    "fft", "fft2", "fftfreq", "fftn", "fftshift", "hfft", "ifft", "ifft2", "ifftn", "ifftshift",
    "ihfft", "irfft", "irfft2", "irfftn", "rfft", "rfft2", "rfftfreq", "rfftn",
]


def _repeats(a, axes):
    # Whether an axis is named twice, which numpy.fft takes as two transforms.
    if axes is None:
        return False
    axes = tuple(axes)
    if len(set(axes)) == len(axes) and min(axes, default=0) >= 0:
        return False
    ndim = asarray(a).ndim
    return len({axis % ndim for axis in axes}) < len(axes) if ndim else False


def _one_by_one(function, a, s, axes, norm):
    for n, axis in reversed(tuple(zip(s, axes))):
        a = function(a, n, axis, norm)
    return a


def _lengths(a, s, axes):
    if s is None:
        shape = asarray(a).shape
        return [shape[axis] for axis in axes]
    if len(s) != len(axes):
        raise ValueError("Shape and axes have different lengths.")
    return list(s)


def fftn(a, s=None, axes=None, norm=None):
    """As `numpy.fft.fftn`; an axis that is named twice is transformed twice."""
    if _repeats(a, axes):
        return _one_by_one(fft, a, _lengths(a, s, axes), axes, norm)
    return _core.numpy_fftn(a, s, axes, norm)


def ifftn(a, s=None, axes=None, norm=None):
    """As `numpy.fft.ifftn`; an axis that is named twice is transformed twice."""
    if _repeats(a, axes):
        return _one_by_one(ifft, a, _lengths(a, s, axes), axes, norm)
    return _core.numpy_ifftn(a, s, axes, norm)


def rfftn(a, s=None, axes=None, norm=None):
    """As `numpy.fft.rfftn`; an axis that is named twice is transformed twice."""
    if _repeats(a, axes):
        axes = tuple(axes)
        *s, last = _lengths(a, s, axes)
        a = rfft(a, last, axes[-1], norm)
        for n, axis in zip(s, axes):
            a = fft(a, n, axis, norm)
        return a
    return _core.numpy_rfftn(a, s, axes, norm)


def irfftn(a, s=None, axes=None, norm=None):
    """As `numpy.fft.irfftn`; an axis that is named twice is transformed twice."""
    if _repeats(a, axes):
        axes = tuple(axes)
        *rest, last = _lengths(a, s, axes)
        for n, axis in zip(rest, axes):
            a = ifft(a, n, axis, norm)
        return irfft(a, 2 * (last - 1) if s is None else last, axes[-1], norm)
    return _core.numpy_irfftn(a, s, axes, norm)


def fft2(a, s=None, axes=(-2, -1), norm=None):
    """As `numpy.fft.fft2`."""
    return fftn(a, s, axes, norm)


def ifft2(a, s=None, axes=(-2, -1), norm=None):
    """As `numpy.fft.ifft2`."""
    return ifftn(a, s, axes, norm)


def rfft2(a, s=None, axes=(-2, -1), norm=None):
    """As `numpy.fft.rfft2`."""
    return rfftn(a, s, axes, norm)


def irfft2(a, s=None, axes=(-2, -1), norm=None):
    """As `numpy.fft.irfft2`."""
    return irfftn(a, s, axes, norm)
