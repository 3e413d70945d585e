"""Signs messages with the program kivmime, and has the openssl program verify them.

KIVMIME_KEYS names the folder of throw-away keys that make_keys.sh made.
"""

import os
import subprocess
import unittest
from pathlib import Path

import case
from case import EMULATOR, multipart, part

KEYS = Path(os.environ["KIVMIME_KEYS"])
PASS = KEYS / "pass"
HEADER = b"From: Ada <ada@example.com>\r\nTo: bob@example.com\r\nSubject: Pond\r\n"

# Each kind of key in each form.
SIGNERS = [name + form for name in ("rsa", "pss", "ec") for form in (".pem", "-locked.pem", ".p12")]
SIGNERS += ["rsa-old-locked.pem", "rsa-legacy.p12", "rsa-nomac.p12", "rsa-plainkey.p12", "unrestricted.p12"]
if EMULATOR:  # Windows reads PKCS#12 only, and Wine imports RSA keys only
    SIGNERS = ["rsa.p12", "rsa-legacy.p12", "rsa-nomac.p12", "unrestricted.p12"]


def content(body):
    """What is signed of a message: its Content- fields and its body."""
    return multipart(part(body, b"Content-Type: text/plain", b"Content-Transfer-Encoding: 8bit"))


class Case(case.Case):
    """Signs, and has openssl verify."""

    def sign(self, signed, signer="rsa.p12"):
        """Signs a message with this content; returns its path."""
        target = self.home / "signed.eml"
        self.run_tool("sign", self.file("content.eml", HEADER + signed), "--signer", KEYS / signer,
                      "--pass-file", PASS, "-o", target)
        return target

    def verify(self, path, program="cms"):
        """The text that openssl finds signed; None when it refuses."""
        out = self.home / "verified"
        out.unlink(missing_ok=True)
        done = subprocess.run(["openssl", program, "-verify", "-in", path, "-out", out,
                               "-CAfile", KEYS / "root.pem"], capture_output=True, check=False)
        return out.read_bytes() if done.returncode == 0 else None


class Sign(Case):
    def test_every_kind_of_key_verifies(self):
        text = content(b"Pay 100 Euro.\r\n")
        for signer in SIGNERS:
            with self.subTest(signer):
                signed = self.sign(text, signer)
                self.assertEqual(self.verify(signed), text)
                self.assertEqual(self.verify(signed, "smime"), text)
                changed = signed.read_bytes().replace(b"100", b"900", 1)
                self.assertIsNone(self.verify(self.file("changed.eml", changed)))

    def test_every_content_verifies(self):
        contents = [
            content(b".\r\n..\r\n.x\r\na  \r\n\t\r\n\r\n \r\n--\r\n--x\r\n--cu\r\nFrom x\r\n"),
            content("Grüße\r\n".encode() + b"\xff\x80\r\n"),
            content(b"x\r\n").removesuffix(b"\r\n"),
            content(b"x\r\n") + b"\r\n\r\n",
            content(b"x" * 100_000 + b"\r\n" + b"0123456789abcdef\r\n" * 500_000),
        ]
        for text in contents:
            with self.subTest(text[:300]):
                self.assertTrue(self.verify(self.sign(text)) == text)


if __name__ == "__main__":
    unittest.main()
