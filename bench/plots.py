"""Draws the plots of docs/performance.md from its own tables, so that the two never differ.

    plots.py docs/performance.md

The plots go to the folder of the page's name beside it. A table is known by the heading that it stands under.
"""

import pathlib
import re
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt

UNITS = {"ns": 1e-9, "µs": 1e-6, "us": 1e-6, "ms": 1e-3, "s": 1.0}


def read_tables(page):
    """Answers {heading: (columns, rows)} of the first table under each heading."""
    tables, heading, rows = {}, "", []
    for line in page.read_text().splitlines() + ["## "]:
        if line.startswith("|"):
            rows.append([cell.strip() for cell in line.strip("|").split("|")])
            continue
        if rows and heading not in tables:
            tables[heading] = (rows[0], rows[2:])
        rows = []
        if line.startswith("#"):
            heading = line.lstrip("# ")
    return tables


def number(cell):
    """The value of a cell such as "12.9 µs" (in seconds), "1,065" or "2.4"."""
    match = re.match(r"([\d.,]+)\s*(ns|µs|us|ms|s)?$", cell)
    return float(match[1].replace(",", "")) * UNITS.get(match[2], 1.0)


def column(table, name):
    names, rows = table
    return [number(row[names.index(name)]) for row in rows]


def new_plot(title, x, y):
    figure, axes = plt.subplots(figsize=(8, 4.5), layout="constrained")
    axes.set_title(title)
    axes.set_xlabel(x)
    axes.set_ylabel(y)
    axes.grid(True, which="major", alpha=0.3)
    return figure, axes


def name_points(axes, names, xs, ys):
    for name, x, y in zip(names, xs, ys):
        axes.annotate(name, (x, y), textcoords="offset points", xytext=(4, 4), fontsize=8)


def plot_ratios(table):
    names = [row[0] for row in table[1]]
    kinds = ["New findings", "One question", "Compile"]
    figure, axes = new_plot("Times faster than before", "", "before / now")
    width = 0.8 / len(kinds)
    for i, kind in enumerate(kinds):
        ratios = [a / b for a, b in zip(column(table, kind + ", before"), column(table, kind))]
        axes.bar([k + (i - 1) * width for k in range(len(names))], ratios, width, label=kind)
    axes.set_yscale("log")
    axes.axhline(1, color="black", linewidth=0.8)
    axes.set_xticks(range(len(names)), names, rotation=45, ha="right")
    axes.legend()
    return figure


def plot_cases(table):
    names = [row[0] for row in table[1]]
    entries = column(table, "Clique entries")
    figure, axes = new_plot("Many cases at once", "clique entries", "cases a second on one core")
    for kind, marker in (("AVX-512", "o"), ("AVX2", "s"), ("by hand", "x")):
        rates = [1 / t for t in column(table, kind)]
        axes.scatter(entries, rates, label=kind, marker=marker)
        if kind == "AVX-512":
            name_points(axes, names, entries, rates)
    axes.set_xscale("log")
    axes.set_yscale("log")
    axes.legend()
    return figure


def plot_threads(table):
    figure, axes = new_plot("Scaling with threads", "threads", "times faster by the clock")
    names, rows = table
    counts = [name for name in names if re.match(r"\d+ thread", name)]
    for row in rows:
        walls = [number(row[names.index(name)]) for name in counts]
        axes.plot([int(name.split()[0]) for name in counts], [walls[0] / wall for wall in walls], "o-", label=row[0])
    axes.set_xticks([int(name.split()[0]) for name in counts])
    axes.legend(fontsize=8)
    return figure


def plot_size(table):
    names = [row[0] for row in table[1]]
    entries = column(table, "Clique entries")
    figure, axes = new_plot("Cost by size", "clique entries", "seconds")
    for kind in ("Compile", "All beliefs, no findings", "All beliefs, 10 findings", "One changed, one read"):
        axes.scatter(entries, column(table, kind), label=kind)
    name_points(axes, names, entries, column(table, "All beliefs, no findings"))
    axes.set_xscale("log")
    axes.set_yscale("log")
    axes.legend(fontsize=8)
    return figure


def main():
    page = pathlib.Path(sys.argv[1])
    tables = read_tables(page)
    folder = page.with_suffix("")
    folder.mkdir(exist_ok=True)
    plots = {
        "size": ("Single nets", plot_size),
        "ratios": ("Findings that are new, single questions, compiling", plot_ratios),
        "cases": ("Many cases at once", plot_cases),
        "threads": ("Several threads", plot_threads),
    }
    # The same page gives the same files.
    plt.rcParams["svg.hashsalt"] = "bravic"
    for name, (heading, plot) in plots.items():
        figure = plot(tables[heading])
        figure.savefig(folder / f"{name}.svg", metadata={"Date": None})
        plt.close(figure)


if __name__ == "__main__":
    main()
