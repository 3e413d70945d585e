#!/usr/bin/env python3
"""Makes a table of what hostile_shapes printed and callgrind counted.

usage: robustness_table.py ROWS FOLDER-WITH-COUNTS [DOCUMENT]
Prints the table, and with a document puts it between its two markers. Exit status 1 when a bound is
broken; how fast the count of instructions may grow is checked here.
"""

import datetime
import os
import platform
import re
import sys
from pathlib import Path

BEGIN = "<!-- begin: scripts/robustness.sh -->"
END = "<!-- end: scripts/robustness.sh -->"
# For four times the size: n gives 4, n log n less than 5 at these sizes, n squared 16.
MAX_GROWTH = 5.0


def read_counts(folder):
    """Instructions by shape number and size, from the files that callgrind wrote."""
    counts = {}
    for path in folder.glob("callgrind.out.*"):
        text = path.read_text(errors="replace")
        name = re.search(r"^desc: Trigger: Client Request: (\d+) (\d)$", text, re.M)
        total = re.search(r"^(?:summary|totals): (\d+)", text, re.M)
        if name and total:
            counts.setdefault(name[1], {})[int(name[2])] = int(total[1])
    return counts


def in_bytes(number):
    for unit, size in (("GiB", 1 << 30), ("MiB", 1 << 20), ("KiB", 1 << 10)):
        if number >= size:
            value = number / size
            return f"{value:.1f} {unit}" if value < 10 else f"{value:,.0f} {unit}"
    return f"{number} B"


def make_row(fields, counts):
    number, name, how, count, size, result, peak, allocated, _, touched, seconds, verdict = fields
    count, size, peak, allocated, touched = map(int, (count, size, peak, allocated, touched))
    sizes = counts.get(number, {})
    growth = ""
    if 1 in sizes and 4 in sizes:
        growth = f"{sizes[4] / sizes[1]:.2f}"
        if sizes[4] > sizes[1] * MAX_GROWTH and verdict == "kept":
            verdict = "GROWTH"
    elif count and verdict == "kept":
        verdict = "NOT COUNTED"
    text = result if len(result) < 60 else result[:57] + "..."
    return [f"{count:,} {name}" if count else name, how, in_bytes(size), text, in_bytes(peak),
            f"{peak / touched:.1f}" if touched else "", in_bytes(allocated), in_bytes(touched),
            seconds, growth, verdict]


HEAD = ["shape", "rules", "text", "result", "peak memory", "per byte", "allocated", "looked at",
        "CPU s", "cost of 4 times", "bounds"]
RIGHT = {2, 4, 5, 6, 7, 8, 9}


def make_table(rows):
    lines = ["| " + " | ".join(HEAD) + " |",
             "|" + "|".join("---:" if i in RIGHT else "---" for i in range(len(HEAD))) + "|"]
    lines += ["| " + " | ".join(cell.replace("|", "\\|") for cell in row) + " |" for row in rows]
    return "\n".join(lines)


def describe_machine():
    model = re.search(r"^model name\s*: (.*)", Path("/proc/cpuinfo").read_text(), re.M)
    memory = int(re.search(r"MemTotal:\s*(\d+)", Path("/proc/meminfo").read_text())[1]) * 1024
    return (f"{datetime.date.today()}, {model[1] if model else platform.machine()}, "
            f"{os.cpu_count()} in use, {in_bytes(memory)} of memory, load {os.getloadavg()[0]:.1f} "
            "at the end.")


def main():
    rows_path, counts_path = Path(sys.argv[1]), Path(sys.argv[2])
    counts = read_counts(counts_path)
    rows = [make_row(line.split("\t"), counts) for line in rows_path.read_text().splitlines()]
    table = make_table(rows)
    print(table)
    broken = [row for row in rows if row[-1] != "kept" and not row[-1].startswith("skipped")]
    print(f"\n{len(rows)} shapes, {len(broken)} with a broken bound")
    if len(sys.argv) > 3:
        document = Path(sys.argv[3])
        before, rest = document.read_text().split(BEGIN)
        after = rest.split(END)[1]
        document.write_text(f"{before}{BEGIN}\n{describe_machine()}\n\n{table}\n{END}{after}")
    return 1 if broken or not rows else 0


sys.exit(main())
