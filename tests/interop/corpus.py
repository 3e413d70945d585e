"""Compares what we read in real messages, with the options for mail, with what Python's email package
and GMime read in them.

    corpus.py MAIL GMIME FOLDER...

MAIL is the program interop_mail, GMIME the program interop_gmime; every file below each FOLDER is a
message, except notes and what our tests keep beside their messages. Prints the differences that corpus_differences.py does not
explain, and for each folder a table of what agrees, with explained differences behind "+", their
reasons, and how often each deviation was tolerated. The status is 0 when all is explained.
"""

import argparse
import collections
import email
import email.policy
import json
import re
import subprocess
import sys
from pathlib import Path

from corpus_differences import explain, squeeze

NOTES = re.compile(r"NOTICE|LICENSE|COPY|README|\.git|separate_body|.*\.(tree|type)$")
SEVERITIES = ("harmless", "repaired", "ambiguous")
FACTS = ("structure", "bodies", "subject", "file names")


def make_facts(described):
    """What is compared, and the entities for those who explain."""
    entities = []
    for one in described["entities"]:
        entity = {"depth": one["depth"], "type": (one["type"] or "text/plain").lower(),
                  "fileName": squeeze(one["fileName"] or one["name"]),
                  "encoding": one.get("encoding", "").strip().lower()}
        if "body" in one:
            entity["body"] = bytes.fromhex(one["body"])
        entities.append(entity)
    return {
        "entities": entities,
        "structure": [[one["depth"], one["type"]] for one in entities],
        "bodies": [one["body"] for one in entities if "body" in one],
        "subject": squeeze(described["subject"]),
        "file names": [one["fileName"] for one in entities],
    }


def read_with_python(path):
    message = email.message_from_bytes(path.read_bytes(), policy=email.policy.default)
    entities = []

    def get(part, field):
        try:
            return part[field]
        except Exception:  # the package raises what it likes on malformed fields
            return None

    def walk(part, depth):
        kind, shown = get(part, "content-type"), get(part, "content-disposition")
        entity = {"depth": depth, "type": part.get_content_type(),
                  "fileName": shown.params.get("filename", "") if shown else "",
                  "name": kind.params.get("name", "") if kind else ""}
        entities.append(entity)
        if part.is_multipart():
            for child in part.get_payload():
                walk(child, depth + 1)
        else:
            entity["body"] = (part.get_payload(decode=True) or b"").hex()

    walk(message, 0)
    return {"subject": str(get(message, "subject") or ""), "entities": entities}


def read_with_program(command, paths):
    names = "".join(f"{path}\n" for path in paths)
    output = subprocess.run(command, input=names.encode(), stdout=subprocess.PIPE, check=True).stdout
    return [json.loads(line) for line in output.splitlines()]


def find_messages(folder):
    return sorted(path for path in Path(folder).rglob("*") if path.is_file() and not NOTES.match(path.name))


class Check:
    """The comparison of all messages of one folder."""

    def __init__(self):
        self.failed = False
        self.agree = collections.Counter()
        self.explained = collections.Counter()
        self.worst = collections.Counter()
        self.deviations = collections.Counter()
        self.refused = []
        self.unread = 0  # by GMime

    def compare(self, reader, path, ours, theirs):
        for fact in FACTS:
            if ours[fact] == theirs[fact]:
                self.agree[reader, fact] += 1
                continue
            reason = explain(reader, path, fact, ours, theirs)
            if reason:
                self.explained[reader, fact, reason] += 1
                continue
            self.failed = True
            print(f"DIFFERENT  {reader}  {path}  {fact}\n  we    {str(ours[fact])[:300]}\n"
                  f"  they  {str(theirs[fact])[:300]}")

    def add(self, path, mine, gmime):
        if "error" in mine:
            self.refused.append((path, mine["error"]))
            return
        kinds = {(name, severity) for name, severity, *_ in mine["deviations"]}
        self.deviations.update(kinds)
        self.worst[mine["worst"]] += 1
        facts = make_facts(mine)
        facts["deviations"] = {name for name, _ in kinds}
        self.compare("Python", path, facts, make_facts(read_with_python(path)))
        if gmime is None:
            return
        if "error" in gmime:
            self.unread += 1
        else:
            self.compare("GMime", path, facts, make_facts(gmime))

    def print_tables(self, readers):
        print("| fact | " + " | ".join(readers) + " |\n|---|" + "--:|" * len(readers))
        for fact in FACTS:
            row = []
            for reader in readers:
                known = sum(count for key, count in self.explained.items() if key[:2] == (reader, fact))
                row.append(f"{self.agree[reader, fact]}" + (f" + {known}" if known else ""))
            print(f"| {fact} | " + " | ".join(row) + " |")
        for (reader, fact, reason), count in sorted(self.explained.items()):
            print(f"{count:6} {fact}: {reason}" + ("" if reader in reason else f" ({reader})"))

    def print_report(self, folder, readers):
        count = sum(self.worst.values()) + len(self.refused)
        print(f"\n{folder}: {count} messages, {len(self.refused)} refused, {self.unread} not read by GMime")
        for path, reason in self.refused:
            print(f"refused  {path}  {reason}")
        self.print_tables(readers)
        print(", ".join(f"{name} {self.worst[index]}" for index, name in enumerate(SEVERITIES)))
        for (name, severity), count in self.deviations.most_common():
            print(f"{count:6} {name} ({SEVERITIES[severity]})")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("mail", type=Path)
    parser.add_argument("gmime", help="or - when there is none")
    parser.add_argument("folders", nargs="+")
    options = parser.parse_args()

    readers = ["Python"] + ["GMime"] * (options.gmime != "-")
    failed = False
    for folder in options.folders:
        paths = find_messages(folder)
        if not paths:
            sys.exit(f"{folder}: no messages")
        ours = read_with_program([options.mail], paths)
        gmime = read_with_program([options.gmime, "-"], paths) if len(readers) == 2 else [None] * len(paths)
        check = Check()
        for path, mine, theirs in zip(paths, ours, gmime, strict=True):
            check.add(path, mine, theirs)
        check.print_report(folder, readers)
        failed |= check.failed
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
