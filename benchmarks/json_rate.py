#!/usr/bin/env python3
"""`kivmime show --json` over 10,000 messages in one call, beside show_json.py, which does the same in Python.

usage: json_rate.py KIVMIME FOLDER [--rounds 3]

Takes the files below FOLDER, again from the first one until they are enough. Both get all of them in one
process and take turns; a figure is the median of the CPU times.
"""

import argparse
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile

COUNT = 10_000


def measure(command):
    """CPU seconds, and the lines that were printed."""
    with tempfile.TemporaryFile() as out:
        process = subprocess.Popen(command, stdout=out)
        _, _, usage = os.wait4(process.pid, 0)
        out.seek(0)
        return usage.ru_utime + usage.ru_stime, sum(1 for _ in out)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kivmime")
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    messages = sorted(path for path in options.folder.rglob("*") if path.is_file())
    if not messages:
        sys.exit(f"no files below {options.folder}")
    script = pathlib.Path(__file__).with_name("show_json.py")
    with tempfile.TemporaryDirectory() as folder:
        files = [os.path.join(folder, f"{i}.eml") for i in range(COUNT)]
        for i, file in enumerate(files):
            shutil.copyfile(messages[i % len(messages)], file)
        commands = {"kivmime": [options.kivmime, "show", "--json", *files],
                    "Python": [sys.executable, str(script), *files]}
        times = {name: [] for name in commands}
        for _ in range(options.rounds):
            for name, command in commands.items():
                seconds, lines = measure(command)
                if lines != COUNT:
                    sys.exit(f"{name} printed {lines} lines for {COUNT} messages")
                times[name].append(seconds)
    rates = {name: COUNT / statistics.median(seconds) for name, seconds in times.items()}
    print(f"kivmime show --json   {rates['kivmime']:9,.0f} messages a second")
    print(f"Python's email        {rates['Python']:9,.0f}")
    print(f"times as many         {rates['kivmime'] / rates['Python']:9.1f}")


main()
