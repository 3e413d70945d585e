"""Has GMime, with gpgsm, verify what kivmime signs.

    signatures.py KIVMIME VERIFIER READER KEYS FOLDER

KIVMIME is the command-line host, VERIFIER the program interop_gmime_verify, READER interop_gmime, KEYS
the folder that make_keys.sh made, FOLDER an empty folder to work in. The status is 0 when every
signature is accepted, and refused after a byte of the text was changed.
"""

import json
import os
import subprocess
import sys
from pathlib import Path

# GMime writes the signed part anew before it verifies, so the text ends as GMime ends a multipart.
CONTENT = (b"From: Ada <ada@example.com>\r\nTo: bob@example.com\r\nSubject: Pond\r\n"
           b"Content-Type: multipart/mixed; boundary=cut\r\n\r\n"
           b"--cut\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
           b".\r\n.dots\r\nwhite space  \r\n\t\r\nGr\xc3\xbc\xc3\x9fe\r\n"
           b"--cut\r\nContent-Type: application/octet-stream\r\nContent-Transfer-Encoding: base64\r\n"
           b"Content-Disposition: attachment; filename=x.bin\r\n\r\nAAEC\r\n"
           b"--cut--\r\n")
SIGNERS = ["rsa.pem", "rsa.p12", "pss.pem", "ec.pem", "ec.p12"]


def run(*command):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True).stdout


class Trust:
    """A home folder of GnuPG that trusts the root certificate and nothing else."""

    def __init__(self, folder, root):
        home = folder / "gnupg"
        home.mkdir(mode=0o700)
        os.environ["GNUPGHOME"] = str(home)
        (home / "gpgsm.conf").write_text("disable-crl-checks\n")
        fingerprint = run("openssl", "x509", "-in", root, "-noout", "-fingerprint", "-sha1").decode()
        (home / "trustlist.txt").write_text(fingerprint.split("=")[1].strip() + " S relax\n")
        run("gpgsm", "--batch", "--import", root)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        subprocess.run(["gpgconf", "--kill", "all"], check=False)


def verdict(verifier, path):
    done = subprocess.run([verifier, path], check=False, capture_output=True, text=True)
    return done.stdout.strip()


def check(kivmime, verifier, reader, keys, folder, signer):
    """The differences for one signer."""
    content, signed, changed = folder / "content.eml", folder / "signed.eml", folder / "changed.eml"
    content.write_bytes(CONTENT)
    run(kivmime, "sign", content, "--signer", keys / signer, "--pass-file", keys / "pass", "-o", signed)
    changed.write_bytes(signed.read_bytes().replace(b"white space  ", b"white spaces "))
    found = [(entity["depth"], entity["type"]) for entity in json.loads(run(reader, signed))["entities"]]
    expected = [(0, "multipart/signed"), (1, "multipart/mixed"), (2, "text/plain"),
                (2, "application/octet-stream"), (1, "application/pkcs7-signature")]
    if found != expected:
        yield f"structure is {found}"
    if (accepted := verdict(verifier, signed)) != "good":
        yield f"refused: {accepted}"
    if (refused := verdict(verifier, changed)) != "not good":
        yield f"a changed text gives {refused!r}"


def main():
    kivmime, verifier, reader, keys, folder = map(Path, sys.argv[1:])
    failed = False
    with Trust(folder, keys / "root.pem"):
        for signer in SIGNERS:
            differences = list(check(kivmime, verifier, reader, keys, folder, signer))
            failed = failed or bool(differences)
            print(f"GMime and gpgsm, {signer}: {'; '.join(differences) or 'accepted, and refused when changed'}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
