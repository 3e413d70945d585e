"""What the tests of the program kivmime share: they run it as a user does and look at what it prints,
writes and leaves behind.

KIVMIME names the program, KIVMIME_SAMPLES the folder of sample messages. A program for Windows runs
under Wine: KIVMIME_EMULATOR starts it, and KIVMIME_WITH_TEMP_FOLDER is a Windows program that gives it
its folder for temporary files.
"""

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

# The exact rules store a body before they fail.
CUT_SHORT = b"Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nthe end is missing"


def part(body, *fields):
    return b"".join(field + b"\r\n" for field in fields) + b"\r\n" + body


def multipart(*parts):
    """A message of these parts, each bytes with a header block of its own."""
    body = b"".join(b"--cut\r\n" + one + b"\r\n" for one in parts)
    return b"Content-Type: multipart/mixed; boundary=cut\r\n\r\n" + body + b"--cut--\r\n"


def named(name, body=b"x"):
    """A part whose file name is these bytes."""
    return part(body, b'Content-Disposition: attachment; filename="' + name + b'"')


class Case(unittest.TestCase):
    """Gives each test an empty folder `home`. The program makes its temporary files in the folder
    `temp` in there, which must be empty again after every run."""

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
        for _ in range(3 if EMULATOR else 1):
            process = self.start(*arguments, **options)
            out, errors = process.communicate(given)
            # Now and then Wine fails to start a program: the second one, or the first without a word.
            if process.returncode == status or (process.returncode != 125 and (out or errors)):
                break
        if EMULATOR:  # standard error is text there, standard output is not
            errors = errors.replace(b"\r\n", b"\n")
        self.assertEqual(process.returncode, status, errors)
        self.assertEqual(os.listdir(self.temp), [], "left in the temporary folder")
        return out, errors

    def file(self, name, content):
        path = self.home / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return path

    def bodies(self, message, *options):
        """The decoded bodies of a message, by file name."""
        folder = Path(tempfile.mkdtemp(dir=self.home))
        self.run_tool("extract", message, "-d", folder, *options)
        return {path.name: path.read_bytes() for path in folder.iterdir()}
