from collections.abc import Sequence
from contextlib import AbstractContextManager
from typing import Any, Literal, Optional, SupportsIndex, TypedDict, Union

from numpy.fft import fftfreq as fftfreq
from numpy.fft import fftshift as fftshift
from numpy.fft import ifftshift as ifftshift
from numpy.fft import rfftfreq as rfftfreq
from numpy.typing import ArrayLike, DTypeLike, NDArray

from . import numpy_fft as numpy_fft
from . import scipy_backend as scipy_backend

__version__: str
__all__: list[str]

_Array = NDArray[Any]
_Norm = Optional[Literal["backward", "ortho", "forward"]]
_Integer = Optional[SupportsIndex]
_Integers = Optional[Union[SupportsIndex, Sequence[SupportsIndex]]]
_Type = Literal[1, 2, 3, 4]

class _CacheInfo(TypedDict):
    plans: int
    bytes: int
    limit: int
    hits: int
    misses: int

class Plan:
    def __new__(
        cls,
        shape: Union[SupportsIndex, Sequence[SupportsIndex]],
        axes: _Integers = ...,
        dtype: DTypeLike = ...,
        transform: str = ...,
        *,
        s: _Integers = ...,
        norm: _Norm = ...,
        workers: _Integer = ...,
        type: _Type = ...,
        orthogonalize: Optional[bool] = ...,
    ) -> Plan: ...
    def execute(self, x: ArrayLike, out: Optional[_Array] = ...) -> _Array: ...
    @property
    def shape(self) -> tuple[int, ...]: ...
    @property
    def dtype(self) -> Any: ...
    @property
    def result_shape(self) -> tuple[int, ...]: ...
    @property
    def result_dtype(self) -> Any: ...
    @property
    def axes(self) -> tuple[int, ...]: ...
    @property
    def transform(self) -> str: ...
    @property
    def workers(self) -> int: ...

def get_workers() -> int: ...
def set_workers(workers: SupportsIndex) -> AbstractContextManager[None]: ...
def next_fast_len(target: SupportsIndex, real: bool = ...) -> int: ...
def plan_cache_info() -> _CacheInfo: ...
def set_plan_cache_limit(limit: SupportsIndex) -> None: ...
def set_kept_memory_limit(limit: SupportsIndex) -> None: ...
def clear_plan_cache() -> None: ...
def fft(
    x: ArrayLike,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def fft2(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def fftn(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def ifft(
    x: ArrayLike,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def ifft2(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def ifftn(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def rfft(
    x: ArrayLike,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def rfft2(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def rfftn(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def irfft(
    x: ArrayLike,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def irfft2(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def irfftn(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def hfft(
    x: ArrayLike,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def hfft2(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def hfftn(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def ihfft(
    x: ArrayLike,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def ihfft2(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def ihfftn(
    x: ArrayLike,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def dct(
    x: ArrayLike,
    type: _Type = ...,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    orthogonalize: Optional[bool] = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def dctn(
    x: ArrayLike,
    type: _Type = ...,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    orthogonalize: Optional[bool] = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def idct(
    x: ArrayLike,
    type: _Type = ...,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    orthogonalize: Optional[bool] = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def idctn(
    x: ArrayLike,
    type: _Type = ...,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    orthogonalize: Optional[bool] = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def dst(
    x: ArrayLike,
    type: _Type = ...,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    orthogonalize: Optional[bool] = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def dstn(
    x: ArrayLike,
    type: _Type = ...,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    orthogonalize: Optional[bool] = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def idst(
    x: ArrayLike,
    type: _Type = ...,
    n: _Integer = ...,
    axis: SupportsIndex = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    orthogonalize: Optional[bool] = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
def idstn(
    x: ArrayLike,
    type: _Type = ...,
    s: _Integers = ...,
    axes: _Integers = ...,
    norm: _Norm = ...,
    overwrite_x: bool = ...,
    workers: _Integer = ...,
    orthogonalize: Optional[bool] = ...,
    *,
    plan: Optional[Plan] = ...,
) -> _Array: ...
