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
    axes = list(axes)
    return len(set(axes)) < len(axes) or (
        min(axes, default=0) < 0 and len({axis % asarray(a).ndim for axis in axes}) < len(axes))


def _one_by_one(function, a, s, axes, norm):
    axes = list(axes)
    if s is not None and len(s) != len(axes):
        raise ValueError("Shape and axes have different lengths.")
    for k in reversed(range(len(axes))):
        a = function(a, None if s is None else s[k], axes[k], norm)
    return a


def fftn(a, s=None, axes=None, norm=None):
    """As `numpy.fft.fftn`; an axis that is named twice is transformed twice."""
    if _repeats(a, axes):
        return _one_by_one(fft, a, s, axes, norm)
    return _core.numpy_fftn(a, s, axes, norm)


def ifftn(a, s=None, axes=None, norm=None):
    """As `numpy.fft.ifftn`; an axis that is named twice is transformed twice."""
    if _repeats(a, axes):
        return _one_by_one(ifft, a, s, axes, norm)
    return _core.numpy_ifftn(a, s, axes, norm)


def rfftn(a, s=None, axes=None, norm=None):
    """As `numpy.fft.rfftn`; an axis that is named twice is transformed twice."""
    if _repeats(a, axes):
        axes = list(axes)
        a = rfft(a, None if s is None else s[-1], axes[-1], norm)
        return _one_by_one(fft, a, None if s is None else s[:-1], axes[:-1], norm)
    return _core.numpy_rfftn(a, s, axes, norm)


def irfftn(a, s=None, axes=None, norm=None):
    """As `numpy.fft.irfftn`; an axis that is named twice is transformed twice."""
    if _repeats(a, axes):
        axes = list(axes)
        a = _one_by_one(ifft, a, None if s is None else s[:-1], axes[:-1], norm)
        return irfft(a, None if s is None else s[-1], axes[-1], norm)
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
