"""Runs the harnesses (harness.h), each as a new process on one processor."""

import json
import os
import statistics
import subprocess
import sys

PROCESSOR = max(os.sched_getaffinity(0))
SECONDS_AT_MOST = 120


def measure(program, folder, name, task, reps=5):
    """The result of one process; None when the program does not have the task, or cannot do it."""
    command = [program, folder, name, task, os.environ.get("TMPDIR", "/dev/shm"), str(reps), "1"]
    try:
        run = subprocess.run(["taskset", "-c", str(PROCESSOR), *command], capture_output=True,
                             text=True, check=False, timeout=SECONDS_AT_MOST)
    except subprocess.TimeoutExpired:
        print(f"skipped: {program}, {name}, task {task}: over {SECONDS_AT_MOST} s", file=sys.stderr)
        return None
    if run.returncode != 0:
        reason = run.stderr.strip() or f"exit status {run.returncode}"
        print(f"skipped: {program}, {name}, task {task}: {reason}", file=sys.stderr)
        return None
    result = json.loads(run.stdout.splitlines()[-1])
    return None if result.get("na") else result


def measure_all(programs, folder, name, rounds=3):
    """Medians by label of programs: {label: (program, task)}, which take turns."""
    results = {}
    for _ in range(rounds):
        for label, (program, task) in programs.items():
            result = measure(program, folder, name, task)
            if result is not None:
                results.setdefault(label, []).append(result)
    return {label: {"seconds": statistics.median(run["cpu_best"] for run in runs),
                    "bytes": runs[0]["body_bytes"] if task_counts_fields(runs[0]) else runs[0]["bytes"],
                    "extra_kb": min(run["peak_rss_kb"] - run["base_rss_kb"] for run in runs)}
            for label, runs in results.items()}


def task_counts_fields(run):
    """What was measured is all the fields, not the file that they were taken from."""
    return run["task"] in "hH"


def parse_peers(arguments):
    return dict(peer.split("=", 1) for peer in arguments)
