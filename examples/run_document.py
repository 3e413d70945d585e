"""Runs what the "console" blocks of a document show: commands after "$ ", and what they print.

run_document.py DOCUMENT SOURCES PROGRAMS

The commands run with bash in one empty folder, in which "build" is the folder PROGRAMS; SOURCES is "kivmime" beside it.
A final line end does not count.
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

document, sources, programs = sys.argv[1:]
steps = []
for block in re.findall(r"^```console\n(.*?)^```$", Path(document).read_text(encoding="utf-8"), re.M | re.S):
    steps += re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.M)
assert steps, "no commands found"

with tempfile.TemporaryDirectory() as root:
    home = Path(root, "tutorial")
    home.mkdir()
    os.symlink(sources, Path(root, "kivmime"))
    os.symlink(programs, home / "build")
    for command, expected in steps:
        done = subprocess.run(["bash", "-c", command], cwd=home, stdout=subprocess.PIPE, encoding="utf-8")
        if done.returncode != 0 or done.stdout.rstrip("\n") != expected.rstrip("\n"):
            sys.exit(f"$ {command}\n{done.stdout}exit status {done.returncode}, expected:\n{expected}")
