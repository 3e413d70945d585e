"""Runs the program kivmime as a user does and looks at what it prints, writes and leaves behind.

KIVMIME names the program, KIVMIME_SAMPLES the folder of sample messages. A program for Windows runs
under Wine: KIVMIME_EMULATOR starts it, and KIVMIME_WITH_TEMP_FOLDER is a Windows program that gives it
its folder for temporary files.
"""

import json
import os
import shutil
import signal
import subprocess
import tempfile
import unittest
from pathlib import Path

PROGRAM = os.environ["KIVMIME"]
SAMPLES = Path(os.environ["KIVMIME_SAMPLES"])

EMULATOR = os.environ.get("KIVMIME_EMULATOR")
WITH_TEMP_FOLDER = os.environ.get("KIVMIME_WITH_TEMP_FOLDER")
# Windows has its own words, and Wine others than Windows.
NO_SUCH_FILE = rb"(No such file|(File|Path) not found|The system cannot find the)" if EMULATOR else rb"No such file"

SINGLE_PART = b"Subject: x\r\n\r\nbody"
# A second "From " line begins the body; without the first one it would be passed over.
CUT_SHORT = b"Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nthe end is missing"


def part(body, *fields):
    return b"".join(field + b"\r\n" for field in fields) + b"\r\n" + body


def multipart(*parts):
    """A message of these parts, each bytes with a header block of its own."""
    body = b"".join(b"--cut\r\n" + one + b"\r\n" for one in parts)
    return b"Content-Type: multipart/mixed; boundary=cut\r\n\r\n" + body + b"--cut--\r\n"


def deep(depth):
    """A message of so many multiparts, each in the one before it, around one text."""
    head = "".join(f"Content-Type: multipart/mixed; boundary=b{i}z\r\n\r\n--b{i}z\r\n" for i in range(depth))
    tail = "".join(f"\r\n--b{i}z--\r\n" for i in reversed(range(depth)))
    return f"{head}\r\nhi{tail}".encode()


def named(name, body=b"x"):
    """A part whose file name is these bytes."""
    return part(body, b'Content-Disposition: attachment; filename="' + name + b'"')


class Case(unittest.TestCase):
    """Gives each test an empty folder `home`. Its sub-folder `temp` is where the program makes its
    temporary files; after every run it must be empty again."""

    def setUp(self):
        self.home = Path(tempfile.mkdtemp(prefix="kivmime-test-"))
        self.addCleanup(shutil.rmtree, self.home)
        self.temp = self.home / "temp"
        self.temp.mkdir()
        self.environment = dict(os.environ, TMPDIR=str(self.temp))

    def start(self, *arguments, **options):
        """Starts the program with its signals as a terminal's user has them."""
        def reset_signals():
            for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
                signal.signal(number, signal.SIG_DFL)
        streams = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE,
                   "preexec_fn": reset_signals}
        environment = dict(self.environment)
        command = [PROGRAM]
        if EMULATOR:  # which would put files of its own into TMPDIR
            command = [EMULATOR, WITH_TEMP_FOLDER, environment.pop("TMPDIR"), PROGRAM]
        return subprocess.Popen([*command, *map(str, arguments)], cwd=self.home,
                                env=environment, **(streams | options))

    def run_tool(self, *arguments, given=b"", status=0, **options):
        """Runs the program; returns what it wrote to standard output and standard error."""
        process = self.start(*arguments, **options)
        out, errors = process.communicate(given)
        if EMULATOR:  # standard error is text there, standard output is not
            errors = errors.replace(b"\r\n", b"\n")
        self.assertEqual(process.returncode, status, errors)
        self.assertEqual(os.listdir(self.temp), [], "left in the temporary folder")
        return out, errors

    def file(self, name, content):
        path = self.home / name
        path.write_bytes(content)
        return path

    def bodies(self, message, *options):
        """The decoded bodies of a message, by file name."""
        folder = Path(tempfile.mkdtemp(dir=self.home))
        self.run_tool("extract", message, "-d", folder, *options)
        return {path.name: path.read_bytes() for path in folder.iterdir()}


class Usage(Case):
    def test_status_and_message(self):
        plain = self.file("plain.eml", SINGLE_PART)
        whole = SAMPLES / "nested.eml"
        cases = [
            # why, arguments, exit status, what standard error holds
            ("help", ["--help"], 0, rb"^$"),
            ("no subcommand", [], 2, rb"Usage: kivmime"),
            ("no file", ["show"], 2, rb"Usage: kivmime show"),
            ("unknown option", ["show", whole, "--colour"], 2, rb"--colour"),
            ("no folder", ["extract", whole], 2, rb"--directory"),
            ("no output", ["rewrite", whole], 2, rb"--output"),
            ("body and type on one stream", ["rewrite", whole, "--body", "-o", "-"], 2, rb"--body"),
            ("missing file", ["show", "none.eml"], 1, rb"^kivmime: none.eml: " + NO_SUCH_FILE + rb".*\n$"),
            ("a folder", ["show", "temp"], 1, rb"^kivmime: temp: "),
            ("the reader's message", ["show", plain, "--strict"], 1, rb"plain.eml: boundary missing\n$"),
            ("missing part", ["extract", whole, "1.10", "-d", "d"], 1, rb"no part 1.10\n$"),
            ("folder is a file", ["extract", whole, "-d", plain], 1, rb"plain.eml: "),
            ("nowhere to write", ["rewrite", whole, "-o", "no/folder"], 1, rb"^kivmime: no/folder: "),
        ]
        for why, arguments, status, errors in cases:
            with self.subTest(why):
                self.assertRegex(self.run_tool(*arguments, status=status)[1], errors)


class Show(Case):
    def test_table(self):
        out, _ = self.run_tool("show", SAMPLES / "nested.eml")
        self.assertEqual(out.decode().splitlines(), [
            "index    type                     encoding  size  file name",
            "1        multipart/mixed          -            -  -",
            "1.1        multipart/alternative  -            -  -",
            "1.1.1        text/plain           -           58  -",
            "1.1.2        multipart/related    -            -  -",
            "1.1.2.1        text/html          -           78  -",
            "1.1.2.2        image/png          base64      85  -",
            "1.2        text/plain             8bit        93  minutes.txt",
            "1.3        message/rfc822         -            -  invitation.eml",
            "1.3.1        text/plain           -           35  -",
        ])
        out, _ = self.run_tool("show", "--strict", SAMPLES / "nested.eml")
        self.assertIn("1.3        message/rfc822         -          131  invitation.eml", out.decode())

    def test_headers(self):
        out, _ = self.run_tool("show", "--headers", SAMPLES / "related_start.eml")
        self.assertIn(b"    Subject: The pond is open\n", out)
        self.assertIn(b'    Content-Disposition: inline; filename="dot.png"\n', out)
        self.assertNotRegex(out, rb'(?m): $|filename$', "what the reader added without a value")
        message = (b"Received: one;\n\ttoday\nSubject: =?utf-8?q?Gr=C3=BC=C3=9Fe?=\nReceived: two\n"
                   b"Content-Type: text/plain; name*=utf-8''gr%C3%BCn.txt\n\nbody\n")
        out, _ = self.run_tool("show", "--headers", "-", given=message)
        self.assertEqual(out.decode().splitlines()[1:], [
            "1      text/plain  -            5  grün.txt", "    Received: one;\\x09today".replace("\\\\", "\\"),
            "    Subject: Grüße", "    Received: two", '    Content-Type: text/plain; name="grün.txt"'])

    def test_json(self):
        message = multipart(named(b"caf\xc3\xa9 \x9b.txt", b"12345"), part(b"y"))
        out, _ = self.run_tool("show", "-", "--json", "--headers", given=message)
        shown = json.loads(out)
        self.assertEqual(shown["file"], "-")
        top, first, second = shown["entities"]
        self.assertEqual([top["index"], top["parent"], top["depth"], top["size"]], ["1", None, 0, None])
        self.assertEqual([first["index"], first["parent"], first["depth"], first["size"]], ["1.1", 0, 1, 5])
        self.assertEqual(first["fileName"], "caf\u00e9 \ufffd.txt")
        self.assertEqual(top["headers"], [{"name": "Content-Type", "value": "multipart/mixed",
                                           "parameters": [{"name": "boundary", "value": "cut"}]}])
        self.assertEqual([second["type"], second["transferEncoding"], second["fileName"]], [None] * 3)

    def test_tree_deeper_than_the_stack(self):
        depth = 100_000
        path = self.file("deep.eml", deep(depth))
        entities = json.loads(self.run_tool("show", path, "--json", "--strict")[0])["entities"]
        self.assertEqual([len(entities), entities[-1]["depth"]], [depth + 1, depth])
        index = entities[-1]["index"]
        self.assertEqual(list(self.bodies(path, index, "--strict").values()), [b"hi"])
        self.run_tool("rewrite", path, "-o", "again.eml", "--strict")
        self.assertEqual(list(self.bodies("again.eml", "--strict").values()), [b"hi"])
        _, errors = self.run_tool("show", path, status=1)
        self.assertIn(b"limit reached: more than 256 levels", errors)


class Escaping(Case):
    # What a terminal might obey: controls, DEL, C1 as UTF-8, direction changes; and no UTF-8 at all.
    NASTY = b"\x1b]0_x\x07\x7f\xc2\x9b\xe2\x80\xae\xe2\x81\xa6\xe2\x80\xa8\x9b\xff\n\x08"
    SHOWN = rb"\x1B]0_x\x07\x7F\u009B\u202E\u2066\u2028\x9B\xFF\x0A\x08"

    def assert_harmless(self, text):
        text = text.decode("utf-8")
        self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]")

    def test_nothing_of_a_message_reaches_the_terminal_raw(self):
        nasty = self.NASTY
        message = multipart(
            part(b"x", b"Content-Type: text/" + nasty + b"; n" + nasty + b"=" + nasty,
                 b"X-" + nasty + b": caf\xc3\xa9 " + nasty,
                 b'Content-Disposition: attachment; filename="' + nasty + b'"'))
        path = self.file("nasty.eml", message)
        for arguments in (["show"], ["show", "--headers"], ["show", "--headers", "--json"], ["text"]):
            for strict in ([], ["--strict"]):
                with self.subTest(arguments, strict=strict):
                    out, _ = self.run_tool(*arguments, *strict, path)
                    self.assert_harmless(out)
                    if strict and arguments[0] == "show" and "--json" not in arguments:
                        self.assertIn(b"text/" + self.SHOWN, out)
                    if strict and arguments == ["show", "--headers"]:
                        self.assertIn("café ".encode(), out)

    def test_messages_about_a_message(self):
        cases = [
            ("header line", b"A: 1\r\n" + self.NASTY + b"\r\n\r\n"),
            ("transfer encoding", b"Content-Transfer-Encoding: " + self.NASTY + b"\r\n\r\nbody"),
            ("base64 text", multipart(part(self.NASTY * 1000, b"Content-Transfer-Encoding: base64"))),
        ]
        for why, message in cases:
            with self.subTest(why):
                _, errors = self.run_tool("show", "--strict", "-", given=message, status=1)
                self.assert_harmless(errors)
                self.assertIn(self.SHOWN, errors)
                self.assertEqual(errors.count(b"\n"), 1)
                self.assertLess(len(errors), 4000)

    def test_names_from_the_command_line(self):
        for arguments, status in [(["show", "a\x1bb"], 1), (["show", "x", "--a\x1bb"], 2), (["type", "a\x1bb"], 1)]:
            with self.subTest(arguments):
                _, errors = self.run_tool(*arguments, status=status)
                self.assert_harmless(errors)
                self.assertIn(rb"a\x1Bb", errors)


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
        message = SAMPLES / "nested.eml"
        cases = [
            ("all", [], ["invitation.eml", "minutes.txt", "part-1.1.1.txt", "part-1.1.2.1.html", "part-1.1.2.2.png",
                         "part-1.3.1.txt"]),
            ("a message and what is in it", ["1.3"], ["invitation.eml", "part-1.3.1.txt"]),
            ("one body", ["1.2"], ["minutes.txt"]),
            ("what is below", ["1.1.2"], ["part-1.1.2.1.html", "part-1.1.2.2.png"]),
            ("by position", ["@6"], ["part-1.1.2.2.png"]),
        ]
        for why, options, want in cases:
            with self.subTest(why):
                self.assertEqual(sorted(self.bodies(message, *options)), want)

    def test_every_transfer_encoding(self):
        bodies = self.bodies(SAMPLES / "encodings.eml")
        self.assertEqual(bodies["seven.txt"], b"Plain ASCII, lines as they are.\r\nSecond line.\r\n")
        self.assertEqual(bodies["binary.dat"][:45], bytes(range(32)) + b"\r\n--parcel-5:")
        self.assertIn("Crème fraîche;1=50\r\n".encode(), bodies["table.csv"])
        self.assertEqual(bodies["dot.png"][:8], b"\x89PNG\r\n\x1a\n")


class Rewrite(Case):
    def test_bodies_come_back(self):
        samples = sorted(SAMPLES.glob("*.eml"))
        self.assertGreater(len(samples), 3)
        for sample in samples:
            with self.subTest(sample.name):
                self.run_tool("rewrite", sample, "-o", "again.eml")
                self.assertEqual(self.bodies("again.eml"), self.bodies(sample))
                printed, _ = self.run_tool("rewrite", sample, "-o", "-")
                self.assertEqual(printed, (self.home / "again.eml").read_bytes())

    def test_separate_content_type(self):
        body, given = SAMPLES / "separate_body.txt", "multipart/form-data; boundary=upload-7781"
        first = self.bodies(body, "--content-type", given)
        self.assertEqual(first["part-1.1.txt"].decode(), "Läufer im Regen")
        printed, _ = self.run_tool("rewrite", body, "--content-type", given, "--body", "-o", "again")
        self.assertTrue((self.home / "again").read_bytes().startswith(b"--upload-7781\r\n"))
        self.assertEqual(self.bodies("again", "--content-type", printed.decode().rstrip("\n")), first)

    def test_output_and_input_are_one_file(self):
        source = SAMPLES / "nested.eml"
        message = self.file("message.eml", source.read_bytes())
        self.run_tool("rewrite", "message.eml", "-o", "message.eml")
        self.assertEqual(self.bodies(message), self.bodies(source))

    def test_failure_leaves_the_old_file(self):
        old = self.file("old.eml", b"old")
        before = sorted(os.listdir(self.home))
        for why, given, options in [("single part", SINGLE_PART, ["--strict"]), ("cut short", CUT_SHORT, ["--strict"]),
                                    ("past a limit", deep(300), [])]:
            with self.subTest(why):
                self.run_tool("rewrite", "-", "-o", "old.eml", *options, given=given, status=1)
                self.run_tool("rewrite", "-", "-o", "new.eml", *options, given=given, status=1)
                self.assertEqual(old.read_bytes(), b"old")
                self.assertEqual(sorted(os.listdir(self.home)), before)

class Types(Case):
    def test_both_directions(self):
        out, errors = self.run_tool("type", "png", ".PDF", "my.photo.jpg", "Text/HTML", "no-such", status=1)
        self.assertEqual(out.decode().splitlines(),
                         ["png  image/png", ".PDF  application/pdf", "my.photo.jpg  image/jpeg", "Text/HTML  html"])
        self.assertEqual(errors, b"kivmime: no-such: not known\n")


class LeftBehind(Case):
    def test_bodies_of_a_failed_read(self):
        # Bodies are stored before the failure shows, and the reader forgets the one it is at.
        for why, message in [("cut short", CUT_SHORT),
                             ("later part", multipart(part(b"stored"), part(b"?", b"Content-Transfer-Encoding: x")))]:
            for command in (["show"], ["extract", "-d", "out"], ["rewrite", "-o", "out.eml"]):
                with self.subTest(why, command=command):
                    self.run_tool(*command, "--strict", "-", given=message, status=1)

    def test_no_temporary_folder(self):
        self.environment["TMPDIR"] = str(self.home / "none")
        _, errors = self.run_tool("show", SAMPLES / "nested.eml", status=1)
        self.assertRegex(errors, NO_SUCH_FILE)


if __name__ == "__main__":
    unittest.main()
