#!/usr/bin/env python3
"""Compares the library with others on the same messages, in one run, and prints one table.

usage: compare.py OURS FOLDER [--peer NAME=PROGRAM]... [--tasks pbaew] [--names NAME,NAME] [--rounds 3]

OURS is peer_harness; a peer is any program with the same command line and output (harness.h). FOLDER
holds a folder of messages (*.eml) for each name. All programs take turns, each as a new process on
one processor; a figure is the median over the rounds of the best CPU time.
"""

import argparse
import json
import os
import statistics
import subprocess
import sys

# What it is called; the tasks of ours, of the others, and of the limit.
TASKS = {
    "p": ("parse, decode nothing", "p", "p", "P"),
    "b": ("decode in memory", "b", "b", "B"),
    "a": ("decode into files", "a", "a", "A"),
    "e": ("write, bodies in files", "e", "e", "E"),
    "w": ("write, bodies in memory", "w", "e", "E"),
}


def measure(program, folder, name, task, processor):
    """One process; None when the program does not have the task."""
    command = [program, folder, name, task, os.environ.get("TMPDIR", "/dev/shm"), "5", "1"]
    run = subprocess.run(["taskset", "-c", str(processor), *command], capture_output=True, text=True,
                         check=False)
    if run.returncode != 0:
        sys.exit(f"{' '.join(command)}: {run.stderr.strip()}")
    result = json.loads(run.stdout.splitlines()[-1])
    return None if result.get("na") else result


def compare(programs, folder, name, task, rounds, processor):
    """Median rate in MB/s by program; "limit" is a task of ours."""
    _, own, others, least = TASKS[task]
    tasks = {"ours": own, "limit": least}
    times = {}
    size = 0
    for _ in range(rounds):
        for peer, program in programs.items():
            result = measure(program, folder, name, tasks.get(peer, others), processor)
            if result is not None:
                times.setdefault(peer, []).append(result["cpu_best"])
                size = result["bytes"]
    return {peer: size / 1e6 / statistics.median(values) for peer, values in times.items()}


def make_row(task, name, rates):
    ours, limit = rates.pop("ours"), rates.pop("limit")
    best = max(rates, key=rates.get, default=None)
    peer = [best, f"{rates[best]:,.0f}", f"{ours / rates[best]:.2f}"] if best else ["none", "", ""]
    return [TASKS[task][0], name, f"{ours:,.0f}", *peer, f"{limit:,.0f}", f"{limit / ours:.2f}"]


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("ours")
    parser.add_argument("folder")
    parser.add_argument("--peer", action="append", default=[])
    parser.add_argument("--tasks", default="pbaew")
    parser.add_argument("--names")
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    programs = {"ours": options.ours, **dict(peer.split("=", 1) for peer in options.peer),
                "limit": options.ours}
    names = options.names.split(",") if options.names else sorted(
        entry.name for entry in os.scandir(options.folder) if entry.is_dir())
    processor = max(os.sched_getaffinity(0))
    print("| task | messages | MB/s | best other | its MB/s | times as fast | limit, MB/s | times the limit |")
    print("|---|---|---:|---|---:|---:|---:|---:|")
    for task in options.tasks:
        for name in names:
            rates = compare(programs, options.folder, name, task, options.rounds, processor)
            print("| " + " | ".join(make_row(task, name, rates)) + " |", flush=True)


main()
