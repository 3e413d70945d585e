"""Keys as PEM, and what is said when signing fails, in the words of POSIX systems."""

import unittest

from case import multipart, part
from sign_test import KEYS, PASS, Case, message


class SignPosix(Case):
    def test_streams_and_pass_files(self):
        content = message(b"x\r\n")
        crlf = self.file("crlf", PASS.read_bytes().strip() + b"\r\nno\n")
        for arguments in (["--signer", KEYS / "rsa.p12", "--pass-file", PASS], ["--signer", KEYS / "rsa.pem"],
                          ["--signer", KEYS / "rsa.p12", "--pass-file", crlf]):
            signed, _ = self.run_tool("sign", "-", "-o", "-", *arguments, given=content)
            self.assertEqual(self.verify(self.file("stream.eml", signed)), content)

    def test_failures(self):
        content = self.file("content.eml", message(b"x\r\n"))
        locked = [content, "--signer", KEYS / "rsa.p12", "--pass-file"]
        plain = ["--signer", KEYS / "rsa.pem"]
        wrong = rb"rsa.p12: Could not create message signature: The pass phrase is not the right one\n$"
        self.check_refusals([(str(errors), ["sign", "-o", "out.eml", *arguments], status, errors) for arguments, status, errors in [
            ([content], 2, rb"--signer"),
            ([*locked, KEYS / "text.pem"], 1, wrong),
            ([content, "--signer", "none.pem"], 1, rb"none.pem: .*No such file or folder\n$"),
            ([*locked, "none"], 1, rb"kivmime: none: "),
            ([*locked, self.file("nul", b"a\0b\n")], 1, rb"nul: the pass phrase has a NUL\n$"),
            ([*locked, self.file("long", b"x" * 5000)], 1, rb"too long\n$"),
            ([self.file("mbox.eml", b"From x\r\n" + message(b"x\r\n")), *plain], 1, rb"begins with an mbox line\n$"),
            ([self.file("bare.eml", multipart(part(b"x"))), *plain], 1, rb"has no header field besides"),
            ([self.file("lf.eml", message(b"a\nb\r\n")), *plain], 1, rb"has a line that does not end in CR LF\n$"),
            ([self.file("zero.eml", message(b"x\r\n") + b"\0"), *plain], 1, rb"its text holds a NUL byte\n$"),
        ]])
        self.assertFalse((self.home / "out.eml").exists())


if __name__ == "__main__":
    unittest.main()
