"""kivmime build, encode and decode. That other programs read what build writes is checked in interop/."""

import base64
import os
import quopri
import random
import unittest

from case import Case

SENDER = ["--from", "ann@example.net"]


class Build(Case):
    def build(self, *arguments, **options):
        """Runs build for a fixed sender; returns the message's header block and body."""
        out, errors = self.run_tool("build", *SENDER, *arguments, **options)
        self.assertEqual(errors, b"")
        return out.split(b"\r\n\r\n", 1)

    def test_same_message_on_every_run(self):
        old = self.file("old.eml", b"old")
        arguments = ["build", *SENDER, "--text", self.file("t", b"x"), "--html", "t", "--attach", "t", "-o", "-"]
        first, again, other, free, free_again = (
            self.run_tool(*arguments, *more)[0] for more in (["--seed", "1"], ["--seed", "1"], ["--seed", "2"], [], []))
        self.assertEqual(first, again)
        self.assertEqual(len({first, other, free, free_again}), 4)
        self.assertIn(b"Date: Thu, 01 Jan 1970 00:00:00 +0000\r\n", first)
        before = sorted(os.listdir(self.home))
        self.run_tool("build", *SENDER, "--text", "none", "-o", "old.eml", status=1)
        self.assertEqual(old.read_bytes(), b"old")
        self.run_tool(*arguments[:-1], "old.eml", "--seed", "1")
        self.assertEqual(old.read_bytes(), first)
        self.assertEqual(sorted(os.listdir(self.home)), before)


class Coding(Case):
    def code(self, command, form, given):
        return self.run_tool(command, f"--{form}", given=given)[0]

    def test_round_trips(self):
        source = random.Random(20261)
        # Pieces of 128 KiB are read at a time: sizes on both sides of where they meet.
        for given in [source.randbytes(size) for size in (0, 57, 131071, 131072, 131073)] + [b" \r\n" * 50000]:
            encoded = self.code("encode", "base64", given)
            self.assertEqual(encoded, base64.encodebytes(given).replace(b"\n", b"\r\n"))
            self.assertEqual(self.code("decode", "base64", encoded), given)
            encoded = self.code("encode", "quoted-printable", given)
            self.assertEqual(quopri.decodestring(encoded), given)
            self.assertEqual(self.code("decode", "quoted-printable", encoded), given)
        for text in ["Grüße an alle", " around ", "two\nlines", "東京" * 100, "=?x?="]:
            encoded = self.code("encode", "word", text.encode() + b"\n")
            self.assertTrue(encoded.isascii() and encoded.count(b"\n") == 1, encoded)
            self.assertEqual(self.code("decode", "word", encoded.rstrip(b"\n")).decode(), text)


if __name__ == "__main__":
    unittest.main()
