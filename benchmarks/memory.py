#!/usr/bin/env python3
"""Measures what memory it takes to decode the bodies of one message, beside other programs.

usage: memory.py OURS OUT [--peer NAME=PROGRAM]... [--tool KIVMIME]

The message has two attachments in base64, 10 MB in all. A figure is the peak of a process that decodes it,
less the peak of the same program with a message of one line. The harnesses and Python hold the text and decode
one body at a time in memory; kivmime and ripmime write the bodies to files. Figures go to OUT as JSON, in MB.
"""

import argparse
import base64
import json
import os
import pathlib
import random
import re
import statistics
import subprocess
import sys
import tempfile

import peers

IN_PYTHON = """
import email, email.policy, sys
message = email.message_from_binary_file(open(sys.argv[1], "rb"), policy=email.policy.default)
for part in message.walk():
    part.get_payload(decode=True)
"""


def make_message(size):
    attachment = (b"--b\r\nContent-Type: application/octet-stream\r\n"
                  b"Content-Disposition: attachment\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
                  base64.encodebytes(random.Random(1).randbytes(size * 3 // 8)).replace(b"\n", b"\r\n"))
    return (b'Subject: two attachments\r\nMIME-Version: 1.0\r\n'
            b'Content-Type: multipart/mixed; boundary="b"\r\n\r\n'
            b"--b\r\nContent-Type: text/plain\r\n\r\nHello\r\n" + 2 * attachment + b"--b--\r\n")


def get_peak(command):
    """In bytes: the last state of a mark that only rises. (What the system says of a process that has
    ended counts the program that started it, too.)"""
    peak = 0
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    while process.poll() is None:
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="ascii")
        mark = re.search(r"VmHWM:\s+(\d+) kB", status)
        peak = int(mark[1]) * 1024 if mark else peak
    if process.returncode != 0:
        sys.exit(f"{command[0]}: failed")
    return peak


def measure_beyond_small(make_command, size):
    peaks = []
    for text in (make_message(size), b"Subject: small\r\n\r\nHello\r\n"):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "message"
            path.mkdir()
            (path / "1.eml").write_bytes(text)
            peaks.append(statistics.median(get_peak(make_command(path)) for _ in range(5)))
    return peaks[0] - peaks[1]


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("ours")
    parser.add_argument("out")
    parser.add_argument("--peer", action="append", default=[])
    parser.add_argument("--tool")
    options = parser.parse_args()
    size = 10_000_000
    programs = {"ours": options.ours, **peers.parse_peers(options.peer)}
    commands = {name: lambda path, program=program: [program, path.parent, path.name, "b", path, "1", "1"]
                for name, program in programs.items()}
    commands["Python email"] = lambda path: [sys.executable, "-c", IN_PYTHON, path / "1.eml"]
    if options.tool:
        commands["kivmime extract"] = lambda path: [options.tool, "extract", "-d", path / "out", path / "1.eml"]
    if any(os.access(os.path.join(folder, "ripmime"), os.X_OK) for folder in os.get_exec_path()):
        commands["ripmime"] = lambda path: ["ripmime", "-i", path / "1.eml", "-d", path]
    else:
        print("skipped: ripmime, which is not installed", file=sys.stderr)
    found = {name: measure_beyond_small(command, size) / 1e6 for name, command in commands.items()}
    with open(options.out, "w", encoding="utf-8") as file:
        json.dump(found, file, indent=1)
    for name, megabytes in found.items():
        print(f"{name:14} {megabytes:6.1f} MB")


main()
