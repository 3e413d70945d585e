"""Edits signed messages with kivmime, and has the programs that signed them verify them afterwards.

    edits.py KIVMIME KEYS FOLDER

KIVMIME is the command-line host, KEYS the folder that make_keys.sh made, FOLDER an empty folder to work in.
S/MIME by kivmime and OpenSSL, OpenPGP by GnuPG, DKIM by dkimpy. What was changed elsewhere must leave a
signature valid and without a word; what breaks it must be said, and found by those programs too.
"""

import os
import subprocess
import sys
from pathlib import Path

import dkim

TEXT = b"Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n.\n-- \nGr\xc3\xbc\xc3\x9fe  \n\t\n"
ELSEWHERE = [["--add-field", "X-Filter: cleaned"], ["--set-field", "Subject: Grüße"], ["--remove-field", "X-Old"]]
BESIDE = [["--replace-part", "1.2={file}"], ["--remove-part", "1.2"], ["--attach", "{file}"]]
INSIDE = [["--remove-part", "{signed}.1"], ["--replace-part", "{signed}.1={file}"]]


def run(*command, check=True):
    return subprocess.run([str(part) for part in command], check=check, capture_output=True)


def is_smime(keys, path):
    return run("openssl", "cms", "-verify", "-in", path, "-CAfile", keys / "root.pem", "-out", "/dev/null",
               check=False).returncode == 0


def is_pgp(_, path):
    head, _, body = path.read_bytes().partition(b"\n--sig")
    content, signature = [part.partition(b"\n")[2] for part in body.split(b"\n--sig")[:2]]
    path.with_suffix(".asc").write_bytes(signature)
    path.with_suffix(".txt").write_bytes(content.removesuffix(b"\r"))
    return run("gpg", "--batch", "--verify", path.with_suffix(".asc"), path.with_suffix(".txt"), check=False).returncode == 0


class Signers:
    """Each signs TEXT and returns a multipart/signed with its fields."""

    def __init__(self, kivmime, keys, folder):
        self.kivmime, self.keys, self.folder = kivmime, keys, folder
        os.environ["GNUPGHOME"] = str(folder / "gnupg")
        (folder / "gnupg").mkdir(mode=0o700)
        run("gpg", "--batch", "--passphrase", "", "--quick-generate-key", "a@b.example", "ed25519", "sign", "never")

    def kivmime_smime(self):
        path = self.folder / "content.eml"
        path.write_bytes(b"X-Old: y\r\n" + TEXT.replace(b"\n", b"\r\n"))
        return run(self.kivmime, "sign", path, "--signer", self.keys / "rsa.pem", "--pass-file", self.keys / "pass", "-o", "-").stdout

    def openssl_smime(self, end):
        path = self.folder / "content.txt"
        path.write_bytes(TEXT)
        crlf = ["-crlfeol"] if end == b"\r\n" else []
        return b"X-Old: y" + end + run("openssl", "cms", "-sign", "-in", path, "-signer", self.keys / "rsa.pem", "-certfile",
                                       self.keys / "intermediate.pem", "-passin", f"file:{self.keys / 'pass'}", *crlf).stdout

    def gnupg(self, end):
        content = TEXT.replace(b"\n", end)
        path = self.folder / "content.txt"
        path.write_bytes(content)
        signature = run("gpg", "--batch", "--armor", "--detach-sign", "-o", "-", path).stdout.replace(b"\n", end)
        head = b'X-Old: y\nContent-Type: multipart/signed; boundary=sig;\n protocol="application/pgp-signature"\n\n--sig\n'
        between = b"\n--sig\nContent-Type: application/pgp-signature\n\n"
        return head.replace(b"\n", end) + content + between.replace(b"\n", end) + signature + end + b"--sig--" + end


class Check:
    def __init__(self, kivmime, keys, folder):
        self.kivmime, self.keys, self.folder, self.failed, self.count = kivmime, keys, folder, False, 0
        self.file = folder / "new.txt"
        self.file.write_text("new\n")

    def edit(self, name, message, change, verifies, breaks):
        """One edit; what is said, and what the signature is worth then."""
        (self.folder / "before.eml").write_bytes(message)
        done = run(self.kivmime, "edit", self.folder / "before.eml", "-o", self.folder / "after.eml", *change, check=False)
        right = [done.returncode == 0, verifies(self.folder / "after.eml") != breaks, (b"breaks" in done.stderr) == breaks]
        self.count += 1
        self.failed |= not all(right)
        if not all(right):
            print(f"WRONG {right}: {name}, {change}: {done.stderr.decode()}")

    def check_signed(self, name, message, end, verifies):
        def fill(changes, signed):
            return [[text.format(file=self.file, signed=signed) for text in change] for change in changes]

        def cut(path):
            """The multipart/signed inside the outer boundary lines."""
            part = path.with_suffix(".part")
            part.write_bytes(path.read_bytes().split(b"--outer" + end)[1].removesuffix(end))
            return verifies(self.keys, part)

        nested = end.join([b"Subject: x", b"X-Old: y", b"Content-Type: multipart/mixed; boundary=outer", b"", b"--outer", message,
                           b"--outer", b"", b"beside", b"--outer--", b""])
        for change in ELSEWHERE:
            self.edit(name, message, change, lambda path: verifies(self.keys, path), False)
        for change in fill(INSIDE, "1"):
            self.edit(name, message, change, lambda path: verifies(self.keys, path), True)
        for change in ELSEWHERE + fill(BESIDE, "1.1"):
            self.edit(f"{name}, nested", nested, change, cut, False)
        for change in fill(INSIDE, "1.1") + [["--footer", "f"]]:
            self.edit(f"{name}, nested", nested, change, cut, True)

    def check_dkim(self, folder, end):
        key = run("openssl", "genrsa", "-traditional", "2048").stdout
        (folder / "dkim.pem").write_bytes(key)
        public = b"".join(run("openssl", "rsa", "-in", folder / "dkim.pem", "-pubout").stdout.splitlines()[1:-1])
        message = b"From: a@b.example\nTo: c@d.example\nSubject: x\nX-Old: y\n" + TEXT
        message = message.replace(b"\n", end)
        fields = [b"from", b"to", b"subject", b"content-type"]
        signed = dkim.sign(message, b"s", b"b.example", key, include_headers=fields, linesep=end) + message

        def verifies(path):
            return dkim.verify(path.read_bytes(), dnsfunc=lambda name, timeout=0: b"v=DKIM1; p=" + public)

        for change, breaks in [(ELSEWHERE[0], False), (ELSEWHERE[2], False), (["--set-field", "X-Old: z"], False),
                               (ELSEWHERE[1], True), (["--footer", "f"], True), (["--attach", str(self.file)], True)]:
            self.edit("DKIM", signed, change, verifies, breaks)


def main():
    kivmime, keys, folder = map(Path, sys.argv[1:])
    check, signers = Check(kivmime, keys, folder), Signers(kivmime, keys, folder)
    for end in (b"\r\n", b"\n"):
        check.check_signed("S/MIME by openssl", signers.openssl_smime(end), end, is_smime)
        check.check_signed("OpenPGP by gpg", signers.gnupg(end), end, is_pgp)
        check.check_dkim(folder, end)
    check.check_signed("S/MIME by kivmime", signers.kivmime_smime(), b"\r\n", is_smime)
    print(f"{check.count} edits of signed messages, {'SOME WRONG' if check.failed else 'all signatures as they should be'}")
    subprocess.run(["gpgconf", "--kill", "all"], check=False)
    return 1 if check.failed else 0


if __name__ == "__main__":
    sys.exit(main())
