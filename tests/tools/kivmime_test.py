"""The commands of kivmime that read messages."""

import json
import os
import unittest

from case import CUT_SHORT, EMULATOR, NO_SUCH_FILE, SAMPLES, Case, multipart, named, part

NESTED = SAMPLES / "nested.eml"


def deep(depth):
    """A message of so many multiparts, each in the one before it, around one text."""
    head = "".join(f"Content-Type: multipart/mixed; boundary=b{i}z\r\n\r\n--b{i}z\r\n" for i in range(depth))
    tail = "".join(f"\r\n--b{i}z--\r\n" for i in reversed(range(depth)))
    return f"{head}\r\nhi{tail}".encode()


class Show(Case):
    def test_tree_deeper_than_the_stack(self):
        path = self.file("deep.eml", deep(100_000))
        entities = json.loads(self.run_tool("show", path, "--json", "--strict")[0])["entities"]
        self.assertEqual(entities[-1]["depth"], 100_000)
        self.run_tool("rewrite", path, "-o", "again.eml", "--strict")
        self.assertEqual(list(self.bodies("again.eml", entities[-1]["index"], "--strict").values()), [b"hi"])
        self.assertIn(b"limit reached: more than 256 levels", self.run_tool("show", path, status=1)[1])


class Escaping(Case):
    # What a terminal might obey: controls, DEL, C1 as UTF-8, direction changes; and no UTF-8 at all.
    NASTY = b"\x1b]0_x\x07\x7f\xc2\x9b\xe2\x80\xae\xe2\x81\xa6\xe2\x80\xa8\x9b\xff\n\x08"
    SHOWN = rb"\x1B]0_x\x07\x7F\u009B\u202E\u2066\u2028\x9B\xFF\x0A\x08"

    def assert_harmless(self, text):
        self.assertNotRegex(text.decode("utf-8"), "[\x00-\x09\x0b-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]")

    def test_nothing_of_a_message_reaches_the_terminal_raw(self):
        nasty = self.NASTY
        path = self.file("nasty.eml", multipart(
            part(b"x", b"Content-Type: text/" + nasty + b"; n" + nasty + b"=" + nasty, b"X-" + nasty + b": " + nasty,
                 b'Content-Disposition: attachment; filename="' + nasty + b'"')))
        for arguments in (["show"], ["show", "--headers"], ["show", "--headers", "--json"], ["text"]):
            self.assert_harmless(self.run_tool(*arguments, path)[0])
            if arguments == ["text"]:
                continue
            strict, _ = self.run_tool(*arguments, "--strict", path)
            self.assert_harmless(strict)
            self.assertEqual(b"text/" + self.SHOWN in strict, arguments in (["show"], ["show", "--headers"]))

    def test_messages_about_a_message_are_short(self):
        message = multipart(part(self.NASTY * 1000, b"Content-Transfer-Encoding: base64"))
        _, errors = self.run_tool("show", "--strict", "-", given=message, status=1)
        self.assert_harmless(errors)
        self.assertIn(self.SHOWN, errors)
        self.assertLess(len(errors), 4000)


class Extract(Case):
    def test_no_name_leads_out_of_the_folder(self):
        names = [b"../../etc/passwd", b"/etc/passwd", b"..", b".", b"a/b/c", b"..\\..\\x", b"C:\\x", b"CON",
                 b"nul.txt", b".profile", b"", b" ", b"n" * 300 + b".txt", b"\xff\xfe", b"caf\xc3\xa9", b"-rf"]
        message = self.file("names.eml", multipart(*[named(name, b"body %d" % i) for i, name in enumerate(names)]))
        before = sorted(os.listdir(self.home))
        self.run_tool("extract", message, "-d", "out")
        self.assertEqual(sorted(os.listdir(self.home)), sorted(before + ["out"]))
        written = list((self.home / "out").iterdir())
        self.assertEqual({path.read_bytes() for path in written}, {b"body %d" % i for i in range(len(names))})
        for path in written:
            self.assertNotRegex(path.name, r"^\.|^con$|^nul\.|[\\:]")

    def test_what_is_there_stays(self):
        out = self.home / "out"
        (out / "folder").mkdir(parents=True)
        (out / "taken").write_bytes(b"mine")
        names = [b"taken", b"folder", b"twice.txt", b"twice.txt"]
        printed, _ = self.run_tool("extract", "-", "-d", "out", given=multipart(*map(named, names)))
        self.assertEqual(printed.decode().splitlines(),
                         ["1.1  out/taken-2", "1.2  out/folder-2", "1.3  out/twice.txt", "1.4  out/twice-2.txt"])
        self.assertEqual((out / "taken").read_bytes(), b"mine")

    def test_part(self):
        cases = [
            ([], ["invitation.eml", "minutes.txt", "part-1.1.1.txt", "part-1.1.2.1.html", "part-1.1.2.2.png",
                  "part-1.3.1.txt"]),
            (["1.3"], ["invitation.eml", "part-1.3.1.txt"]),
            (["1.1.2"], ["part-1.1.2.1.html", "part-1.1.2.2.png"]),
            (["@6"], ["part-1.1.2.2.png"]),
        ]
        for options, want in cases:
            self.assertEqual(sorted(self.bodies(NESTED, *options)), want)


class Rewrite(Case):
    MESSAGES = [
        b"", b"\r\nonly text\r\n", b"Subject: x", b"Subject: x\r\n\r\nbody without an end of line",
        b"\xef\xbb\xbf\r\n\r\nFrom a@b\r\nReceived: by one;\r\n\tthen\r\nReceived: by two\r\nno-value:\r\n" + multipart(
            part(b"=3d=\r\n=2D-cut--", b"Content-Transfer-Encoding: quoted-printable"),
            part(b"AA\r\n!EC\r\n\r\n", b"Content-Transfer-Encoding: base64"), part(b"\xff\x00 ends in a CR\r")),
        multipart(part(b"never closed"))[:-len(b"\r\n--cut--\r\n")],
    ]

    def test_no_byte_changes(self):
        for message in [*(sample.read_bytes() for sample in sorted(SAMPLES.glob("*.eml"))), *self.MESSAGES]:
            # Under Wine a program takes long to start.
            for text in {message, message if EMULATOR else message.replace(b"\r\n", b"\n")}:
                with self.subTest(text[:200]):
                    self.assertEqual(self.run_tool("rewrite", self.file("source.eml", text), "-o", "-")[0], text)

    def test_separate_content_type(self):
        body, given = SAMPLES / "separate_body.txt", "multipart/form-data; boundary=upload-7781"
        first = self.bodies(body, "--content-type", given)
        self.assertEqual(first["part-1.1.txt"].decode(), "Läufer im Regen")
        printed, _ = self.run_tool("rewrite", body, "--content-type", given, "--body", "-o", "again")
        self.assertTrue((self.home / "again").read_bytes().startswith(b"--upload-7781\r\n"))
        self.assertEqual(self.bodies("again", "--content-type", printed.decode().rstrip("\n")), first)
        encoded = part(b"dHdv", b"Content-Transfer-Encoding: base64")
        self.run_tool("rewrite", body, "--content-type", given, "-o", "again")
        self.assertEqual(self.bodies("again"), first)
        _, errors = self.run_tool("rewrite", "-", "--body", "-o", "again", given=encoded, status=1)
        self.assertIn(b"the body is base64", errors)

    def test_failure_leaves_the_old_file_and_no_bodies(self):
        old = self.file("old.eml", b"old")
        before = sorted(os.listdir(self.home))
        later = multipart(part(b"stored"), part(b"?", b"Content-Transfer-Encoding: x"))
        for given, options in [(CUT_SHORT, ["--strict"]), (later, ["--strict"]), (deep(300), [])]:
            for name in ("old.eml", "new.eml"):
                self.run_tool("rewrite", "-", "-o", name, *options, given=given, status=1)
            self.run_tool("show", "-", *options, given=given, status=1)
            self.assertEqual(old.read_bytes(), b"old")
            self.assertEqual(sorted(os.listdir(self.home)), before)
        self.environment["TMPDIR"] = str(self.home / "none")
        self.assertRegex(self.run_tool("rewrite", "-", "-o", "-", status=1)[1], NO_SUCH_FILE)
        for arguments in (["show"], ["show", "--strict"], ["text"], ["lint"], ["extract", "-o", "-"]):
            self.run_tool(*arguments, "-", given=multipart(part(b"x")) if "-o" not in arguments else b"\r\nx")


if __name__ == "__main__":
    unittest.main()
