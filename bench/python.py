"""Measures lyra_fft next to scipy.fft and draws docs/performance/python.svg.

usage: PYTHONPATH=build/python python3 bench/python.py times|threads FIGURES
       python3 bench/python.py page FIGURES

times    one thread, on a processor that does nothing else: appends to the file FIGURES, a line for
         each problem with the median times in microseconds, ours and SciPy's, taken by turns in one
         process
threads  the same for two workers next to one, both ours, on two such processors
page     writes the plot, and the table of docs/python.md, from FIGURES; of a problem that was
         measured several times, the run with the median ratio
"""

import re
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs/python.md"
PLOT = ROOT / "docs/performance/python.svg"
BEGIN, END = "<!-- Written by bench/python.py: begin -->\n", "<!-- Written by bench/python.py: end -->\n"

LENGTHS = [16, 32, 64, 100, 128, 256, 512, 1000, 1024, 2048, 4096, 8192, 10000, 16384, 32768, 65536]

# Title of a row of the table, function, shapes, keywords.
CLASSES = [
    ("complex, 16 to 32 points", "fft", LENGTHS[:2], {}),
    ("complex, 64 to 65536 points", "fft", LENGTHS[2:], {}),
    ("the same back", "ifft", LENGTHS[2:], {}),
    ("complex, primes", "fft", [67, 251, 1009, 10007], {}),
    ("real, 16 to 65536 points", "rfft", LENGTHS, {}),
    ("the same back", "irfft", LENGTHS, {}),
    ("cosine transform, 16 to 65536 points", "dct", LENGTHS, {}),
    ("1000 x 256, along rows", "fft", [(1000, 256)], {"axis": 1}),
    ("1000 x 256, along columns", "fft", [(1000, 256)], {"axis": 0}),
    ("plane 512 x 512", "fft2", [(512, 512)], {}),
    ("plane 1000 x 1000", "fft2", [(1000, 1000)], {}),
    ("real plane 512 x 512", "rfft2", [(512, 512)], {}),
    ("cosine transform of a plane 512 x 512", "dctn", [(512, 512)], {}),
    ("volume 64 x 64 x 64", "fftn", [(64, 64, 64)], {}),
]
CURVES = [("fft", "complex (fft)"), ("rfft", "real (rfft)"), ("dct", "cosine (dct)")]


def medians(calls, seconds):
    """Median times of functions that are called by turns."""
    repeat = []
    for call in calls:
        call()
        start = time.perf_counter()
        call()
        repeat.append(max(1, int(0.002 / (time.perf_counter() - start))))
    times = [[] for _ in calls]
    end = time.perf_counter() + seconds
    while time.perf_counter() < end or len(times[0]) < 5:
        for call, count, list_ in zip(calls, repeat, times):
            start = time.perf_counter()
            for _ in range(count):
                call()
            list_.append((time.perf_counter() - start) / count)
    return [1e6 * sorted(list_)[len(list_) // 2] for list_ in times]


def measure(threads, output, seconds=0.4):
    import numpy as np
    import scipy
    import scipy.fft

    import lyra_fft
    rng = np.random.default_rng(1)

    def data(name, shape, dtype):
        complex_ = name in ("fft", "ifft", "fft2", "fftn", "irfft")
        if name == "irfft":
            shape = shape // 2 + 1
        x = rng.standard_normal(shape)
        return (x + 1j * rng.standard_normal(shape) if complex_ else x).astype(
            {"double": "D" if complex_ else "d", "single": "F" if complex_ else "f"}[dtype])

    with open(output, "a") as file:
        if file.tell() == 0:
            processor = Path("/proc/cpuinfo").read_text()
            model = re.search(r"model name\s*: (.*)", processor)
            vectors = [name for flag, name in (("avx512vl", "AVX-512"), ("avx2", "AVX2"),
                                               ("asimd", "Advanced SIMD")) if flag in processor]
            print(f"# {model[1] if model else 'a processor'}, {(vectors + ['no vectors'])[0]}; Python {sys.version.split()[0]}, "
                  f"NumPy {np.__version__}, SciPy {scipy.__version__}, lyra_fft "
                  f"{lyra_fft.__version__}; {time.strftime('%Y-%m-%d')}", file=file)
        if threads:
            x = data("fft2", (1000, 1000), "double")
            two, one = medians([lambda: lyra_fft.fft2(x, workers=2), lambda: lyra_fft.fft2(x)], 4)
            print("threads", "double", "1000x1000", "two workers", f"{two:.3f}", f"{one:.3f}",
                  sep="\t", file=file)
            return
        for dtype in ["double"] + ["single"] * lyra_fft._core.has_single:
            for title, name, shapes, keywords in CLASSES:
                for shape in shapes:
                    x = data(name, shape, dtype)
                    ours, theirs = medians(
                        [lambda: getattr(lyra_fft, name)(x, **keywords),
                         lambda: getattr(scipy.fft, name)(x, **keywords)], seconds)
                    text = "x".join(map(str, shape)) if isinstance(shape, tuple) else shape
                    print(name, dtype, text, title, f"{ours:.3f}", f"{theirs:.3f}", sep="\t",
                          file=file, flush=True)


def geometric_mean(numbers):
    import math
    return math.exp(sum(map(math.log, numbers)) / len(numbers))


def write_page(figures):
    facts, *rows = Path(figures).read_text().splitlines()
    runs = {}
    for line in rows:
        row = line.split("\t")
        runs.setdefault(tuple(row[:4]), []).append(row)
    rows = [sorted(of_one, key=lambda row: float(row[4]) / float(row[5]))[len(of_one) // 2]
            for of_one in runs.values()]
    found = {}
    for name, dtype, _, title, ours, theirs in rows:
        found.setdefault((name, title, dtype), []).append(float(ours) / float(theirs))
    dtypes = [d for d in ("double", "single") if any(key[2] == d for key in found)]
    lines = ["| our time over SciPy's | " + " | ".join(f"{d} precision" for d in dtypes) + " |",
             "| --- |" + " ---: |" * len(dtypes)]
    for title, name, _, _ in CLASSES:
        cells = [f"{geometric_mean(found[name, title, d]):.2f}" for d in dtypes]
        lines.append(f"| `{name}`: {title} | " + " | ".join(cells) + " |")
    text = "\n".join(lines) + "\n"
    for (name, _, _), ratios in found.items():
        if name == "threads":
            text += (f"\nTwo workers transform the plane of 1000 x 1000 points "
                     f"{1 / ratios[-1]:.2f} times as fast as one.\n")
    text += f"\n{facts[2:]}.\n"
    page = PAGE.read_text()
    begin, end = page.index(BEGIN) + len(BEGIN), page.index(END)
    PAGE.write_text(page[:begin] + text + page[end:])

    import matplotlib
    matplotlib.use("svg")
    matplotlib.rcParams["svg.hashsalt"] = "lyra_fft"
    from matplotlib import pyplot
    figure, plots = pyplot.subplots(1, len(dtypes), figsize=(5.5 * len(dtypes), 3.6), squeeze=False,
                                    sharey=True)
    for plot, dtype in zip(plots[0], dtypes):
        for name, label in CURVES:
            points = sorted((int(shape), float(ours) / float(theirs))
                            for row_name, row_dtype, shape, title, ours, theirs in rows
                            if row_name == name and row_dtype == dtype and "points" in title)
            plot.plot(*zip(*points), marker="o", markersize=3, label=label)
        plot.set(xscale="log", ylim=(0, 1.05), xlabel="points", title=f"{dtype} precision")
        plot.axhline(1, color="grey", linewidth=0.8)
        plot.grid(alpha=0.3)
        plot.legend()
    plots[0][0].set_ylabel("time / time of scipy.fft")
    figure.tight_layout()
    figure.savefig(PLOT, metadata={"Date": None})


def main(arguments):
    if len(arguments) != 2 or arguments[0] not in ("times", "threads", "page"):
        print(__doc__, file=sys.stderr)
        return 2
    if arguments[0] == "page":
        write_page(arguments[1])
    else:
        measure(arguments[0] == "threads", arguments[1])
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
