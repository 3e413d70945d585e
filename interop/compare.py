"""Compares what we and other programs find in messages.

    compare.py KIVMIME MAIL FOLDER [--gmime PROGRAM] [--dovecot] [--cases N] [MESSAGES...]

KIVMIME is the command-line host, MAIL the program interop_mail, FOLDER an empty folder to work in, --gmime
the program interop_gmime; every file below each of MESSAGES is a message of others. In messages that kivmime
made the readers must find what was put in; in those of others, what we find by the mail rules. Prints the
differences that differences.py does not explain, and for each collection a table of what agrees, with
explained differences after "+" and their reasons. Where another program finds other entities or bodies, our
verdict must be worse than harmless, unless the message is as the RFCs have it; and of real mails, those in a
folder "mail" of a collection, at most one in 100 may be ambiguous. The status is 0 when all of this holds.
"""

import argparse
import collections
import contextlib
import email
import email.policy
import json
import re
import subprocess
import sys
from pathlib import Path

from differences import Difference, explain, may_be_harmless, squeeze, squeeze_lines
from dovecot import DovecotReader
from messages import Maker

NOTES = re.compile(r"NOTICE|LICENSE|COPY|README|\.git|separate_body|.*\.(tree|type|rows)$")
SEVERITIES = ("harmless", "repaired", "ambiguous")
MOST_AMBIGUOUS = 0.01


class PythonReader:
    """Python's email package with its default policy."""

    name = "Python"

    def read(self, path):
        message = email.message_from_bytes(path.read_bytes(), policy=email.policy.default)
        entities = []
        self.walk(message, 0, entities)
        return {"subject": str(self.get(message, "subject") or ""), "text": self.text(message), "from": self.mailboxes(message, "from"),
                "to": self.mailboxes(message, "to"), "entities": entities}

    @staticmethod
    def text(message):
        """The plain text that is shown first; None where there is none, or it cannot be read."""
        try:
            return message.get_body(("plain",)).get_content()
        except Exception:
            return None

    @staticmethod
    def get(part, field):
        try:
            return part[field]
        except Exception:  # the package raises what it likes on malformed fields
            return None

    def mailboxes(self, message, name):
        field = self.get(message, name)
        return [[one.display_name, one.addr_spec] for one in field.addresses] if field else []

    def walk(self, part, depth, entities):
        kind, shown = (getattr(self.get(part, field), "params", {}) for field in ("content-type", "content-disposition"))
        entity = {"depth": depth, "type": part.get_content_type(), "charset": kind.get("charset", ""),
                  "fileName": shown.get("filename", ""), "name": kind.get("name", "")}
        entities.append(entity)
        if part.is_multipart():
            for child in part.get_payload():
                self.walk(child, depth + 1, entities)
        else:
            entity["body"] = (part.get_payload(decode=True) or b"").hex()


class ProgramReader:
    """A program that takes paths from standard input and prints a line of JSON for each."""

    def __init__(self, name, program):
        self.name = name
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def read(self, path):
        self.process.stdin.write(f"{path}\n".encode())
        self.process.stdin.flush()
        return json.loads(self.process.stdout.readline())

    def close(self):
        self.process.communicate()


def make_facts(described, is_ours):
    """What is compared, by name. Of messages of others the names are compared up to how programs treat their
    folds, and the fields of Content- fields alone."""
    entities = described["entities"]
    facts = {"structure": [(one["depth"], (one["type"] or "text/plain").lower()) for one in entities],
             "bodies": [bytes.fromhex(one["body"]) if "body" in one else None for one in entities]}
    if is_ours:
        facts |= {key: described[key] for key in ("subject", "from", "to")}
        facts |= {key: [one[key] for one in entities] for key in ("charset", "fileName", "name")}
    else:
        if described.get("text") is not None:
            facts["text"] = squeeze_lines(described["text"])
        facts |= {"subject": squeeze(described["subject"]),
                  "fileName": [squeeze(one["fileName"] or one["name"]) for one in entities]}
    return facts


class Check:
    """The comparison of one collection."""

    def __init__(self, title, is_ours):
        self.title, self.is_ours, self.failed = title, is_ours, False
        self.agree, self.explained = collections.Counter(), collections.Counter()
        self.worst, self.deviations, self.unread = collections.Counter(), collections.Counter(), []
        self.real = collections.Counter()

    def compare(self, reader, path, want, got):
        if "error" in got:
            self.unread.append((path, reader, got["error"]))
            return
        ours, theirs = make_facts(want, self.is_ours), make_facts(got, self.is_ours)
        source = path.read_bytes()
        deviations = {name for name, *_ in want.get("deviations", [])}
        encodings = [one.get("encoding", "").strip().lower() for one in want["entities"]]
        structure = None
        for fact, mine in ours.items():
            if fact not in theirs:
                continue
            self.agree[reader, fact] += mine == theirs[fact]
            if mine == theirs[fact]:
                continue
            difference = Difference(reader, path.name, fact, mine, theirs[fact], source, deviations, ours, theirs, encodings)
            # Where the trees differ, bodies and names have no partner.
            reason = structure if structure and isinstance(mine, list) else explain(difference)
            structure = reason if fact == "structure" else structure
            self.explained[reader, fact, reason or "NOT EXPLAINED"] += 1
            if reason and want.get("worst") == SEVERITIES.index("harmless") and not may_be_harmless(fact, reason):
                self.failed = True
                print(f"HARMLESS FOR US  {reader}  {path}  {fact}: {reason}")
            if not reason:
                self.failed = True
                print(f"DIFFERENT  {reader}  {path}  {fact}\n  we    {str(mine)[:400]}\n  they  {str(theirs[fact])[:400]}")

    def count_deviations(self, read, is_real):
        self.worst[SEVERITIES[read["worst"]]] += 1
        self.real[SEVERITIES[read["worst"]]] += is_real
        self.deviations.update({name for name, *_ in read["deviations"]})

    def report(self):
        print(f"\n{self.title}")
        for key in sorted(self.agree):
            known = sum(count for one, count in self.explained.items() if one[:2] == key)
            print(f"| {key[0]} | {key[1]} | {self.agree[key]}" + (f" + {known} |" if known else " |"))
        for (reader, fact, reason), count in sorted(self.explained.items()):
            print(f"{count:6} {reader}, {fact}: {reason}")
        if self.real.total():
            ambiguous, all_real = self.real["ambiguous"], self.real.total()
            self.failed |= ambiguous > MOST_AMBIGUOUS * all_real
            print(f"{ambiguous} of {all_real} real mails are ambiguous")
        for place in self.unread:
            print("not read ", *place)
        for name, count in [*self.worst.most_common(), *self.deviations.most_common()]:
            print(f"{count:6} {name}")
        return self.failed


def check_made(maker, readers, count):
    check = Check("Messages that kivmime makes", True)
    for _, path, want in maker.make_all(count):
        for reader in readers:
            check.compare(reader.name, path, want, reader.read(path))
    return check.report()


def check_others(folder, ours, readers):
    paths = sorted(path for path in folder.rglob("*") if path.is_file() and not NOTES.match(path.name))
    if not paths:
        sys.exit(f"{folder}: no messages")
    check = Check(f"{folder}: {len(paths)} messages", False)
    for path in paths:
        read = ours.read(path)
        if "error" in read:
            check.unread.append((path, "we", read["error"]))
            continue
        check.count_deviations(read, "mail" in path.relative_to(folder).parts)
        for reader in readers:
            check.compare(reader.name, path, read, reader.read(path))
    return check.report()


def main():
    parser = argparse.ArgumentParser()
    for name in ("kivmime", "mail", "folder"):
        parser.add_argument(name, type=Path)
    parser.add_argument("--gmime", type=Path)
    parser.add_argument("--dovecot", action="store_true")
    parser.add_argument("--cases", type=int, default=60)
    parser.add_argument("messages", type=Path, nargs="*")
    options = parser.parse_intermixed_args()
    with contextlib.ExitStack() as stack:
        def use(reader):
            return stack.enter_context(contextlib.closing(reader))
        readers = [PythonReader()] + ([use(ProgramReader("GMime", options.gmime))] if options.gmime else [])
        dovecot = [use(DovecotReader())] if options.dovecot else []
        maker = Maker(options.kivmime, options.folder)
        failed = [check_made(maker, readers + dovecot, options.cases)]
        ours = use(ProgramReader("we", options.mail))
        failed += [check_others(folder, ours, readers) for folder in options.messages]
    return 1 if any(failed) else 0


if __name__ == "__main__":
    sys.exit(main())
