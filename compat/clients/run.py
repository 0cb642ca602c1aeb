#!/usr/bin/env python3
"""Runs real programs on the original FFTW and on this library, and compares what they print.

usage: run.py LYR_FFT BUILD_FOLDER [CLIENT...]

LYR_FFT is the program lyr-fft, BUILD_FOLDER where clients are compiled. Without names: all clients;
--list prints their names. A client passes when both runs succeed, figures agree to one part in 10^8
(single numbers apart: sums that cancel, to 10^-8 of the greatest figure of their line; in single
precision to 3 parts in 10^6), all other text agrees, and the second run says that it used this library.
Exit status 1 when one fails.
"""

import re
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
MPI = ["mpirun", "--allow-run-as-root", "--oversubscribe", "-np"]
PYTHON = "/usr/bin/python3"  # the system's, which sees the packages

# name: what runs, options of lyr-fft run, how many processes report at least
CLIENTS = {
    "octave": (["octave-cli", "-q", str(HERE / "octave.m")], [], 1),
    "r": (["Rscript", str(HERE / "r_fftw.R")], ["--preload"], 1),  # R has a library path of its own
    "imagemagick": ([str(HERE / "imagemagick.sh")], [], 3),
    "pyfftw": ([PYTHON, str(HERE / "pyfftw_client.py")], [], 1),
    **{f"mpi4py-fft-{ranks}": ([*MPI, str(ranks), PYTHON, str(HERE / "mpi4py_fft_client.py")], [], ranks)
       for ranks in (1, 2, 4)},
    "spfft-2": ([*MPI, "2", "SPFFT"], [], 2),
    "gromacs": ([str(HERE / "gromacs.sh")], [], 1),
}
SINGLE_PRECISION = {"gromacs"}
NUMBER = re.compile(r"[-+]?\d+\.\d+(?:e[-+]?\d+)?")


def compile_spfft(folder):
    program = Path(folder) / "spfft_client"
    subprocess.run(["mpicxx", "-std=c++17", "-O2", str(HERE / "spfft_client.cpp"), "-o", str(program),
                    "-lspfft", "-fopenmp"], check=True)
    return str(program)


def run(command):
    start = time.monotonic()
    result = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                            timeout=280)
    return result, time.monotonic() - start


def differences(first, second, tolerance):
    lines = first.splitlines(), second.splitlines()
    if len(lines[0]) != len(lines[1]):
        yield f"{len(lines[0])} lines and {len(lines[1])} lines"
    for one, other in zip(*lines):
        if one == other:
            continue
        numbers = [[float(n) for n in NUMBER.findall(line)] for line in (one, other)]
        greatest = max(map(abs, numbers[0]), default=0)
        close = len(numbers[0]) == len(numbers[1]) and all(
            abs(a - b) <= tolerance * greatest for a, b in zip(*numbers))
        if not close or NUMBER.sub("", one) != NUMBER.sub("", other):
            yield f"the original: {one}\n     here: {other}"


def check(name, lyr_fft, folder):
    """Yields what is wrong."""
    command, options, processes = CLIENTS[name]
    command = [compile_spfft(folder) if word == "SPFFT" else word for word in command]
    original, seconds = run(command)
    ours, our_seconds = run([lyr_fft, "run", "--report", *options, *command])
    for which, result in ("the original", original), ("this library", ours):
        if result.returncode:
            yield f"exit status {result.returncode} with {which}: {result.stderr[-2000:]}"
    reports = len(re.findall(r"^lyra-fftw3 .*: [1-9]\d* plans, [1-9]\d* executions", ours.stderr, re.M))
    if reports < processes:
        yield f"{reports} of {processes} processes used this library"
    if not original.stdout:
        yield "nothing printed"
    tolerance = 3e-6 if name in SINGLE_PRECISION else 1e-8
    yield from differences(original.stdout, ours.stdout, tolerance)
    print(f"{name:14} {len(original.stdout.splitlines()):4} lines, {seconds:6.1f} s and "
          f"{our_seconds:6.1f} s", flush=True)


def main(arguments):
    if arguments == ["--list"]:
        print(*CLIENTS)
        return 0
    if len(arguments) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    lyr_fft, folder, *names = arguments
    failed = 0
    for name in names or CLIENTS:
        faults = list(check(name, lyr_fft, folder))
        for fault in faults[:10]:
            print(f"  {name}: {fault}")
        failed += bool(faults)
    print(f"{len(names or CLIENTS) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
