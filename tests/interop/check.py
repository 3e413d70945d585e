"""Compares what other programs read in our messages with what was put in.

    check.py KIVMIME GENERATE FOLDER [--gmime PROGRAM] [--dovecot] [--cases N]

KIVMIME is the command-line host, GENERATE the program interop_generate, FOLDER an empty folder to
work in, --gmime the program interop_gmime. Prints every difference and a table; the status is 0 when
all agree, apart from the differences that differences.py explains.
"""

import argparse
import contextlib
import email
import email.header
import email.policy
import json
import quopri
import re
import subprocess
import sys
from pathlib import Path

from build_messages import BUILT
from differences import KNOWN
from dovecot import DovecotReader


class PythonReader:
    """Python's email package with its default policy."""

    name = "Python"

    def read(self, path):
        message = email.message_from_bytes(path.read_bytes(), policy=email.policy.default)
        entities = []
        self.walk(message, 0, entities)
        return {"subject": str(message["subject"] or ""), "from": self.mailboxes(message["from"]),
                "to": self.mailboxes(message["to"]), "entities": entities}

    @staticmethod
    def mailboxes(field):
        return [[one.display_name, one.addr_spec] for one in field.addresses] if field else []

    def walk(self, part, depth, entities):
        kind = part["content-type"].params if part["content-type"] else {}
        shown = part["content-disposition"].params if part["content-disposition"] else {}
        entity = {"depth": depth, "type": part.get_content_type(), "charset": kind.get("charset", ""),
                  "fileName": shown.get("filename", ""), "name": kind.get("name", "")}
        entities.append(entity)
        if part.is_multipart():
            for child in part.get_payload():
                self.walk(child, depth + 1, entities)
        else:
            entity["body"] = part.get_payload(decode=True).hex()


class GMimeReader:
    """GMime, in a program of its own."""

    name = "GMime"

    def __init__(self, program):
        self.program = program

    def read(self, path):
        return json.loads(subprocess.run([self.program, path], check=True, capture_output=True).stdout)


def flatten(described):
    """The facts of a message by name: "subject", "3 body" for the fourth entity's body."""
    facts = {key: described[key] for key in ("subject", "from", "to")}
    facts["entities"] = [entity["depth"] for entity in described["entities"]]
    for index, entity in enumerate(described["entities"]):
        for key in ("type", "charset", "fileName", "name", "body"):
            if key in entity:
                facts[f"{index} {key}"] = entity[key]
    return facts


def cut(value):
    text = repr(value)
    return text if len(text) < 200 else f"{text[:90]} ... {text[-90:]}"


class Check:
    """Counts what agrees and prints what does not."""

    def __init__(self):
        self.failed = False
        self.rows = []

    def compare(self, message, reader, want, path):
        got = flatten(reader.read(path))
        agree = known = 0
        for fact in sorted(want.keys() | got.keys()):
            if got.get(fact) == want.get(fact):
                agree += 1
                continue
            explain = KNOWN.get((reader.name, message, fact))
            if explain is not None and got.get(fact) == explain(want.get(fact)):
                known += 1
                continue
            self.failed = True
            print(f"DIFFERENT  {reader.name}  {message}  {fact}\n  put in {cut(want.get(fact))}\n"
                  f"  found  {cut(got.get(fact))}")
        self.row(message, reader.name, agree, known)

    def row(self, what, reader, agree, known=0):
        self.rows.append((what, reader, agree, known))

    def print_table(self):
        print("| what | read by | agree | known differences |\n|---|---|---|---|")
        for row in self.rows:
            print("| " + " | ".join(map(str, row)) + " |")


def parse_field(text, name):
    """One header field as Python's default policy reads it."""
    return email.message_from_bytes(text, policy=email.policy.default)[name]


def decode_words(text):
    """The bytes of header text with its encoded words decoded."""
    return b"".join(part.encode("latin-1") if isinstance(part, str) else part
                    for part, _ in email.header.decode_header(text))


def parse_subject(text):
    # What Python before 3.12.8 does with this fold stands in differences.py.
    return str(parse_field(text.replace(b"Subject:\r\n ", b"Subject: "), "subject") or "")


def parse_file_name(text):
    """Python takes a parameter with an empty value for none. It gets bare values with "/" or "?", which
    are no tokens, and with what has a meaning in RFC 2231, in quotes."""
    text = re.sub(rb"filename=([^\s;\"]*['*%/?][^\s;\"]*)", rb'filename="\1"', text)
    return parse_field(text, "content-disposition").params.get("filename", "")


def strip_mark(body):
    return body[3:] if body.startswith(b"\xef\xbb\xbf") else body


# For each encoder: what decodes its output, and what the input must then equal it as.
DECODERS = {
    "QEncode": (lambda written: decode_words(written.decode("ascii")), bytes),
    "Subject": (parse_subject, bytes.decode),
    "EncodeParameter": (parse_file_name, bytes.decode),
    "EncodeParameterWords": (parse_file_name, bytes.decode),
    "QPEncode": (quopri.decodestring, strip_mark),
}


def check_encoders(check, generate, seed, count):
    output = subprocess.run([generate, "encoders", str(seed), str(count)], check=True, capture_output=True)
    counts = dict.fromkeys(DECODERS, 0)
    for line in output.stdout.decode().splitlines():
        encoder, given, written = line.split("\t")
        decode, view = DECODERS[encoder]
        given, written = bytes.fromhex(given), bytes.fromhex(written)
        got, want = decode(written), view(given)
        if got == want:
            counts[encoder] += 1
        else:
            check.failed = True
            print(f"DIFFERENT  {encoder}\n  put in  {want!r}\n  written {written!r}\n  found   {got!r}")
    for encoder, agree in counts.items():
        check.row(f"{encoder}, random input", "Python", agree)
    if min(counts.values()) < count:
        check.failed = True
        print("DIFFERENT  an encoder was not tried often enough")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kivmime", type=Path)
    parser.add_argument("generate", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--gmime", type=Path)
    parser.add_argument("--dovecot", action="store_true")
    parser.add_argument("--cases", type=int, default=2000)
    options = parser.parse_args()

    check = Check()
    subprocess.run([options.generate, "messages", options.folder], check=True)
    wanted = {path.stem: json.loads(path.read_text()) for path in options.folder.glob("*.json")}
    for name, build in BUILT.items():
        wanted[name] = build(options.kivmime, options.folder)
    with contextlib.ExitStack() as stack:
        readers = [PythonReader()]
        if options.gmime:
            readers.append(GMimeReader(options.gmime))
        if options.dovecot:
            readers.append(stack.enter_context(contextlib.closing(DovecotReader())))
        for name, want in sorted(wanted.items()):
            for reader in readers:
                check.compare(name, reader, flatten(want), options.folder / f"{name}.eml")
    check_encoders(check, options.generate, 20261, options.cases)
    check.print_table()
    return 1 if check.failed else 0


if __name__ == "__main__":
    sys.exit(main())
