#!/usr/bin/env python3
"""Compares the names that the built libraries export with the list in the repository.

    scripts/check_exports.py LIBRARY...            # fails, and shows what differs
    scripts/check_exports.py --update LIBRARY...   # writes the list; name both libraries

LIBRARY is a shared object or a DLL. In the list a name stands under "[all]" when both export it,
and else under the system that does: int64_t and size_t have other names there.
"""
import argparse
import difflib
import pathlib
import subprocess
import sys

LIST = pathlib.Path(__file__).resolve().parent.parent / "etc/mime/dll/exports.txt"
HEAD = f"""\
# Every name that the shared library exports. A change here is a change of the interface:
# scripts/check_exports.py compares this list with what was built, on both systems.
"""


def run(*command, text=None):
    return subprocess.run(command, input=text, check=True, capture_output=True, text=True).stdout


def read_exports(library):
    """The system of a library and the set of its exported names, demangled."""
    with open(library, "rb") as file:
        is_windows = file.read(2) == b"MZ"
    if is_windows:
        dump = run("x86_64-w64-mingw32-objdump", "-p", library)
        table = dump.split("[Ordinal/Name Pointer] Table")[1].split("\n\n")[0]
        names = [line.split()[-1] for line in table.splitlines() if line.lstrip().startswith("[")]
    else:
        names = [line.split()[-1].split("@")[0]
                 for line in run("nm", "-D", "--defined-only", library).splitlines()]
    if not names:
        sys.exit(f"{library}: exports nothing")
    # Constructors and destructors come in several variants that read alike.
    return ("windows" if is_windows else "posix",
            set(run("c++filt", text="\n".join(names)).splitlines()))


def read_list():
    sections, names = {}, None
    for line in LIST.read_text().splitlines():
        if line.startswith("["):
            names = sections.setdefault(line.strip("[]"), [])
        elif line and not line.startswith("#"):
            names.append(line)
    return sections


def write_list(exports):
    posix, windows = exports["posix"], exports["windows"]
    text = HEAD
    for title, names in (("all", posix & windows), ("posix", posix - windows),
                         ("windows", windows - posix)):
        text += f"\n[{title}]\n" + "".join(name + "\n" for name in sorted(names))
    LIST.write_text(text)


def check(library, system, names):
    listed = read_list()
    wanted = sorted(listed["all"] + listed[system])
    diff = list(difflib.unified_diff(wanted, sorted(names), str(LIST), library, lineterm="", n=0))
    if diff:
        print("\n".join(diff))
    else:
        print(f"{library}: {len(names)} names, as listed")
    return not diff


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("library", nargs="+")
    options = parser.parse_args()
    found = {library: read_exports(library) for library in options.library}
    if options.update:
        exports = dict(found.values())
        if len(exports) != 2:
            sys.exit("--update needs the libraries of both systems")
        write_list(exports)
        return
    if not all([check(library, *found[library]) for library in options.library]):
        sys.exit("The interface has changed. If that is meant:\n  scripts/check_exports.py --update"
                 " build/release/libkivmime.so build/windows/KIVMIME.dll")


main()
