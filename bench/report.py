#!/usr/bin/python3
"""Turn the figures of lyra-bench into a page with tables and a plot.

    lyra-bench --output figures.tsv
    bench/report.py figures.tsv --output report

writes report.md, report.svg and report.png. Needs Debian's python3-matplotlib.
"""

import argparse
import os
import sys

from figures import (InputError, count_status, draw_classes, engine_names, geometric_mean,
                     ratio, ratio_text, ratios, read_figures, table_head, table_row, time_text)


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


def draw(facts, titles, classes, paths):
    """Write the plot, one row a class, to every path."""
    known = dict(facts)
    where = ", ".join(known[name] if name != "lyra" else "lyra " + known[name]
                      for name in ("lyra", "fftw", "date") if name in known)
    draw_classes(classes, titles, "Execution time over FFTW's: below 1 we are faster; medians\n"
                 + known.get("processor", "") + "\n" + where, paths)


def main():
    parser = argparse.ArgumentParser(
        description="Turn the figures of lyra-bench into a page with tables and a plot.")
    parser.add_argument("figures", help="the file that lyra-bench --output wrote")
    parser.add_argument("--output", required=True, metavar="BASE",
                        help="write BASE.md, BASE.svg and BASE.png")
    arguments = parser.parse_args()
    base = arguments.output
    try:
        facts, titles, classes = read_figures(arguments.figures)
        with open(base + ".md", "w", encoding="utf-8") as file:
            file.write(page(facts, classes, os.path.basename(base) + ".svg"))
        draw(facts, titles, classes, [base + ".svg", base + ".png"])
    except (InputError, OSError, ImportError) as error:
        print(f"report.py: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
