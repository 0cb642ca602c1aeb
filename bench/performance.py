#!/usr/bin/python3
"""Write the performance report: a page with tables and plots.

    bench/performance.py FIGURES OUTPUT

reads FIGURES/times.tsv (from lyra-bench) and, where they exist, FIGURES/accuracy.tsv (from
lyra-accuracy) and FIGURES/instructions.tsv (from bench/aarch64/count.py); writes
OUTPUT/performance.md, and plots and copies of the figures to OUTPUT/performance/.
bench/performance.py --classes prints the problem classes of the report. `./dev report` does all of
it. Needs Debian's python3-matplotlib.
"""

import argparse
import os
import shutil
import sys

from figures import (FAINT_LINE, INK, OURS, STRONG_LINE, InputError, count_status, draw_classes,
                     geometric_mean, is_line, legend_below, length_axis, new_figure, plain_axes,
                     planned_fully, ratio, ratio_text, ratios, read_figures, read_table,
                     save_figure, table_head, table_row, time_text)

# Title, name of the plot, classes.
GROUPS = [
    ("Complex: powers of two, products of small primes", "complex",
     ["pow2-c2c", "smooth-c2c", "tabled"]),
    ("Complex: large primes", "awkward", ["awkward-c2c"]),
    ("Complex: in place, split arrays", "layouts", ["inplace-c2c", "split-c2c"]),
    ("Between real and complex", "real",
     ["pow2-r2c", "pow2-c2r", "smooth-r2c", "smooth-c2r", "odd-r2c"]),
    ("Two and three dimensions", "dimensions",
     ["2d-c2c", "3d-c2c", "2d-r2c", "2d-c2r", "3d-r2c", "3d-c2r"]),
    ("Batches", "batches",
     ["batch-c2c-contiguous", "batch-c2c-interleaved", "batch-c2c-small", "batch-r2c",
      "batch-c2r"]),
    ("Real to real", "real-to-real", ["r2r", "r2r-more"]),
    ("Two threads", "threads", ["threads2", "threads2-more"]),
]
SERIES = [("measure", "least_s", "shortest", FAINT_LINE),
          ("measure", "median_s", "median", STRONG_LINE)]
AHEAD = 1.05  # ratios above this are listed: less is within what two runs differ by


def medians(problems):
    return ratios(problems, "measure", "median_s")


def mean_text(problems, other, column):
    return ratio_text(geometric_mean(ratios(problems, other, column).values()))


def grouped(classes):
    """The groups with the classes that there are figures of; others come last."""
    groups = []
    rest = dict(classes)
    for title, plot, names in GROUPS:
        found = {name: rest.pop(name) for name in names if name in rest}
        if found:
            groups.append((title, plot, found))
    if rest:
        groups.append(("Others", "others", rest))
    return groups


# ---- The page -----------------------------------------------------------------------------------


def head(facts, classes):
    known = dict(facts)
    library, _, target = known["lyra"].partition(", target ")
    used = max(int(name.partition(" t=")[2] or 1) for problems in classes.values()
               for name in problems)
    processors = "one used" if used == 1 else f"one used, or {used} where it says so"
    text = "# Performance\n\n"
    text += (f"Written by `{known.get('report', 'bench/performance.py')}`, which measures "
             "everything again. The plots and the\nfigures behind them are in "
             "[performance/](performance).\n\n")
    if "quick" in known:
        text += f"**{known['quick']}**\n\n"
    text += table_row(["", ""]) + table_row(["---", "---"])
    for name, value in (
            ("date", known["date"]), ("processor", known["processor"]),
            ("processors", f"{known['processors']} there, {processors}"),
            ("vector target", target), ("library", f"{library}, commit {known.get('commit', '-')}"),
            ("compiler", known["compiler"]), ("FFTW", known["fftw"]),
            ("FFTW's planning", f"at most {known['planning']}"),
            ("times measured by", f"`{known['command']}`")):
        text += table_row([name, value])
    return text


HOW = """
## What is compared, and how

Ratios are times of one execution: ours divided by that of FFTW, planned in its measure mode, for
the same problem on the same arrays in the same process. **Below 1 we are faster.** Both libraries
take turns: a repetition is a loop of executions that lasts 0.1 ms at least, after one that is not
timed, and each library does one before any does its next. Results are compared before they are
timed.

The *median* ratio divides the medians of all repetitions, the *shortest* ratio the shortest ones.
Where the two differ, the machine was disturbed. A class counts by the geometric mean of its
problems. Planning times are of one plan: the shortest of several for us and for FFTW's estimate
mode, which measure nothing, and the only one for measure mode. Where that reached the limit, the
table says *cut* and the plots have a hollow dot: the rest of that plan is an estimate, and more
time would often have made a faster one, so that ratio flatters us. The column *uncut* is the mean
without such problems.

Problems are written in the [notation](moving.md#the-tools-notation) of `lyr-fft`.
"""


def extreme(found, choose):
    if not found:
        return "-"
    name = choose(found, key=found.get)
    return f"{name} {found[name]:.2f}"


def summary(classes, titles):
    everything = {f"{class_name} {name}": engines for class_name, problems in classes.items()
                  for name, engines in problems.items()}
    found = medians(everything)
    cut = len(everything) - len(planned_fully(everything))
    ahead = sum(value > AHEAD for value in found.values())
    text = "\n## Classes\n\n"
    text += table_head(["class", "problems", "cut", "median", "uncut", "shortest",
                        "best uncut median", "worst median"])
    for name, problems in classes.items():
        full = planned_fully(problems)
        words = f"{name}: {titles[name]}" if name in titles else name
        text += table_row([words, str(len(problems)), str(len(problems) - len(full)),
                           mean_text(problems, "measure", "median_s"),
                           mean_text(full, "measure", "median_s"),
                           mean_text(problems, "measure", "least_s"),
                           extreme(medians(full), min), extreme(medians(problems), max)])
    text += (f"\nOf {len(everything)} problems, {sum(v < 1 for v in found.values())} are faster "
             f"than FFTW's, {ahead} more than {AHEAD - 1:.0%} slower,\n"
             f"{count_status(everything, 'refused')} refused, {count_status(everything, 'wrong')} "
             f"wrong. FFTW's planning was cut at {cut}.\n")
    return text


def where_fftw_is_ahead(classes):
    text = "\n## Where FFTW is ahead\n\n"
    rows = []
    for class_name, problems in classes.items():
        least = ratios(problems, "measure", "least_s")
        rows += [(value, least[name], name, class_name) for name, value in medians(problems).items()
                 if min(value, least[name]) > AHEAD]
    if not rows:
        return text + f"Nowhere by more than {AHEAD - 1:.0%}.\n"
    text += f"By more than {AHEAD - 1:.0%} in both ratios:\n\n"
    text += table_row(["problem", "class", "median", "shortest"])
    text += table_row(["---", "---", "---:", "---:"])
    for median, least, name, class_name in sorted(rows, reverse=True):
        text += table_row([name, class_name, ratio_text(median), ratio_text(least)])
    return text


def planning_table(classes):
    text = "\n## Planning time\n\n"
    text += "![Planning times over the length](performance/planning.svg)\n\n"
    text += ("Our planning time over FFTW's, geometric means, and the longest that a plan of the "
             "class took.\n\n")
    text += table_head(["class", "over estimate", "over measure", "longest of ours",
                        "of FFTW's estimate", "of FFTW's measure"])
    for name, problems in classes.items():
        longest = []
        for engine in ("lyra", "estimate", "measure"):
            times = [engines.get(engine, {}).get("planning_s") for engines in problems.values()]
            longest.append(time_text(max(filter(None, times), default=None)))
        text += table_row([name, mean_text(problems, "estimate", "planning_s"),
                           mean_text(problems, "measure", "planning_s"), *longest])
    return text


def class_table(problems):
    single = any("single" in engines for engines in problems.values())
    text = table_head(["problem", "ours", "FFTW", "median", "shortest"]
                      + (["over ours on one thread"] if single else [])
                      + ["planning: ours", "estimate", "measure"])
    for name, engines in problems.items():
        ours, theirs = engines.get("lyra", {}), engines.get("measure", {})
        cells = [name]
        for row in (ours, theirs):
            status = row.get("status", "-")
            cells.append(time_text(row.get("median_s")) if status in ("ok", "cut") else status)
        cells += [ratio_text(ratio(engines, "measure", "median_s")),
                  ratio_text(ratio(engines, "measure", "least_s"))]
        if single:
            cells.append(ratio_text(ratio(engines, "single", "median_s")))
        cells += [time_text(engines.get(engine, {}).get("planning_s"))
                  for engine in ("lyra", "estimate", "measure")]
        if theirs.get("status") == "cut":
            cells[-1] += ", cut"
        text += table_row(cells)
    return text


def instruction_section(table):
    text = "\n## AArch64: executed instructions\n\n"
    if table is None:
        return text + "Not counted in this run.\n"
    facts, rows = table
    known = dict(facts)
    text += ("Instructions that one execution takes, counted by an emulator: the difference between "
             "two numbers of\nexecutions of the same program, so planning does not count. Counts are "
             "exact and repeat; they are no\ntimes.\n\n")
    text += (f"{known['compiler']}, vector target {known['target']}, {known['emulator']}; "
             f"{known['date']}.\n\n")
    text += table_head(["problem", "instructions", "per n log₂ n"])
    for row in rows:
        text += table_row([row["problem"], f"{row['instructions']:.0f}",
                           f"{row['per_level']:.2f}"])
    return text


def accuracy_section(table):
    text = "\n## Accuracy\n\n"
    if table is None:
        return text + "Not measured in this run.\n"
    facts, rows = table
    known = dict(facts)
    text += ("Errors |output - exact| / |exact| of random inputs, in units of 2⁻⁵³ √(log₂ N), with "
             "|·| the root of the\nsum of squares. The exact transform is computed in quad "
             "precision (113 bits). [Promises](promises.md#accuracy)\nhas bounds and reasons.\n\n")
    text += (f"{known['processor']}, {known['lyra']}, {known['compiler']}; {known['date']}; "
             f"`{known['command']}`.\n\n")
    text += table_head(["class", "lengths or shapes", "transforms", "mean", "worst", "of"])
    classes = {}
    for row in rows:
        classes.setdefault(row["class"], []).append(row)
    for name, of_class in classes.items():
        errors = [row["l2"] for row in of_class]
        points = [row["points"] for row in of_class]
        worst = max(of_class, key=lambda row: row["l2"])
        text += table_row([name, f"{len({row['problem'] for row in of_class})}, "
                                 f"{min(points)} .. {max(points)} points",
                           str(len(errors)), f"{sum(errors) / len(errors):.3f}",
                           f"{worst['l2']:.3f}", worst["problem"]])
    return text


LIMITS = """
## What this does not show

- Other machines. Ratios depend on the processor, its caches and memory, and on what else it does.
  Times here are of the one vector target named above; other targets of the library were not timed.
- The first execution, or data that comes from elsewhere: arrays and tables that fit the caches are
  in them, and arrays are aligned.
- FFTW's patient mode, FFTW with saved wisdom, or FFTW compiled otherwise than by Debian.
- Strides and layouts beside those listed, and memory use.
- Small differences. Two runs on the same machine differ by some per cent at single problems, and
  more at those of microseconds or of two threads; means of classes differ less.
- Times on AArch64: instructions are not cycles.
"""


def page(figures, accuracy, instructions):
    """The whole report as Markdown; accuracy and instructions are tables or None."""
    facts, titles, classes = figures
    text = head(facts, classes) + HOW + summary(classes, titles) + where_fftw_is_ahead(classes)
    text += planning_table(classes)
    for title, plot, found in grouped(classes):
        text += f"\n## {title}\n\n![Ratios to FFTW](performance/{plot}.svg)\n"
        for name, problems in found.items():
            text += f"\n### {name}\n\n"
            text += f"{titles[name].capitalize()}.\n\n" if name in titles else ""
            text += class_table(problems)
    return text + instruction_section(instructions) + accuracy_section(accuracy) + LIMITS


# ---- Plots --------------------------------------------------------------------------------------


def draw_planning(classes, path):
    """Planning times of single one-dimensional transforms over the length."""
    from matplotlib.ticker import EngFormatter
    lines = {name: problems for name, problems in classes.items()
             if is_line(problems) and len(problems) > 1}
    usual = ("pow2-c2c", "smooth-c2c", "awkward-c2c", "pow2-r2c")
    chosen = ([name for name in usual if name in lines] or list(lines))[:4]
    if not chosen:
        return False
    columns = min(2, len(chosen))
    rows = -(-len(chosen) // columns)
    figure, panels = new_figure(rows, columns, (3.9 * columns + 0.6, 2.5 * rows + 0.8))
    for axes in panels[len(chosen):]:
        axes.set_visible(False)
    for axes, name in zip(panels, chosen):
        for engine, label, color in (("measure", "FFTW measure", "#b06a1b"),
                                     ("estimate", "FFTW estimate", "#7d8a94"),
                                     ("lyra", "ours", OURS)):
            rows_of = [engines[engine] for engines in lines[name].values() if engine in engines]
            points = sorted((row["points"], row["planning_s"]) for row in rows_of
                            if row["planning_s"])
            if points:
                axes.plot(*zip(*points), marker="o", markersize=2.5, linewidth=1, color=color,
                          label=label)
        axes.set_title(name, loc="left", fontsize=10, fontweight="bold", color=INK)
        length_axis(axes)
        axes.set_yscale("log")
        axes.yaxis.set_major_formatter(EngFormatter(unit="s"))
        axes.grid(axis="y", color="#e3e6e8", linewidth=0.6)
        plain_axes(axes)
    for axes in panels[::columns]:
        axes.set_ylabel("planning time", fontsize=9, color=INK)
    legend_below(figure, panels[:len(chosen)])
    figure.tight_layout(rect=(0, 0.06, 1, 1))
    save_figure(figure, [path])
    return True


def draw(classes, folder):
    for title, plot, found in grouped(classes):
        draw_classes(found, SERIES, f"{title}: time over FFTW's, below 1 we are faster",
                     [os.path.join(folder, plot + ".svg")], columns=2, panel=(4.2, 2.5))
    draw_planning(classes, os.path.join(folder, "planning.svg"))


# ---- Against an earlier report ------------------------------------------------------------------


def print_changes(before, now):
    """Means of classes over the problems that both have."""
    print(f"{'class':24} problems  before     now")
    for name, problems in now.items():
        old, new = medians(before.get(name, {})), medians(problems)
        common = [problem for problem in new if problem in old]
        if common:
            print(f"{name:24} {len(common):8} {geometric_mean(old[p] for p in common):7.2f} "
                  f"{geometric_mean(new[p] for p in common):7.2f}")


# ---- The program --------------------------------------------------------------------------------


def read_all(folder):
    """(figures, accuracy, instructions) of a folder; the last two may be missing."""
    def optional(name, integers, decimals):
        path = os.path.join(folder, name)
        return read_table(path, integers, decimals) if os.path.exists(path) else None
    return (read_figures(os.path.join(folder, "times.tsv")),
            optional("accuracy.tsv", ("points", "seed"), ("l2", "linf")),
            optional("instructions.tsv", ("points", "batch"), ("instructions", "per_level")))


def write_report(source, target, compare):
    figures, accuracy, instructions = read_all(source)
    if compare and os.path.exists(os.path.join(compare, "times.tsv")):
        print_changes(read_figures(os.path.join(compare, "times.tsv"))[2], figures[2])
    folder = os.path.join(target, "performance")
    os.makedirs(folder, exist_ok=True)
    for name in os.listdir(folder):  # plots and figures of groups that are no more
        if name.endswith((".svg", ".tsv")) and os.path.abspath(folder) != os.path.abspath(source):
            os.remove(os.path.join(folder, name))
    draw(figures[2], folder)
    for name in ("times.tsv", "accuracy.tsv", "instructions.tsv"):
        path = os.path.join(source, name)
        if os.path.exists(path) and os.path.abspath(folder) != os.path.abspath(source):
            shutil.copyfile(path, os.path.join(folder, name))
    with open(os.path.join(target, "performance.md"), "w", encoding="utf-8") as file:
        file.write(page(figures, accuracy, instructions))


def main():
    parser = argparse.ArgumentParser(description="Write the performance report.")
    parser.add_argument("--classes", action="store_true", help="print the classes of the report")
    parser.add_argument("--compare", metavar="FIGURES",
                        help="print how far the times differ from these")
    parser.add_argument("figures", nargs="?", help="folder of times.tsv and the other figures")
    parser.add_argument("output", nargs="?", help="folder to write the page to")
    arguments = parser.parse_args()
    if arguments.classes:
        print(*(name for _, _, names in GROUPS for name in names))
        return 0
    if not arguments.output:
        parser.error("two folders are needed")
    try:
        write_report(arguments.figures, arguments.output, arguments.compare)
    except (InputError, OSError, ImportError, KeyError) as error:
        print(f"performance.py: {error!r}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
