"""kivmime build, encode and decode. That other programs read what build writes is checked in interop/."""

import base64
import email
import email.policy
import os
import quopri
import random
import unittest

from case import Case

SENDER = ["--from", "ann@example.net"]


def walk(part, depth=0):
    """Each entity before its children, with its depth."""
    yield depth, part
    for child in part.get_payload() if part.is_multipart() else []:
        yield from walk(child, depth + 1)


class Build(Case):
    def build(self, *arguments, **options):
        """Runs build for a fixed sender; returns the message's header block and body."""
        out, errors = self.run_tool("build", *SENDER, *arguments, **options)
        self.assertEqual(errors, b"")
        return out.split(b"\r\n\r\n", 1)

    def test_fields(self):
        self.file("t", b"text")
        head, _ = self.build("--to", "a@b", "--to", "c@d", "--cc", "", "--bcc", "e@f", "--text", "t")
        fields = dict(line.split(b": ", 1) for line in head.replace(b"\r\n ", b" ").split(b"\r\n"))
        self.assertEqual(sorted(fields), [b"Bcc", b"Content-Transfer-Encoding", b"Content-Type", b"Date", b"From",
                                          b"Message-ID", b"Mime-Version", b"To"])
        self.assertEqual([fields[b"To"], fields[b"Bcc"]], [b"a@b, c@d", b"e@f"])
        self.assertRegex(fields[b"Message-ID"], rb"^<[0-9A-F]{32}@example.net>$")
        self.assertRegex(fields[b"Date"], rb"^\w{3}, \d\d \w{3} 20\d\d \d\d:\d\d:\d\d \+0000$")

    def test_text_chooses_its_encoding(self):
        cases = [
            # why, text, transfer encoding, charset, body
            ("ASCII", b"one\ntwo\r\n", b"7bit", b"us-ascii", b"one\r\ntwo\r\n"),
            ("empty", b"", b"7bit", b"us-ascii", b""),
            ("the longest line", b"x" * 998 + b"\n", b"7bit", b"us-ascii", b"x" * 998 + b"\r\n"),
            ("a longer line", b"x" * 999, b"quoted-printable", b"us-ascii", b"x" * 999),
            ("a CR alone", b"ab cd ef\rgh\n", b"quoted-printable", b"us-ascii", b"ab cd ef\rgh\r\n"),
            ("a NUL", b"abcdefgh\0", b"quoted-printable", b"us-ascii", b"abcdefgh\0"),
            ("some umlauts", "Grüße sind einige Buchstaben".encode(), b"quoted-printable", b"utf-8", None),
            ("mostly not ASCII", "東京".encode(), b"base64", b"utf-8", None),
            ("two marks", b"\xef\xbb\xbf" * 2 + b"text", b"7bit", b"us-ascii", b"text"),
        ]
        decoders = {b"7bit": bytes, b"quoted-printable": quopri.decodestring, b"base64": base64.b64decode}
        for why, text, encoding, charset, want in cases:
            with self.subTest(why):
                head, body = self.build("--html", "-", given=text)
                self.assertIn(b"Content-Transfer-Encoding: " + encoding + b"\r\n", head)
                self.assertIn(b"Content-Type: text/html; charset=" + charset + b"\r\n", head)
                self.assertEqual(decoders[encoding](body), text if want is None else want)
        _, errors = self.run_tool("build", *SENDER, "--text", "-", given=b"\xfc", status=1)
        self.assertEqual(errors, b"kivmime: standard input: is not UTF-8\n")

    def test_shapes(self):
        for name in ("t", "h", "i.png", "a.pdf"):
            self.file(name, b"x")
        text, html, image, file = ["--text", "t"], ["--html", "h"], ["--inline", "i.png"], ["--attach", "a.pdf"]
        mixed, alternative, related = (f"multipart/{kind}" for kind in ("mixed", "alternative", "related"))
        cases = [
            (html + image, [related, " text/html", " image/png"]),
            (file, [mixed, " application/pdf"]),
            (text + html + image + file, [mixed, f" {alternative}", "  text/plain", f"  {related}", "   text/html",
                                          "   image/png", " application/pdf"]),
        ]
        for arguments, want in cases:
            message = email.message_from_bytes(self.run_tool("build", *SENDER, *arguments)[0])
            self.assertEqual([" " * depth + part.get_content_type() for depth, part in walk(message)], want)

    def test_files_come_out_as_they_went_in(self):
        contents = {"text.txt": b"lf\n", "mark.txt": b"\xef\xbb\xbfx\r\n", "none": b"", "latin.txt": b"\xfc",
                    "all.bin": bytes(range(256)), "a=b;c'd.x": b"1", "Grüße 東京 😀.txt": b"2", "wide.csv": b"1;" * 600}
        for name, content in contents.items():
            self.file(name, content)
        out, _ = self.run_tool("build", *SENDER, "--attach", *contents)
        parts = email.message_from_bytes(out, policy=email.policy.default).get_payload()
        self.assertEqual({part.get_filename(): part.get_payload(decode=True) for part in parts}, contents)
        self.assertRegex(out, rb'filename="latin.txt"\r\nContent-Transfer-Encoding: base64\r\nContent-Type: application/octet')
        self.assertLess(max(map(len, out.split(b"\r\n"))), 79)

    def test_attached_message_is_not_encoded(self):
        self.file("eight.eml", "Subject: x\n\nGrüße\n".encode())
        self.file("wide.eml", b"Subject: x\n\n" + b"x" * 999)
        head, body = self.build("--attach", "eight.eml")
        self.assertIn(b'Encoding: 8bit\r\nContent-Type: message/rfc822; name="eight.eml"\r\n\r\nSubject: x\r\n\r\n' +
                      "Grüße\r\n".encode(), body)
        self.assertIn(b"Content-Transfer-Encoding: 8bit\r\n", head)
        self.assertIn(b"Encoding: base64\r\nContent-Type: application/octet-stream;", self.build("--attach", "wide.eml")[1])

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
