#!/usr/bin/env python3
"""Collects header fields of real messages for the task "h" of the harnesses.

usage: header_fields.py MESSAGES FOLDER

Looks at every file below MESSAGES and makes FOLDER/NAME/fields.eml, a field on a line, unfolded: all
fields of text, addresses and dates; those of text with encoded words; addresses; dates.
"""

import pathlib
import re
import sys

TEXTS = {b"subject", b"comments", b"organization", b"x-mailer"}
ADDRESSES = {b"from", b"to", b"cc", b"bcc", b"reply-to", b"sender", b"resent-from", b"resent-to"}
DATES = {b"date", b"resent-date"}


def list_fields(message):
    """(name, value), as the first empty line ends them."""
    block = re.split(rb"\r?\n\r?\n", message, maxsplit=1)[0]
    for line in re.sub(rb"\r?\n(?=[ \t])", b"", block).splitlines():
        name, colon, value = line.partition(b":")
        if colon and re.fullmatch(rb"[!-9;-~]+", name) and b"\0" not in value:
            yield name.lower(), value


def spell(name):
    return b"-".join(word.capitalize() for word in name.split(b"-"))


def collect(messages):
    """Lines by the name of their file."""
    found = {"headers": [], "header words": [], "header addresses": [], "header dates": []}
    for path in sorted(messages.rglob("*")):
        for name, value in list_fields(path.read_bytes()) if path.is_file() else []:
            if name not in TEXTS | ADDRESSES | DATES:
                continue
            line = spell(name) + b":" + value
            found["headers"].append(line)
            if name in ADDRESSES:
                found["header addresses"].append(line)
            if name in DATES:
                found["header dates"].append(line)
            if b"=?" in value:  # those of addresses are read as text here
                found["header words"].append(b"Subject:" + value)
    return found


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    for name, lines in collect(pathlib.Path(sys.argv[1])).items():
        if not lines:
            sys.exit(f"no message has fields for {name}")
        folder = pathlib.Path(sys.argv[2]) / name
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "fields.eml").write_bytes(b"\n".join(lines) + b"\n")


main()
