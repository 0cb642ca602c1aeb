#!/usr/bin/python3
"""Write the performance report: pages with tables and plots, and the figures in the README.

    bench/performance.py FIGURES ROOT

reads FIGURES/times.tsv (from lyra-bench --all-targets), FIGURES/times-single.tsv (the same in single
precision), FIGURES/accuracy-TARGET.tsv (from lyra-accuracy) and FIGURES/instructions.tsv (from
bench/aarch64/count.py), as far as they exist, and puts them into ROOT/docs/performance/, the times
divided by vector targets. In single precision a target is called TARGET_single. From what that
folder then holds, with figures of other targets and earlier runs, it draws plots and writes

    ROOT/docs/performance.md          means, plots, planning, accuracy
    ROOT/docs/performance-TARGET.md   every problem, for each vector target
    ROOT/README.md                    the part between the two comments about it, if there is one

bench/performance.py ROOT writes these again from the figures that are there. --classes prints the
problem classes of the report, --targets the vector targets of FIGURES. `./dev report` does all of
it. Needs Debian's python3-matplotlib.
"""

import argparse
import os
import re
import shutil
import sys
import textwrap

from figures import (FAINT, INK, OURS, InputError, class_mean, count_status, draw_classes,
                     geometric_mean, gigaflops, is_line, legend_below, length_axis, new_figure,
                     plain_axes, planned_fully, ratio, ratio_text, ratios, read_figures, read_table,
                     save_figure, table_head, table_row, time_text, yardsticks_of)

# Title, name of the plot, classes.
GROUPS = [
    ("Complex: powers of two, products of small primes", "complex",
     ["pow2-c2c", "smooth-c2c", "smooth-long", "tabled"]),
    ("Complex: large primes", "awkward", ["awkward-c2c"]),
    ("Complex: in place, split arrays, layouts", "layouts",
     ["inplace-c2c", "split-c2c", "layouts"]),
    ("Between real and complex", "real",
     ["pow2-r2c", "pow2-c2r", "smooth-r2c", "smooth-c2r", "odd-r2c", "odd-c2r"]),
    ("Two and three dimensions", "dimensions",
     ["2d-c2c", "3d-c2c", "2d-r2c", "2d-c2r", "3d-r2c", "3d-c2r"]),
    ("Batches", "batches",
     ["batch-c2c-contiguous", "batch-c2c-interleaved", "batch-c2c-small", "batch-r2c",
      "batch-c2r"]),
    ("Real to real", "real-to-real", ["r2r", "r2r-more"]),
    ("Two threads", "threads", ["threads2", "threads2-more"]),
]
# What is said in short: words, classes, and the fewest and the most points of one transform.
OVERVIEW = [
    ("powers of two 8 to 32768", ["pow2-c2c"], 8, 32768),
    ("powers of two 65536 to 4194304", ["pow2-c2c"], 65536, None),
    ("162 lengths with small prime factors, 12 to 16384", ["tabled"], 0, None),
    ("other lengths with small prime factors, 6 to 65520", ["smooth-c2c"], 0, 65520),
    ("the same, 100000 to 2000000", ["smooth-c2c", "smooth-long"], 100000, None),
    ("primes and products of large primes, 11 to 100003", ["awkward-c2c"], 0, None),
    ("in place", ["inplace-c2c"], 0, None),
    ("split arrays", ["split-c2c"], 0, None),
    ("transposed, padded and strided arrays", ["layouts"], 0, None),
    ("batches one after another, 1 to 16 MiB", ["batch-c2c-contiguous"], 0, None),
    ("batches side by side", ["batch-c2c-interleaved"], 0, None),
    ("batches that fit the first-level cache", ["batch-c2c-small"], 0, None),
    ("planes and volumes", ["2d-c2c", "3d-c2c"], 0, None),
    ("real to complex and back: powers of two 4 to 32768", ["pow2-r2c", "pow2-c2r"], 4, 32768),
    ("the same, 65536 to 4194304", ["pow2-r2c", "pow2-c2r"], 65536, None),
    ("real to complex and back: small prime factors", ["smooth-r2c", "smooth-c2r"], 0, None),
    ("real to complex and back: odd lengths and primes", ["odd-r2c", "odd-c2r"], 0, None),
    ("real to complex and back: planes and volumes", ["2d-r2c", "2d-c2r", "3d-r2c", "3d-c2r"], 0,
     None),
    ("real to complex and back: batches", ["batch-r2c", "batch-c2r"], 0, None),
    ("real to real: cosine, sine, Hartley, half-complex", ["r2r", "r2r-more"], 0, None),
    ("two threads, FFTW's with two", ["threads2", "threads2-more"], 0, None),
]
# Vector targets in the order of the report, and their names for people.
TARGETS = {"avx512": "AVX-512", "avx2": "AVX2", "neon_fcma": "Advanced SIMD",
           "neon": "Advanced SIMD of Armv8.0", "generic128": "Portable vectors"}
SINGLE = "_single"
TARGETS |= {target + SINGLE: f"{name}, single precision" for target, name in TARGETS.items()}
# Tables of times, and what is added to the names of their targets.
TIMES = {"times.tsv": "", "times-single.tsv": SINGLE}
SHORT = {"measure": "Debian's", "native": "native"}
AHEAD = 1.05  # ratios above this are listed: less is within what two runs differ by
MOST_LISTED = 15
README_BEGIN = "<!-- Figures of docs/performance.md, written by ./dev report: begin -->\n"
README_END = "<!-- Figures of docs/performance.md: end -->\n"


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


def together(classes, names=None, fewest=0, most=None):
    """The problems of some classes, or of all, as one; a problem of two classes counts twice."""
    return {f"{name}\t{problem}": engines for name, problems in classes.items()
            if names is None or name in names
            for problem, engines in problems.items()
            if fewest <= next(iter(engines.values()))["points"] <= (most or 1 << 62)}


def mean_text(problems, engine, column="median_s"):
    mean, of_cut = class_mean(problems, engine, column)
    return ratio_text(mean) + ("*" if of_cut else "")


def first_upper(words):
    return words[0].upper() + words[1:]


def wrapped(text):
    return textwrap.fill(text, 100, break_long_words=False, break_on_hyphens=False) + "\n"


# ---- In short -----------------------------------------------------------------------------------


def overview_rows(targets):
    """(words, {target: problems}) of what there are figures of."""
    for words, names, fewest, most in OVERVIEW:
        found = {target: together(classes, names, fewest, most)
                 for target, (_, _, classes) in targets.items()}
        if any(found.values()):
            yield words, found


def overview_table(targets):
    """One line for each kind of problem; every figure says which build of FFTW it is about."""
    text = table_head(["our time over FFTW's"] + [TARGETS.get(t, t) for t in targets])
    for words, found in overview_rows(targets):
        cells = []
        for target, problems in found.items():
            yardsticks = yardsticks_of(targets[target][2])
            values = [f"{mean_text(problems, engine)} {SHORT[engine]}"
                      for engine, _, _ in yardsticks if ratios(problems, engine, "median_s")]
            cells.append(", ".join(values) or "-")
        text += table_row([words, *cells])
    return text


def slower(problems, engine):
    """[(median, shortest, name)] of problems where FFTW is ahead, the worst first."""
    least = ratios(problems, engine)
    return sorted(((value, least[name], name)
                   for name, value in ratios(problems, engine, "median_s").items()
                   if min(value, least[name]) > AHEAD), reverse=True)


def counts_text(target, classes):
    """How many problems are faster and slower, and the worst ones."""
    everything = together(classes)
    parts = []
    for engine, words, _ in yardsticks_of(classes):
        found = ratios(everything, engine, "median_s")
        behind = slower(everything, engine)
        part = (f"{sum(value < 1 for value in found.values())} of {len(found)} problems are faster "
                f"than with {words}, {len(behind)} more than {AHEAD - 1:.0%} slower")
        if behind:
            worst = list(dict.fromkeys((name.split("\t")[1], round(median, 2))
                                       for median, _, name in behind))
            part += " (the worst: " + ", ".join(f"`{name}` {median:.2f}"
                                                for name, median in worst[:3]) + ")"
        parts.append(part)
    failed = [f"{count_status(everything, status)} {status}" for status in ("refused", "wrong")]
    return wrapped(f"{TARGETS.get(target, target)}: " + "; ".join(parts) + "; " + ", ".join(failed)
                   + ".")


def builds_text(targets):
    """What the two builds of FFTW are."""
    known = [dict(facts) for facts, _, _ in targets.values()]
    packaged = sorted({facts["fftw"] for facts in known})
    native = sorted({facts["native"] for facts in known if "native" in facts})
    text = f"*Debian's* is FFTW as Debian packages it ({', '.join(packaged)})"
    if any(target.endswith(SINGLE) for target in targets):
        text += ", in single precision its library for that"
    text += "; "
    if native:
        return text + ("*native* is the same source built on the measured machine for its vector "
                       f"units ({', '.join(native)}).")
    return text + "it was not measured built for the processor's wider vector units."


STAR = wrapped("\\*: FFTW's planning was cut short for most of these, so its plans may be slower "
               "than they could be and our ratio lower.")


# ---- The page -----------------------------------------------------------------------------------

LIMITS = """## What this does not show

- Other machines: ratios depend on the processor, its caches and memory. Sections of different vector
  targets may come from different machines.
- The first execution, or data that comes from elsewhere: arrays and tables that fit the caches are
  in them, arrays are aligned, and those of less than a page lie within one.
- FFTW's patient mode, FFTW with saved wisdom, or with more time to plan than the limit named below.
- Memory use, and strides and layouts beside those listed.
- Small differences: two runs differ by some per cent at single problems, by more at those of
  microseconds or of two threads, by less in means.
- Times on AArch64: instructions are not cycles.
"""

HOW = """## How it is measured

A ratio is our time of one execution divided by that of FFTW planned in its measure mode, for the
same problem on the same arrays in the same process. All take turns: a repetition is a loop of
executions that lasts 0.1 ms at least, after one that is not timed, and each library does one before
any does its next. Results are compared before they are timed. Ratios are of medians over all
repetitions; the pages of problems also have those of the *shortest* ones, and where the two differ,
the machine was disturbed. Means are geometric.

On a processor with two wide vector targets both are measured in one run, against the same plans of
FFTW's, which always use all that their build knows: the narrower target then competes with wider
vectors.

Where FFTW's planning reached the limit, a table says *cut* and the plots have a hollow dot: the rest
of that plan is an estimate, and more time would often have made a faster one. Means leave such
problems out, or count them and have a star where they are the most. Planning times are of one plan:
the shortest of several for us and for FFTW's estimate mode, which measure nothing, and the only one
for measure mode. Gigaflops are nominal: 5 n log₂ n operations for a complex transform, half as many
for a real one.

Problems are written in the [notation](moving.md#the-tools-notation) of `lyr-fft`.
"""


def facts_table(target, facts, classes):
    known = dict(facts)
    used = max(int(name.partition(" t=")[2] or 1) for problems in classes.values()
               for name in problems)
    processors = "one used" if used == 1 else f"one used, or {used} where it says so"
    library = known["lyra"].partition(", target ")[0]
    native = known.get("native", "not measured")
    if "native settings" in known:
        native += ", " + known["native settings"]
    text = table_row(["", ""]) + table_row(["---", "---"])
    for name, value in (
            ("date", known["date"]), ("processor", known["processor"]),
            ("processors", f"{known['processors']} there, {processors}"),
            ("vector target", target), ("library", f"{library}, commit {known.get('commit', '-')}"),
            ("compiler", known["compiler"]), ("Debian's FFTW", known["fftw"]),
            ("FFTW built for the processor", native),
            ("FFTW's planning", f"at most {known['planning']}"),
            ("left out", known.get("left out")), ("command", f"`./{known['command']}`"
             if known["command"].startswith("dev ") else f"`{known['command']}`")):
        if value:
            text += table_row([name, value])
    return text


def classes_table(titles, classes):
    yardsticks = yardsticks_of(classes)
    text = table_head(["class", "problems"] + [cell for engine, _, _ in yardsticks for cell in
                                               (f"over {SHORT[engine]}", "cut", "lowest",
                                                "highest")])
    for name, problems in classes.items():
        words = f"{first_upper(titles[name])} (`{name}`)" if name in titles else f"`{name}`"
        cells = [words, str(len(problems))]
        for engine, _, _ in yardsticks:
            found = ratios(problems, engine, "median_s")
            full = ratios(planned_fully(problems, engine), engine, "median_s") or found
            cells += [mean_text(problems, engine),
                      str(len(problems) - len(planned_fully(problems, engine)))]
            for values, choose in ((full, min), (found, max)):
                extreme = choose(values, key=values.get, default=None)
                cells.append(f"{values[extreme]:.2f} `{extreme}`" if extreme else "-")
        text += table_row(cells)
    return text


def where_fftw_is_ahead(classes):
    everything = together(classes)
    text = ""
    for engine, words, _ in yardsticks_of(classes):
        rows = slower(everything, engine)
        if not rows:
            text += f"{first_upper(words)}: nowhere by more than {AHEAD - 1:.0%}.\n\n"
            continue
        text += (f"{first_upper(words)}, by more than {AHEAD - 1:.0%} in both ratios"
                 + (f"; the first {MOST_LISTED} of {len(rows)}" if len(rows) > MOST_LISTED else "")
                 + ":\n\n")
        text += table_row(["problem", "class", "median", "shortest"])
        text += table_row(["---", "---", "---:", "---:"])
        for median, least, name in rows[:MOST_LISTED]:
            class_name, problem = name.split("\t")
            text += table_row([f"`{problem}`", class_name, ratio_text(median), ratio_text(least)])
        text += "\n"
    return text


def factor_text(value):
    """How many times as long, in few digits."""
    if value is None:
        return "-"
    if value < 10:
        return f"{value:.1f}"
    return f"{float(f'{value:.2g}'):,.0f}"


def planning_table(titles, classes):
    engines = ["estimate"] + [engine for engine, _, _ in yardsticks_of(classes)]
    names = {"estimate": "estimate", "measure": "measure", "native": "measure, native"}
    text = ("How many times as long as ours FFTW's planning takes, geometric means, and the longest "
            "that a plan of the class\ntook.\n\n")
    text += table_head(["class"] + [f"{names[e]} over ours" for e in engines]
                       + ["longest of ours"] + [f"of {names[e]}" for e in engines])
    for name, problems in classes.items():
        cells = [titles.get(name, name)]
        for engine in engines:
            mean = geometric_mean(ratios(problems, engine, "planning_s").values())
            cells.append(factor_text(None if mean is None else 1 / mean))
        for engine in ["lyra", *engines]:
            times = [row.get(engine, {}).get("planning_s") for row in problems.values()]
            cells.append(time_text(max(filter(None, times), default=None)))
        text += table_row(cells)
    return text


def target_section(target, figures):
    facts, titles, classes = figures
    known = dict(facts)
    text = f"\n## {TARGETS.get(target, target)}\n\n"
    if "quick" in known:
        text += f"**{known['quick']}**\n\n"
    text += facts_table(target, facts, classes)
    text += (f"\nEvery problem: [{TARGETS.get(target, target)}, all problems]"
             f"(performance-{target}.md).\n\n")
    text += f"### Classes with {TARGETS.get(target, target)}\n\n" + classes_table(titles, classes)
    if any("*" in mean_text(problems, engine) for problems in classes.values()
           for engine, _, _ in yardsticks_of(classes)):
        text += "\n" + STAR
    for title, plot, _ in grouped(classes):
        text += f"\n![{title}: ratios and speeds](performance/{plot}-{target}.svg)\n"
    text += f"\n### Where FFTW is ahead of {TARGETS.get(target, target)}\n\n"
    text += where_fftw_is_ahead(classes)
    text += f"### Planning time with {TARGETS.get(target, target)}\n\n"
    text += f"![Planning times over the length](performance/planning-{target}.svg)\n\n"
    return text + planning_table(titles, classes)


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


def accuracy_section(tables):
    """One row for each class, mean and worst error for each target."""
    text = "\n## Accuracy\n\n"
    if not tables:
        return text + "Not measured in this run.\n"
    text += wrapped("Errors |output - exact| / |exact| of random inputs, in units of 2⁻⁵³ √(log₂ N), "
                    "2⁻²⁴ √(log₂ N) in single precision, with |·| the root of the sum of squares. "
                    "The exact transform is computed in quad precision (113 bits), for single "
                    "precision in extended precision (64 bits). [Promises](promises.md#accuracy) "
                    "has bounds and reasons.") + "\n"
    classes = {}
    for target, (facts, rows) in tables.items():
        known = dict(facts)
        text += (f"{TARGETS.get(target, target)}: {known['processor']}, {known['lyra']}, "
                 f"{known['compiler']}; {known['date']}; `{known['command']}`.\n\n")
        for row in rows:
            classes.setdefault(row["class"], {}).setdefault(target, []).append(row)
    text += table_head(["class", "lengths or shapes", "transforms"]
                       + [cell for target in tables for cell in
                          (f"{TARGETS.get(target, target)}: mean", "worst", "of")])
    for name, found in classes.items():
        rows = next(iter(found.values()))
        points = [row["points"] for row in rows]
        cells = [name, f"{len({row['problem'] for row in rows})}, "
                       f"{min(points)} .. {max(points)} points", str(len(rows))]
        for target in tables:
            errors = found.get(target)
            if not errors:
                cells += ["-"] * 3
                continue
            worst = max(errors, key=lambda row: row["l2"])
            mean = sum(row["l2"] for row in errors) / len(errors)
            cells += [f"{mean:.3f}", f"{worst['l2']:.3f}", worst["problem"]]
        text += table_row(cells)
    return text


def page(targets, accuracy, instructions):
    """The report as Markdown; targets and accuracy by the name of the vector target."""
    report = dict(next(iter(targets.values()))[0]).get("report", "bench/performance.py")
    text = "# Performance\n\n"
    text += (f"Written by `{report}`, which measures everything again. Plots and figures are in "
             "[performance/](performance).\n\n")
    text += LIMITS + "\n## In short\n\n"
    machines = ". ".join(f"{TARGETS.get(target, target)}: {dict(facts)['processor']}; "
                         f"{dict(facts)['date']}" for target, (facts, _, _) in targets.items())
    text += wrapped(f"{machines}. One thread unless said; geometric means of our time divided by "
                    "that of FFTW in measure mode, so **below 1 we are faster**. "
                    + builds_text(targets)) + "\n"
    text += overview_table(targets) + "\n"
    if any("*" in line for line in overview_table(targets).splitlines()):
        text += STAR + "\n"
    text += "\n".join(counts_text(target, figures[2]) for target, figures in targets.items())
    text += "\n" + HOW
    for target, figures in targets.items():
        text += target_section(target, figures)
    return text + instruction_section(instructions) + accuracy_section(accuracy)


# ---- Every problem ------------------------------------------------------------------------------


def class_table(problems, yardsticks):
    single = any("single" in engines for engines in problems.values())
    text = table_head(["problem", "ours", "gigaflops"] + (["over ours on one thread"] if single else [])
                      + [cell for engine, _, _ in yardsticks
                         for cell in (SHORT[engine], "median", "shortest")]
                      + ["planning: ours", "estimate"]
                      + ["measure" if engine == "measure" else "measure, native"
                         for engine, _, _ in yardsticks])
    for name, engines in problems.items():
        def time_of(engine):
            row = engines.get(engine, {})
            status = row.get("status", "-")
            return time_text(row.get("median_s")) if status in ("ok", "cut") else status
        ours = engines.get("lyra")
        speed = gigaflops(name, ours) if ours else None
        cells = [f"`{name}`", time_of("lyra"), "-" if speed is None else f"{speed:.1f}"]
        if single:
            cells.append(ratio_text(ratio(engines, "single", "median_s")))
        for engine, _, _ in yardsticks:
            cells += [time_of(engine), ratio_text(ratio(engines, engine, "median_s")),
                      ratio_text(ratio(engines, engine, "least_s"))]
        for engine in ["lyra", "estimate", *(engine for engine, _, _ in yardsticks)]:
            row = engines.get(engine, {})
            cells.append(time_text(row.get("planning_s"))
                         + (", cut" if row.get("status") == "cut" else ""))
        text += table_row(cells)
    return text


def problems_page(target, figures):
    facts, titles, classes = figures
    known = dict(facts)
    text = f"# Performance with {TARGETS.get(target, target)}: every problem\n\n"
    text += (f"{known['processor']}; {known['date']}. How it was measured, and what the columns "
             "mean, is on the page\n[Performance](performance.md).\n")
    for name, problems in classes.items():
        text += f"\n## {name}\n\n"
        text += f"{first_upper(titles[name])}.\n\n" if name in titles else ""
        text += class_table(problems, yardsticks_of(classes))
    return text


# ---- The README ---------------------------------------------------------------------------------


def span_text(rows, kind, fewest, most, powers):
    values = [row["per_level"] for row in rows
              if re.fullmatch(kind + r"\d+", row["problem"]) and fewest <= row["points"] <= most
              and (row["points"] & (row["points"] - 1) == 0) == powers]
    if not values:
        return None
    low, high = f"{min(values):.2f}", f"{max(values):.2f}"
    return low if low == high else f"{low} to {high}"


def instruction_words(table):
    facts, rows = table
    parts = []
    for words, kind, fewest, most, powers in (
            ("powers of two 64 to 8192", "ocf", 64, 8192, True),
            ("16384 to 65536", "ocf", 16384, 65536, True),
            ("products of small primes 240 to 7680", "ocf", 240, 7680, False),
            ("real to complex, powers of two 1024 to 16384", "orf", 1024, 16384, True)):
        span = span_text(rows, kind, fewest, most, powers)
        if span:
            parts.append(f"{words}: {span}")
    if not parts:
        return ""
    return wrapped(f"AArch64, executed instructions per n log₂ n ({dict(facts)['compiler']}): "
                   + "; ".join(parts) + ".")


def readme_part(targets, instructions):
    """What the README says about speed."""
    text = ""
    for target, (facts, _, _) in targets.items():
        known = dict(facts)
        text += (f"- {TARGETS.get(target, target)}: {known['processor']}; {known['compiler']}; "
                 f"{known['date'][:10]}\n")
    text += "\n" + wrapped(builds_text(targets)) + "\n" + overview_table(targets) + "\n"
    if any("*" in line for line in overview_table(targets).splitlines()):
        text += STAR + "\n"
    text += "\n".join(counts_text(target, figures[2]) for target, figures in targets.items())
    first, (_, _, classes) = next(iter(targets.items()))
    title, plot, _ = grouped(classes)[0]
    text += (f"\n![{title}, {TARGETS.get(first, first)}: our time over FFTW's, and gigaflops]"
             f"(docs/performance/{plot}-{first}.svg)\n")
    if instructions is not None:
        text += "\n" + instruction_words(instructions)
    return text


def with_readme_part(readme, part):
    """A README with its figures replaced; unchanged when it has no place for them."""
    begin, end = readme.find(README_BEGIN), readme.find(README_END)
    if begin < 0 or end < begin:
        return readme
    return readme[:begin + len(README_BEGIN)] + part + readme[end:]


# ---- Plots --------------------------------------------------------------------------------------


def draw_planning(titles, classes, path):
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
    figure, panels = new_figure(rows, columns, (4.4 * columns + 0.6, 2.6 * rows + 0.9))
    for axes in panels[len(chosen):]:
        axes.set_visible(False)
    series = [(engine, f"{words}, measure", color)
              for engine, words, color in reversed(yardsticks_of(classes))]
    series += [("estimate", "Debian's FFTW, estimate", "#3d8a57"), ("lyra", "ours", OURS)]
    for axes, name in zip(panels, chosen):
        for engine, label, color in series:
            rows_of = [engines[engine] for engines in lines[name].values() if engine in engines]
            points = sorted((row["points"], row["planning_s"]) for row in rows_of
                            if row["planning_s"])
            if points:
                axes.plot(*zip(*points), marker="o", markersize=2.5, linewidth=1, color=color,
                          label=label)
        axes.set_title(first_upper(titles.get(name, name)), loc="left", fontsize=9,
                       fontweight="bold", color=INK)
        length_axis(axes)
        axes.set_yscale("log")
        axes.yaxis.set_major_formatter(EngFormatter(unit="s"))
        axes.grid(axis="y", color=FAINT, linewidth=0.6)
        plain_axes(axes)
    for axes in panels[::columns]:
        axes.set_ylabel("planning time", fontsize=9, color=INK)
    legend_below(figure, panels[:len(chosen)], columns=2)
    figure.tight_layout(rect=(0, 0.1, 1, 1))
    save_figure(figure, [path])
    return True


def draw(target, figures, folder):
    facts, titles, classes = figures
    known = dict(facts)
    for title, plot, found in grouped(classes):
        draw_classes(found, titles, f"{title}\n{TARGETS.get(target, target)}, {known['processor']}",
                     [os.path.join(folder, f"{plot}-{target}.svg")])
    draw_planning(titles, classes, os.path.join(folder, f"planning-{target}.svg"))


# ---- Figures ------------------------------------------------------------------------------------


def split_targets(path, suffix=""):
    """The figures of one run as {target + suffix: text of its own table}. Rows of engines "lyra" and
    "single" are of the target that the facts name, those with "-TARGET" behind of a further one."""
    facts, _, _ = read_figures(path)
    known = dict(facts)
    first = known["lyra"].partition(", target ")[2]
    targets = [first, *(value for name, value in facts if name == "further target")]
    with open(path, encoding="utf-8") as file:
        lines = file.read().splitlines()
    tables = {}
    for target in targets:
        kept = []
        for line in lines:
            if line.startswith("# further target: "):
                continue
            if line.startswith("# lyra: "):
                line = line.replace(f", target {first}", f", target {target}")
            elif not line.startswith("#"):
                cells = line.split("\t")
                engine, _, of = cells[4].partition("-")
                if engine in ("lyra", "single"):
                    if (of or first) != target:
                        continue
                    cells[4] = engine
                    line = "\t".join(cells)
            kept.append(line)
        tables[target + suffix] = "".join(line + "\n" for line in kept)
    return tables


def targets_of_run(source):
    """As split_targets, of all tables of times in a folder."""
    tables = {}
    for name, suffix in TIMES.items():
        path = os.path.join(source, name)
        if name == "times.tsv" or os.path.exists(path):
            tables |= split_targets(path, suffix)
    return tables


def in_order(names):
    return sorted(names, key=lambda name: ([*TARGETS, name].index(name), name))


def read_all(folder):
    """(figures by target, accuracy by target, instructions or None) of a folder."""
    def by_target(prefix, read):
        names = [name[len(prefix):-4] for name in os.listdir(folder)
                 if name.startswith(prefix) and name.endswith(".tsv")]
        return {name: read(os.path.join(folder, f"{prefix}{name}.tsv"))
                for name in in_order(names)}
    targets = by_target("times-", read_figures)
    if not targets:
        raise InputError(f"{folder} holds no times")
    path = os.path.join(folder, "instructions.tsv")
    instructions = None
    if os.path.exists(path):
        instructions = read_table(path, ("points", "batch"), ("instructions", "per_level"))
    return (targets,
            by_target("accuracy-", lambda file: read_table(file, ("points", "seed"),
                                                           ("l2", "linf"))),
            instructions)


def add_figures(source, folder):
    """Put the figures of a run in the place of earlier ones of the same targets."""
    os.makedirs(folder, exist_ok=True)
    for target, text in targets_of_run(source).items():
        with open(os.path.join(folder, f"times-{target}.tsv"), "w", encoding="utf-8") as file:
            file.write(text)
    for name in sorted(os.listdir(source)):
        if not re.fullmatch(r"(accuracy-\w+|instructions)\.tsv", name):
            continue
        try:  # half a table is none
            read_table(os.path.join(source, name), ("points",), ())
        except InputError as error:
            print(f"performance.py: left out: {error}", file=sys.stderr)
            continue
        shutil.copyfile(os.path.join(source, name), os.path.join(folder, name))


def print_changes(before, now):
    """Means of classes over the problems that both have."""
    print(f"{'class':24} {'FFTW':8} problems  before     now")
    for name, problems in now.items():
        for engine in SHORT:
            old = ratios(before.get(name, {}), engine, "median_s")
            new = ratios(problems, engine, "median_s")
            common = [problem for problem in new if problem in old]
            if common:
                print(f"{name:24} {SHORT[engine]:8} {len(common):8} "
                      f"{geometric_mean(old[p] for p in common):7.2f} "
                      f"{geometric_mean(new[p] for p in common):7.2f}")


def write_pages(root):
    """Pages, plots and README from the figures that are kept."""
    docs = os.path.join(root, "docs")
    folder = os.path.join(docs, "performance")
    targets, accuracy, instructions = read_all(folder)
    for name in os.listdir(folder):  # plots of groups that are no more
        if name.endswith(tuple(f"-{target}.svg" for target in TARGETS)):
            os.remove(os.path.join(folder, name))
    pages = {"performance.md": page(targets, accuracy, instructions)}
    for target, figures in targets.items():
        draw(target, figures, folder)
        pages[f"performance-{target}.md"] = problems_page(target, figures)
    for name, text in pages.items():
        with open(os.path.join(docs, name), "w", encoding="utf-8") as file:
            file.write(text)
    readme = os.path.join(root, "README.md")
    if os.path.exists(readme):
        with open(readme, encoding="utf-8") as file:
            text = file.read()
        with open(readme, "w", encoding="utf-8") as file:
            file.write(with_readme_part(text, readme_part(targets, instructions)))


def main():
    parser = argparse.ArgumentParser(description="Write the performance report.")
    parser.add_argument("--classes", action="store_true", help="print the classes of the report")
    parser.add_argument("--targets", action="store_true",
                        help="print the vector targets of a folder of figures")
    parser.add_argument("folder", nargs="*",
                        help="[folder of figures to add,] root of the repository or of a copy")
    arguments = parser.parse_args()
    if arguments.classes:
        print(*(name for _, _, names in GROUPS for name in names))
        return 0
    try:
        match arguments.folder:
            case [source] if arguments.targets:
                print(*targets_of_run(source))
            case [root]:
                write_pages(root)
            case [source, root]:
                folder = os.path.join(root, "docs/performance")
                before = read_all(folder)[0] if os.path.isdir(folder) else {}
                add_figures(source, folder)
                for target, (_, _, classes) in read_all(folder)[0].items():
                    if target in before and before[target][2] != classes:
                        print(TARGETS.get(target, target))
                        print_changes(before[target][2], classes)
                write_pages(root)
            case _:
                parser.error("one or two folders are needed")
    except (InputError, OSError, ImportError, KeyError, UnicodeDecodeError) as error:
        print(f"performance.py: {error!r}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
