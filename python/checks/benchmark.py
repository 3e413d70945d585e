"""How fast kivmime and Python's email package read subject, addresses, text and the hashes of attachments.

    benchmark.py FOLDER [COUNT] [--at-least FACTOR]

Takes the first COUNT files (3,000) below FOLDER, which are in memory beforehand. Prints messages per second; the
best of five runs of kivmime, of two of email. The status is 1 when kivmime is not FACTOR times as fast.
"""

import argparse
import sys
import time
from pathlib import Path

from email_facts import read_with_email, read_with_kivmime


def measure(read, sources):
    start = time.process_time()
    for source in sources:
        read(source)
    return time.process_time() - start


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=Path)
    parser.add_argument("count", type=int, nargs="?", default=3000)
    parser.add_argument("--at-least", type=float, default=0)
    options = parser.parse_args()
    paths = sorted(path for path in options.folder.rglob("*") if path.is_file())[:options.count]
    sources = [path.read_bytes() for path in paths]
    ours = min(measure(read_with_kivmime, sources) for _ in range(5))
    theirs = min(measure(read_with_email, sources) for _ in range(2))
    size = sum(map(len, sources))
    print(f"{len(sources)} messages, {size / 1e6:.1f} MB")
    for name, seconds in (("kivmime", ours), ("email", theirs)):
        print(f"{name:8} {len(sources) / seconds:10,.0f} messages/s {size / seconds / 1e6:8.1f} MB/s of processor time")
    print(f"{theirs / ours:.1f} times as fast")
    return 0 if theirs >= options.at_least * ours else 1


if __name__ == "__main__":
    sys.exit(main())
