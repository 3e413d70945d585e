"""What the program kivmime owes to POSIX systems: pipes, devices, links, permissions, signals."""

import base64
import os
import pty
import signal
import stat
import subprocess
import threading
import time
import unittest

from case import CUT_SHORT, PROGRAM, SAMPLES, Case, multipart, named, part


class Streams(Case):
    def test_output_that_takes_nothing(self):
        closed_pipe, writer = os.pipe()
        os.close(closed_pipe)
        for why, arguments in [("table", ["show"]), ("JSON", ["show", "--json"]),
                               ("message", ["rewrite", "-o", "-"]), ("names", ["extract", "-d", "d"])]:
            for stream, reason in [(os.open("/dev/full", os.O_WRONLY), b"No space"), (writer, b"Broken pipe")]:
                with self.subTest(why, reason=reason):
                    _, errors = self.run_tool(*arguments, SAMPLES / "nested.eml", stdout=stream, status=1)
                    self.assertIn(b"standard output: " + reason, errors)

    def test_closed_streams_are_not_mistaken_for_files(self):
        command = 'exec "$0" extract "$1" -d d <&- >&- 2>&-'
        shell = subprocess.run(["sh", "-c", command, PROGRAM, SAMPLES / "encodings.eml"],
                               cwd=self.home, env=self.environment, check=False)
        self.assertEqual(shell.returncode, 1)
        self.assertEqual((self.home / "d" / "eight.txt").read_bytes(), "Grüße, naïve façade, 東京\r\n".encode())

    def write_pipe(self, name, *arguments):
        """What the program writes to a new pipe of that name. It must fit into the pipe at once."""
        pipe = self.home / name
        os.mkfifo(pipe)
        # Opened first and without waiting: a program that dies early leaves an empty pipe, not a
        # reader that waits for ever.
        with open(os.open(pipe, os.O_RDONLY | os.O_NONBLOCK), "rb") as reader:
            self.run_tool(*arguments)
            written = reader.read()
        self.assertTrue(stat.S_ISFIFO(pipe.lstat().st_mode))
        return written

    def test_a_pipe_is_attached(self):
        source = self.home / "in.bin"
        os.mkfifo(source)
        threading.Thread(target=lambda: source.write_bytes(b"from a pipe\n"), daemon=True).start()
        written = self.write_pipe("out", "build", "--from", "a@b", "--text", "-", "--attach", "in.bin", "-o", "out")
        self.assertIn(b"filename=in.bin", written)
        self.assertIn(base64.b64encode(b"from a pipe\n"), written)

    def test_progress_on_a_terminal(self):
        many = self.file("many.eml", b"Subject: x\r\n\r\n" + b"text\r\n" * 1_000_000)
        terminal, side = pty.openpty()
        process = self.start("rewrite", many, "-o", "-", stderr=side)
        time.sleep(1.2)  # its output waits that long
        self.assertEqual(process.communicate()[0], many.read_bytes())
        self.assertRegex(os.read(terminal, 1000), rb"\r\d+ MB written.*\r +\r")


class Files(Case):
    def test_extracting_leaves_links_alone(self):
        outside = self.file("outside", b"mine")
        out = self.home / "out"
        out.mkdir()
        (out / "link").symlink_to(outside)
        (out / "dangling").symlink_to(self.home / "nothing")
        printed, _ = self.run_tool("extract", "-", "-d", "out", given=multipart(named(b"link"), named(b"dangling")))
        self.assertEqual(printed.decode().splitlines(), ["1.1  out/link-2", "1.2  out/dangling-2"])
        self.assertEqual(outside.read_bytes(), b"mine")
        self.assertFalse((self.home / "nothing").exists())

    def test_rewriting_keeps_a_link_and_permissions(self):
        source = SAMPLES / "nested.eml"
        message = self.file("message.eml", source.read_bytes())
        message.chmod(0o640)
        (self.home / "link").symlink_to(message)
        self.run_tool("rewrite", "link", "-o", "link")
        self.assertEqual(self.bodies(message), self.bodies(source))
        self.assertEqual(stat.S_IMODE(message.stat().st_mode), 0o640)
        self.assertTrue((self.home / "link").is_symlink())

    def test_bodies_are_their_owners_alone(self):
        self.run_tool("extract", SAMPLES / "nested.eml", "-d", "out")
        self.assertEqual({stat.S_IMODE(path.lstat().st_mode) for path in (self.home / "out").iterdir()}, {0o600})


class Interrupt(Case):
    SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)

    def wait_for_work(self, process, folder, pattern):
        """Waits until the program has made a file of that name."""
        for _ in range(2000):
            if process.poll() is not None or any(folder.glob(pattern)):
                return
            time.sleep(0.005)
        self.fail("the program does not start to work")

    def test_while_input_is_slow(self):
        for number in self.SIGNALS:
            with self.subTest(number.name):
                process = self.start("rewrite", "-", "-o", "out")
                process.stdin.write(CUT_SHORT)
                process.stdin.flush()
                self.wait_for_work(process, self.temp, "*/stream*")
                process.send_signal(number)
                process.wait()  # before its input ends
                process.communicate()
                self.assertEqual(process.returncode, -number)
                self.assertEqual(os.listdir(self.temp), [])

    def test_while_bodies_are_written(self):
        many = self.file("many.eml", multipart(*[part(b"x")] * 30_000))
        with open(self.home / "big", "wb") as big:
            big.truncate(1 << 30)
        for number in self.SIGNALS:
            out = self.home / number.name
            for arguments, folder, pattern in [
                    (["rewrite", "--strict", many, "-o", "out"], self.temp, "*/mimeio-*"),
                    (["build", "--from", "a@b", "--attach", "big", "-o", "out"], self.home, ".kivmime-*"),
                    (["extract", many, "-d", out], out, "*")]:
                with self.subTest(arguments[0] + " " + number.name):
                    process = self.start(*arguments)
                    self.wait_for_work(process, folder, pattern)
                    process.send_signal(number)
                    _, errors = process.communicate()
                    self.assertEqual((process.returncode, errors), (-number, b""))
                    self.assertEqual(os.listdir(self.temp), [])
                    self.assertEqual(list(self.home.glob("*out")) + list(self.home.glob(".*")), [])
            self.assertLessEqual({path.read_bytes() for path in out.iterdir()}, {b"x"}, "incomplete files")


if __name__ == "__main__":
    unittest.main()
