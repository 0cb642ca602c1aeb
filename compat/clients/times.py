#!/usr/bin/env python3
"""Times calls of real programs on the original FFTW and on this library, in turns.

usage: times.py LYR_FFT BUILD_FOLDER [ROUNDS [octave|r|pyfftw|mpi4py-fft|spfft|gromacs...]]

Prints a table in Markdown: milliseconds of both, the least of all rounds, and their ratio. SpFFT and
mpi4py-fft run on two ranks; the Octave, R and Python calls on one thread. Planning is not counted.
"""

import os
import re
import subprocess
import sys

from run import HERE, MPI, PYTHON, compile_spfft

OCTAVE = r"""
function report (name, f)
  f (); best = Inf;
  for k = 1:7
    t = tic (); f (); best = min (best, toc (t));
  end
  printf ("%s %.6f\n", name, best);
end
x = rand (1000); z = x + 1i * x'; v = rand (128, 128, 128); long = rand (1, 2^20) + 1i; c = rand (1024, 1000);
report ("Octave fft2, complex 1000 x 1000", @() fft2 (z));
report ("Octave fft2, real 1000 x 1000", @() fft2 (x));
report ("Octave fftn, real 128 x 128 x 128", @() fftn (v));
report ("Octave fft, complex 2^20", @() fft (long));
report ("Octave fft, 1000 real columns of 1024", @() fft (c));
"""
R = r"""
library(fftw)
z <- complex(real = sin(1:100000), imaginary = 1); plan <- planFFT(100000, 1L); best <- Inf
for (k in 1:40) best <- min(best, system.time(for (i in 1:5) FFT(z, plan = plan))[["elapsed"]] / 5)
cat(sprintf("R fftw FFT, complex 100000 %.6f\n", best))
"""
PYFFTW = r"""
import time, numpy, pyfftw
def report(name, f):
    f(); best = 1e9; end = time.perf_counter() + 0.3
    while time.perf_counter() < end:
        t = time.perf_counter(); f(); best = min(best, time.perf_counter() - t)
    print(name, f"{best:.6f}")
r = numpy.random.RandomState(1)
def plan(shape, kind, **more):
    real, half = list(shape), list(shape); half[-1] = shape[-1] // 2 + 1
    a = pyfftw.empty_aligned(shape, "float64" if kind == "r" else "complex128")
    b = pyfftw.empty_aligned(half if kind == "r" else shape, "complex128")
    p = pyfftw.FFTW(a, b, axes=tuple(range(-more.get("rank", len(shape)), 0)))
    a[:] = r.standard_normal(shape)
    return p
report("pyFFTW, complex 1024 x 1024", plan((1024, 1024), "c"))
report("pyFFTW, real 100 x 100 x 100", plan((100, 100, 100), "r"))
report("pyFFTW, 4000 real rows of 500", plan((4000, 500), "r", rank=1))
report("pyFFTW, complex 16 x 16 x 16 x 16", plan((16, 16, 16, 16), "c"))
report("pyFFTW, complex, prime length 10007", plan((10007,), "c"))
"""
MPI4PY = r"""
import time
from mpi4py import MPI
from mpi4py_fft import PFFT, newDistArray
world = MPI.COMM_WORLD
for n, dtype, name in ((128, complex, "complex"), (256, float, "real")):
    plan = PFFT(world, (n, n, n), dtype=dtype); u = newDistArray(plan, False); u[:] = 1
    v = newDistArray(plan, True); best = 1e9
    for k in range(4):
        world.Barrier(); t = time.perf_counter(); plan.forward(u, v); world.Barrier()
        best = min(best, time.perf_counter() - t)
    if world.rank == 0: print(f"mpi4py-fft, 2 ranks, {name} {n}^3", f"{best:.6f}", flush=True)
"""


def clients(folder, wanted):
    two = [*MPI, "2"]
    everything = {
        "octave": (["octave-cli", "-q", "--eval", OCTAVE], []),
        "r": (["Rscript", "-e", R], ["--preload"]),
        "pyfftw": ([PYTHON, "-c", PYFFTW], []),
        "mpi4py-fft": ([*two, PYTHON, "-c", MPI4PY], []),
        "spfft": ([*two, "SPFFT", "time"], []),
        "gromacs": ([str(HERE / "gromacs.sh"), "--times"], []),
    }
    for name in wanted or everything:
        command, options = everything[name]
        yield [compile_spfft(folder) if word == "SPFFT" else word for word in command], options


def main(arguments):
    if len(arguments) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    lyr_fft, folder = arguments[:2]
    rounds = int(arguments[2]) if len(arguments) > 2 else 2
    environment = {**os.environ, "OMPI_MCA_mpi_yield_when_idle": "1"}
    print("| call | original | here | ratio |\n|---|---|---|---|")
    ratios = []
    for command, options in clients(folder, arguments[3:]):
        least = {}
        for _ in range(rounds):
            for which, prefix in enumerate(([], [lyr_fft, "run", *options])):
                text = subprocess.run([*prefix, *command], check=True, capture_output=True, text=True,
                                      env=environment).stdout
                for name, seconds in re.findall(r"^(.+) (\d+\.\d+)$", text, re.M):
                    entry = least.setdefault(name, [1e9, 1e9])
                    entry[which] = min(entry[which], float(seconds))
        for name, (original, here) in least.items():
            ratios.append(here / original)
            print(f"| {name} | {1e3 * original:.3f} ms | {1e3 * here:.3f} ms | {here / original:.2f} |",
                  flush=True)
    mean = 1.0
    for ratio in ratios:
        mean *= ratio ** (1 / len(ratios))
    print(f"\nGeometric mean of the ratios: {mean:.2f}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
