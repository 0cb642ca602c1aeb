from contextlib import contextmanager

from . import _core


@contextmanager
def set_workers(workers):
    """Context in which functions of this thread that are not given `workers` use so many threads.

    Parameters
    ----------
    workers : int
        Number of threads; negative numbers count back from all processors, -1.

    Raises
    ------
    ValueError
        workers is 0, or negative and beyond the number of processors.

    Examples
    --------
    >>> import lyra_fft
    >>> with lyra_fft.set_workers(2):
    ...     lyra_fft.get_workers()
    2
    >>> lyra_fft.get_workers()
    1
    """
    before = _core.get_workers()
    _core._set_workers(workers)
    try:
        yield
    finally:
        _core._set_workers(before)
