"""Compares how we and others read the address and date fields of messages.

    addresses.py ADDRESSES [--gmime] MESSAGES...

ADDRESSES is the program interop_addresses; --gmime compares with GMime's library too. Every file below each
of MESSAGES is a message of others; each distinct value of its From, To, Cc, Bcc, Reply-To, Sender and Date is
read once. Prints the differences that no row below explains, and tables of what agrees and what is explained,
with the section of the RFC. The status is 0 when all is explained.
"""

import argparse
import calendar
import collections
import ctypes
import email
import email.policy
import email.utils
import json
import re
import subprocess
import sys
from pathlib import Path

FIELDS = {"from", "to", "cc", "bcc", "reply-to", "sender"}


def clean(text):
    text = re.sub(r"\s+", " ", text or "").strip()
    return text.encode("utf-8", "surrogateescape").decode("utf-8", "replace")


class Ours:
    def __init__(self, program):
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def read(self, kind, value):
        self.process.stdin.write(f"{kind} {value.hex()}\n".encode())
        self.process.stdin.flush()
        return json.loads(self.process.stdout.readline())


def read_python(value):
    field = email.policy.default.header_factory("to", re.sub("\r?\n", "", value.decode("ascii", "surrogateescape")))
    return [[one.display_name, one.addr_spec] for one in field.addresses], [one.display_name for one in field.groups if one.display_name]


class GMime:
    def __init__(self):
        self.lib, self.objects = ctypes.CDLL("libgmime-3.0.so.0"), ctypes.CDLL("libgobject-2.0.so.0")
        for name in ("list_parse", "list_get_address", "group_get_members"):
            getattr(self.lib, "internet_address_" + name).restype = ctypes.c_void_p
        for name in ("get_name", "mailbox_get_addr"):
            getattr(self.lib, "internet_address_" + name).restype = ctypes.c_char_p
        self.lib.internet_address_mailbox_get_type.restype = ctypes.c_size_t
        self.lib.g_mime_init()
        self.mailbox = ctypes.c_size_t(self.lib.internet_address_mailbox_get_type())

    def call(self, name, *arguments):
        found = getattr(self.lib, "internet_address_" + name)(*arguments)
        return found.decode("utf-8", "replace") if isinstance(found, bytes) else found

    def walk(self, members, mailboxes, groups):
        for index in range(self.call("list_length", ctypes.c_void_p(members)) if members else 0):
            one = ctypes.c_void_p(self.call("list_get_address", ctypes.c_void_p(members), index))
            if self.objects.g_type_check_instance_is_a(one, self.mailbox):
                mailboxes.append([self.call("get_name", one), self.call("mailbox_get_addr", one)])
            else:
                groups.append(self.call("get_name", one))
                self.walk(self.call("group_get_members", one), mailboxes, groups)
        return mailboxes, groups

    def read(self, value):
        return self.walk(self.call("list_parse", None, value), [], [])


def read_date(value):
    date = email.utils.parsedate_to_datetime(value.decode("latin-1"))
    known = date.tzinfo is not None
    return [calendar.timegm(date.utctimetuple()), int(date.utcoffset().total_seconds() // 60) if known else 0, known]


# ---------------------------------------------------------------------------------- the reasons --

Difference = collections.namedtuple("Difference", "value ours theirs addresses others problems")


def mask(mailboxes):
    return re.sub("[^\0-\x7f]+", "?", str(mailboxes))


def is_unnamed(d):
    """Names apart, where they have none, the two are equal."""
    return d.addresses == d.others and all(they in ("", we) for (we, _), (they, _) in zip(d.ours, d.theirs))


# Empty brackets; ":" or ";" in brackets; two "@"; none before the "@"; none at all, or only in quotes.
NO_ADDRESS = re.compile(rb'<>|<[^>,]*[:;][^>]*>|^[^,@]*@[^,@]*@|^@|^[^@<"]*$|^\S+"[^"<]*"\s')
EIGHT_BIT = re.compile(rb"[\x80-\xff]")
# Reader ("" is any), the check, the reason.
REASONS = [
    ("Python", lambda d: b"(" in d.value and is_unnamed(d), "a comment after the address is no name (RFC 5322, 3.2.2 leaves it open, A.5 has examples)"),
    ("Python", lambda d: EIGHT_BIT.search(d.value) and mask(d.ours) == mask(d.theirs), "8-bit text that is not UTF-8 has no charset (RFC 6532, 3.2)"),
    ("Python", lambda d: d.addresses == d.others and "=?" in str(d.theirs), "encoded words that touch other text stay (RFC 2047, 5 (3))"),
    ("Python", lambda d: any(one.startswith("=?") for one in d.addresses), "encoded words of an address are decoded (RFC 2047, 5 (3) forbids it)"),
    ("", lambda d: b"=?" in d.value and b"<" not in d.value and not d.problems, "a name before an address without brackets is part of the address, or an error (RFC 5322, 3.4)"),
    ("", lambda d: b'"\x06"' in d.value, "control characters in quotes are an address (RFC 5322, 4.1), which no program can show or send"),
    ("GMime", lambda d: b".@" in d.value, "a local part with a dot at its end costs the entry (RFC 5322, 3.2.3)"),
    ("GMime", lambda d: EIGHT_BIT.search(d.value), "8-bit addresses, and a parenthesis without its partner, cost the entry (RFC 6532, 3.2)"),
    ("GMime", lambda d: b"@" not in d.value and is_unnamed(d), "without a domain a comment is no name (RFC 5322, 3.4.1)"),
    ("GMime", lambda d: d.value.count(b"(") > d.value.count(b")"), "an open comment costs the entry (RFC 5322, 3.2.2)"),
    ("GMime", lambda d: "(" in str(d.theirs) and d.addresses == d.others, "a comment in a phrase is part of the name (RFC 5322, 3.2.2)"),
    ("GMime", lambda d: re.search(rb"=\?[^? ]*\?Q\?\S*:\S*\?=", d.value), "a colon in an encoded word ends it (RFC 2047, 5 (3))"),
    ("Python", lambda d: re.search(rb"@\S+ <|\) <", d.value), "a name without quotes is an address (RFC 5322, 3.2.5)"),
    ("Python", lambda d: b":;" in d.value and not d.ours and not d.theirs, "a comment after a group is an error (RFC 5322, A.5)"),
    ("", lambda d: d.problems and NO_ADDRESS.search(d.value) and set(d.addresses) <= set(d.others), "what the grammar does not allow is an address all the same (RFC 5322, 3.4.1)"),
]
DATE_REASONS = [
    (rb"^\w+ \d+, \d+ at|^\d{4}/", "no form of RFC 5322, 3.3"),
    (rb"GMT\+\d|\+-|JST|Daylight Time", "a zone that RFC 5322, 4.3 has no name for is unknown"),
    (rb" \d{4,5}$", "an offset without a sign (RFC 5322, 3.3)"),
]


class Comparison:
    def __init__(self):
        self.agree, self.explained, self.failed = collections.Counter(), collections.Counter(), False

    def note(self, reader, value, ours, theirs, reason):
        if reason:
            self.explained[reader, reason] += 1
        else:
            self.failed = True
            print(f"DIFFERENT  {reader}  {value[:300]}\n  we    {str(ours)[:400]}\n  they  {str(theirs)[:400]}")

    def compare_addresses(self, reader, read, value, found):
        ours = [[clean(name), address] for name, address in found["mailboxes"]]
        try:
            theirs, groups = read(value)
        except Exception:  # Python's package raises what it likes on some groups
            theirs, groups = [], []
        theirs = [[clean(name), clean(address)] for name, address in theirs]
        if ours == theirs and groups == found["groups"]:
            self.agree[reader] += 1
            return
        difference = Difference(value, ours, theirs, [one for _, one in ours], [one for _, one in theirs], found["problems"])
        reason = next((why for name, check, why in REASONS if name in ("", reader) and check(difference)), None)
        self.note(reader, value, ours, theirs, reason)

    def compare_dates(self, value, ours):
        try:
            theirs = read_date(value)
        except (TypeError, ValueError):
            theirs = None
        if ours == theirs:
            self.agree["dates"] += 1
        else:
            self.note("dates", value, ours, theirs, next((why for form, why in DATE_REASONS if re.search(form, value)), None))

    def report(self):
        for reader, count in self.agree.items():
            print(f"| {reader} | {count} + {sum(n for (name, _), n in self.explained.items() if name == reader)} |")
        for (reader, reason), count in sorted(self.explained.items()):
            print(f"{count:6} {reader}: {reason}")


def collect(folders):
    addresses, dates = {}, {}
    for path in sorted(path for folder in folders for path in folder.rglob("*") if path.is_file()):
        for part in email.message_from_bytes(path.read_bytes(), policy=email.policy.compat32).walk():
            for name, value in part.raw_items():
                kept = dates if name.lower() == "date" else addresses if name.lower() in FIELDS else {}
                kept[value.encode("ascii", "surrogateescape")] = True
    return addresses, dates


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program", type=Path)
    parser.add_argument("--gmime", action="store_true")
    parser.add_argument("messages", type=Path, nargs="+")
    options = parser.parse_args()
    ours, comparison = Ours(options.program), Comparison()
    readers = {"Python": read_python} | ({"GMime": GMime().read} if options.gmime else {})
    addresses, dates = collect(options.messages)
    print(f"{len(addresses)} address fields, {len(dates)} dates")
    for value in addresses:
        found = ours.read("addresses", value)
        for reader, read in readers.items():
            comparison.compare_addresses(reader, read, value, found)
    for value in dates:
        comparison.compare_dates(value, ours.read("date", value))
    comparison.report()
    return 1 if comparison.failed else 0


if __name__ == "__main__":
    sys.exit(main())
