"""That the performance report is what its figures say.

usage: report_check.py page SOURCE_DIR
       report_check.py plots SOURCE_DIR
       report_check.py kept SOURCE_DIR

page   pages made of a few invented figures hold the right means, extremes and marks, the figures of
       a run replace those of its own vector targets alone, and the README gets its part
plots  the plots are well-formed, hold text, and come out the same again; 77 without matplotlib
kept   docs/performance*.md and the figures of README.md are what the kept figures give, with a plot
       for every group

Exits with 1 and one line per fault when something is not as it should be.
"""

import contextlib
import importlib.util
import io
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
# lyra: 9.9, target avx512
# further target: avx2
# compiler: gcc 99
# fftw: fftw-8.8
# native: fftw-8.8-wide
# planning: 7 s for one plan of FFTW's
# command: lyra-bench of the test
# class pow2-c2c: powers of two
# class threads2: two threads
class\tproblem\tpoints\tbatch\tengine\tstatus\tleast_s\tmedian_s\tplanning_s\texecutions\trepetitions
pow2-c2c\tocf16\t16\t1\tlyra\tok\t1e-8\t2e-8\t1e-6\t1\t7
pow2-c2c\tocf16\t16\t1\testimate\tok\t2e-8\t2e-8\t4e-6\t1\t7
pow2-c2c\tocf16\t16\t1\tmeasure\tok\t2e-8\t8e-8\t3e-4\t1\t7
pow2-c2c\tocf16\t16\t1\tnative\tok\t1e-8\t4e-8\t6e-4\t1\t7
pow2-c2c\tocf16\t16\t1\tlyra-avx2\tok\t2e-8\t4e-8\t2e-6\t1\t7
pow2-c2c\tocf64\t64\t1\tlyra\tok\t9e-8\t9e-8\t1e-6\t1\t7
pow2-c2c\tocf64\t64\t1\testimate\tok\t9e-8\t9e-8\t1e-6\t1\t7
pow2-c2c\tocf64\t64\t1\tmeasure\tcut\t3e-8\t3e-8\t7.1\t1\t7
pow2-c2c\tocf64\t64\t1\tnative\tok\t3e-8\t3e-8\t7\t1\t7
pow2-c2c\tocf64\t64\t1\tlyra-avx2\tok\t9e-8\t9e-8\t1e-6\t1\t7
pow2-c2c\tocf32\t32\t1\tlyra\trefused\t\t\t\t1\t7
pow2-c2c\tocf32\t32\t1\testimate\tok\t9e-8\t9e-8\t1e-6\t1\t7
pow2-c2c\tocf32\t32\t1\tmeasure\tok\t3e-8\t3e-8\t1e-3\t1\t7
pow2-c2c\tocf32\t32\t1\tnative\tok\t3e-8\t3e-8\t1e-3\t1\t7
pow2-c2c\tocf32\t32\t1\tlyra-avx2\trefused\t\t\t\t1\t7
threads2\tocf8x8 t=2\t64\t1\tlyra\tok\t4e-8\t4e-8\t1e-6\t1\t7
threads2\tocf8x8 t=2\t64\t1\testimate\tok\t8e-8\t8e-8\t1e-6\t1\t7
threads2\tocf8x8 t=2\t64\t1\tmeasure\tcut\t8e-8\t8e-8\t1e-3\t1\t7
threads2\tocf8x8 t=2\t64\t1\tnative\tok\t8e-8\t5e-8\t1e-3\t1\t7
threads2\tocf8x8 t=2\t64\t1\tsingle\tok\t5e-8\t5e-8\t1e-6\t1\t7
threads2\tocf8x8 t=2\t64\t1\tlyra-avx2\tok\t6e-8\t6e-8\t1e-6\t1\t7
threads2\tocf8x8 t=2\t64\t1\tsingle-avx2\tok\t3e-8\t3e-8\t1e-6\t1\t7
"""
# An earlier run on a processor with AVX2 alone, before a second build of FFTW took part.
EARLIER = "".join(line + "\n" for line in TIMES.replace("2001-02-03", "2000-01-01")
                  .replace("avx512", "avx2").replace("2e-8\t1e-6", "6e-8\t1e-6").splitlines()
                  if not re.search(r"^# (native|further)|\tnative|-avx2", line))
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
# Debian's: medians 0.25 and, planning cut, 3; native: 0.5 and 3. The refused problem counts in none.
EXPECTED_PAGE = [
    "| our time over FFTW's | AVX-512 | AVX2 |",
    "| powers of two 8 to 32768 | 0.25 Debian's, 1.22 native | 0.50 Debian's, 1.73 native |",
    "| two threads, FFTW's with two | 0.50* Debian's, 0.80 native | 0.75* Debian's, 1.20 native |",
    "| Powers of two (`pow2-c2c`) | 3 | 0.25 | 1 | 0.25 `ocf16` | 3.00 `ocf64` | 1.22 | 0 | 0.50 "
    "`ocf16` | 3.00 `ocf64` |",
    "AVX-512: 2 of 3 problems are faster than with Debian's FFTW, 1 more than 5% slower (the worst: "
    "`ocf64` 3.00); 2 of 3 problems are faster than with FFTW built for the processor, 1 more than "
    "5% slower (the worst: `ocf64` 3.00); 1 refused, 0 wrong.",
    "| `ocf64` | pow2-c2c | 3.00 | 3.00 |",
    # The geometric mean of 4 and 1 times; of 300 and 7.1 million; of 600 and 7 million.
    "| powers of two | 2.0 | 46,000 | 65,000 | 1 us | 4 us | 7.1 s | 7 s |",
    "| ocf64 | 864 | 2.25 |",
    "| planes | 1, 64 .. 64 points | 2 | 0.500 | 0.750 | ocf8x8 | - | - | - |",
    "4 there, one used, or 2 where it says so",
    "| FFTW's planning | at most 7 s for one plan of FFTW's |",
]
EXPECTED_PROBLEMS = [
    "| `ocf16` | 20 ns | 16.0 | 80 ns | 0.25 | 0.50 | 40 ns | 0.50 | 1.00 | 1 us | 4 us | 300 us | "
    "600 us |",
    "| `ocf64` | 90 ns | 21.3 | 30 ns | 3.00 | 3.00 | 30 ns | 3.00 | 3.00 | 1 us | 1 us | 7.1 s, cut "
    "| 7 s |",
    "| `ocf32` | refused | - | 30 ns | - | - | 30 ns | - | - | - | 1 us | 1 ms | 1 ms |",
    "| `ocf8x8 t=2` | 40 ns | 48.0 | 0.80 | 80 ns | 0.50 | 0.50 | 50 ns | 0.80 | 0.50 |",
]


def invented_figures(folder):
    for name, text in (("times", TIMES), ("accuracy-avx512", ACCURACY),
                       ("instructions", INSTRUCTIONS), ("accuracy-avx2", "")):
        (Path(folder) / f"{name}.tsv").write_text(text)


def missing(page, texts):
    page = " ".join(page.split())
    return [f"missing: {text}" for text in texts if " ".join(text.split()) not in page]


def check_page(performance):
    with tempfile.TemporaryDirectory() as folder:
        kept = Path(folder) / "docs/performance"
        invented_figures(folder)
        # An empty table of errors is left out.
        with contextlib.redirect_stderr(io.StringIO()) as said:
            performance.add_figures(folder, kept)
        if "accuracy-avx2" not in said.getvalue() or (kept / "accuracy-avx2.tsv").exists():
            yield "a table without figures is taken"
        targets, accuracy, instructions = performance.read_all(kept)
        accuracy["avx2"] = ([*accuracy["avx512"][0]], [dict(row, **{"class": "cubes"})
                                                       for row in accuracy["avx512"][1]])
        page = performance.page(targets, accuracy, instructions)
        yield from missing(page, EXPECTED_PAGE)
        yield from missing(performance.problems_page("avx512", targets["avx512"]),
                           EXPECTED_PROBLEMS)
        limits, short, how = (page.find(f"## {title}") for title in (
            "What this does not show", "In short", "How it is measured"))
        if not 0 < limits < short < how or page[:how].count("\n") > 80:
            yield "the page does not begin with its limits and a short overview"

        readme = f"a\n{performance.README_BEGIN}old\n{performance.README_END}b\n"
        part = performance.readme_part(targets, instructions)
        yield from missing(part, EXPECTED_PAGE[:3] + [
            "powers of two 64 to 8192: 2.25", "gigaflops](docs/performance/complex-avx512.svg)"])
        written = performance.with_readme_part(readme, part)
        if written != readme.replace("old\n", part):
            yield f"not the README with its part: {written}"
        if performance.with_readme_part(written, part) != written:
            yield "the part of the README does not come out the same again"

        # A run with AVX2 alone leaves the section of AVX-512 as it was, and single precision has a
        # column of its own.
        (Path(folder) / "times.tsv").write_text(EARLIER)
        (Path(folder) / "times-single.tsv").write_text(EARLIER.replace("8e-8\t3e-4", "3e-7\t3e-4"))
        performance.add_figures(folder, kept)
        page = performance.page(performance.read_all(kept)[0], {}, None)
        yield from missing(page, [
            "| our time over FFTW's | AVX-512 | AVX2 | AVX2, single precision |",
            "| powers of two 8 to 32768 | 0.25 Debian's, 1.22 native | 0.75 Debian's | 0.20 Debian's |",
            "in single precision its library for that",
            "[AVX2, single precision, all problems](performance-avx2_single.md)",
            "Some Processor; 2000-01-01 04:05 UTC", "Some Processor; 2001-02-03 04:05 UTC"])
        if page.count(" in this run.") != 2:
            yield "a page without accuracy and instructions does not say so"


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
                         for path in (Path(folder) / name / "docs/performance").iterdir()})
        if made[0] != made[1]:
            yield "two runs over the same figures write different files"
        names = {f"{plot}-{target}.svg" for plot in ("complex", "threads", "planning")
                 for target in ("avx512", "avx2")}
        names |= {"times-avx512.tsv", "times-avx2.tsv", "accuracy-avx512.tsv", "instructions.tsv"}
        if set(made[0]) != names:
            yield f"written: {sorted(made[0])}"
            return
        plots = Path(folder) / "first/docs/performance"
        yield from faults_of_plot(plots / "complex-avx512.svg", [
            "Powers of two", "mean: 0.25 of Debian's, 1.22 of the native build's", "gigaflops",
            "our time / FFTW's", "dashed: mean of the class", "hollow: its planning was cut short",
            "AVX-512, Some Processor"])
        yield from faults_of_plot(plots / "threads-avx2.svg", ["Two threads", "0.75 (cut)", "8×8"])
        yield from faults_of_plot(plots / "planning-avx512.svg",
                                  ["Powers of two", "FFTW, estimate", "1 µs"])


def check_limits(figures):
    """Single ratios far outside of the others do not set the scale, and many do."""
    def limits(values):
        rows = {f"ocf{i}": {"lyra": {"median_s": value}, "measure": {"median_s": 1.0}}
                for i, value in enumerate(values)}
        return figures.ratio_limits({"class": rows}, figures.YARDSTICKS[:1])
    for values, low, high in (([0.04, 0.5, 0.6, 0.9, 1.0], 0.45, 1.25),
                              ([0.5, 0.6, 0.9, 9.0], 0.45, 1.25),
                              ([0.3, 0.35, 0.9, 1.8, 1.9], 0.25, 2.1), ([0.9], 0.6, 1.25)):
        found = limits(values)
        if not (low <= found[0] < 0.72 and 1.2 <= found[1] <= high):
            yield f"limits of {values}: {found}"


def check_kept(performance, root):
    kept = performance.read_all(root / "docs/performance")
    pages = {"docs/performance.md": performance.page(*kept)}
    for target, figures in kept[0].items():
        pages[f"docs/performance-{target}.md"] = performance.problems_page(target, figures)
        for title, plot, classes in performance.grouped(figures[2]):
            if title == "Others":
                yield f"classes without a group: {list(classes)}"
            yield from faults_of_plot(root / f"docs/performance/{plot}-{target}.svg", ["gigaflops"])
    readme = (root / "README.md").read_text()
    if performance.README_BEGIN not in readme:
        yield "README.md has no place for figures"
    pages["README.md"] = performance.with_readme_part(
        readme, performance.readme_part(kept[0], kept[2]))
    for name, text in pages.items():
        if (root / name).read_text() != text:
            yield f"{name} is not what the kept figures give: bench/performance.py ."
    if not re.search(r"^\| ocf1024 \| \d+ \|", pages["docs/performance.md"], re.M):
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
        import figures
        import performance
        faults = list([*check_page(performance), *check_limits(figures)] if what == "page"
                      else check_kept(performance, root))
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
