"""What the reports share: reading figures, numbers as text, and panels of ratios and speeds."""

import csv
import math
import re


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


def planned_fully(problems, engine="measure"):
    """The problems for which measuring of a build of FFTW was not cut short."""
    return {name: engines for name, engines in problems.items()
            if engines.get(engine, {}).get("status") != "cut"}


def class_mean(problems, engine, column="median_s"):
    """(geometric mean of the ratios to a build of FFTW, whether plans that were cut short count in
    it): of the others where they are at least half, else of all; (None, False) without ratios."""
    found = ratios(problems, engine, column)
    full = ratios(planned_fully(problems, engine), engine, column)
    with_cut = 2 * len(full) < len(found)
    return geometric_mean((found if with_cut else full).values()), with_cut


def gigaflops(name, row, column="median_s"):
    """Nominal speed: 5 n log2 n operations for a complex transform of n points and half as many for
    a real one, divided by the time; None where there is none."""
    seconds, points = row.get(column), row["points"]
    kind = re.match(r"[oi]s?([crk])", name)
    if not seconds or points < 2 or not kind:
        return None
    return (5 if kind[1] == "c" else 2.5) * points * math.log2(points) * row["batch"] / seconds / 1e9


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
INK = "#30363c"
FAINT = "#e3e6e8"
TICKS = [0.0625, 0.125, 0.18, 0.25, 0.35, 0.5, 0.7, 1.0, 1.4, 2.0, 2.8, 4.0, 8.0, 16.0]
MOST_JOINED = 60   # more points than this are a cloud
MOST_SLANTED = 14  # more names than this stand upright

# The builds of FFTW that we are compared with: engine, words for both, colour.
YARDSTICKS = [("measure", "Debian's FFTW", "#7d8a94"),
              ("native", "FFTW built for the processor", "#c26a12")]


def yardsticks_of(classes):
    found = engine_names(classes)
    return [yardstick for yardstick in YARDSTICKS if yardstick[0] in found]


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


def legend_below(figure, panels, columns=None):
    entries = {}
    for axes in panels:
        for handle, label in zip(*axes.get_legend_handles_labels()):
            entries.setdefault(label, handle)
    if entries:
        figure.legend(entries.values(), entries.keys(), loc="lower center",
                      ncol=columns or len(entries), frameon=False, fontsize=9)


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


def place_problems(axes, problems):
    """Prepare the horizontal axis of a class; returns {problem: place} and whether lines may join
    neighbours."""
    names = list(problems)
    if is_line(problems):
        length_axis(axes)
        places = {name: next(iter(problems[name].values()))["points"] for name in names}
        return places, len(places) <= MOST_JOINED
    axes.set_xticks(range(len(names)))
    upright = len(names) > MOST_SLANTED or max(map(len, names)) > 14
    axes.set_xticklabels([short_name(name) for name in names], rotation=90 if upright else 35,
                         ha="right", va="center" if upright else "top", rotation_mode="anchor")
    axes.set_xlim(-0.6, len(names) - 0.4)
    return {name: i for i, name in enumerate(names)}, False


def label_room(problems):
    """Inches that the labels of a class need below its panels, beyond what all have."""
    if is_line(problems):
        return 0
    return max(0, 0.07 * max(len(short_name(name)) for name in problems) - 0.5)


def ratio_limits(classes, yardsticks):
    """The span of ratios that is drawn: single ones far outside of all others do not set it."""
    values = sorted(value for problems in classes.values() for engine, _, _ in yardsticks
                    for value in ratios(problems, engine, "median_s").values())
    if not values:
        return 0.5, 1.5
    low = high = 0
    for i in range(min(max(1, len(values) // 50), len(values) - 1)):
        if values[i] < values[i + 1] / 1.5:
            low = i + 1
        if values[-1 - i] > values[-2 - i] * 1.3:
            high = i + 1
    low, high = values[low], values[-1 - high]
    return max(min(low, 0.7), 0.1) / 1.1, min(max(high, 1.1), 4) * 1.1


def draw_ratios(axes, problems, yardsticks, limits):
    """One panel: ratios to each build of FFTW over the problems."""
    places, joined = place_problems(axes, problems)
    axes.axhspan(limits[0], 1, color="#eef4ee", zorder=0)
    axes.axhline(1, color=INK, linewidth=1, zorder=2)
    means = []
    for engine, words, color in yardsticks:
        found = ratios(problems, engine, "median_s")
        cut = found.keys() - planned_fully(problems, engine).keys()
        points = sorted((places[name], min(max(value, limits[0]), limits[1]))
                        for name, value in found.items() if name not in cut)
        style = {"color": color, "markersize": 3.5, "zorder": 4, "clip_on": False}
        if points:
            axes.plot(*zip(*points), marker="o", linestyle="-" if joined else "none", linewidth=1,
                      label=f"over {words}", **style)
        hollow = [(places[name], min(max(found[name], limits[0]), limits[1])) for name in cut]
        if hollow:
            axes.plot(*zip(*hollow), marker="o", linestyle="none", markerfacecolor="white",
                      label="hollow: its planning was cut short", **style)
        for name, value in found.items():
            if limits[0] <= value <= limits[1]:
                continue
            above = value > limits[1]
            axes.plot([places[name]], [limits[above]], marker="^" if above else "v", markersize=6,
                      color=color, zorder=6, clip_on=False, linestyle="none",
                      label="triangle: beyond the scale, with its value")
            # Values of two builds stand on two sides.
            side = -1 if engine == YARDSTICKS[0][0] else 1
            axes.annotate(f"{value:.2f}", (places[name], limits[above]), fontsize=7, color=color,
                          xytext=(5 * side, -3 if above else 2), textcoords="offset points",
                          ha="right" if side < 0 else "left", zorder=7)
        mean, of_cut = class_mean(problems, engine)
        if mean is not None:
            means.append(f"{mean:.2f}{' (cut)' if of_cut else ''} of "
                         f"{'Debian' if engine == 'measure' else 'the native build'}'s")
            axes.axhline(mean, color=color, linewidth=1, linestyle=(0, (5, 3)), zorder=3,
                         label="dashed: mean of the class")
    failed = [places[name] for name, engines in problems.items()
              if engines.get("lyra", {}).get("status") in ("refused", "wrong")]
    if failed:
        axes.plot(failed, [limits[1] / 1.06] * len(failed), linestyle="none", marker="x",
                  color="#b03030", markersize=5, zorder=5, label="refused or wrong")
    axes.set_yscale("log", base=2)
    axes.set_ylim(*limits)
    axes.set_yticks([t for t in TICKS if limits[0] <= t <= limits[1]])
    axes.yaxis.set_major_formatter(lambda value, _: f"{value:g}")
    axes.set_ylabel("our time / FFTW's", fontsize=8, color=INK)
    return "mean: " + ", ".join(means) if means else ""


def draw_speeds(axes, problems, yardsticks):
    """One panel: gigaflops of all over the same problems."""
    places, joined = place_problems(axes, problems)
    for engine, words, color in [*yardsticks, ("lyra", "ours", OURS)]:
        points = []
        for name, engines in problems.items():
            speed = gigaflops(name, engines[engine]) if engine in engines else None
            if speed is not None:
                points.append((places[name], speed))
        if points:
            axes.plot(*zip(*sorted(points)), marker="o", linestyle="-" if joined else "none",
                      linewidth=1, markersize=3.5, color=color, label=words,
                      zorder=4 if engine == "lyra" else 3)
    axes.set_ylim(bottom=0)
    axes.set_ylabel("gigaflops", fontsize=8, color=INK)


def draw_classes(classes, titles, heading, paths):
    """Write a plot to every path: for every class a row of ratios and speeds; titles are
    {class: words}. A class without words is called by its name."""
    yardsticks = yardsticks_of(classes)
    limits = ratio_limits(classes, yardsticks)
    heading += "\nleft: below 1 (shaded) we are faster; right: nominal speed"
    below = 0.75  # inches
    room = [label_room(problems) for problems in classes.values()]
    # Rows are equally far apart.
    height = ((2.9 + max(room[:-1], default=0)) * len(classes) + room[-1]
              + 0.2 * (heading.count("\n") + 1) + below)
    figure, panels = new_figure(len(classes), 2, (9.6, height))
    for i, (class_name, problems) in enumerate(classes.items()):
        left, right = panels[2 * i:2 * i + 2]
        means = draw_ratios(left, problems, yardsticks, limits)
        draw_speeds(right, problems, yardsticks)
        words = titles.get(class_name, class_name)
        left.set_title(words[0].upper() + words[1:], loc="left", fontsize=10, fontweight="bold",
                       color=INK, pad=18)
        left.text(0, 1.04, means, transform=left.transAxes, fontsize=8, color=INK)
        for axes in (left, right):
            axes.grid(axis="y", color=FAINT, linewidth=0.6, zorder=1)
            plain_axes(axes)
    figure.suptitle(heading, fontsize=10, color=INK, y=1 - 0.1 / height)
    legend_below(figure, panels, columns=3)
    figure.tight_layout(rect=(0, below / height, 1, 1))
    save_figure(figure, paths)
