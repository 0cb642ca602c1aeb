#!/usr/bin/python3
"""Turn the figures of lyra-bench into a page with tables and a plot.

    lyra-bench --output figures.tsv
    bench/report.py figures.tsv --output report

writes report.md, report.svg and report.png. Needs Debian's python3-matplotlib.
"""

import argparse
import csv
import math
import os
import sys


class InputError(Exception):
    """The figures cannot be used; the text is one line."""


def read_figures(path):
    """Return (facts, classes): facts as a list of (name, value), classes as
    {class: {problem: {engine: row}}}, all in the order of the file."""
    facts = []
    classes = {}
    needed = {"class", "problem", "points", "batch", "engine", "status", "least_s", "median_s",
              "planning_s"}
    try:
        with open(path, encoding="utf-8", newline="") as file:
            lines = file.read().splitlines()
    except (OSError, UnicodeDecodeError) as error:
        raise InputError(f"cannot read {path}: {error}") from error
    for line in lines:
        if line.startswith("# ") and ": " in line:
            facts.append(tuple(line[2:].split(": ", 1)))
    table = csv.DictReader((line for line in lines if not line.startswith("#")), delimiter="\t")
    if not needed <= set(table.fieldnames or []):
        raise InputError(f"{path} is not a table of lyra-bench")
    for row in table:
        try:
            for column in ("points", "batch"):
                row[column] = int(row[column])
            for column in ("least_s", "median_s", "planning_s"):
                row[column] = float(row[column]) if row[column] else None
        except (TypeError, ValueError) as error:
            raise InputError(f"{path}: a line is damaged: {error}") from error
        classes.setdefault(row["class"], {}).setdefault(row["problem"], {})[row["engine"]] = row
    if not classes:
        raise InputError(f"{path} holds no figures")
    return facts, classes


def ratio(engines, other, column="least_s"):
    """Time of lyra divided by that of another engine, or None."""
    ours = engines.get("lyra", {}).get(column)
    theirs = engines.get(other, {}).get(column)
    return ours / theirs if ours and theirs else None


def ratios(problems, other, column="least_s"):
    """The ratios of a class that exist, as {problem: ratio}."""
    found = {name: ratio(engines, other, column) for name, engines in problems.items()}
    return {name: value for name, value in found.items() if value is not None}


def geometric_mean(values):
    """None for no values."""
    values = list(values)
    return math.exp(sum(map(math.log, values)) / len(values)) if values else None


def count_status(problems, status):
    """Problems in which lyra has that status."""
    return sum(engines.get("lyra", {}).get("status") == status for engines in problems.values())


def engine_names(classes):
    """The engines besides lyra, in the order of the file."""
    names = {}
    for problems in classes.values():
        for engines in problems.values():
            names.update(dict.fromkeys(engines))
    names.pop("lyra", None)
    return list(names)


# ---- The page -----------------------------------------------------------------------------------


def ratio_text(value):
    return "-" if value is None else f"{value:.2f}"


def time_text(seconds):
    if seconds is None:
        return "-"
    for unit, scale in (("ns", 1e9), ("us", 1e6), ("ms", 1e3), ("s", 1)):
        if seconds * scale < 1000 or unit == "s":
            return f"{seconds * scale:.3g} {unit}"
    return "-"


def table_row(cells):
    return "| " + " | ".join(cells) + " |\n"


def table_head(cells):
    return table_row(cells) + table_row(["---"] + ["---:"] * (len(cells) - 1))


def summary_table(classes, others):
    head = ["class", "problems", "refused", "wrong"]
    head += [f"lyra / {name}" for name in others]
    head += ["from medians", "planning, lyra / estimate", "slowest against measure"]
    text = table_head(head)
    for class_name, problems in classes.items():
        against_measure = ratios(problems, "measure")
        slowest = sorted(against_measure, key=against_measure.get, reverse=True)[:3]
        cells = [class_name, str(len(problems)), str(count_status(problems, "refused")),
                 str(count_status(problems, "wrong"))]
        cells += [ratio_text(geometric_mean(ratios(problems, name).values())) for name in others]
        cells.append(ratio_text(geometric_mean(ratios(problems, "measure", "median_s").values())))
        cells.append(ratio_text(geometric_mean(
            ratios(problems, "estimate", "planning_s").values())))
        cells.append(", ".join(f"{name} {against_measure[name]:.2f}" for name in slowest))
        text += table_row(cells)
    return text


def class_table(problems, others):
    head = ["problem", "lyra"] + others
    head += ["lyra / measure", "from medians", "planning: lyra", "planning: estimate"]
    text = table_head(head)
    for name, engines in problems.items():
        cells = [name]
        for engine in ["lyra"] + others:
            row = engines.get(engine, {})
            status = row.get("status", "-")
            cells.append(time_text(row.get("least_s")) if status in ("ok", "cut") else status)
            if status == "cut":
                cells[-1] += " (planning cut)"
        cells += [ratio_text(ratio(engines, "measure")),
                  ratio_text(ratio(engines, "measure", "median_s")),
                  time_text(engines.get("lyra", {}).get("planning_s")),
                  time_text(engines.get("estimate", {}).get("planning_s"))]
        text += table_row(cells)
    return text


def page(facts, classes, picture):
    """The whole report as Markdown."""
    others = engine_names(classes)
    text = "# Execution times against FFTW\n\n"
    for name, value in facts:
        value = f"`{value}`" if name == "command" else value
        text += f"- {name}: {value}\n"
    text += (
        "\nA ratio is our time divided by FFTW's for the same problem on the same arrays in the\n"
        "same process, both from the shortest of many repetitions in turns; below 1 we are\n"
        "faster. Ratios of a class are geometric means over the problems that we did not refuse.\n"
        "\n")
    text += summary_table(classes, others)
    text += f"\n![Ratio to FFTW's measure mode for every problem]({picture})\n"
    for class_name, problems in classes.items():
        text += f"\n## {class_name}\n\n" + class_table(problems, others)
    return text


# ---- The plot -----------------------------------------------------------------------------------

OURS = "#1b5e9c"
FAINT = "#b9c3cc"
INK = "#30363c"
TICKS = [0.125, 0.25, 0.35, 0.5, 0.7, 1.0, 1.4, 2.0, 2.8, 4.0, 8.0, 16.0, 64.0, 256.0]
COLUMNS = 3


def is_line(problems):
    """Classes of single one-dimensional transforms are drawn over a length axis."""
    return all("x" not in name and engines["lyra"]["batch"] == 1
               for name, engines in problems.items() if "lyra" in engines)


def short_name(name):
    return name.lstrip("abcdefghijklmnopqrstuvwxyz").replace("x", "×")


def draw_class(axes, class_name, problems, limits):
    """One panel: every problem's ratio to measure, fainter the one to estimate."""
    names = list(problems)
    lengths = is_line(problems)
    place = {name: (next(iter(problems[name].values()))["points"] if lengths else i)
             for i, name in enumerate(names)}

    axes.axhspan(limits[0], 1, color="#eef4ee", zorder=0)
    axes.axhline(1, color=INK, linewidth=1, zorder=2)
    for other, style in (
            ("estimate", {"color": FAINT, "markersize": 3, "linewidth": 0.8, "zorder": 3}),
            ("measure", {"color": OURS, "markersize": 4, "linewidth": 1.2, "zorder": 4})):
        found = ratios(problems, other)
        points = sorted((place[name], value) for name, value in found.items())
        if points:
            axes.plot(*zip(*points), marker="o", linestyle="-" if lengths else "none",
                      label=f"against {other}", **style)
    refused = [place[name] for name in names if ratio(problems[name], "measure") is None]
    if refused:
        axes.plot(refused, [limits[1] / 1.06] * len(refused), linestyle="none", marker="x",
                  color="#b03030", markersize=5, zorder=5, label="refused or wrong")

    title = class_name
    mean = geometric_mean(ratios(problems, "measure").values())
    if mean is not None:
        axes.axhline(mean, color=OURS, linewidth=0.9, linestyle=(0, (5, 3)), zorder=2)
        title += f"   {mean:.2f}"
    axes.set_title(title, loc="left", fontsize=10, fontweight="bold", color=INK)

    if lengths:
        axes.set_xscale("log")
        axes.set_xlabel("length", fontsize=8, color=INK)
        axes.margins(x=0.04)
    else:
        axes.set_xticks(range(len(names)))
        axes.set_xticklabels([short_name(name) for name in names], rotation=35, ha="right",
                             rotation_mode="anchor")
        axes.set_xlim(-0.6, len(names) - 0.4)
    axes.set_yscale("log", base=2)
    axes.set_ylim(*limits)
    axes.set_yticks([t for t in TICKS if limits[0] <= t <= limits[1]])
    axes.set_yticks([], minor=True)
    axes.yaxis.set_major_formatter(lambda value, _: f"{value:g}")
    axes.grid(axis="y", color="#e3e6e8", linewidth=0.6, zorder=1)
    axes.tick_params(labelsize=8, colors=INK, length=3)
    for side in ("top", "right"):
        axes.spines[side].set_visible(False)


def draw(facts, classes, paths):
    """Write the plot, one panel a class, to every path."""
    import matplotlib
    matplotlib.use("Agg")
    matplotlib.rcParams["svg.hashsalt"] = "lyra-bench"  # the same figures give the same file
    from matplotlib import pyplot

    values = [v for problems in classes.values() for other in ("measure", "estimate")
              for v in ratios(problems, other).values()]
    limits = (min([0.45] + values) / 1.1, max([1.5] + values) * 1.1)
    columns = min(COLUMNS, len(classes))
    rows = -(-len(classes) // columns)
    height = 2.9 * rows + 1.2
    figure, grid = pyplot.subplots(rows, columns, squeeze=False,
                                   figsize=(max(7.5, 4.6 * columns), height))
    panels = [axes for line in grid for axes in line]
    for axes in panels[len(classes):]:
        axes.set_visible(False)
    for axes, (class_name, problems) in zip(panels, classes.items()):
        draw_class(axes, class_name, problems, limits)
    for line in grid:
        line[0].set_ylabel("our time / FFTW's", fontsize=9, color=INK)

    known = dict(facts)
    where = ", ".join(known[name] if name != "lyra" else "lyra " + known[name]
                      for name in ("processor", "lyra", "fftw", "date") if name in known)
    figure.suptitle("Execution time against FFTW: below 1 we are faster\n" + where, fontsize=11,
                    color=INK)
    entries = {}
    for axes in panels[:len(classes)]:
        for handle, label in zip(*axes.get_legend_handles_labels()):
            entries.setdefault(label, handle)
    if entries:
        figure.legend(entries.values(), entries.keys(), loc="lower center",
                      ncol=len(entries), frameon=False, fontsize=9)
    figure.tight_layout(rect=(0, 0.35 / height, 1, 1))
    for path in paths:
        metadata = {"Date": None} if path.endswith(".svg") else None
        figure.savefig(path, dpi=130, metadata=metadata)


def main():
    parser = argparse.ArgumentParser(
        description="Turn the figures of lyra-bench into a page with tables and a plot.")
    parser.add_argument("figures", help="the file that lyra-bench --output wrote")
    parser.add_argument("--output", required=True, metavar="BASE",
                        help="write BASE.md, BASE.svg and BASE.png")
    arguments = parser.parse_args()
    base = arguments.output
    try:
        facts, classes = read_figures(arguments.figures)
        with open(base + ".md", "w", encoding="utf-8") as file:
            file.write(page(facts, classes, os.path.basename(base) + ".svg"))
        draw(facts, classes, [base + ".svg", base + ".png"])
    except (InputError, OSError, ImportError) as error:
        print(f"report.py: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
