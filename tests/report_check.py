"""That the performance report is what its figures say.

usage: report_check.py page SOURCE_DIR
       report_check.py plots SOURCE_DIR
       report_check.py kept SOURCE_DIR

page   a page made of a few invented figures holds the right means, extremes and marks
plots  its plots are well-formed, hold text, and come out the same again; 77 without matplotlib
kept   docs/performance.md is what its kept figures give, with a plot for every group

Exits with 1 and one line per fault when something is not as it should be.
"""

import importlib.util
import os
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml
from pathlib import Path

TIMES = """\
# date: 2001-02-03 04:05 UTC
# processor: Some Processor
# processors: 4
# lyra: 9.9, target vectors
# compiler: gcc 99
# fftw: fftw-8.8
# planning: 7 s for one plan of FFTW's
# command: lyra-bench of the test
# class pow2-c2c: powers of two
# class threads2: two threads
class\tproblem\tpoints\tbatch\tengine\tstatus\tleast_s\tmedian_s\tplanning_s\texecutions\trepetitions
pow2-c2c\tocf16\t16\t1\tlyra\tok\t1e-8\t2e-8\t1e-6\t1\t7
pow2-c2c\tocf16\t16\t1\testimate\tok\t2e-8\t2e-8\t4e-6\t1\t7
pow2-c2c\tocf16\t16\t1\tmeasure\tok\t2e-8\t8e-8\t3e-4\t1\t7
pow2-c2c\tocf64\t64\t1\tlyra\tok\t9e-8\t9e-8\t1e-6\t1\t7
pow2-c2c\tocf64\t64\t1\testimate\tok\t9e-8\t9e-8\t1e-6\t1\t7
pow2-c2c\tocf64\t64\t1\tmeasure\tcut\t3e-8\t3e-8\t7.1\t1\t7
pow2-c2c\tocf32\t32\t1\tlyra\trefused\t\t\t\t1\t7
pow2-c2c\tocf32\t32\t1\testimate\tok\t9e-8\t9e-8\t1e-6\t1\t7
pow2-c2c\tocf32\t32\t1\tmeasure\tok\t3e-8\t3e-8\t1e-3\t1\t7
threads2\tocf8x8 t=2\t64\t1\tlyra\tok\t4e-8\t4e-8\t1e-6\t1\t7
threads2\tocf8x8 t=2\t64\t1\testimate\tok\t8e-8\t8e-8\t1e-6\t1\t7
threads2\tocf8x8 t=2\t64\t1\tmeasure\tok\t8e-8\t8e-8\t1e-3\t1\t7
threads2\tocf8x8 t=2\t64\t1\tsingle\tok\t5e-8\t5e-8\t1e-6\t1\t7
"""
ACCURACY = """\
# date: 2001-02-03 04:05 UTC
# processor: Some Processor
# lyra: 9.9, target vectors
# compiler: gcc 99
# command: lyra-accuracy of the test
class\tproblem\tpoints\tseed\tl2\tlinf
planes\tocf8x8\t64\t1\t0.25\t1e-16
planes\tocf8x8\t64\t2\t0.75\t2e-16
"""
INSTRUCTIONS = """\
# date: 2001-02-03 04:05 UTC
# compiler: gcc 99
# target: neon
# emulator: emulator 1
problem\tpoints\tbatch\tinstructions\tper_level
ocf64\t64\t1\t864.0\t2.2500
"""
EXPECTED = [
    # Medians 0.25 and, planning cut, 3; minima 0.5 and 3; the refused problem counts in neither.
    "| pow2-c2c: powers of two | 3 | 1 | 0.87 | 0.25 | 1.22 | ocf16 0.25 | ocf64 3.00 |",
    "| threads2: two threads | 1 | 0 | 0.50 | 0.50 | 0.50 | ocf8x8 t=2 0.50 | ocf8x8 t=2 0.50 |",
    "Of 4 problems, 2 are faster",
    "1 more than 5% slower,\n1 refused, 0 wrong. FFTW's planning was cut at 1.",
    "| ocf64 | pow2-c2c | 3.00 | 3.00 |",
    "| pow2-c2c | 0.50 | 0.00 | 1 us | 4 us | 7.1 s |",
    "| ocf16 | 20 ns | 80 ns | 0.25 | 0.50 | 1 us | 4 us | 300 us |",
    "| ocf64 | 90 ns | 30 ns | 3.00 | 3.00 | 1 us | 1 us | 7.1 s, cut |",
    "| ocf32 | refused | 30 ns | - | - | - | 1 us | 1 ms |",
    "| ocf8x8 t=2 | 40 ns | 80 ns | 0.50 | 0.50 | 0.80 | 1 us | 1 us | 1 ms |",
    "| ocf64 | 864 | 2.25 |",
    "| planes | 1, 64 .. 64 points | 2 | 0.500 | 0.750 | ocf8x8 |",
    "4 there, one used, or 2 where it says so",
    "| FFTW's planning | at most 7 s for one plan of FFTW's |",
]


def invented_figures(folder):
    for name, text in (("times", TIMES), ("accuracy", ACCURACY), ("instructions", INSTRUCTIONS)):
        (Path(folder) / f"{name}.tsv").write_text(text)


def check_page(performance):
    with tempfile.TemporaryDirectory() as folder:
        invented_figures(folder)
        page = performance.page(*performance.read_all(folder))
        for text in EXPECTED:
            if text not in page:
                yield f"missing: {text}"
        for name in ("accuracy", "instructions"):
            (Path(folder) / f"{name}.tsv").unlink()
        if performance.page(*performance.read_all(folder)).count(" in this run.") != 2:
            yield "a page without accuracy and instructions does not say so"
        (Path(folder) / "times.tsv").write_text("class\tproblem\n")
        try:
            performance.read_all(folder)
            yield "a table without figures is taken"
        except performance.InputError:
            pass


def faults_of_plot(path, words):
    """A plot is text that can be read and searched, small, on a white ground."""
    try:
        root = xml.parse(path).getroot()
    except (OSError, xml.ParseError) as error:
        yield f"{path.name}: {error}"
        return
    space = "{http://www.w3.org/2000/svg}"
    texts = " ".join("".join(element.itertext()) for element in root.iter(space + "text"))
    for word in words:
        if word not in texts:
            yield f"{path.name}: no text {word!r}"
    if "fill: #ffffff" not in path.read_text():
        yield f"{path.name}: no white ground"
    if path.stat().st_size > 500_000:
        yield f"{path.name}: {path.stat().st_size} bytes"


def check_plots(root):
    program = [sys.executable, root / "bench/performance.py"]
    made = []
    with tempfile.TemporaryDirectory() as folder:
        invented_figures(folder)
        for name in ("first", "second"):
            result = subprocess.run([*program, folder, Path(folder) / name], capture_output=True,
                                    text=True, timeout=300)
            if result.returncode:
                yield f"status {result.returncode}: {result.stderr}"
                return
            made.append({path.name: path.read_bytes()
                         for path in (Path(folder) / name / "performance").iterdir()})
        if made[0] != made[1]:
            yield "two runs over the same figures write different files"
        names = {"complex.svg", "threads.svg", "planning.svg", "times.tsv", "accuracy.tsv",
                 "instructions.tsv"}
        if set(made[0]) != names:
            yield f"written: {sorted(made[0])}"
            return
        plots = Path(folder) / "first/performance"
        yield from faults_of_plot(plots / "complex.svg", ["pow2-c2c   0.87", "our time / FFTW's",
                                                             "FFTW's planning cut"])
        yield from faults_of_plot(plots / "threads.svg", ["threads2   0.50", "8×8"])
        yield from faults_of_plot(plots / "planning.svg", ["pow2-c2c", "FFTW estimate", "1 µs"])


def check_kept(performance, root):
    page = (root / "docs/performance.md").read_text()
    if page != performance.page(*performance.read_all(root / "docs/performance")):
        yield "docs/performance.md is not what its figures give: ./dev report"
    for title, plot, classes in performance.grouped(
            performance.read_figures(root / "docs/performance/times.tsv")[2]):
        if title == "Others":
            yield f"classes without a group: {list(classes)}"
        yield from faults_of_plot(root / f"docs/performance/{plot}.svg", classes)
    if not re.search(r"^\| ocf1024 \| \d+ \|", page, re.M):
        yield "no instruction count of ocf1024"


def main(arguments):
    match arguments:
        case ["page" | "plots" | "kept" as what, root]:
            root = Path(root)
        case _:
            print(__doc__, file=sys.stderr)
            return 2
    if what == "plots":
        if not importlib.util.find_spec("matplotlib"):
            print("skipped: no matplotlib")
            return 77
        faults = list(check_plots(root))
    else:
        sys.path.insert(0, os.fspath(root / "bench"))
        import performance
        faults = list(check_page(performance) if what == "page"
                      else check_kept(performance, root))
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
