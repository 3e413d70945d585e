"""Runs what a transcript shows: commands, what they are given, and what they print.

transcript_test.py FILE

    # a comment
    + NAME CONTENT    a file in the current folder
    $ kivmime ...     a command, quoted as in a shell; $SAMPLES and $KEYS are folders
    < TEXT            a line of its standard input
    > TEXT            a line of its standard output; when there is none it is not looked at
    ~ PATTERN         what is found in its standard output, escaped
    ! PATTERN         what is found in its standard error; when there is none it must be empty
    = STATUS          the exit status, when it is not 0

CONTENT and TEXT are escaped as in C; lines are joined by LF. {missing} in a pattern is what the system says
of a missing file. Those in the folder of a platform are for that platform alone.
"""

import os
import re
import shlex
import string
import sys
import unittest
from pathlib import Path

from case import NO_SUCH_FILE, SAMPLES, Case

FOLDERS = {"SAMPLES": SAMPLES, "KEYS": os.environ["KIVMIME_KEYS"]}


def unescape(text):
    return re.sub(rb"\\(x..|.)", lambda match: {b"r": b"\r", b"n": b"\n", b"t": b"\t"}.get(match[1]) or (
        bytes.fromhex(match[1][1:].decode()) if len(match[1]) == 3 else match[1]), text.encode())


def parse(path):
    """Each command with its lines by their mark; files are commands of their own."""
    steps = []
    for line in path.read_text().splitlines():
        mark, _, text = line.partition(" ")
        if mark in ("$", "+"):
            steps.append({mark: text})
        elif mark and mark in "<>~!=":
            steps[-1].setdefault(mark, []).append(text)
    return steps


class Transcript(Case):
    def run_step(self, step):
        if "+" in step:
            name, _, content = step["+"].partition(" ")
            self.file(os.fsdecode(unescape(name)), unescape(content))
            return
        arguments = shlex.split(string.Template(step["$"]).substitute(FOLDERS))[1:]
        out, errors = self.run_tool(*[os.fsdecode(unescape(one)) for one in arguments],
                                    given=unescape("\n".join(step.get("<", []))), status=int(step.get("=", [0])[0]))
        if ">" in step:
            self.assertEqual(out.removesuffix(b"\n"), unescape("\n".join(step[">"])))
        for pattern in step.get("~", []):
            self.assertRegex(repr(out)[2:-1], pattern)
        self.assertEqual(bool(errors), "!" in step, errors)
        for pattern in step.get("!", []):
            self.assertRegex(errors, pattern.encode().replace(b"{missing}", NO_SUCH_FILE))

    def test(self):
        steps = parse(Path(sys.argv[-1]))
        self.assertTrue(steps)
        for step in steps:
            with self.subTest(step=step):
                self.run_step(step)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
