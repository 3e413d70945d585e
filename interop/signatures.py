"""Has gpgsm verify what kivmime signs: accepted as it is, refused after a byte of the text has changed.

    signatures.py KIVMIME KEYS FOLDER

KIVMIME is the command-line host, KEYS the folder that make_keys.sh made, FOLDER an empty folder to work in.
"""

import email
import os
import subprocess
import sys
from pathlib import Path

HEADER = b"From: Ada <ada@example.com>\r\nSubject: Pond\r\n"
CONTENT = (b"Content-Type: text/plain; charset=utf-8\r\n"
           b"Content-Transfer-Encoding: 8bit\r\n\r\n.\r\n.dots\r\nwhite space  \r\n\t\r\nGr\xc3\xbc\xc3\x9fe\r\n--x\r\n")
SIGNERS = ["rsa.pem", "rsa.p12", "pss.pem", "ec.pem", "ec.p12"]


def run(*command):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True).stdout


def accepts(folder, signature, content):
    (folder / "signature").write_bytes(signature)
    (folder / "content").write_bytes(content)
    command = ["gpgsm", "--batch", "--verify", folder / "signature", folder / "content"]
    return subprocess.run(command, check=False, capture_output=True).returncode == 0


def main():
    kivmime, keys, folder = map(Path, sys.argv[1:])
    home = folder / "gnupg"
    home.mkdir(mode=0o700)
    os.environ["GNUPGHOME"] = str(home)
    (home / "gpgsm.conf").write_text("disable-crl-checks\n")
    fingerprint = run("openssl", "x509", "-in", keys / "root.pem", "-noout", "-fingerprint", "-sha1").decode()
    (home / "trustlist.txt").write_text(fingerprint.split("=")[1].strip() + " S relax\n")
    run("gpgsm", "--batch", "--import", keys / "root.pem")
    failed = False
    (folder / "content.eml").write_bytes(HEADER + CONTENT)
    for signer in SIGNERS:
        text = run(kivmime, "sign", folder / "content.eml", "--signer", keys / signer, "--pass-file", keys / "pass", "-o", "-")
        message = email.message_from_bytes(text)
        delimiter = b"\r\n--" + message.get_boundary().encode()
        content = text.split(delimiter + b"\r\n")[1]
        signature = message.get_payload()[1].get_payload(decode=True)
        right = [content == CONTENT, accepts(folder, signature, content),
                 not accepts(folder, signature, content.replace(b"white space  ", b"white spaces "))]
        failed |= not all(right)
        print(f"gpgsm, {signer}: {'accepted, and refused when changed' if all(right) else f'WRONG {right}'}")
    subprocess.run(["gpgconf", "--kill", "all"], check=False)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
