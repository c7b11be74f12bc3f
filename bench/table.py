#!/usr/bin/env python3
"""Writes the tables of docs/performance.md.

    bench/table.py RUN.json [RUN.json ...]

The files are what vekbench wrote with --benchmark_out=RUN.json; of several runs the least figure counts. They
stand between the two marks of the page."""
import json
import pathlib
import sys

PAGE = pathlib.Path(__file__).resolve().parent.parent / "docs" / "performance.md"
MARKS = ("<!-- table: begin -->\n", "<!-- table: end -->\n")


def best_figures(paths):
    """{family: {(operation, depth): {shape: (ratio, ns)}}}, in the order of the runs."""
    families = {}
    for path in paths:
        for run in json.loads(pathlib.Path(path).read_text())["benchmarks"]:
            if run.get("run_type") == "aggregate":
                continue
            if run.get("error_occurred"):
                sys.exit(f"{run['name']}: {run['error_message']}")
            family, operation, depth, *more = run["name"].removesuffix("/manual_time").split("/")
            if "error" in run:
                continue
            depth = " ".join([depth, *more[1:]])
            shapes = families.setdefault(family, {}).setdefault((operation, depth), {})
            shape = more[0] if more else "whole"
            ratio, ns = shapes.get(shape, (float("inf"), float("inf")))
            shapes[shape] = (min(ratio, run["ratio"]), min(ns, run["ns"]))
    return families


def cell(shapes, shape):
    if shape not in shapes:
        return ""
    ratio, ns = shapes[shape]
    return f"{ns:.0f}" if shape == "small" else f"{ratio:.2f}" if ratio < 20 else f"{ratio:.0f}"


def table(family, operations):
    """A row for each operation and depth, a column for each shape of the family; small images come last, in ns."""
    columns = list(dict.fromkeys(shape for shapes in operations.values() for shape in shapes))
    columns.sort(key=lambda shape: shape == "small")
    yield from ("", f"### {family}", "")
    yield "| operation | depth | " + " | ".join(columns).replace("small", "small, ns") + " |"
    yield "|---|---|" + "--:|" * len(columns)
    for (operation, depth), shapes in operations.items():
        yield f"| {operation} | {depth} | " + " | ".join(cell(shapes, shape) for shape in columns) + " |"


def errors_table(path):
    """The relative error of the Fourier transform by length; it depends on no clock."""
    runs = [run for run in json.loads(pathlib.Path(path).read_text())["benchmarks"] if "error" in run]
    if runs:
        yield from ("", "Relative error of the 32F transform, root mean square, by length:", "", "| length | error |", "|--:|--:|")
        yield from (f"| {run['name'].split('/')[3]} | {run['error']:.1e} |" for run in runs)


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
    families = best_figures(sys.argv[1:])
    text = "\n".join(line for family in families.items() for line in table(*family))
    text += "\n".join(["", *errors_table(sys.argv[1])])
    PAGE.write_text(before + MARKS[0] + "\n" + machine(sys.argv[1]) + "\n" + text + "\n\n" + MARKS[1] + after)


main()
