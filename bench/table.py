#!/usr/bin/env python3
"""Writes the table of docs/performance.md.

    bench/table.py RUN.json [RUN.json ...]

The files are what vekbench wrote with --benchmark_out=RUN.json; of several runs the least figure counts. The table
stands between the two marks of the page."""
import json
import pathlib
import sys

PAGE = pathlib.Path(__file__).resolve().parent.parent / "docs" / "performance.md"
MARKS = ("<!-- table: begin -->\n", "<!-- table: end -->\n")
SHAPES = ("whole", "place", "region", "channel", "half", "random", "bits")


def best_figures(paths):
    """{(family, operation, depth): {shape: (ratio, ns)}}, in the order of the runs."""
    figures = {}
    for path in paths:
        for run in json.loads(pathlib.Path(path).read_text())["benchmarks"]:
            if run.get("run_type") == "aggregate":
                continue
            if run.get("error_occurred"):
                sys.exit(f"{run['name']}: {run['error_message']}")
            family, operation, depth, shape = run["name"].split("/")[:4]
            shapes = figures.setdefault((family, operation, depth), {})
            ratio, ns = shapes.get(shape, (float("inf"), float("inf")))
            shapes[shape] = (min(ratio, run["ratio"]), min(ns, run["ns"]))
    return figures


def table(figures):
    yield "| operation | depth | " + " | ".join(SHAPES) + " | small, ns |"
    yield "|---|---|" + "--:|" * (len(SHAPES) + 1)
    for (_, operation, depth), shapes in figures.items():
        if not shapes.keys() & {*SHAPES, "small"}:
            continue
        cells = [f"{shapes[shape][0]:.2f}" if shape in shapes else "" for shape in SHAPES]
        cells.append(f"{shapes['small'][1]:.0f}" if "small" in shapes else "")
        yield f"| {operation} | {depth} | " + " | ".join(cells) + " |"


def sizes_table(figures):
    """Operations that are measured by size."""
    rows = {}
    for (_, operation, depth), shapes in figures.items():
        for shape, (ratio, ns) in shapes.items():
            if shape not in SHAPES and shape != "small":
                rows[operation, depth, shape] = f"| {operation} | {depth} | {shape} | {ratio:.2f} | {ns / 1000:.1f} |"
    if rows:
        yield from ("", "| operation | depth | size | ratio | microseconds |", "|---|---|---|--:|--:|", *rows.values())


def machine(path):
    """What the first run was made on."""
    context = json.loads(pathlib.Path(path).read_text())["context"]
    caches = [f"L{c['level']} {c['size'] // 1024} KiB" for c in context["caches"] if c["type"] != "Instruction"]
    return f"Measured on {context['num_cpus']} cores of {context['mhz_per_cpu']} MHz, {', '.join(caches)}."


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    before, rest = PAGE.read_text().split(MARKS[0])
    _, after = rest.split(MARKS[1])
    figures = best_figures(sys.argv[1:])
    text = "\n".join([*table(figures), *sizes_table(figures)])
    PAGE.write_text(before + MARKS[0] + "\n" + machine(sys.argv[1]) + "\n\n" + text + "\n\n" + MARKS[1] + after)


main()
