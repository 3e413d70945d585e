#!/usr/bin/env python3
"""Measures how cost grows with the size, parts, depth and fields of a message, beside other libraries.

usage: scale.py OURS OUT [--peer NAME=PROGRAM]... [--rounds 3]

Makes the messages, each alone in a folder, and writes the figures to OUT as JSON.
"""

import argparse
import base64
import json
import pathlib
import random
import tempfile

import peers


def make_size(kib):
    lines = base64.encodebytes(random.Random(1).randbytes(kib * 1024 * 3 // 4))
    return (b"Content-Type: application/octet-stream\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
            lines.replace(b"\n", b"\r\n"))


def make_parts(count):
    part = b"--b\r\nContent-Type: text/plain\r\n\r\nA short body, of which there are many.\r\n"
    return b'Content-Type: multipart/mixed; boundary="b"\r\n\r\n' + count * part + b"--b--\r\n"


def make_depth(count):
    text = b""
    for level in range(count):
        text += b'Content-Type: multipart/mixed; boundary="b%d="\r\n\r\n--b%d=\r\n' % (level, level)
    text += b"Content-Type: text/plain\r\n\r\nThe innermost body.\r\n"
    for level in reversed(range(count)):
        text += b"--b%d=--\r\n" % level
    return text


def make_fields(count):
    return b"".join(b"X-Field-%d: some words, as long as many fields\r\n" % i
                    for i in range(count)) + b"\r\nA body.\r\n"


# By what the cost is measured: the function, its arguments, and the task. The library's limits are 256
# levels, 10,000 fields in a block and 100,000 entities.
SCALES = {
    "size": (make_size, [4, 16, 64, 256, 1024, 4096, 16384, 65536], "b"),
    "parts": (make_parts, [10, 100, 1000, 10000, 50000], "b"),
    "depth": (make_depth, [8, 16, 32, 64, 128, 250], "b"),
    "fields": (make_fields, [10, 30, 100, 300, 1000, 3000, 10000], "p"),
}


def measure(programs, make, argument, task, rounds):
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:
        path = pathlib.Path(folder) / "message"
        path.mkdir()
        message = make(argument)
        # A tiny message is read often, as a clock needs.
        copies = max(1, 200_000 // len(message))
        for i in range(copies):
            (path / f"{i}.eml").write_bytes(message)
        results = peers.measure_all({name: (program, task) for name, program in programs.items()},
                                    folder, "message", rounds)
    return {name: result["seconds"] / copies for name, result in results.items()}


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("ours")
    parser.add_argument("out")
    parser.add_argument("--peer", action="append", default=[])
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    programs = {"ours": options.ours, **peers.parse_peers(options.peer)}
    found = {}
    for scale, (make, arguments, task) in SCALES.items():
        found[scale] = [{"at": argument, "seconds": measure(programs, make, argument, task,
                                                            options.rounds)}
                        for argument in arguments]
    with open(options.out, "w", encoding="utf-8") as file:
        json.dump(found, file, indent=1)


main()
