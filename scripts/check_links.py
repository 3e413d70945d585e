#!/usr/bin/env python3
"""Every link of a Markdown document to another file leads to one that is there, and to a heading of it."""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
LINK = re.compile(r"\]\(([^)\s]+)\)")


def anchors(document):
    """The names that a heading gets: lower case, without punctuation, "-" for a blank."""
    text = re.sub(r"^```.*?^```", "", document.read_text(), flags=re.S | re.M)
    headings = re.findall(r"^#+ +(.*)$", text, re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-") for heading in headings}


def problem(document, link):
    path, _, anchor = link.partition("#")
    target = (document.parent / path).resolve() if path else document
    if not target.exists():
        return "is not there"
    if anchor and target.suffix == ".md" and anchor not in anchors(target):
        return "has no such heading"
    return None


def main():
    # Doxygen checks what it reads itself, and finds pictures by their names.
    names = subprocess.run(["git", "ls-files", "*.md", ":!docs/reference"], cwd=ROOT, text=True, check=True,
                           capture_output=True).stdout.split("\n")
    seen, status = 0, 0
    for document in (ROOT / name for name in names if name):
        for link in LINK.findall(document.read_text()):
            if re.match(r"[a-z]+:", link):
                continue
            seen += 1
            if why := problem(document, link):
                print(f"{document.relative_to(ROOT)}: {link} {why}", file=sys.stderr)
                status = 1
    if not seen:
        sys.exit("no links found")
    return status


if __name__ == "__main__":
    sys.exit(main())
