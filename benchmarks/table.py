#!/usr/bin/env python3
"""Turns the JSON of kivmime_benchmarks into tables: each benchmark beside its limit.

usage: table.py RESULTS.json

A benchmark names its limit in its label. Times are medians of the thread's CPU time over the
repetitions; "spread" is their standard deviation over their mean.
"""

import json
import re
import sys


class Result:
    """The aggregates of one benchmark."""

    def __init__(self):
        self.limit = ""
        self.median = {}
        self.spread = 0.0

    def rate(self):
        """Bytes or items per second."""
        return self.median.get("bytes_per_second") or self.median["items_per_second"]

    def counts_bytes(self):
        return "bytes_per_second" in self.median


def load(path):
    with open(path, encoding="utf-8") as file:
        document = json.load(file)
    results = {}
    # The runs are in random order; the table has the order of the source.
    for run in sorted(document["benchmarks"],
                      key=lambda run: (run["family_index"], run["per_family_instance_index"])):
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        result = results.setdefault(run["run_name"], Result())
        result.limit = run.get("label", "")
        if run.get("aggregate_name") == "median":
            result.median = run
        elif run.get("aggregate_name") == "cv":
            result.spread = 100 * run["cpu_time"]
    return results


def print_table(names, header, rows):
    """Prints Markdown; the first `names` columns hold text, the others numbers."""
    if not rows:
        return
    widths = [max(len(row[i]) for row in [header] + rows) for i in range(len(header))]
    rule = ["-" * w if i < names else "-" * (w - 1) + ":" for i, w in enumerate(widths)]
    for cells in [header, rule] + rows:
        padded = [c.ljust(w) if i < names else c.rjust(w)
                  for i, (c, w) in enumerate(zip(cells, widths))]
        print("| " + " | ".join(padded) + " |")
    print()


def short_name(name):
    """Without the size, which is the same for all but the rows of the scale table."""
    return re.sub(r"/\d+$", "", name)


def print_beside_limits(results, counts_bytes, header, show):
    rows = []
    for name, result in results.items():
        if (not result.limit or result.counts_bytes() != counts_bytes or
                name.startswith("Scale/")):
            continue
        if result.limit not in results:
            sys.exit(f"{name}: its limit {result.limit} was not run")
        limit = results[result.limit]
        rows.append([short_name(name), short_name(result.limit), show(result.rate()),
                     show(limit.rate()), f"{limit.rate() / result.rate():.2f}",
                     f"{result.spread:.1f} %", f"{limit.spread:.1f} %"])
    print_table(2, header, rows)


def print_scale(results):
    costs = {}
    for name, result in results.items():
        match = re.fullmatch(r"Scale/(\w+)/(\d+)", name)
        if match:
            costs.setdefault(int(match[2]), {})[match[1]] = 1e9 / result.rate()
    kinds = sorted({kind for cost in costs.values() for kind in cost})
    print_table(0, ["bytes of body"] + [f"{kind}, ns per byte" for kind in kinds],
                [[f"{size:,}"] + [f"{cost[kind]:.2f}" if kind in cost else "" for kind in kinds]
                 for size, cost in sorted(costs.items())])


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    results = load(sys.argv[1])
    print_beside_limits(results, True,
                        ["benchmark", "limit", "MB/s", "limit, MB/s", "times the limit", "spread",
                         "limit's spread"],
                        lambda rate: f"{rate / 1e6:,.0f}")
    print_beside_limits(results, False,
                        ["lookup", "yardstick", "ns each", "yardstick, ns each",
                         "times the yardstick", "spread", "yardstick's spread"],
                        lambda rate: f"{1e9 / rate:.1f}")
    print_scale(results)


main()
