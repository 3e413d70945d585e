#!/usr/bin/env python3
"""Checks that every function of namespace MIME that hosts call fails when memory runs out on its way.

    scripts/check_guards.py    # fails, and names the functions that do not

The functions are those of etc/mime/dll/exports.txt. Each definition must use Guarded
(etc/mime/foundation/guarded.h), or end by returning what a function of the same file or of a header
returns that does. Those of NEEDS_NONE are left out; a name there that needs no exception is an error
too. What mail.h declares throws std::bad_alloc by itself, unless it uses the base layer, whose failed
allocations give short texts: a function that does must use Whole (etc/mime/mail/whole.h) or MemoryWatch.
"""
import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIST = ROOT / "etc/mime/dll/exports.txt"

ALLOCATES_NOTHING = "allocates nothing"
ONE_TEXT = "makes one text with one allocation, which is whole or empty"
HOLDS = "only called by MailboxParser::ToNext, which is guarded"
NEEDS_NONE = {
    "MIME::CanonicType": ONE_TEXT,
    "MIME::Data::Clear": ALLOCATES_NOTHING,
    "MIME::Deviation::GetName": ONE_TEXT,
    "MIME::Deviation::GetSeverity": ALLOCATES_NOTHING,
    "MIME::Deviation::GetStr": ONE_TEXT,
    "MIME::Encoding::IsAtom": ALLOCATES_NOTHING,
    "MIME::FieldList::operator[]": ALLOCATES_NOTHING,
    "MIME::GetVersion": ALLOCATES_NOTHING,
    "MIME::GetTypeFromExt": "adds an empty text to what GetTypesFromExt finds, which is guarded",
    "MIME::Header::GetStr": ONE_TEXT,
    "MIME::HeaderMap::GetParameter": ALLOCATES_NOTHING,
    "MIME::IsFilenameDerivedFromSubject": ALLOCATES_NOTHING,
    "MIME::MailboxParser::ParseAddress": HOLDS,
    "MIME::MailboxParser::ParseEntry": HOLDS,
    "MIME::MailboxParser::ParseName": HOLDS,
    "MIME::MailboxParser::ParseUnknown": HOLDS,
    "MIME::Part::~Part": "needs no memory, and has no result",
    "MIME::ReadOptions::Mail": ALLOCATES_NOTHING,
    "MIME::SubType::GetStr": ONE_TEXT,
    "MIME::TransferEncoding::GetStr": ONE_TEXT,
    "MIME::Type::GetStr": ONE_TEXT,
}

# The first line of a definition at namespace scope: it begins in the first column and its
# parameters end with "{".
HEAD = re.compile(r"^(?:[A-Za-z_][^;{}#=()]*[\s&*])?"
                  r"(?P<name>(?:\w+::)*~?(?:\w+|operator\S+?))\((?P<rest>[^;{}]*)\{", re.M)


def read_exports():
    """The number of overloads by name."""
    counts = collections.Counter()
    for line in LIST.read_text().splitlines():
        if line.startswith("MIME::"):
            counts[re.match(r"[^(]+", line).group().removesuffix("[abi:cxx11]")] += 1
    return counts


def find_definitions(text):
    """Name, with its namespaces, and body of each function of a file. It relies on clang-format: a
    body ends with a brace in the first column, a namespace with a comment."""
    for head in HEAD.finditer(text):
        open_ones = []
        for begin, end in re.findall(r"^namespace ([\w:]+) \{|^\}  // namespace ([\w:]+)",
                                     text[:head.start()], re.M):
            if begin:
                open_ones.append(begin)
            else:
                open_ones.remove(end)
        end = text.find("\n}\n", head.start())
        one_line = text.find("\n", head.start())
        if text[head.start():one_line].endswith("}"):
            end = one_line
        yield "::".join([*open_ones, head["name"]]), text[head.end():end]


def get_last_call(body):
    """The function whose result is the body's last result; None when it is not one call."""
    last = re.search(r"return ([\w:]+)(?:<[^;()]*>)?\([^;]*\);\s*\}?$", body)
    return last and last[1].split("::")[-1]


def is_mail(path):
    """Is this a file of mail.h, which hands out standard types?"""
    name = path.relative_to(ROOT).as_posix()
    return name.startswith(("etc/mime/mail/", "etc/mime/writing/", "etc/mime/html/", "etc/mime/encoding/uuencode",
                            "etc/mime/mail.h"))


def find_mail_classes():
    headers = [path for path in (ROOT / "etc/mime").rglob("*.h") if is_mail(path)]
    return {name for path in headers
            for name in re.findall(r"^(?:class|struct) KIV_EXPORT (\w+)", path.read_text(), re.M)}


def uses_base_layer(body):
    """Does it make texts of the base layer, and nobody asks whether there was memory for them?"""
    makes = re.search(r"\bAnsiStr\b|\bDecoding::|\bEncoding::|\bReadHeaderBlock\b", body)
    return bool(makes) and "Whole(" not in body and "MemoryWatch" not in body


def main():
    exported = read_exports()
    mail_classes = find_mail_classes()
    defined = collections.defaultdict(list)  # by exported name: file, body
    bodies = collections.defaultdict(list)   # by file and plain name
    for path in sorted((ROOT / "etc/mime").rglob("*")):
        if path.suffix not in (".cpp", ".h"):
            continue
        for name, body in find_definitions(path.read_text()):
            bodies[path, name.split("::")[-1]].append(body)
            if name in exported:
                defined[name].append((path, body))
    headers = [path for path, _ in bodies if path.suffix == ".h"]

    def is_guarded(path, body, seen):
        if "Guarded(" in body:
            return True
        name = get_last_call(body)
        if name is None or body in seen:
            return False
        return any(is_guarded(place, other, seen | {body}) for place in [path, *headers]
                   for other in bodies.get((place, name), []))

    problems = []
    for name, count in sorted(exported.items()):
        found = defined[name]
        if name.split("::")[1] in mail_classes or any(is_mail(path) for path, _ in found):
            problems += [f"{path.relative_to(ROOT)}: {name} does not notice failed allocations"
                         for path, body in found if uses_base_layer(body)]
            continue
        if len(found) < count:
            problems.append(f"{name}: {count} exported, {len(found)} definitions found")
        unguarded = [path for path, body in found if not is_guarded(path, body, set())]
        if name in NEEDS_NONE:
            if found and not unguarded:
                problems.append(f"{name}: is guarded, and still an exception")
        else:
            problems += [f"{path.relative_to(ROOT)}: {name} is not guarded" for path in unguarded]
    problems += [f"{name}: an exception, but not exported" for name in sorted(NEEDS_NONE)
                 if name not in exported]
    if problems:
        print("\n".join(problems))
        sys.exit("Every function that hosts call fails when memory runs out on its way:\n"
                 "  use Guarded or Whole, or give scripts/check_guards.py the reason why it need not be.")
    print(f"{sum(exported.values())} functions of hosts, {len(NEEDS_NONE)} of them exceptions: "
          "all others are guarded")


main()
