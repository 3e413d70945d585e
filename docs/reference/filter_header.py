#!/usr/bin/env python3
"""What Doxygen reads in place of a header (INPUT_FILTER): the enumerators of the tables that the header
includes, each with its text as the comment; code in comments indented as Markdown wants it; and groups
whose first member keeps its comment."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
INCLUDED_TABLE = re.compile(r'#include "(mime/.*\.inc)"')
ROW = re.compile(r'^MIME_[A-Z_]+\((\w+), *(?:(\w+), *)?"((?:[^"\\]|\\.)*)"')
CODE_IN_COMMENT = re.compile(r"^( *///)( {3,}\S.*)$")
MOST_ROWS = 200  # the media subtypes are too many to be listed


def enumerators(table):
    rows = [m for line in (ROOT / "etc" / table).read_text().splitlines() if (m := ROW.match(line))]
    if len(rows) > MOST_ROWS:
        return [f"/* {len(rows)} values: see {table} */"]
    return [f"{name}, ///< {text.replace(chr(92), '') or 'none of these'}"
            + (f" ({severity})" if severity else "")
            for name, severity, text in (row.groups() for row in rows)]


def filtered(lines):
    in_enum = may_be_code = False
    for line in lines:
        in_enum = re.match(r" *enum ", line) is not None or (in_enum and "};" not in line)
        table = INCLUDED_TABLE.search(line)
        code = CODE_IN_COMMENT.match(line)
        if in_enum and table:
            yield from enumerators(table.group(1))
        elif code and may_be_code:
            yield code.group(1) + "    " + code.group(2)
            continue
        else:
            yield line
            if line.strip() == "/// @{":
                yield ""    # else the comment of the first member is taken for the group's
        may_be_code = line.strip() == "///"


if __name__ == "__main__":
    print("\n".join(filtered(pathlib.Path(sys.argv[1]).read_text().split("\n"))), end="")
