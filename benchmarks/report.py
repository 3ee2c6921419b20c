#!/usr/bin/env python3
"""Writes one part of docs/performance.md: report.py PART FACTS FIGURES.

PART names the part of benchmarks/rows.txt and the marks in the document, between which all is replaced. FACTS is the
line that tells the machine. FIGURES holds the results of Google Benchmark as JSON, of which the medians count. A row
without a figure, and a figure without a row, are errors.
"""
import json
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
DOCUMENT = ROOT / "docs" / "performance.md"
# What a figure counts, by the units of it that the tables know
UNITS = [{"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}, {"KB": 1, "MB": 1024}]


def rows(part):
    """Name, what, floor and remark of each row of the part."""
    inside = False
    for line in (ROOT / "benchmarks" / "rows.txt").read_text().splitlines():
        if line.startswith("["):
            inside = line == f"[{part}]"
        elif inside and line and not line.startswith("#"):
            fields = [field.strip() for field in line.split("|")]
            yield fields + [""] * (4 - len(fields))


def medians(path):
    """The median of each benchmark with its unit, by its name."""
    figures = {}
    for run in json.loads(Path(path).read_text())["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{run['run_name']}: {run['error_message']}")
        if run.get("aggregate_name") == "median":
            name, by_itself = re.subn(r"/manual_time$", "", run["run_name"])
            figures[name] = run["real_time" if by_itself else "cpu_time"], run["time_unit"]
    return figures


def told(figure, unit):
    """The figure with three digits, in the unit that suits it."""
    units = next(units for units in UNITS if unit in units)
    suiting = max((each for each in units if figure * units[unit] >= units[each]), key=units.get, default=next(iter(units)))
    number = figure * units[unit] / units[suiting]
    digits = 0 if number >= 99.95 else 1 if number >= 9.995 else 2
    return f"{number:.{digits}f} {suiting.replace('us', 'µs')}"


def table(part, figures):
    lines = ["| what | launcher | floor | ratio | what the floor does |", "|---|---|---|---|---|"]
    remarks = []
    for name, what, floor, remark in rows(part):
        mine, least = figures.pop(name), figures.pop(name + "/floor")
        lines.append(f"| {what} | {told(*mine)} | {told(*least)} | {mine[0] / least[0]:.2f} | {floor} |")
        if remark:
            remarks.append(f"- **{what}**: {remark}")
    if figures:
        sys.exit(f"benchmarks/rows.txt has no row for {', '.join(figures)}")
    return "\n".join(lines) + ("\n\n" + "\n".join(remarks) if remarks else "") + "\n"


def main():
    part, facts, path = sys.argv[1:]
    section = f"<!-- {part} -->\n{facts}\n\n{table(part, medians(path))}<!-- /{part} -->"
    document = DOCUMENT.read_text()
    replaced, count = re.subn(rf"<!-- {part} -->.*<!-- /{part} -->", lambda _: section, document, flags=re.DOTALL)
    if count != 1:
        sys.exit(f"{DOCUMENT.name} has no marks for {part}")
    DOCUMENT.write_text(replaced)
    print(section)


main()
