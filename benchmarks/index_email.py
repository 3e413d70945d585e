#!/usr/bin/env python3
"""Compares `kivmime index` with Python's email package making the same records, on one processor.

usage: index_email.py KIVMIME PATH... [--hashes] [--rounds 3]

PATH is a file with one message, or a folder of such files (with its subfolders); names that begin with a
dot are left out. Both programs take turns; a figure is the best of the rounds, in CPU time of the process
and what it started, without the start of the interpreter. Differences between the records are counted.
"""

import argparse
import email
import email.policy
import hashlib
import json
import os
import resource
import subprocess
import sys
from email.utils import parsedate_to_datetime


def list_files(path):
    if not os.path.isdir(path):
        return [path]
    found = []
    for folder, folders, names in os.walk(path):
        folders[:] = [name for name in folders if not name.startswith(".")]
        found += [os.path.join(folder, name) for name in names if not name.startswith(".")]
    return sorted(found)


def addresses(message, field):
    return [{"name": address.display_name or None, "address": address.addr_spec}
            for value in message.get_all(field, []) for address in value.addresses]


def body(part):
    """The decoded body; of a carried message, its text."""
    if part.get_content_maintype() == "message" and part.is_multipart():
        return part.get_payload(0).as_bytes()
    return part.get_payload(decode=True) or b""


def attachments(message, hashes):
    for part in message.walk():
        carried = part.get_content_type() == "message/rfc822"
        if part.is_multipart() and not carried:
            continue
        name = part.get_filename()
        text = part.get_content_type() in ("text/plain", "text/html")
        if part.get_content_disposition() != "attachment" and (part is message or (text and not name)):
            continue
        content = body(part)
        record = {"type": part.get_content_type(), "fileName": name, "size": len(content)}
        if hashes:
            record["sha256"] = hashlib.sha256(content).hexdigest()
        yield record


def make_record(path, hashes):
    with open(path, "rb") as file:
        text = file.read()
    record = {"file": path, "length": len(text)}
    try:
        message = email.message_from_bytes(text, policy=email.policy.default)
        date = message["Date"]
        try:
            record["time"] = int(parsedate_to_datetime(str(date)).timestamp()) if date else None
        except ValueError:
            record["time"] = None
        record["messageId"] = str(message["Message-ID"] or "").strip("<> ") or None
        record["subject"] = str(message["Subject"] or "") or None
        for field in ("from", "to", "cc", "bcc"):
            record[field] = addresses(message, field)
        record["attachments"] = list(attachments(message, hashes))
        record["deviations"] = [type(defect).__name__ for part in message.walk() for defect in part.defects]
        record["failure"] = None
    except Exception as error:  # it has no list of what it may raise
        record["failure"] = {"text": f"{type(error).__name__}: {error}"}
    return record


def measure_email(files, hashes):
    """The records and the CPU time for them."""
    before = os.times()
    lines = [json.dumps(make_record(path, hashes)) for path in files]
    after = os.times()
    return lines, after.user + after.system - before.user - before.system


def measure_index(program, paths, hashes):
    command = [program, "index", "-r", "-j", "1", *paths, *(["--hashes"] if hashes else [])]
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    run = subprocess.run(command, stdout=subprocess.PIPE, check=False)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if run.returncode not in (0, 1):
        sys.exit(f"{' '.join(command)}: status {run.returncode}")
    return run.stdout.splitlines(), after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def count_differences(ours, others):
    """How many records differ, by key."""
    counts = dict.fromkeys(("failure", "time", "messageId", "subject", "from", "to", "cc", "attachments"), 0)
    theirs = {record["file"]: record for record in map(json.loads, others)}
    for record in map(json.loads, ours):
        other = theirs.get(record["file"])
        if other is None or record["failure"] or other["failure"]:
            counts["failure"] += bool(record["failure"]) or other is None or bool(other["failure"])
            continue
        for attachment in record["attachments"]:
            del attachment["index"]
        for key in counts:
            counts[key] += record[key] != other[key]
    return counts


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("paths", nargs="+", metavar="PATH")
    parser.add_argument("--hashes", action="store_true")
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    files = [file for path in options.paths for file in list_files(path)]
    times = {"email": [], "kivmime index": []}
    for _ in range(options.rounds):
        ours, seconds = measure_index(options.program, options.paths, options.hashes)
        times["kivmime index"].append(seconds)
        others, seconds = measure_email(files, options.hashes)
        times["email"].append(seconds)
    rates = {name: len(files) / min(seconds) for name, seconds in times.items()}
    print("| program | messages | messages a second and core |\n|---|---:|---:|")
    for name, rate in rates.items():
        print(f"| {name} | {len(files)} | {rate:,.0f} |")
    print(f"\n{rates['kivmime index'] / rates['email']:.1f} times as many; records that differ by key: "
          f"{count_differences(ours, others)}")


main()
