#!/usr/bin/env python3
"""Draws which folder of the sources uses which, from their includes: docs/pictures/house.svg.

An arrow that follows from others is left out, and so is the use of the public headers, which all rooms
have. With --check nothing is drawn: fails when the picture shows other rooms or arrows than the sources.
"""

import html
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
PICTURE = ROOT / "docs/pictures/house.svg"
ROOMS = {
    "tools": "the program kivmime",
    "interface": "mail.h, mime.h, html.h",
    "html": "HTML to text, with libgumbo",
    "writing": "Composer, Edit, Part::Save",
    "mail": "Mail, Entity, addresses, folders",
    "serializer": "Part::Write, Serialize, Sign",
    "parser": "text to places and trees",
    "model": "Part, Info, Data, field maps",
    "utilities": "address lists, file names",
    "vocabulary": "media types, extensions",
    "encoding": "encoders and decoders",
    "foundation": "searches, locks, tables on first use",
    "kivsec": "S/MIME signatures",
    "kivgui": "strings, maps, files, conversions",
    "platform": "POSIX or Windows",
}
OF_INTERFACE = {"tools": {"interface"}, "interface": set(ROOMS) - {"tools", "interface", "foundation", "kivsec", "platform"}}


def room_of(path):
    """The room of a source file; None for what is no room: the module's start, benchmarks, tests."""
    parts = path.relative_to(ROOT).parts
    if "platform" in parts and parts[0] != "tools":
        return "platform" if parts[0] == "kivgui" else parts[0]
    if parts[:2] == ("etc", "mime"):
        return parts[2] if len(parts) > 3 and parts[2] in ROOMS else None
    return parts[0] if parts[0] in ROOMS else None


def includes(path):
    for name in re.findall(r'^\s*#\s*include "([^"]+)"', path.read_text(), re.M):
        for base in (ROOT, ROOT / "etc", path.parent):
            if (base / name).is_file():
                yield (base / name).resolve()
                break


def read_uses():
    uses = {room: set(OF_INTERFACE.get(room, ())) for room in ROOMS}
    for folder in ("etc/mime", "kivgui", "kivsec"):
        for path in sorted((ROOT / folder).rglob("*.[ch]*")):
            room = room_of(path)
            if room not in (None, "platform"):    # the layer below includes the interface it fills
                uses[room] |= {room_of(used) for used in includes(path)} - {room, None}
    return uses


def reaches(uses, start, goal):
    seen, waiting = set(), [start]
    while waiting:
        room = waiting.pop()
        if room == goal:
            return True
        if room not in seen:
            seen.add(room)
            waiting += uses[room]
    return False


def needed_arrows(uses):
    """Without those that follow from others. Rooms that use each other end the script."""
    for room in uses:
        for used in uses[room]:
            if reaches(uses, used, room):
                sys.exit(f"{room} and {used} use each other")
    return {(room, used) for room in uses for used in uses[room]
            if not any(other != used and reaches(uses, other, used) for other in uses[room])}


def draw(arrows):
    lines = ['digraph house { bgcolor=transparent; nodesep=0.25; ranksep=0.45;',
             'node [shape=box, style="rounded,filled", fillcolor="#eef3f8", color="#4a6a8a",'
             ' fontname="Helvetica,Arial,sans-serif", fontsize=11, margin="0.12,0.06"];',
             'edge [color="#4a6a8a", arrowsize=0.7];']
    lines += [f'{room} [label=<<b>{room}</b><br/><font point-size="9">{html.escape(what)}</font>>];'
              for room, what in ROOMS.items()]
    lines += [f"{a} -> {b};" for a, b in sorted(arrows)] + ["}"]
    picture = subprocess.run(["dot", "-Tsvg"], input="\n".join(lines), text=True, check=True,
                             capture_output=True).stdout
    PICTURE.write_text(picture)


def drawn_arrows():
    titles = (html.unescape(title) for title in re.findall("<title>(.*?)</title>", PICTURE.read_text()))
    return {tuple(title.split("->")) for title in titles if "->" in title}


if __name__ == "__main__":
    now = needed_arrows(read_uses())
    if "--check" not in sys.argv:
        draw(now)
    elif now != drawn_arrows():
        sys.exit(f"{PICTURE.relative_to(ROOT)} is not up to date: {sorted(now ^ drawn_arrows())}; "
                 "run scripts/draw_house.py")
