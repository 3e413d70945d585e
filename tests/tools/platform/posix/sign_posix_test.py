"""Keys as PEM, and what is said when signing fails, in the words of POSIX systems."""

import unittest

from kivmime_test import multipart, part
from sign_test import KEYS, PASS, Case, message


class SignPosix(Case):
    def test_streams_and_pass_files(self):
        content = message(b"x\r\n")
        cases = [
            ("streams", ["-", "--pass-file", PASS, "-o", "-"], "rsa.p12"),
            ("a line end of Windows", ["-", "--pass-file", self.file("crlf", PASS.read_bytes().strip() + b"\r\nno\n"),
                                       "-o", "-"], "rsa.p12"),
            ("no pass phrase", ["-", "-o", "-"], "rsa.pem"),
        ]
        for why, arguments, signer in cases:
            with self.subTest(why):
                signed, _ = self.run_tool("sign", *arguments, "--signer", KEYS / signer, given=content)
                self.assertEqual(self.verify(self.file("stream.eml", signed)), content)

    def test_failures(self):
        content = self.file("content.eml", message(b"x\r\n"))
        cases = [
            # why, arguments, exit status, what standard error holds
            ("no key given", [content], 2, rb"--signer"),
            ("wrong pass phrase", [content, "--signer", KEYS / "rsa.p12", "--pass-file", KEYS / "text.pem"], 1,
             rb"rsa.p12: Could not create message signature: The pass phrase is not the right one\n$"),
            ("no pass phrase for a locked key", [content, "--signer", KEYS / "rsa-locked.pem"], 1, rb"pass phrase is not"),
            ("expired", [content, "--signer", KEYS / "expired.pem"], 1, rb"has expired or is not valid yet\n$"),
            ("missing key", [content, "--signer", "none.pem"], 1, rb"none.pem: .*No such file or folder\n$"),
            ("missing pass file", [content, "--signer", KEYS / "rsa.p12", "--pass-file", "none"], 1, rb"kivmime: none: "),
            ("a NUL in the pass phrase", [content, "--signer", KEYS / "rsa.p12", "--pass-file", self.file("nul", b"a\0b\n")],
             1, rb"nul: the pass phrase has a NUL\n$"),
            ("a huge pass phrase", [content, "--signer", KEYS / "rsa.p12", "--pass-file", "/dev/zero"], 1, rb"has a NUL"),
            ("a long pass phrase", [content, "--signer", KEYS / "rsa.p12", "--pass-file", self.file("long", b"x" * 5000)],
             1, rb"too long\n$"),
            ("an mbox line", [self.file("mbox.eml", b"From x\r\n" + message(b"x\r\n")), "--signer", KEYS / "rsa.pem"], 1,
             rb"mbox.eml: begins with an mbox line\n$"),
            ("only Content- fields", [self.file("bare.eml", multipart(part(b"x"))), "--signer", KEYS / "rsa.pem"], 1,
             rb"bare.eml: has no header field besides"),
            ("a lone line feed", [self.file("lf.eml", message(b"a\nb\r\n")), "--signer", KEYS / "rsa.pem"], 1,
             rb"lf.eml: has a line that does not end in CR LF\n$"),
            ("a NUL", [self.file("zero.eml", message(b"x\r\n") + b"\0"), "--signer", KEYS / "rsa.pem"], 1,
             rb"its text holds a NUL byte\n$"),
            ("nowhere to write", [content, "--signer", KEYS / "rsa.pem", "-o", "no/folder"], 1, rb"no/folder: "),
        ]
        for why, arguments, status, errors in cases:
            with self.subTest(why):
                target = [] if "-o" in arguments else ["-o", self.home / "out.eml"]
                out, said = self.run_tool("sign", *arguments, *target, status=status)
                self.assertRegex(said, errors)
                self.assertEqual(out, b"")
                self.assertFalse((self.home / "out.eml").exists())


if __name__ == "__main__":
    unittest.main()
