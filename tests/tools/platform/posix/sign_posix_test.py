"""Keys as PEM, streams and files with a pass phrase."""

import unittest

from sign_test import HEADER, KEYS, PASS, Case, content


class SignPosix(Case):
    def test_streams_and_pass_files(self):
        text = content(b"x\r\n")
        crlf = self.file("crlf", PASS.read_bytes().strip() + b"\r\nno\n")
        for arguments in (["--signer", KEYS / "rsa.p12", "--pass-file", PASS], ["--signer", KEYS / "rsa.pem"],
                          ["--signer", KEYS / "rsa.p12", "--pass-file", crlf]):
            signed, _ = self.run_tool("sign", "-", "-o", "-", *arguments, given=HEADER + text)
            self.assertEqual(self.verify(self.file("stream.eml", signed)), text)


if __name__ == "__main__":
    unittest.main()
