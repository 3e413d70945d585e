"""Mail as it travels: kivmime rewrite, text and lint, run as a user runs them.

Python's email package, which shares nothing with the library, is the judge of what rewrite wrote.
"""

import email
import email.policy
import json
import unittest

from kivmime_test import NO_SUCH_FILE, SAMPLES, Case, multipart, named, part

BOM = b"\xef\xbb\xbf"
QP = b"Content-Transfer-Encoding: quoted-printable"


def lines(text):
    """The text with LF line ends, as mail is stored on many systems."""
    return text.replace(b"\r\n", b"\n")


class RewriteMail(Case):
    HEADER = (b"Received: by one;\r\n\tThu, 1 Jan 1970 00:00:00 +0000\r\nReceived: by two\r\n"
              b"From: =?iso-8859-1?q?J=F6rg?= <j@example.net>\r\nno-value:\r\n")
    MESSAGES = {
        "single part": HEADER + b"\r\nbody without an end of line",
        "only a header block": b"Subject: x",
        "no header block": b"\r\nonly text\r\n",
        "children": HEADER + multipart(
            part(b"=EF=BB=BFmark\r\n=2D-cut--\r\n" + b"=2D-" + b"x" * 72 + b"=20\r\nlone =0A and =0D", QP),
            part(b"=" + b"EF=BB=BF=" * 3 + b"\r\n" + (b"y" * 74 + b"=\r\n") * 2000, QP),
            part(b"AAEC\r\nAwQ=\r\n\r\n", b"Content-Transfer-Encoding: base64"),
            part(b"\xff\x00 ends in a CR\r", b"Content-Transfer-Encoding: 8bit", b"X: 1", b"X: 2"),
            part(b"begin 644 x\r\n#86)C\r\n`\r\nend", b"Content-Transfer-Encoding: x-uuencode"),
            part(b""), b"\r\n"),
        "around the children": HEADER + multipart(
            b"Content-Type: multipart/mixed; boundary=in\r\n\r\nbefore\r\n\r\n--in\r\n\r\n--in--\r\n\r\nbehind",
            b"Content-Type: multipart/mixed; boundary=in\r\n\r\n--in\r\n--in--\r\n",
            b"Content-Type: multipart/mixed; boundary=none\r\n\r\nno delimiter") + b"epilogue\r\n",
        "a message": multipart(b"Content-Type: message/rfc822\r\n\r\nSubject: inner\r\n" +
                               multipart(part(b"text"), named(b"=?utf-8?q?=C3=A9?=.txt"))),
        "never closed": multipart(part(b"a"))[:-len(b"\r\n--cut--\r\n")],
    }

    def bodies_of(self, text):
        """Header fields and decoded bodies as Python reads them."""
        found = []
        for entity in email.message_from_bytes(text, policy=email.policy.compat32).walk():
            body = None if entity.is_multipart() else entity.get_payload(decode=True)
            fields = [(name, str(value)) for name, value in entity.items()]
            found.append((fields, body, (entity.preamble or "").strip(), (entity.epilogue or "").strip()))
        return found

    def test_nothing_is_lost(self):
        for name, message in self.MESSAGES.items():
            for ending, text in (("CR LF", message), ("LF", lines(message))):
                with self.subTest(name, ending=ending):
                    source = self.file("source.eml", text)
                    self.run_tool("rewrite", source, "-o", "again.eml")
                    again = (self.home / "again.eml").read_bytes()
                    show = ("--json", "--headers")
                    want, have = (json.loads(self.run_tool("show", each, *show)[0])["entities"]
                                  for each in (source, "again.eml"))
                    self.assertEqual(have, want)
                    self.assertEqual(self.bodies("again.eml"), self.bodies(source))
                    # A delimiter that follows another at once is no entity here, and one for Python.
                    if name != "around the children":
                        self.assertEqual(self.bodies_of(again), self.bodies_of(text))
                    self.assertEqual(self.run_tool("rewrite", "again.eml", "-o", "-")[0], again)
                    self.assertLessEqual(max(map(len, again.splitlines())), 78)

    def test_content_type_apart(self):
        given = "multipart/mixed;\r\n\tboundary=cut"
        body = multipart(part(b"one"), part(b"dHdv", b"Content-Transfer-Encoding: base64")).partition(b"\r\n\r\n")[2]
        source = self.file("body", lines(body))
        printed, _ = self.run_tool("rewrite", source, "--content-type", given, "--body", "-o", "again")
        self.assertEqual(printed.split(), [b"multipart/mixed;", b"boundary=cut"])
        self.assertEqual((self.home / "again").read_bytes(), lines(body))
        self.assertEqual(sorted(self.bodies("again", "--content-type", given).values()), [b"one", b"two"])
        encoded = part(b"dHdv", b"Content-Transfer-Encoding: base64")
        _, errors = self.run_tool("rewrite", "-", "--body", "-o", "again", given=encoded, status=1)
        self.assertIn(b"the body is base64", errors)


class Text(Case):
    def test_what_is_printed(self):
        html = (b"<head><title>t</title><style>p{}</style></head><!-- <p>no -->A &amp; B&#x2713;<p>1 &lt 2<br>x"
                b"<script>if (a < b) alert()</script>\r\n  y &#27;[0m")
        html_text = "A & B\u2713\n\n1 &lt 2\nx y \\x1B[0m\n"
        plain, page = b"Content-Type: text/plain", b"Content-Type: text/html"
        related = b"Content-Type: multipart/related; boundary=in\r\n\r\n--in\r\n" + part(html, page) + b"\r\n--in\r\n" + \
            named(b"dot.png") + b"\r\n--in--\r\n"

        def alternative(*forms):
            return multipart(*forms).replace(b"multipart/mixed", b"multipart/alternative")

        cases = [
            # why, message, text
            ("fields", b"Subject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\nDate: today\nFrom: a@b.example\n\nx",
             "From: a@b.example\nDate: today\nSubject: Grüße\n\nx\n"),
            ("charset", part(b"f\xfcr", plain + b"; charset=iso-8859-1"), "für\n"),
            ("no charset, UTF-8", part(b"f\xc3\xbcr"), "für\n"),
            ("no charset, something", part(b"f\xfcr"), "f\ufffdr\n"),
            ("unknown charset", part(b"\x81\x82", plain + b"; charset=klingon"),
             '[1: text/plain, 2 bytes: unknown character set "klingon"]\n'),
            ("flowed", part(b"one \r\ntwo\r\n> a \r\n> b\r\n", plain + b"; format=Flowed"), "one two\n> a b\n"),
            ("controls", part(b"\x1b[31mred\x07\tx\xc2\x9b\r\n\xe2\x80\xaey"), "\\x1B[31mred\\x07\tx\\u009B\n\\u202Ey\n"),
            ("another form", alternative(related.replace(b"attachment", b"inline"), part(b"plain", plain)), "plain\n"),
            ("HTML alone", part(html, page), html_text),
            ("alternative", alternative(part(b"plain", plain), part(html, page)), "plain\n"),
            ("alternative in another", alternative(alternative(part(b"x", page), part(b"plain", plain)), related),
             'plain\n\n[1.2.2: text/plain, "dot.png", 1 bytes]\n'),
            ("no plain alternative", alternative(related, named(b"a.ics")),
             html_text + '\n[1.1.2: text/plain, "dot.png", 1 bytes]\n\n[1.2: text/plain, "a.ics", 1 bytes]\n'),
            ("a message", multipart(part(b"see"), part(b"Subject: s\r\n\r\nin", b"Content-Type: message/rfc822")),
             "see\n\n[1.2.1: a message]\nSubject: s\n\nin\n"),
        ]
        for why, message, text in cases:
            with self.subTest(why):
                self.assertEqual(self.run_tool("text", "-", given=message)[0].decode(), text)


class Lint(Case):
    def test_report(self):
        clean = (SAMPLES / "nested.eml").read_bytes()
        message = (b"From a@b.example Thu Jan  1 00:00:00 1970\n" +
                   lines(multipart(part(b"x"), part(b"!!!!", b"Content-Transfer-Encoding: base64"))))
        place = message.index(b"!!!!")
        self.assertEqual(self.run_tool("lint", "-", given=clean)[0], b"")
        out, _ = self.run_tool("lint", "-", given=message, status=1)
        self.assertEqual(out.decode().splitlines(), [
            '-:0: 1: harmless: an mbox "From " line stands before the message',
            "-:42: 1: harmless: a line ends in LF alone",
            f"-:{place}: 1.2: ambiguous: characters outside the alphabet in a base64 body"])
        report = json.loads(self.run_tool("lint", "-", "--json", given=message, status=1)[0])
        self.assertEqual([report["file"], report["worst"], report["omitted"], report["failure"]], ["-", "ambiguous", 0, None])
        self.assertEqual(report["deviations"][2], {
            "kind": "base64Rubbish", "severity": "ambiguous", "offset": place, "index": "1.2",
            "text": "characters outside the alphabet in a base64 body"})

    def test_not_readable(self):
        cases = [
            ("strict", [], b"Subject: x\r\n\r\nbody", "boundary missing", 14),
            ("type apart", ["--content-type", "text/plain"], b"x", "boundary missing", None),
        ]
        for why, options, message, reason, offset in cases:
            with self.subTest(why):
                out, errors = self.run_tool("lint", "-", "--strict", *options, given=message, status=3)
                self.assertEqual(errors.decode(), f"kivmime: standard input: {reason}\n")
                if offset is not None:
                    self.assertEqual(out.decode(), f"-:{offset}: 1: failure: {reason}\n")
                report = json.loads(self.run_tool("lint", "-", "--strict", "--json", *options, given=message, status=3)[0])
                self.assertEqual(report["failure"]["text"], reason)
        self.assertRegex(self.run_tool("lint", "none", status=3)[1], NO_SUCH_FILE)

    def test_offsets_count_the_body_that_travelled_apart(self):
        body = b"--cut\r\n\r\nx\r\n--cut--\n"
        out, _ = self.run_tool("lint", "-", "--content-type", "multipart/mixed; boundary=cut", "--json",
                               given=body.replace(b"x", b"\r\n--cut tail"), status=1)
        self.assertEqual(json.loads(out)["deviations"][0]["offset"], 11)


if __name__ == "__main__":
    unittest.main()
