#!/usr/bin/env python3
"""Compares the messages that we and Python's mailbox module find in mbox files of every variant: seeded
random messages, and real ones.

    interop/mboxes.py INTEROP_FOLDER WORK_FOLDER [--rounds N] [MESSAGES...]
"""
import argparse
import mailbox
import pathlib
import random
import re
import subprocess

LINES = [b"", b"", b"text", b"From x", b"From the start", b">From x", b">>From a@b Thu Jan  1 00:00:01 1970", b"> From x",
         b"From a@b Thu Jan  1 00:00:01 1970", b"From - Sat Feb 22 20:33:04 +0000 2020", b"\xe4\xff\0", b"x" * 2000, b">", b"From "]
SENDERS = [b"a@b", b"-", b"MAILER-DAEMON", b'"a b"@c', b"ann at example.net "]
DATES = [b"Thu Jan  1 00:00:01 1970", b"Sat Feb 22 20:33:04 +0000 2020", b"Sat Feb 22 20:33 MET DST 2020", b"Sat, 22 Feb 2020 20:33:04 GMT"]


class Maker:
    def __init__(self, seed):
        self.random = random.Random(seed)

    def message(self):
        head = [b"Subject: x", b"X-From: y"][:self.random.randrange(1, 3)]
        body = self.random.choices(LINES, k=self.random.randrange(12))
        return b"\n".join(head + [b""] + body) + b"\n"

    def from_line(self):
        return b"From " + self.random.choice(SENDERS) + b" " + self.random.choice(DATES) + b"\n"


def quote(message, pattern):
    return re.sub(pattern, rb">\g<0>", message, flags=re.M)


def write(kind, messages, maker, path):
    if kind == "mboxo by Python":
        box = mailbox.mbox(path, create=True)
        for message in messages:
            box.add(message)
        box.close()
        return
    with open(path, "wb") as file:
        for message in messages:
            if kind == "mboxrd":
                message = quote(message, rb"^>*From ")
            elif kind in ("mboxcl", "mboxcl2"):
                if kind == "mboxcl":
                    message = quote(message, rb"^From ")
                head, empty, body = message.partition(b"\n\n")
                message = head + (b"\nContent-Length: %d\n\n" % len(body) if empty else b"") + body
            file.write(maker.from_line() + message + b"\n")


def read_ours(program, path):
    out = subprocess.run([program, path], check=True, stdout=subprocess.PIPE).stdout
    texts, unquoted, place = [], [], 0
    while place < len(out):
        end = out.index(b"\n", place)
        size, plain = map(int, out[place:end].split())
        texts.append(out[end + 1:end + 1 + size])
        unquoted.append(out[end + 1 + size:end + 1 + size + plain])
        place = end + 1 + size + plain
    return texts, unquoted


def read_python(path):
    box = mailbox.mbox(path, create=False)
    texts = [box.get_bytes(key) for key in box.keys()]
    box.close()
    return texts


def compare(kind, messages, maker, program, path):
    path.unlink(missing_ok=True)
    write(kind, messages, maker, path)
    texts, unquoted = read_ours(program, path)
    if kind != "mboxcl2":  # Python knows no Content-Length
        assert texts == read_python(path), (kind, path)
    if kind == "mboxrd":
        assert unquoted == messages, (kind, path)
    if kind == "mboxcl2":
        assert [re.sub(rb"Content-Length: \d+\n", b"", text, count=1) for text in texts] == messages, (kind, path)
    return len(texts)


def read_messages(folder):
    """Messages with LF, without a From_ line and with the last line end that an mbox adds. Python takes a header block
    that is cut for something else, and every line "From " in a body for the next message."""
    for file in sorted(pathlib.Path(folder).rglob("*")):
        text = file.read_bytes().replace(b"\r\n", b"\n") if file.is_file() else b""
        text = re.sub(rb"\AFrom .*\n", b"", text)
        if text and b"content-length:" not in text.lower():
            yield text if text.endswith(b"\n") else text + b"\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("programs")
    parser.add_argument("work", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=50)
    parser.add_argument("messages", nargs="*")
    args = parser.parse_intermixed_args()
    program = pathlib.Path(args.programs) / "interop_folder"
    maker = Maker(20261)
    groups = [[maker.message() for _ in range(maker.random.randrange(1, 20))] for _ in range(args.rounds)]
    groups += [list(read_messages(folder)) for folder in args.messages]
    for kind in ("mboxo by Python", "mboxrd", "mboxcl", "mboxcl2"):
        found = sum(compare(kind, group, maker, program, args.work / "mbox") for group in groups)
        print(f"{kind}: {found} messages in {len(groups)} files, all as written")


if __name__ == "__main__":
    main()
