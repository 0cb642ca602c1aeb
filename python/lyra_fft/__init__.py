"""Fast Fourier, cosine and sine transforms with the names and the meaning of `scipy.fft`.

>>> import numpy as np
>>> import lyra_fft
>>> x = np.random.default_rng(1).standard_normal(1000)
>>> y = lyra_fft.rfft(x)
>>> bool(np.allclose(lyra_fft.irfft(y), x))
True

Programs that call `scipy.fft` need not change: `scipy.fft.set_global_backend(lyra_fft.scipy_backend)`
makes it use this package. `lyra_fft.numpy_fft` takes the place of `numpy.fft`.
"""

from numpy.fft import fftfreq, fftshift, ifftshift, rfftfreq

from . import _docs, numpy_fft, scipy_backend
from ._core import (Plan, clear_plan_cache, dct, dctn, dst, dstn, fft, fft2, fftn, get_workers, hfft,
                    hfft2, hfftn, idct, idctn, idst, idstn, ifft, ifft2, ifftn, ihfft, ihfft2, ihfftn,
                    irfft, irfft2, irfftn, next_fast_len, plan_cache_info, rfft, rfft2, rfftn,
                    set_kept_memory_limit, set_plan_cache_limit)
from ._workers import set_workers

del _docs

__version__ = "2.2.0"

__all__ = [
    "Plan", "clear_plan_cache", "dct", "dctn", "dst", "dstn", "fft", "fft2", "fftfreq", "fftn",
    "fftshift", "get_workers", "hfft", "hfft2", "hfftn", "idct", "idctn", "idst", "idstn", "ifft",
    "ifft2", "ifftn", "ifftshift", "ihfft", "ihfft2", "ihfftn", "irfft", "irfft2", "irfftn",
    "next_fast_len", "numpy_fft", "plan_cache_info", "rfft", "rfft2", "rfftfreq", "rfftn",
    "scipy_backend", "set_kept_memory_limit", "set_plan_cache_limit", "set_workers",
]
