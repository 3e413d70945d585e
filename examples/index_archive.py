"""Indexes folders of mail with a cluster of machines: one line of JSON for each message.

    index_archive.py FOLDER... -o OUT.jsonl [--workers N | --scheduler HOST:PORT]

Every file below each FOLDER is read: single messages, the files of Maildirs, mboxes. The work is cut into parts, of many
small files or of a range of one large mbox. Whichever worker has a part writes its records into a file of its own, which
gets its name when it is complete; then the part is done, whatever becomes of the worker. A part whose worker died is
given to another one. At the end the files are put together in the order of the folders. Workers must see the folders and
OUT.jsonl.parts under the same paths.

A record has the keys of `kivmime index`: id (of file and offset), file, offset, length, messageId, date, subject, from,
to, cc, attachments with size and SHA-256, worst and deviations. What cannot be read is a record, too, with its failure.
When it is started again after it was interrupted, parts that are done are not done again.
"""

import argparse
import contextlib
import hashlib
import json
import os
import shutil
import sys
import time
from pathlib import Path

import kivmime
from dask.distributed import Client, KilledWorker, LocalCluster, as_completed

PART_BYTES = 64 << 20
PART_FILES = 1000


# ---- The parts, each a list of (file, begin, end)

def list_files(folders):
    for folder in folders:
        if os.path.isfile(folder):
            yield os.fspath(folder)
            continue
        for path, subfolders, names in os.walk(folder):
            if {"cur", "new", "tmp"} <= set(subfolders):    # a Maildir, where "tmp" has what is still being delivered
                subfolders.remove("tmp")
            subfolders.sort()
            yield from (os.path.join(path, name) for name in sorted(names) if not name.startswith("."))


def list_ranges(folders, size):
    for path in list_files(folders):
        length = os.path.getsize(path) if os.path.isfile(path) else 0
        for begin in range(0, max(length, 1), size):
            yield path, begin, min(begin + size, max(length, 1))


def make_parts(folders, size=PART_BYTES, files=PART_FILES):
    part, total = [], 0
    for piece in list_ranges(folders, size):
        length = piece[2] - piece[1]
        if part and (total + length > size or len(part) == files):
            yield part
            part, total = [], 0
        part.append(piece)
        total += length
    if part:
        yield part


def get_name(part):
    return hashlib.sha256(json.dumps(part).encode("utf-8", "surrogateescape")).hexdigest()[:32]


# ---- What a worker does

class Digest:
    """Takes an attachment in pieces, so that one of any size needs little memory."""

    def __init__(self):
        self.size, self.hash = 0, hashlib.sha256()

    def write(self, piece):
        self.size += len(piece)
        self.hash.update(piece)


def describe_attachment(file):
    digest = Digest()
    file.decode_to(digest)
    return {"type": file.content_type, "fileName": file.filename, "size": digest.size, "sha256": digest.hash.hexdigest()}


def describe_addresses(addresses):
    return [{"name": one.name or None, "address": one.address} for one in addresses]


def make_place(path, offset, length=None):
    """The keys that every record begins with. The id is that of the place, so a message has it in every run."""
    name = hashlib.sha256(f"{path}\0{offset}".encode("utf-8", "surrogateescape")).hexdigest()[:32]
    return {"id": name, "file": path, "offset": offset, "length": length}


def describe(entry):
    place = make_place(os.fspath(entry.file), entry.offset, entry.size)
    try:
        mail = entry.parse()
        report = mail.report
    except (kivmime.Error, OSError) as error:
        return place | {"failure": str(error)}
    return place | {
        "messageId": mail.message_id, "date": mail.date and mail.date.isoformat(), "subject": mail.subject or None,
        "from": describe_addresses(mail.from_), "to": describe_addresses(mail.to), "cc": describe_addresses(mail.cc),
        "attachments": [describe_attachment(file) for file in mail.attachments], "worst": report.verdict if report.deviations else None,
        "deviations": sorted({one.kind for one in report.deviations}), "failure": None}


def read_piece(path, begin, end):
    try:
        entries = kivmime.folder(path, errors="yield").entries(begin, end)
    except (kivmime.Error, OSError) as error:
        entries = [error]
    for entry in entries:
        if isinstance(entry, kivmime.FolderEntry):
            yield describe(entry)
        elif begin == 0:    # once, though all ranges of a file fail
            yield make_place(path, 0) | {"failure": str(entry)}


def write_records(records, target):
    """Writes the file, which gets its name when it is complete. Returns how many records."""
    count = 0
    with open(f"{target}.{os.getpid()}.new", "w", encoding="ascii") as out:
        for count, record in enumerate(records, 1):
            out.write(json.dumps(record) + "\n")
    os.replace(out.name, target)
    return count


def index_part(part, target):
    return write_records((record for piece in part for record in read_piece(*piece)), target)


# ---- What the client does

def note_lost(part, target):
    """Workers die of this part, one after the other: its files are records of that failure."""
    return write_records((make_place(path, begin) | {"failure": "workers died of it"} for path, begin, _ in part), target)


def run_parts(client, parts, folder, work=index_part):
    """Gives parts to the workers, a few for each at a time. Returns the names of all, in order."""
    names, running, waiting = [], {}, as_completed()
    most = 4 * max(len(client.scheduler_info()["workers"]), 1)

    def finish_one():
        done = next(waiting)
        part, target = running.pop(done.key)
        try:
            done.result()
        except KilledWorker:
            note_lost(part, target)

    for part in parts:
        names.append(get_name(part))
        target = os.path.join(folder, names[-1])
        if os.path.exists(target):
            continue
        if len(running) >= most:
            finish_one()
        future = client.submit(work, part, target, key=names[-1], pure=False)
        running[future.key] = part, target
        waiting.add(future)
    while running:
        finish_one()
    return names


def index(client, folders, out, size=PART_BYTES, files=PART_FILES, work=index_part):
    """Indexes folders into the file `out`, and returns the number of records."""
    folder = f"{os.path.abspath(out)}.parts"
    os.makedirs(folder, exist_ok=True)
    folders = [os.path.abspath(one) for one in folders]
    names = run_parts(client, make_parts(folders, size, files), folder, work)
    count = 0
    with open(f"{out}.new", "wb") as whole:
        for name in names:
            with open(os.path.join(folder, name), "rb") as part:
                count += sum(1 for _ in part)
                part.seek(0)
                shutil.copyfileobj(part, whole)
    os.replace(whole.name, out)
    shutil.rmtree(folder)
    return count


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folders", nargs="+", type=Path)
    parser.add_argument("-o", "--out", required=True)
    parser.add_argument("--workers", type=int, default=os.cpu_count(), help="on this machine")
    parser.add_argument("--scheduler", help="of a cluster that is there")
    options = parser.parse_args()
    with contextlib.ExitStack() as stack:
        where = options.scheduler or stack.enter_context(
            LocalCluster(n_workers=options.workers, threads_per_worker=1, dashboard_address=None))
        client = stack.enter_context(Client(where))
        start = time.monotonic()
        count = index(client, options.folders, options.out)
        seconds = time.monotonic() - start
    print(f"{count} records in {seconds:.1f} s, {count / seconds:,.0f} a second", file=sys.stderr)


if __name__ == "__main__":
    main()
