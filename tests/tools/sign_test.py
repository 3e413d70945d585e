"""Signs messages with the program kivmime, and has the openssl program verify them.

KIVMIME_KEYS names the folder of throw-away keys that make_keys.sh made.
"""

import email
import email.policy
import os
import subprocess
import unittest
from pathlib import Path

import kivmime_test
from kivmime_test import EMULATOR, multipart, part

KEYS = Path(os.environ["KIVMIME_KEYS"])
PASS = KEYS / "pass"
HEADER = b"From: Ada <ada@example.com>\r\nTo: bob@example.com\r\nSubject: Pond\r\n"

# Each kind of key in each form.
SIGNERS = [name + form for name in ("rsa", "pss", "ec") for form in (".pem", "-locked.pem", ".p12")]
SIGNERS += ["rsa-old-locked.pem", "rsa-legacy.p12", "rsa-nomac.p12", "unrestricted.p12"]
if EMULATOR:  # Windows reads PKCS#12 only, and Wine imports RSA keys only
    SIGNERS = ["rsa.p12", "rsa-legacy.p12", "rsa-nomac.p12", "unrestricted.p12"]


def message(body):
    return HEADER + multipart(part(body, b"Content-Type: text/plain", b"Content-Transfer-Encoding: 8bit"))


class Case(kivmime_test.Case):
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
        content = message(b"The pond is open.\r\n")
        for signer in SIGNERS:
            with self.subTest(signer):
                signed = self.sign(content, signer)
                self.assertEqual(self.verify(signed), content)
                self.assertEqual(self.verify(signed, "smime"), content)

    def test_every_content_verifies(self):
        cases = [
            ("dots", message(b".\r\n..\r\n.x\r\n")),
            ("white space at line ends, empty lines", message(b"a  \r\n\t\r\n\r\n \r\n")),
            ("8 bits", message("Grüße\r\n".encode() + b"\xff\x80\r\n")),
            ("lines like delimiters", message(b"--\r\n--x\r\n--cu\r\nFrom x\r\n")),
            ("a long line", message(b"x" * 100_000)),
            ("no line end at the end", message(b"x\r\n").removesuffix(b"\r\n")),
            ("line ends at the end", message(b"x\r\n") + b"\r\n\r\n"),
            ("50 MB", message(b"0123456789abcdef\r\n" * (50_000_000 // 18))),
        ]
        for why, content in cases:
            with self.subTest(why):
                self.assertTrue(self.verify(self.sign(content)) == content)

    def test_one_changed_byte_is_refused(self):
        content = message(b"Pay 100 Euro.\r\n")
        for signer in {"rsa.p12", "pss.p12", "ec.p12"}.intersection(SIGNERS):
            signed = self.sign(content, signer).read_bytes()
            start = signed.index(content)
            positions = {"first": 0, "header": len(HEADER) - 4, "body": content.index(b"100"),
                         "delimiter": content.index(b"--cut--"), "line end": content.index(b"\r\n--cut--") + 1,
                         "last": len(content) - 3}
            for where, position in positions.items():
                for program in ("cms", "smime"):
                    with self.subTest(signer, where=where, program=program):
                        changed = bytearray(signed)
                        changed[start + position] ^= 1
                        self.assertIsNone(self.verify(self.file("changed.eml", changed), program))
            self.assertEqual(self.verify(self.file("same.eml", signed)), content)

    def test_other_certificates_are_not_trusted(self):
        done = subprocess.run(["openssl", "cms", "-verify", "-in", self.sign(message(b"x"))],
                              capture_output=True, check=False)
        self.assertNotEqual(done.returncode, 0)

    def test_structure_as_python_reads_it(self):
        content = message("Grüße\r\n".encode())
        read = email.message_from_bytes(self.sign(content).read_bytes(), policy=email.policy.default)
        self.assertEqual(read.get_content_type(), "multipart/signed")
        self.assertEqual((read.get_param("protocol"), read.get_param("micalg")),
                         ("application/pkcs7-signature", "sha-256"))
        self.assertEqual(read.get_all("MIME-Version"), ["1.0"])
        self.assertEqual((read["From"], read["Subject"]), ("Ada <ada@example.com>", "Pond"))
        text, signature = read.get_payload()
        self.assertEqual((text["Subject"], text.get_content_type()), ("Pond", "multipart/mixed"))
        self.assertEqual(text.get_payload()[0].get_payload(decode=True), "Grüße\r\n".encode())
        self.assertEqual((signature.get_content_type(), signature.get_filename()),
                         ("application/pkcs7-signature", "smime.p7s"))
        self.assertEqual(signature.get_payload(decode=True)[:1], b"\x30")
        self.assertEqual((read.defects, text.defects, signature.defects), ([], [], []))

    def test_kivmime_reads_what_it_signed(self):
        out, _ = self.run_tool("show", self.sign(message(b"x\r\n")))
        self.assertRegex(out.decode(), r"1 +multipart/signed .*\n1.1 +multipart/mixed .*\n1.1.1 +text/plain .*\n"
                                       r"1.2 +application/(x-)?pkcs7-signature +base64 .* smime.p7s\n$")

    def test_byte_order_mark_and_line_ends_in_front_are_not_signed(self):
        content = message(b"x\r\n")
        self.assertEqual(self.verify(self.sign(b"\xef\xbb\xbf\r\n" + content)), content)


if __name__ == "__main__":
    unittest.main()
