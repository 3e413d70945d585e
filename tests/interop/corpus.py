"""Compares what we read in real messages, with the options for mail, with what Python's email package
and GMime read in them.

    corpus.py MAIL GMIME FOLDER...

MAIL is the program interop_mail, GMIME the program interop_gmime; every file below each FOLDER is a
message, except those named like notes. Prints the differences that corpus_differences.py does not
explain, a table of what agrees, and how often each deviation was tolerated. The status is 0 when all
is explained.
"""

import argparse
import collections
import email
import email.policy
import hashlib
import json
import re
import subprocess
import sys
from pathlib import Path

from corpus_differences import explain

NOTES = {"NOTICE", "LICENSE", "LICENSE-MIT", "LICENSE-APACHE", "LICENSE.txt", "README.md", "COPYING"}
FACTS = ("structure", "bodies", "subject", "file names")


def digest(hexadecimal):
    return hashlib.sha256(bytes.fromhex(hexadecimal)).hexdigest()[:16]


def squeeze(text):
    """Header text up to how programs treat its folds and what is not UTF-8."""
    return " ".join(text.encode("utf-8", "replace").decode().replace("\0", " ").split())


def make_facts(described):
    entities = [{**one, "shown": squeeze(one["fileName"] or one["name"])} for one in described["entities"]]
    return {
        "entities": entities,
        "structure": [[one["depth"], (one["type"] or "text/plain").lower()] for one in entities],
        "bodies": [digest(one["body"]) for one in entities if "body" in one],
        "subject": squeeze(described["subject"]),
        "file names": [one["shown"] for one in entities],
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


def find_messages(folders):
    return sorted(path for folder in folders for path in Path(folder).rglob("*")
                  if path.is_file() and path.name not in NOTES)


class Check:
    def __init__(self):
        self.failed = False
        self.agree = collections.Counter()
        self.explained = collections.Counter()
        self.unread = collections.Counter()

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

    def print_tables(self, readers):
        print("| read by | fact | agree | explained differences |\n|---|---|--:|--:|")
        for reader in readers:
            for fact in FACTS:
                known = sum(count for key, count in self.explained.items() if key[:2] == (reader, fact))
                print(f"| {reader} | {fact} | {self.agree[reader, fact]} | {known} |")
        print("\n| read by | fact | count | why |\n|---|---|--:|---|")
        for (reader, fact, reason), count in sorted(self.explained.items()):
            print(f"| {reader} | {fact} | {count} | {reason} |")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("mail", type=Path)
    parser.add_argument("gmime", type=Path)
    parser.add_argument("folders", nargs="+")
    options = parser.parse_args()

    check = Check()
    paths = find_messages(options.folders)
    ours = read_with_program([options.mail], paths)
    theirs = read_with_program([options.gmime, "-"], paths)
    deviations, worst, refused = collections.Counter(), collections.Counter(), []
    for path, mine, gmime in zip(paths, ours, theirs, strict=True):
        if "error" in mine:
            refused.append((path, mine["error"]))
            continue
        deviations.update({one[0] for one in mine["deviations"]})
        worst[mine["worst"]] += 1
        facts = make_facts(mine)
        facts["deviations"] = {one[0] for one in mine["deviations"]}
        check.compare("Python", path, facts, make_facts(read_with_python(path)))
        if "error" not in gmime:
            check.compare("GMime", path, facts, make_facts(gmime))
    print(f"{len(paths)} messages, {len(refused)} refused")
    for path, reason in refused:
        print(f"refused  {path}  {reason}")
    check.print_tables(("Python", "GMime"))
    print(f"\nharmless {worst[0]}, repaired {worst[1]}, ambiguous {worst[2]}")
    for kind, count in deviations.most_common():
        print(f"{count:6} {kind}")
    return 1 if check.failed else 0


if __name__ == "__main__":
    sys.exit(main())
