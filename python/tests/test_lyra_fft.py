"""Tests of the Python package, next to scipy.fft and numpy.fft."""

import ast
import doctest
import gc
import inspect
import os
import resource
import sys
import threading
import tracemalloc
from pathlib import Path

import numpy as np
import pytest
import scipy.fft

import lyra_fft
from lyra_fft import _core, numpy_fft

FOURIER = [kind + axes for kind in ("fft", "ifft", "rfft", "irfft", "hfft", "ihfft")
           for axes in ("", "2", "n")]
REAL = [kind + axes for kind in ("dct", "idct", "dst", "idst") for axes in ("", "n")]
SINGLE = _core.has_single
DTYPES = ["d", "D", ">d", ">D", "i4", "u1", "?"] + ["f", "F", "e", ">f"] * SINGLE


def assert_same(ours, theirs, name):
    assert ours.shape == theirs.shape and ours.dtype == theirs.dtype, name
    epsilon = np.finfo(ours.dtype).eps
    scale = np.max(np.abs(theirs), initial=0)
    np.testing.assert_allclose(ours, theirs, rtol=0, atol=40 * epsilon * scale, err_msg=name)


def random_array(rng, dtype, ndim):
    """An array with lengths 1 to 20 and any strides: steps, reversed, transposed, repeated, shifted."""
    shape = [int(rng.integers(1, 21 if ndim < 4 else 6)) for _ in range(ndim)]
    steps = [int(rng.choice([1, 1, 1, 2, -1, -3])) for _ in shape]
    whole = rng.standard_normal([n * abs(step) for n, step in zip(shape, steps)])
    if np.dtype(dtype).kind == "c":
        whole = whole + 1j * rng.standard_normal(whole.shape)
    whole = (9 * whole).astype(dtype)
    if rng.random() < 0.1:  # not aligned
        raw = np.empty(whole.nbytes + 1, np.uint8)[1:]
        raw = raw.view(whole.dtype).reshape(whole.shape)
        raw[...] = whole
        whole = raw
    x = whole[tuple(slice(None, None, step) for step in steps)]
    x = x.transpose(rng.permutation(ndim))
    if rng.random() < 0.1:
        x = np.broadcast_to(x[:1], x.shape)
    return x


def random_call(rng, name):
    """Arguments for a function: the array, and keywords."""
    many = name.endswith(("n", "2"))
    ndim = int(rng.integers(2 if name.endswith("2") else 1, 5))
    real = name.startswith(("rfft", "ihfft"))
    x = random_array(rng, rng.choice([d for d in DTYPES if not real or d.upper()[-1] != d[-1] or
                                      d == "?"]), ndim)
    keywords = {"norm": rng.choice([None, "backward", "ortho", "forward"])}
    pick = rng.random()
    if many:
        count = 2 if name.endswith("2") else int(rng.integers(1, ndim + 1))
        axes = rng.permutation(ndim)[:count] - ndim * rng.integers(0, 2, count)
        if pick < 0.7:
            keywords["axes"] = tuple(axes.tolist())
        if 0.3 < pick and (pick < 0.7 or not name.endswith("2")) or pick > 0.9:
            keywords["s"] = tuple(rng.integers(2, 12, count).tolist())
    else:
        keywords["axis"] = int(rng.integers(-ndim, ndim))
        if pick < 0.5:
            keywords["n"] = int(rng.integers(1, 30))
    if name[:3] in ("dct", "dst") or name[:4] in ("idct", "idst"):
        keywords["type"] = int(rng.integers(1, 5))
        if x.dtype.kind != "c":  # SciPy 1.10 forgets it for complex input
            keywords["orthogonalize"] = rng.choice([None, True, False])
    return x, keywords


@pytest.mark.parametrize("name", FOURIER + REAL)
def test_like_scipy(name):
    """Shapes, axes, lengths, strides, types, norms, threads: results, types and errors of SciPy's."""
    rng = np.random.default_rng(len(name) * 1000 + sum(name.encode()))
    done = 0
    for case in range(300):
        x, keywords = random_call(rng, name)
        text = f"{name}, case {case}: {x.dtype} {x.shape} {x.strides} {keywords}"
        workers = int(rng.integers(1, 4))
        try:
            theirs = getattr(scipy.fft, name)(x, **keywords)
        except (ValueError, RuntimeError):  # DCT-I of length 1, complex to real of length 1
            with pytest.raises(ValueError):
                getattr(lyra_fft, name)(x, **keywords)
            continue
        before = x.copy()
        assert_same(getattr(lyra_fft, name)(x, workers=workers, **keywords), theirs, text)
        np.testing.assert_array_equal(x, before, err_msg=text)
        own = x.copy(order="K")
        assert_same(getattr(lyra_fft, name)(own, overwrite_x=True, **keywords), theirs, text)
        done += 1
    assert done > 200


def test_large_and_odd_layouts():
    """Enough for threads, released locks, passes of their own, and batches that no plan takes whole."""
    rng = np.random.default_rng(2)
    window = np.lib.stride_tricks.sliding_window_view(rng.standard_normal(4000), 512)[::64]
    many = rng.standard_normal((3, 4, 2, 5, 3, 4, 2)) + 0j
    gaps = rng.standard_normal((6, 5, 6, 5, 6, 8))[::2, :, ::2, :, ::2, ::2]
    cases = [("rfft", window, {}), ("fft", window, {"axis": 0}), ("dct", window, {}),
             ("fft", rng.standard_normal((300, 128)) + 1j, {"axis": 0}),
             ("fft", rng.standard_normal(1 << 17) + 1j, {}),
             ("rfft", rng.standard_normal(100003), {}), ("fft", rng.standard_normal(9000), {}),
             ("fft", gaps, {"axis": 1}), ("dct", gaps, {"axis": 5}), ("rfft", gaps, {"axis": 5}),
             ("dctn", gaps + 1j, {"axes": (1, 3)}), ("fftn", gaps, {"axes": (0, 5)})]
    for name in ("fftn", "ifftn", "irfftn", "hfftn", "dctn", "dstn"):
        cases += [(name, many, {}), (name, many, {"axes": (6, 1, 0, 3, 4)}),
                  (name, many.T, {"s": (2, 3, 4, 5, 6)})]
    for name in ("rfftn", "ihfftn", "fftn"):
        cases += [(name, many.real, {}), (name, gaps, {"s": (4, 4, 4, 4)})]
    for name, x, keywords in cases:
        text = f"{name} {x.shape} {keywords}"
        before = x.copy()
        for workers in (1, 2):
            ours = getattr(lyra_fft, name)(x, workers=workers, overwrite_x=not x.flags.owndata,
                                           **keywords)
            assert_same(ours, getattr(scipy.fft, name)(before, **keywords), text)
            np.testing.assert_array_equal(x, before, err_msg=text)


def test_overwriting():
    """With leave the result takes the place of the input; views that share elements are spared."""
    x = np.ones((8, 8), complex)
    assert lyra_fft.fft(x, overwrite_x=True) is x and x[0, 0] == 8
    assert lyra_fft.fft(x, overwrite_x=False) is not x
    real = np.ones(8)
    assert lyra_fft.dct(real, overwrite_x=True, norm="ortho") is real
    fixed = np.ones(8, complex)
    fixed.flags.writeable = False
    shared = np.broadcast_to(np.ones(8, complex), (3, 8))
    for x in (fixed, shared):
        lyra_fft.fft(x, overwrite_x=True)
        assert (x == 1).all()
    assert lyra_fft.fftn(real, axes=()) is real


@pytest.mark.parametrize("name, args, keywords, error, message", [
    ("fft", ([1, 2], 0), {}, ValueError, r"invalid number of data points \(0\)"),
    ("fft", ([],), {}, ValueError, r"invalid number of data points \(0\)"),
    ("fftn", ([[1, 2]], (3, -4)), {}, ValueError, r"\(\[3, -4\]\)"),
    ("irfft", ([1],), {}, ValueError, r"\(0\)"),
    ("fft", ([1, 2], 1.5), {}, TypeError, "integer"),
    ("fft", ([1, 2],), {"axis": 1}, IndexError, "axis 1 is out of bounds for array of dimension 1"),
    ("fft", (3.0,), {}, IndexError, "dimension 0"),
    ("fftn", (np.ones((2, 2)),), {"axes": (0, 2)}, ValueError, "exceeds dimensionality"),
    ("fftn", (np.ones((2, 2)),), {"axes": (0, -2)}, ValueError, "unique"),
    ("fftn", (np.ones((2, 2)),), {"s": (1, 2, 3)}, ValueError, "more axes"),
    ("fftn", (np.ones((2, 2)),), {"s": (1, 2), "axes": 0}, ValueError, "same length"),
    ("fftn", (np.ones((2, 2)),), {"axes": "ab"}, ValueError, "iterable of integers"),
    ("fftn", (np.ones((2, 2)),), {"axes": range(100)}, ValueError, "more elements"),
    ("rfftn", (np.ones((2, 2)),), {"axes": ()}, ValueError, "at least 1 axis"),
    ("rfft", ([1j],), {}, TypeError, "real"),
    ("fft", ([1],), {"norm": "both"}, ValueError, "'both', should be \"backward\""),
    ("fft", ([1],), {"norm": 1}, ValueError, "Invalid norm value 1"),
    ("fft", ([1],), {"workers": 0}, ValueError, "zero"),
    ("fft", ([1],), {"workers": -10**6}, ValueError, "out of range"),
    ("fft", ([1],), {"workers": "two"}, TypeError, "integer"),
    ("fft", ([1],), {"plan": 1}, TypeError, "Plan"),
    ("fft", ([1],), {"what": 1}, TypeError, r"fft\(\).*'what'"),
    ("fft", ([1],), {"x": [1]}, TypeError, "multiple values"),
    ("fft", (), {"n": 1}, TypeError, "missing"),
    ("fft", ([1], 1, -1, None, False, 1, None), {}, TypeError, "positional"),
    ("fft", ("text",), {}, ValueError, "float"),
    ("fft", ([object()],), {}, TypeError, "float"),
    ("fft", (np.ones(2, "g"),), {}, TypeError, "extended precision"),
    ("dct", ([1, 2], 5), {}, ValueError, "DCT type 5"),
    ("dst", ([1, 2], "2"), {}, TypeError, "integer"),
    ("dct", ([1], 1), {}, ValueError, "at least 2"),
    ("next_fast_len", (-1,), {}, ValueError, "-1"),
    ("next_fast_len", (1.5,), {}, TypeError, "integer"),
    ("set_plan_cache_limit", (-1,), {}, ValueError, "negative"),
    ("set_kept_memory_limit", (-1,), {}, ValueError, "negative"),
    ("Plan", ((2, 0),), {}, ValueError, "at least 1"),
    ("Plan", (4,), {"dtype": "g"}, TypeError, "dtype"),
    ("Plan", (4,), {"transform": "irfft", "dtype": float}, TypeError, "complex"),
    ("Plan", (4,), {"transform": "dft"}, ValueError, "'dft'"),
])
def test_errors(name, args, keywords, error, message):
    with pytest.raises(error, match=message):
        getattr(lyra_fft, name)(*args, **keywords)


def test_nothing_leaks():
    """Neither results nor what is left behind by errors, padding, conversions, plans, evictions."""
    x = np.ones((20, 20), ">c16")

    def everything():
        for n in range(3, 12):
            lyra_fft.fft(x, n * 7)
            lyra_fft.irfftn(x, (n, n))
            lyra_fft.dct(x, overwrite_x=True)
            lyra_fft.Plan((n, n), transform="rfftn").execute(np.ones((n, n)))
            for call in (lambda: lyra_fft.fft(x, -1), lambda: lyra_fft.fftn(x, axes=(0, "a")),
                         lambda: lyra_fft.dct([1.0], 1), lambda: lyra_fft.Plan(4, dtype="g"),
                         lambda: lyra_fft.fft([object()]), lambda: lyra_fft.fft(x, norm="x")):
                with pytest.raises((ValueError, TypeError)):
                    call()

    info = lyra_fft.plan_cache_info()
    lyra_fft.set_plan_cache_limit(20000)
    everything()
    gc.collect()
    tracemalloc.start()
    try:
        everything()
        gc.collect()
        before = tracemalloc.get_traced_memory()[0]
        for _ in range(5):
            everything()
        gc.collect()
        assert tracemalloc.get_traced_memory()[0] - before < 4000
    finally:
        tracemalloc.stop()
        lyra_fft.set_plan_cache_limit(info["limit"])


def test_memory_of_results():
    """Long results begin at a cache line, own their data and can be resized."""
    x = np.arange(20000.0)
    for count in (8191, 8192, 20000, 300000):
        result = lyra_fft.fft(np.resize(x, count).astype(complex))
        assert result.flags.owndata
        assert count < 8192 or result.ctypes.data % 64 == 0
        kept = result[:100].copy()
        result.resize(2 * count, refcheck=False)
        assert np.array_equal(result[:100], kept) and not result[count:].any()
        result.resize(100, refcheck=False)
        assert np.array_equal(result, kept)
    with pytest.raises((MemoryError, ValueError)):
        lyra_fft.fft(x, 2**58)
    get_handler_name = (np._core if hasattr(np, "_core") else np.core).multiarray.get_handler_name
    assert get_handler_name(np.empty(10)) == "default_allocator"  # is NumPy's own again


def test_kept_memory():
    """Memory of released results is used again, never while a result lives, and is bounded."""
    def resident():
        with open("/proc/self/statm") as file:
            return int(file.read().split()[1]) * resource.getpagesize()

    x = np.ones(1 << 17, complex)
    result = lyra_fft.fft(x)
    place = result.ctypes.data
    del result
    result = lyra_fft.fft(x)
    assert result.ctypes.data == place
    rng = np.random.default_rng(5)
    alive = []
    for k in range(200):
        count = int(rng.integers(8192, 40000))
        alive.append((k, lyra_fft.fft(np.full(count, k, complex))))
        if len(alive) > 6:
            alive.pop(int(rng.integers(len(alive))))
        for value, array in alive:
            assert abs(array[[0, -1]] - (value * len(array), 0)).max() < 1e-5
    del alive, array, result
    large = [lyra_fft.fft(x) for _ in range(20)]  # 40 MiB
    before = resident()
    del large
    lyra_fft.set_kept_memory_limit(0)
    try:
        assert before - resident() > 30 << 20
    finally:
        lyra_fft.set_kept_memory_limit(64 << 20)


def test_plan_cache():
    """Plans are found again, the oldest go first, and no more bytes are kept than allowed."""
    limit = lyra_fft.plan_cache_info()["limit"]
    try:
        lyra_fft.clear_plan_cache()
        for n in (100, 200, 300, 100):
            lyra_fft.fft(np.ones(n, complex))
        info = lyra_fft.plan_cache_info()
        assert info["plans"] == 3 and 0 < info["bytes"] < limit
        lyra_fft.set_plan_cache_limit(info["bytes"] - 1)  # 200 is the oldest
        assert lyra_fft.plan_cache_info()["plans"] == 2
        for n, hit in ((100, 1), (300, 1), (200, 0)):
            hits = lyra_fft.plan_cache_info()["hits"]
            lyra_fft.fft(np.ones(n, complex))
            assert lyra_fft.plan_cache_info()["hits"] - hits == hit
        lyra_fft.set_plan_cache_limit(0)
        lyra_fft.fft(np.ones(64, complex))
        assert lyra_fft.plan_cache_info()["plans"] == 0 == lyra_fft.plan_cache_info()["bytes"]
    finally:
        lyra_fft.set_plan_cache_limit(limit)


def test_plans():
    """Every transform by a plan, into arrays of any layout, in place, and as an argument."""
    rng = np.random.default_rng(3)
    for name in FOURIER + REAL:
        kind = "c" if name.startswith(("fft", "ifft", "irfft", "hfft")) else "f"
        x = rng.standard_normal((6, 7)) + (1j if kind == "c" else 0)
        keywords = {"type": 3} if name in REAL else {}
        expected = getattr(scipy.fft, name)(x, norm="ortho", **keywords)
        axes = {"": {"axes": -1}, "2": {}, "n": {}}[name.lstrip("irhfdcst")]
        plan = lyra_fft.Plan(x.shape, transform=name, norm="ortho", **axes, **keywords)
        assert plan.result_shape == expected.shape and plan.result_dtype == expected.dtype
        assert name in repr(plan) and plan.dtype == x.dtype and plan.shape == x.shape
        assert_same(plan.execute(x), expected, name)
        for order in ("F", "strided"):
            if order == "F":
                out = np.empty(expected.shape, expected.dtype, order)
            else:
                out = np.empty([3 * n for n in expected.shape], expected.dtype)[::3, ::3]
            assert plan.execute(x.T.copy().T, out) is out
            assert_same(out, expected, name)
        if expected.shape == x.shape and expected.dtype == x.dtype:
            own = x.copy()
            plan.execute(own, own)
            assert_same(own, expected, name)
        whole = np.zeros((12, 7), x.dtype)  # the output begins within the input
        whole[:6] = x
        if expected.shape == x.shape and expected.dtype == x.dtype:
            assert_same(plan.execute(whole[:6], whole[3:9]), expected, name)
            whole = np.zeros((6, 7), x.dtype)
            whole[...] = x[:, ::-1]
            assert_same(plan.execute(whole[:, ::-1], whole), expected, name)
        assert_same(getattr(lyra_fft, name)(x, norm="ortho", plan=plan, **keywords), expected, name)
        with pytest.raises(ValueError, match="another transform"):
            getattr(lyra_fft, name)(x, plan=plan)
    plan = lyra_fft.Plan(8)
    with pytest.raises(ValueError, match="another shape"):
        plan.execute(np.ones(9, complex))
    with pytest.raises(ValueError, match="out has another"):
        plan.execute(np.ones(8, complex), np.empty(8))
    with pytest.raises(ValueError, match="strides"):
        plan.execute(np.ones(8, complex), np.empty(8, complex)[::-1])
    with pytest.raises(TypeError, match="array"):
        plan.execute(np.ones(8, complex), [1])


def in_threads(count, work):
    failures = []

    def guarded(k):
        try:
            work(k)
        except BaseException as error:
            failures.append(error)

    threads = [threading.Thread(target=guarded, args=(k,)) for k in range(count)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures, failures[0]


def test_threads():
    """Functions and one plan by many threads, while plans are evicted and made."""
    rng = np.random.default_rng(4)
    inputs = [rng.standard_normal((30, n)) + 1j for n in range(90, 100)]
    expected = [lyra_fft.fft(x) for x in inputs]
    plan = lyra_fft.Plan(inputs[0].shape, 1)
    limit = lyra_fft.plan_cache_info()["limit"]

    def work(k):
        for j in range(200):
            at = (j + k) % len(inputs)
            y = lyra_fft.fft(inputs[at], workers=1 + j % 2)
            np.testing.assert_allclose(y, expected[at], rtol=0, atol=1e-12)
            np.testing.assert_array_equal(plan.execute(inputs[0]), expected[0])

    lyra_fft.set_plan_cache_limit(60000)
    try:
        in_threads(4, work)
    finally:
        lyra_fft.set_plan_cache_limit(limit)


def test_lock_is_released():
    """Another thread gets ahead while a transform runs, though nobody gives way."""
    x = np.ones(1 << 20, complex)
    lyra_fft.fft(x)
    interval = sys.getswitchinterval()
    sys.setswitchinterval(1000)
    try:
        for _ in range(50):
            done, seen, begun = [], [], threading.Lock()
            begun.acquire()

            def transform():
                begun.release()
                lyra_fft.fft(x)
                done.append(True)

            thread = threading.Thread(target=transform)
            thread.start()
            with begun:
                seen.append(not done)
            thread.join()
            if seen[0]:
                return
        pytest.fail("other threads waited for the transform")
    finally:
        sys.setswitchinterval(interval)


def test_fork():
    """A child transforms with plans that it inherits and new ones, by threads too."""
    x = np.random.default_rng(5).standard_normal((512, 128))
    expected = lyra_fft.fft(x, workers=2)
    child = os.fork()
    if child == 0:
        same = all(np.allclose(lyra_fft.fft(x, workers=w), expected) for w in (2, 1, 3))
        os._exit(0 if same else 1)
    assert os.waitpid(child, 0)[1] == 0
    np.testing.assert_array_equal(lyra_fft.fft(x, workers=2), expected)


def test_workers():
    processors = os.cpu_count()
    assert lyra_fft.get_workers() == 1
    with lyra_fft.set_workers(3):
        assert lyra_fft.Plan(4).workers == 3
        in_threads(1, lambda k: lyra_fft.get_workers() == 1 or pytest.fail("shared by threads"))
        with pytest.raises(ZeroDivisionError), lyra_fft.set_workers(-1):
            assert lyra_fft.get_workers() == processors
            1 / 0
        assert lyra_fft.get_workers() == 3
    assert lyra_fft.Plan(4, workers=-processors).workers == 1


def test_backend(monkeypatch):
    """scipy.fft calls us, with its own number of workers; what is not done here falls through."""
    calls = []
    for name in FOURIER + REAL:
        function = getattr(lyra_fft, name)

        def spy(*args, _name=name, _function=function, **keywords):
            calls.append((_name, keywords.get("workers"), args))
            return _function(*args, **keywords)

        monkeypatch.setitem(lyra_fft.scipy_backend._functions, name, spy)
    x = np.random.default_rng(6).standard_normal((8, 9))
    for name in FOURIER + REAL:
        expected = getattr(scipy.fft, name)(x)
        with scipy.fft.set_backend(lyra_fft.scipy_backend):
            del calls[:]
            assert_same(getattr(scipy.fft, name)(x), expected, name)
            assert_same(getattr(scipy.fft, name)(x.tolist()), expected, name)
            with scipy.fft.set_workers(2):
                assert_same(getattr(scipy.fft, name)(x, workers=None), expected, name)
                assert_same(getattr(scipy.fft, name)(x, workers=1), expected, name)
        assert [(call[0], call[1]) for call in calls] == [(name, w) for w in (None, None, 2, 1)]
    del calls[:]
    with scipy.fft.set_backend(lyra_fft.scipy_backend):
        assert scipy.fft.fht(x[0], 0.1, 1).shape == (9,)
        assert scipy.fft.fft(x.astype("g")).dtype == np.clongdouble
        with pytest.raises(NotImplementedError, match="precomputed plan"):
            scipy.fft.fft(x, plan="plan")
        assert {call[0] for call in calls} == {"rfft", "irfft"}  # by fht
    del calls[:]
    with scipy.fft.set_backend(lyra_fft.scipy_backend), scipy.fft.skip_backend(
            lyra_fft.scipy_backend):
        scipy.fft.fft(x)
    assert not calls
    with pytest.raises(scipy.fft._backend.ua.BackendNotImplementedError):
        with scipy.fft.set_backend(lyra_fft.scipy_backend, only=True):
            scipy.fft.fht(x[0], 0.1, 1)


@pytest.mark.filterwarnings("ignore:Casting complex")
@pytest.mark.parametrize("name", [name for name in numpy_fft.__all__ if "shift" not in name])
def test_like_numpy(name):
    if name.endswith("freq"):
        assert getattr(numpy_fft, name) is getattr(np.fft, name)
        return
    rng = np.random.default_rng(7)
    for case in range(60):
        x = random_array(rng, rng.choice(["d", "D", "i2", ">d", "f", "g"]), int(rng.integers(2, 4)))
        if name.endswith(("n", "2")):
            axes = tuple(rng.integers(-2, 2, 2).tolist())  # the same twice, too
            args = (tuple(rng.integers(2, 12, 2).tolist()) if case % 2 else None, axes)
        else:
            args = (int(rng.integers(2, 20)) if case % 2 else None, int(rng.integers(-2, 2)))
        args += (rng.choice([None, "backward", "ortho", "forward"]),)
        text = f"{name}, case {case}: {x.dtype} {x.shape} {args}"
        try:
            theirs = getattr(np.fft, name)(x, *args)
        except (ValueError, TypeError) as error:
            with pytest.raises(type(error)):
                getattr(numpy_fft, name)(x, *args)
            continue
        assert_same(getattr(numpy_fft, name)(x, *args), theirs, text)
        assert_same(getattr(numpy_fft, name)(a=x, norm=args[2], **(
            {"s": args[0], "axes": args[1]} if name.endswith(("n", "2"))
            else {"n": args[0], "axis": args[1]})), theirs, text)
    many = name.endswith(("n", "2"))
    x = np.ones((2, 3))
    for bad in ((x, (0, 1) if many else 0), (x, None, (0, 5) if many else 5), (x, None, "axis"),
                (x, None, (0, 1) if many else 0, "both"), (x, (1, 2), (1,))):
        with pytest.raises((ValueError, IndexError, TypeError)) as theirs:
            getattr(np.fft, name)(*bad)
        with pytest.raises((ValueError, IndexError, TypeError)) as ours:
            getattr(numpy_fft, name)(*bad)
        assert issubclass(ours.type, theirs.type) or "axis" in bad, bad


def test_next_fast_len():
    def smooth(n, primes):
        for p in primes:
            while n % p == 0:
                n //= p
        return n == 1

    for real, primes in ((False, (2, 3, 5, 7, 11)), (True, (2, 3, 5))):
        expected = [n for n in range(1, 3000) if smooth(n, primes)]
        for target in range(1, 2900, 7):
            assert lyra_fft.next_fast_len(target, real=real) == min(
                n for n in expected if n >= target)
        large = lyra_fft.next_fast_len(2**39 + 1, real)
        assert 2**39 < large < 2**39 * 1.01 and smooth(large, primes)
    assert lyra_fft.next_fast_len(0) == 0 == scipy.fft.next_fast_len(0)


def test_examples_in_docstrings():
    """Every public function has a docstring with examples, and they are right."""
    runner = doctest.DocTestRunner(verbose=False)
    parser = doctest.DocTestParser()
    texts = {"lyra_fft": lyra_fft.__doc__, "numpy_fft": numpy_fft.__doc__,
             "scipy_backend": lyra_fft.scipy_backend.__doc__,
             "Plan.execute": lyra_fft.Plan.execute.__doc__}
    for name in lyra_fft.__all__:
        member = getattr(lyra_fft, name)
        if callable(member) and not name.endswith(("freq", "shift")):
            texts[name] = member.__doc__
    for name, text in texts.items():
        test = parser.get_doctest(text or "", {}, name, None, None)
        assert test.examples, f"{name} has no examples"
        runner.run(test)
    assert runner.failures == 0


def test_stubs():
    """The type stubs name what there is, with the same parameters."""
    folder = Path(lyra_fft.__file__).parent
    assert (folder / "py.typed").exists()
    for module, file in ((lyra_fft, "__init__.pyi"), (numpy_fft, "numpy_fft.pyi")):
        found = {}
        for node in ast.parse((folder / file).read_text()).body:
            if isinstance(node, ast.FunctionDef):
                arguments = node.args
                found[node.name] = [a.arg for a in arguments.args + arguments.kwonlyargs]
            elif isinstance(node, ast.ClassDef) and node.name[0] != "_":
                init = next(n for n in node.body if getattr(n, "name", "") == "__new__")
                found[node.name] = [a.arg for a in init.args.args[1:] + init.args.kwonlyargs]
        for name in module.__all__:
            member = getattr(module, name)
            if inspect.ismodule(member) or "shift" in name or "freq" in name:
                continue
            assert name in found, f"{file} has no {name}"
            try:
                parameters = list(inspect.signature(member).parameters)
            except ValueError:  # the C functions for NumPy have no signature
                parameters = ["a", "n", "axis", "norm"]
            assert [p.strip("_") for p in found[name]] == parameters, name
        assert set(found) <= set(module.__all__)
