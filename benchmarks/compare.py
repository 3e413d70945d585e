#!/usr/bin/env python3
"""Compares the library with others on the same messages, in one run, and prints one table.

usage: compare.py OURS FOLDER [--peer NAME=PROGRAM]... [--tasks pbaew] [--names NAME,NAME]
                  [--headers FOLDER] [--rounds 3] [--out FILE]

OURS is peer_harness; a peer is any program with the same command line and output (harness.h). FOLDER
holds a folder of messages (*.eml) for each name, --headers one of header_fields.py. All programs take
turns; a figure is the median over the rounds of the best CPU time. The file gets them as JSON.
"""

import argparse
import json
import os
import sys

import peers

# What it is called; the tasks of ours, of the others, and of the limit.
TASKS = {
    "p": ("parse, decode nothing", "p", "p", "P"),
    "b": ("decode in memory", "b", "b", "B"),
    "a": ("decode into files", "a", "a", "A"),
    "e": ("write, bodies in files", "e", "e", "E"),
    "w": ("write, bodies in memory", "w", "e", "E"),
    "h": ("1,000,000 header fields", "h", "h", "H"),
}


def compare(ours, others, folder, name, task, rounds):
    title, own, their, least = TASKS[task]
    programs = {"ours": (ours, own), **{peer: (program, their) for peer, program in others.items()},
                "limit": (ours, least)}
    results = peers.measure_all(programs, folder, name, rounds)
    if "ours" not in results or "limit" not in results:
        sys.exit(f"{name}: no figures for task {task}")
    rates = {peer: result["bytes"] / 1e6 / result["seconds"] for peer, result in results.items()}
    return {"task": task, "title": title, "name": name, "rates": rates}


def make_cells(row):
    rates = dict(row["rates"])
    ours, limit = rates.pop("ours"), rates.pop("limit")
    best = max(rates, key=rates.get, default=None)
    peer = [best, f"{rates[best]:,.0f}", f"{ours / rates[best]:.2f}"] if best else ["none", "", ""]
    return [row["title"], row["name"], f"{ours:,.0f}", *peer, f"{limit:,.0f}", f"{limit / ours:.2f}"]


def list_names(folder):
    return sorted(entry.name for entry in os.scandir(folder) if entry.is_dir())


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("ours")
    parser.add_argument("folder")
    parser.add_argument("--peer", action="append", default=[])
    parser.add_argument("--tasks", default="pbaew")
    parser.add_argument("--names")
    parser.add_argument("--headers")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--out")
    options = parser.parse_args()
    others = peers.parse_peers(options.peer)
    names = options.names.split(",") if options.names else list_names(options.folder)
    wanted = [(options.folder, name, task) for task in options.tasks for name in names]
    if options.headers:
        wanted += [(options.headers, name, "h") for name in list_names(options.headers)]
    rows = []
    print("| task | messages | MB/s | best other | its MB/s | times as fast | limit, MB/s | times the limit |")
    print("|---|---|---:|---|---:|---:|---:|---:|")
    for folder, name, task in wanted:
        rows.append(compare(options.ours, others, folder, name, task, options.rounds))
        print("| " + " | ".join(make_cells(rows[-1])) + " |", flush=True)
    if options.out:
        with open(options.out, "w", encoding="utf-8") as file:
            json.dump(rows, file, indent=1)


main()
