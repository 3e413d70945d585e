#!/usr/bin/env python3
"""Draws the figures of compare.py, scale.py and memory.py.

usage: charts.py RESULTS PICTURES

RESULTS has compare.json, scale.json, memory.json and machine.txt, one line that says where and when they
were measured. PICTURES gets an SVG for each subject; what was not measured is not drawn.
"""

import json
import math
import pathlib
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

# Colours that stay apart for people who see fewer of them (Okabe and Ito).
COLOURS = {"ours": "#0072B2", "best other library": "#E69F00", "limit": "#999999",
           "GMime": "#E69F00", "mimetic": "#009E73", "libEtPan": "#CC79A7"}
MARKS = {"ours": "o", "GMime": "s", "mimetic": "^", "libEtPan": "D"}
GREY = "#555555"

plt.rcParams.update({
    "svg.fonttype": "none", "svg.hashsalt": "kivmime", "font.family": "sans-serif", "font.size": 10,
    "axes.spines.top": False, "axes.spines.right": False, "axes.edgecolor": GREY,
    "xtick.color": GREY, "ytick.color": "black", "axes.titlelocation": "left",
    "axes.titlesize": 11, "axes.titleweight": "bold",
})


def spell(name):
    return "this library" if name == "ours" else name


def save(figure, path, machine):
    figure.text(0.01, 0.01, machine, fontsize=7.5, color=GREY)
    figure.savefig(path, metadata={"Date": None, "Creator": None})
    plt.close(figure)


def show_rate(rate):
    return f"{rate / 1000:.3g} GB/s" if rate >= 1000 else f"{rate:.3g} MB/s"


def draw_rates(axes, rows, title):
    series = ["ours", "best other library", "limit"]
    height = 0.26
    for place, row in enumerate(rows):
        rates = dict(row["rates"])
        limit, ours = rates.pop("limit"), rates.pop("ours")
        for i, rate in enumerate([ours, max(rates.values(), default=0), limit]):
            y = place + (i - 1) * height
            axes.barh(y, rate, height * 0.92, color=COLOURS[series[i]])
            axes.text(rate * 1.06, y, show_rate(rate), va="center", fontsize=7, color=GREY)
    axes.set_yticks(range(len(rows)), [row["name"] for row in rows])
    axes.tick_params(axis="y", length=0)
    axes.set_ylim(len(rows) - 0.5, -0.5)
    axes.set_xscale("log")
    axes.set_xlim(5, 1e6)
    axes.set_xticks([10, 100, 1000, 10_000, 100_000], ["10 MB/s", "100", "1 GB/s", "10", "100"])
    axes.minorticks_off()
    axes.set_title(title)


def draw_speed(rows, path, machine):
    panels = [("p", "Parse a message, decode nothing"), ("b", "Parse and decode every body in memory")]
    found = [([row for row in rows if row["task"] == task], title) for task, title in panels]
    if not all(panel for panel, _ in found):
        return
    figure, axes = plt.subplots(1, 2, figsize=(10, 1.6 + 0.62 * len(found[0][0])), sharey=True)
    for place, (panel, title) in zip(axes, found):
        draw_rates(place, panel, title)
    handles = [plt.Rectangle((0, 0), 1, 1, color=COLOURS[name])
               for name in ("ours", "best other library", "limit")]
    figure.legend(handles, ["this library", "best of GMime, mimetic, libEtPan",
                            "limit: search or copy the same bytes"],
                  ncol=3, loc="upper center", frameon=False)
    figure.tight_layout(rect=(0, 0.04, 1, 0.94))
    save(figure, path, machine)


SCALE_TEXTS = {
    "size": ("Cost by the size of a body", "base64 text, KiB; parsed and decoded"),
    "parts": ("Cost by the number of parts", "parts of one multipart; parsed and decoded"),
    "depth": ("Cost by depth", "multiparts inside each other; parsed and decoded"),
    "fields": ("Cost by the number of header fields", "fields of a header block; parsed"),
}


def show_time(seconds, _):
    for unit, factor in (("s", 1), ("ms", 1e3), ("µs", 1e6)):
        if seconds * factor >= 0.999:
            return f"{seconds * factor:g} {unit}"
    return f"{seconds * 1e9:g} ns"


def spread(heights, gap):
    """The heights, moved up where two would be closer than `gap`."""
    moved = {}
    lowest = float("-inf")
    for name, height in sorted(heights.items(), key=lambda item: item[1]):
        lowest = moved[name] = max(height, lowest + gap)
    return moved


def draw_scale(scale, points, path, machine):
    title, label = SCALE_TEXTS[scale]
    figure, axes = plt.subplots(figsize=(6, 3.8))
    lines = {name: [(point["at"], point["seconds"][name]) for point in points
                    if name in point["seconds"]] for name in points[0]["seconds"]}
    for name, line in lines.items():
        axes.plot(*zip(*line), color=COLOURS.get(name, "black"), marker=MARKS.get(name, "x"),
                  markersize=4, linewidth=2.2 if name == "ours" else 1.3)
    axes.set_xscale("log")
    axes.set_yscale("log")
    axes.minorticks_off()
    low, high = (math.log10(limit) for limit in axes.get_ylim())
    ends = spread({name: math.log10(line[-1][1]) for name, line in lines.items()}, (high - low) / 16)
    for name, end in ends.items():
        axes.annotate(spell(name), (lines[name][-1][0], 10**end), xytext=(7, 0), va="center",
                      textcoords="offset points", color=COLOURS.get(name, "black"), fontsize=9)
    axes.xaxis.set_major_formatter(lambda at, _: f"{at:,.0f}")
    axes.yaxis.set_major_formatter(show_time)
    axes.grid(axis="y", color="#DDDDDD", linewidth=0.6)
    axes.set_axisbelow(True)
    axes.set_xlabel(label, color=GREY)
    axes.set_title(title)
    figure.tight_layout(rect=(0, 0.04, 0.93, 1))
    save(figure, path, machine)


def draw_memory(found, path, machine):
    ways = [("In memory, the text held", [name for name in found if name not in ("kivmime extract", "ripmime")]),
            ("Bodies into files", [name for name in ("kivmime extract", "ripmime") if name in found])]
    figure, axes = plt.subplots(figsize=(7, 3.4))
    place = 0
    ticks = []
    for title, names in ways:
        if names:
            axes.text(0, place - 0.1, title, fontsize=9, color=GREY, va="bottom")
        for name in names:
            place += 0.8
            colour = COLOURS["ours"] if name in ("ours", "kivmime extract") else COLOURS["limit"]
            axes.barh(place, found[name], 0.6, color=colour)
            axes.text(found[name] + 0.3, place, f"{found[name]:.1f} MB", va="center", fontsize=8.5)
            ticks.append((place, spell(name)))
        place += 1.2
    axes.set_yticks(*zip(*ticks))
    axes.tick_params(axis="y", length=0)
    axes.set_ylim(place - 0.6, -0.6)
    axes.set_xticks([])
    axes.spines["bottom"].set_visible(False)
    axes.set_title("Memory to decode a message of 10 MB with two attachments", pad=14)
    figure.tight_layout(rect=(0, 0.04, 1, 1))
    save(figure, path, machine)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    results, pictures = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    machine = (results / "machine.txt").read_text(encoding="utf-8").strip()
    pictures.mkdir(parents=True, exist_ok=True)
    for name, draw in (("compare", draw_speed), ("memory", draw_memory)):
        if (results / f"{name}.json").exists():
            found = json.loads((results / f"{name}.json").read_text(encoding="utf-8"))
            draw(found, pictures / ("speed.svg" if name == "compare" else f"{name}.svg"), machine)
    if (results / "scale.json").exists():
        for scale, points in json.loads((results / "scale.json").read_text(encoding="utf-8")).items():
            draw_scale(scale, points, pictures / f"cost-by-{scale}.svg", machine)


main()
