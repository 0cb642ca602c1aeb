#!/usr/bin/python3
"""Count the instructions that transforms execute on AArch64.

    bench/aarch64/count.py build-arm/bench/aarch64/lyra-execute \\
        build-arm/bench/aarch64/count_plugin.so ocf1024 orf1000

The program runs in the emulator (Debian's qemu-user), executing a transform R and 2R times: the
difference divided by R is one execution, without planning and what the first execution does alone.
Counts repeat to the instruction. They say nothing of caches and of what a processor does at once.
"""

import argparse
import math
import re
import subprocess
import sys
import time

# An emulated processor with complex-number instructions; the library's vectors have 128 bits, and
# wider ones would let the C library copy with them.
EMULATOR = ["qemu-aarch64", "-cpu", "max,sve=off", "-L", "/usr/aarch64-linux-gnu"]
REPETITIONS = 2

# Problems and the most instructions per n log2 n: what was counted with g++ 12, and 3 % more.
LIMITS = {
    "ocf64": 2.39, "ocf128": 2.35, "ocf256": 2.31, "ocf512": 2.32, "ocf1024": 2.35,
    "ocf2048": 2.33, "ocf4096": 2.34, "ocf8192": 2.40, "ocf16384": 2.56, "ocf32768": 2.60,
    "ocf65536": 2.60, "ocf240": 2.41, "ocf360": 2.58, "ocf1000": 2.75, "ocf1200": 2.60,
    "ocf2520": 2.72, "ocf5040": 2.71, "ocf7680": 2.42, "orf1024": 1.46, "orf1000": 1.75,
    "orf16384": 1.39, "orb1024": 1.43, "ocf64*64i": 2.06, "ocf64*16": 1.95,
}
# The same in single precision.
FLOAT_LIMITS = {
    "ocf64": 1.83, "ocf128": 1.52, "ocf256": 1.33, "ocf512": 1.49, "ocf1024": 1.38, "ocf2048": 1.30,
    "ocf4096": 1.45, "ocf8192": 1.39, "ocf16384": 1.41, "ocf32768": 1.41, "ocf65536": 1.65,
    "ocf1000": 1.63, "ocf1200": 1.55, "ocf2520": 1.74, "ocf5040": 1.75, "orf1024": 0.96,
    "orf1000": 1.20, "orf16384": 0.90, "orb1024": 0.94, "ocf64*64i": 1.31,
}
KNOWN_LOOP = 2000  # instructions of the program's own loop
CALL = 20          # more of them between two passes than this are a fault


class CountError(Exception):
    """The text is one line."""


def run(program, plugin, problem, times):
    """(instructions of the whole run, what the program printed as a dictionary)."""
    command = [*EMULATOR[:1], "-plugin", plugin, *EMULATOR[1:], program, problem, str(times)]
    try:
        result = subprocess.run(command, capture_output=True, text=True, timeout=600)
    except (OSError, subprocess.TimeoutExpired) as error:
        raise CountError(f"{problem}: {error}") from error
    count = re.search(r"^instructions (\d+)$", result.stderr, re.M)
    if result.returncode or not count:
        raise CountError(f"{problem}: status {result.returncode}: {result.stderr.strip()}")
    return int(count[1]), dict(re.findall(r"^(\w+) (.*)$", result.stdout, re.M))


def count(program, plugin, problem):
    """(instructions of one execution, facts)."""
    few, facts = run(program, plugin, problem, REPETITIONS)
    more, _ = run(program, plugin, problem, 2 * REPETITIONS)
    return (more - few) / REPETITIONS, facts


def per_level(instructions, facts):
    """Instructions per n log2 n and transform."""
    points, batch = int(facts["points"]), int(facts["batch"])
    return instructions / (batch * points * math.log2(points))


def check(program, plugin, limits, with_limits):
    """Faults: of counting, and counts above the limits."""
    loop, _ = count(program, plugin, "loop")
    if not KNOWN_LOOP < loop < KNOWN_LOOP + CALL:
        yield f"a loop of {KNOWN_LOOP} instructions counts as {loop}"
    for problem, limit in limits.items():
        instructions, facts = count(program, plugin, problem)
        value = per_level(instructions, facts)
        print(f"{problem:12} {instructions:12.1f} {value:8.3f}, at most {limit}")
        if facts["target"] != "neon_fcma":
            yield f"{problem} ran with vector target {facts['target']}"
        if with_limits and value > limit:
            yield f"{problem}: {value:.3f} instructions per n log2 n, at most {limit}"


def emulator_version():
    try:
        text = subprocess.run([EMULATOR[0], "--version"], capture_output=True, text=True,
                              timeout=60).stdout
    except OSError as error:
        raise CountError(str(error)) from error
    return re.search(r"version ([\d.]+)", text)[1]


def write_table(program, plugin, problems, file):
    rows = []
    for problem in problems:
        instructions, facts = count(program, plugin, problem)
        rows.append(f"{problem}\t{facts['points']}\t{facts['batch']}\t{instructions:.1f}\t"
                    f"{per_level(instructions, facts):.4f}\n")
        print(rows[-1], end="")
    print(f"# date: {time.strftime('%Y-%m-%d %H:%M UTC', time.gmtime())}", file=file)
    print(f"# compiler: {facts['compiler']}", file=file)
    print(f"# target: {facts['target']}", file=file)
    print(f"# emulator: qemu-user {emulator_version()}, {' '.join(EMULATOR[1:3])}", file=file)
    file.write("problem\tpoints\tbatch\tinstructions\tper_level\n")
    file.writelines(rows)


def main():
    parser = argparse.ArgumentParser(
        description="Count the instructions that transforms execute on AArch64.")
    parser.add_argument("program", help="lyra-execute or lyra-execute-float, cross-built")
    parser.add_argument("plugin", help="count_plugin.so")
    parser.add_argument("problem", nargs="*", default=[],
                        help="what to count; without any, a usual choice")
    parser.add_argument("--output", metavar="FILE", help="write a TSV table")
    parser.add_argument("--check", action="store_true", help="check the counting itself")
    parser.add_argument("--limits", action="store_true",
                        help="with --check: also that no count is above its limit")
    parser.add_argument("--float", action="store_true",
                        help="the limits and the usual choice of single precision")
    arguments = parser.parse_args()
    program, plugin = arguments.program, arguments.plugin
    limits = FLOAT_LIMITS if arguments.float else LIMITS
    try:
        if arguments.check:
            faults = list(check(program, plugin, limits, arguments.limits))
            for fault in faults:
                print(fault)
            return 1 if faults else 0
        with open(arguments.output or "/dev/null", "w", encoding="utf-8") as file:
            write_table(program, plugin, arguments.problem or list(limits), file)
    except (CountError, OSError) as error:
        print(f"count.py: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
