"""What the reports share: reading figures, numbers as text, and panels of ratios."""

import csv
import math


class InputError(Exception):
    """The figures cannot be used; the text is one line."""


def read_table(path, integers, decimals):
    """The table of tab-separated columns in a file, under its comments "# NAME: VALUE": (facts,
    rows), facts as a list of (name, value), rows as a list of dictionaries in which the columns
    named hold numbers, or None for decimals that are empty."""
    facts = []
    try:
        with open(path, encoding="utf-8", newline="") as file:
            lines = file.read().splitlines()
    except (OSError, UnicodeDecodeError) as error:
        raise InputError(f"cannot read {path}: {error}") from error
    for line in lines:
        if line.startswith("# ") and ": " in line:
            facts.append(tuple(line[2:].split(": ", 1)))
    table = csv.DictReader((line for line in lines if not line.startswith("#")), delimiter="\t")
    if not {*integers, *decimals} <= set(table.fieldnames or []):
        raise InputError(f"{path} is not a table with the columns {', '.join(integers)}, "
                         f"{', '.join(decimals)}")
    rows = []
    for row in table:
        try:
            for column in integers:
                row[column] = int(row[column])
            for column in decimals:
                row[column] = float(row[column]) if row[column] else None
        except (TypeError, ValueError) as error:
            raise InputError(f"{path}: a line is damaged: {error}") from error
        rows.append(row)
    if not rows:
        raise InputError(f"{path} holds no figures")
    return facts, rows


def read_figures(path):
    """Return (facts, titles, classes) of a file of lyra-bench: facts as a list of (name, value),
    titles as {class: words}, classes as {class: {problem: {engine: row}}}, all in the order of the
    file."""
    facts, rows = read_table(path, ("points", "batch"), ("least_s", "median_s", "planning_s"))
    titles = {name.removeprefix("class "): words for name, words in facts
              if name.startswith("class ")}
    facts = [fact for fact in facts if not fact[0].startswith("class ")]
    classes = {}
    for row in rows:
        if not {"class", "problem", "engine", "status"} <= row.keys():
            raise InputError(f"{path} is not a table of lyra-bench")
        classes.setdefault(row["class"], {}).setdefault(row["problem"], {})[row["engine"]] = row
    return facts, titles, classes


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


def planned_fully(problems):
    """The problems for which FFTW's measuring was not cut short."""
    return {name: engines for name, engines in problems.items()
            if engines.get("measure", {}).get("status") != "cut"}


def engine_names(classes):
    """The engines besides lyra, in the order of the file."""
    names = {}
    for problems in classes.values():
        for engines in problems.values():
            names.update(dict.fromkeys(engines))
    names.pop("lyra", None)
    return list(names)


# ---- Text ---------------------------------------------------------------------------------------


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


# ---- Plots --------------------------------------------------------------------------------------

OURS = "#1b5e9c"
FAINT = "#b9c3cc"
INK = "#30363c"
TICKS = [0.0625, 0.125, 0.25, 0.35, 0.5, 0.7, 1.0, 1.4, 2.0, 2.8, 4.0, 8.0, 16.0, 64.0, 256.0]
MOST_JOINED = 60   # more points than this are a cloud
MOST_SLANTED = 14  # more names than this stand upright
STRONG_LINE = {"color": OURS, "markersize": 4, "linewidth": 1.2, "zorder": 4}
FAINT_LINE = {"color": FAINT, "markersize": 3, "linewidth": 0.8, "zorder": 3}


def new_figure(rows, columns, size):
    """(figure, list of axes); the same figures give the same file, and text stays text."""
    import matplotlib
    matplotlib.use("Agg")
    matplotlib.rcParams.update({"svg.hashsalt": "lyra-bench", "svg.fonttype": "none",
                                "font.family": "sans-serif", "savefig.facecolor": "white"})
    from matplotlib import pyplot
    figure, grid = pyplot.subplots(rows, columns, squeeze=False, figsize=size)
    return figure, [axes for line in grid for axes in line]


def save_figure(figure, paths):
    from matplotlib import pyplot
    for path in paths:
        metadata = {"Date": None, "Creator": None} if path.endswith(".svg") else None
        figure.savefig(path, dpi=130, metadata=metadata)
    pyplot.close(figure)


def plain_axes(axes):
    """The look that all panels have."""
    axes.minorticks_off()
    axes.tick_params(labelsize=8, colors=INK, length=3)
    for side in ("top", "right"):
        axes.spines[side].set_visible(False)


def legend_below(figure, panels):
    entries = {}
    for axes in panels:
        for handle, label in zip(*axes.get_legend_handles_labels()):
            entries.setdefault(label, handle)
    if entries:
        figure.legend(entries.values(), entries.keys(), loc="lower center",
                      ncol=len(entries), frameon=False, fontsize=9)


def is_line(problems):
    """Classes of single one-dimensional transforms, one of each length, are drawn over lengths."""
    rows = [engines["lyra"] for engines in problems.values() if "lyra" in engines]
    lengths = {row["points"] for row in rows}
    return (len(lengths) == len(rows) and all(row["batch"] == 1 for row in rows)
            and not any("x" in name for name in problems))


def length_axis(axes):
    from matplotlib.ticker import EngFormatter
    axes.set_xscale("log")
    axes.set_xlabel("length", fontsize=8, color=INK)
    axes.xaxis.set_major_formatter(EngFormatter(sep=""))
    axes.margins(x=0.04)


def short_name(name):
    return name.split(" ")[0].lstrip("abcdefghijklmnopqrstuvwxyz").replace("x", "×")


def draw_class(axes, class_name, problems, series, limits):
    """One panel: a line or dots of every problem's ratios for each of the series, (engine, column,
    label, style); the last one is what the class is judged by."""
    names = list(problems)
    lengths = is_line(problems)
    place = {name: (next(iter(problems[name].values()))["points"] if lengths else i)
             for i, name in enumerate(names)}

    axes.axhspan(limits[0], 1, color="#eef4ee", zorder=0)
    axes.axhline(1, color=INK, linewidth=1, zorder=2)
    for engine, column, label, style in series:
        found = ratios(problems, engine, column)
        points = sorted((place[name], value) for name, value in found.items())
        if points:
            joined = lengths and len(points) <= MOST_JOINED
            axes.plot(*zip(*points), marker="o", linestyle="-" if joined else "none", label=label,
                      **style)
    judged_by = ratios(problems, *series[-1][:2])
    full = planned_fully(problems)
    cut = [(place[name], value) for name, value in judged_by.items() if name not in full]
    if cut:
        axes.plot(*zip(*cut), linestyle="none", marker="o", markersize=4, markerfacecolor="white",
                  markeredgecolor=OURS, zorder=5, label="FFTW's planning cut")
    refused = [place[name] for name in names if name not in judged_by]
    if refused:
        axes.plot(refused, [limits[1] / 1.06] * len(refused), linestyle="none", marker="x",
                  color="#b03030", markersize=5, zorder=5, label="refused or wrong")

    title = class_name
    mean = geometric_mean(judged_by.values())
    if mean is not None:
        axes.axhline(mean, color=OURS, linewidth=0.9, linestyle=(0, (5, 3)), zorder=2)
        title += f"   {mean:.2f}"
    axes.set_title(title, loc="left", fontsize=10, fontweight="bold", color=INK)

    if lengths:
        length_axis(axes)
    else:
        axes.set_xticks(range(len(names)))
        upright = len(names) > MOST_SLANTED
        axes.set_xticklabels([short_name(name) for name in names], rotation=90 if upright else 35,
                             ha="right", va="center" if upright else "top",
                             rotation_mode="anchor")
        axes.set_xlim(-0.6, len(names) - 0.4)
    axes.set_yscale("log", base=2)
    axes.set_ylim(*limits)
    axes.set_yticks([t for t in TICKS if limits[0] <= t <= limits[1]])
    axes.yaxis.set_major_formatter(lambda value, _: f"{value:g}")
    axes.grid(axis="y", color="#e3e6e8", linewidth=0.6, zorder=1)
    plain_axes(axes)


def draw_classes(classes, series, title, paths, columns=3, panel=(4.6, 2.9)):
    """Write a plot of a panel for every class to every path. Series are those of draw_class."""
    values = [v for problems in classes.values() for engine, column, _, _ in series
              for v in ratios(problems, engine, column).values()]
    limits = (min([0.45] + values) / 1.1, max([1.5] + values) * 1.1)
    columns = min(columns, len(classes))
    rows = -(-len(classes) // columns)
    above = 0.15 + 0.25 * (title.count("\n") + 1)  # inches, for the title
    height = panel[1] * rows + 0.5 + above
    figure, panels = new_figure(rows, columns, (max(7.5, panel[0] * columns), height))
    for axes in panels[len(classes):]:
        axes.set_visible(False)
    for axes, (class_name, problems) in zip(panels, classes.items()):
        draw_class(axes, class_name, problems, series, limits)
    for axes in panels[::columns]:
        axes.set_ylabel("our time / FFTW's", fontsize=9, color=INK)
    figure.suptitle(title, fontsize=11, color=INK, y=1 - 0.1 / height)
    legend_below(figure, panels[:len(classes)])
    figure.tight_layout(rect=(0, 0.35 / height, 1, 1))
    save_figure(figure, paths)
