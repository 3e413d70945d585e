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


def message(body):
    return HEADER + multipart(part(body, b"Content-Type: text/plain", b"Content-Transfer-Encoding: 8bit"))


class Case(case.Case):
    """Signs, and has openssl verify."""

    def sign(self, content, signer="rsa.p12"):
        """Signs these bytes; returns the path of the signed message."""
        target = self.home / "signed.eml"
        self.run_tool("sign", self.file("content.eml", content), "--signer", KEYS / signer,
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
        content = message(b"Pay 100 Euro.\r\n")
        for signer in SIGNERS:
            with self.subTest(signer):
                signed = self.sign(content, signer)
                self.assertEqual(self.verify(signed), content)
                self.assertEqual(self.verify(signed, "smime"), content)
                changed = signed.read_bytes().replace(b"100", b"900", 1)
                self.assertIsNone(self.verify(self.file("changed.eml", changed)))

    def test_every_content_verifies(self):
        contents = [
            message(b".\r\n..\r\n.x\r\na  \r\n\t\r\n\r\n \r\n--\r\n--x\r\n--cu\r\nFrom x\r\n"),
            message("Grüße\r\n".encode() + b"\xff\x80\r\n"),
            message(b"x\r\n").removesuffix(b"\r\n"),
            message(b"x\r\n") + b"\r\n\r\n",
            message(b"x" * 100_000 + b"\r\n" + b"0123456789abcdef\r\n" * 500_000),
        ]
        for content in contents:
            with self.subTest(content[:300]):
                self.assertTrue(self.verify(self.sign(content)) == content)
        # A byte-order mark and line ends in front are not signed.
        self.assertEqual(self.verify(self.sign(b"\xef\xbb\xbf\r\n" + contents[0])), contents[0])


if __name__ == "__main__":
    unittest.main()
