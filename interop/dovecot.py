"""Dovecot's IMAP server, run for one mailbox on its standard input and output: no port, no service."""

import email.header
import email.utils
import imaplib
import os
import re
import shlex
import shutil
import tempfile
from pathlib import Path

PROGRAM = Path("/usr/lib/dovecot/imap")
TOKEN = re.compile(rb'\(|\)|"((?:[^"\\]|\\.)*)"|([^\s()"]+)', re.DOTALL)


def parse(pieces):
    """An IMAP response as nested lists; NIL is None. A piece that is a tuple ends in a literal."""
    stack = [[]]
    for piece in pieces:
        text, literal = piece if isinstance(piece, tuple) else (piece, None)
        if literal is not None:
            text = text[:text.rindex(b"{")]
        for match in TOKEN.finditer(text):
            if match[0] == b"(":
                stack.append([])
            elif match[0] == b")":
                done = stack.pop()
                stack[-1].append(done)
            elif match[1] is not None:
                stack[-1].append(re.sub(rb"\\(.)", rb"\1", match[1], flags=re.DOTALL).decode())
            else:
                stack[-1].append(None if match[2] == b"NIL" else match[2].decode())
        if literal is not None:
            stack[-1].append(literal.decode("latin-1"))
    return stack[0]


def decode_words(text):
    return str(email.header.make_header(email.header.decode_header(text or "")))


def parameters(pairs):
    """A parameter list with its RFC 2231 and encoded-word forms decoded: Dovecot passes them on."""
    listed = [("", "")] + list(zip((pairs or [])[::2], (pairs or [])[1::2]))
    decoded = {}
    # decode_params puts quotes around values, with escapes.
    for name, value in email.utils.decode_params(listed)[1:]:
        if isinstance(value, tuple):
            charset, _, text = value
            decoded[name] = email.utils.unquote(text).encode("latin-1").decode(charset)
        else:
            decoded[name] = decode_words(email.utils.unquote(value))
    return decoded


def mailboxes(listed):
    return [[decode_words(name), f"{local}@{domain}"] for name, _, local, domain in listed or []]


class DovecotReader:
    """Structure from BODYSTRUCTURE, bodies from BINARY (RFC 3516), fields from ENVELOPE."""

    name = "Dovecot"

    def __init__(self):
        self.home = Path(tempfile.mkdtemp(prefix="kivmime-interop-"))
        for folder in ("cur", "new", "tmp"):
            (self.home / "Maildir" / folder).mkdir(parents=True)
        (self.home / "dovecot.conf").write_text(
            f"protocols = imap\nbase_dir = {self.home}/run\nstate_dir = {self.home}/state\n"
            f"log_path = {self.home}/log\nmail_location = maildir:{self.home}/Maildir\n"
            "first_valid_uid = 1\nssl = no\n")

    def close(self):
        shutil.rmtree(self.home)

    def start(self):
        """It refuses to serve root's mail."""
        user = "nobody" if os.getuid() == 0 else str(os.getuid())
        command = ["env", f"USER={user}", f"HOME={self.home}", str(PROGRAM), "-c", str(self.home / "dovecot.conf")]
        if os.getuid() == 0:
            for path in (self.home, *self.home.rglob("*")):
                shutil.chown(path, "nobody", "nogroup")
            command = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", *command]
        return imaplib.IMAP4_stream(f"{shlex.join(command)} 2>>{shlex.quote(str(self.home))}/errors")

    def read(self, path):
        for old in self.home.glob("Maildir/cur/*"):
            old.unlink()
        shutil.copy(path, self.home / "Maildir" / "new" / path.stem)
        with self.start() as server:
            server.select()
            structure, envelope = (parse(server.fetch("1", f"({what})")[1])[1][1] for what in ("BODYSTRUCTURE", "ENVELOPE"))
            entities = []
            self.walk(server, structure, "", 0, entities)
        return {"subject": decode_words(envelope[1]), "from": mailboxes(envelope[2]),
                "to": mailboxes(envelope[5]), "entities": entities}

    def walk(self, server, structure, section, depth, entities):
        if isinstance(structure[0], list):
            children = [one for one in structure if isinstance(one, list)]
            count = next(i for i, one in enumerate(structure) if not isinstance(one, list))
            entities.append({"depth": depth, "type": f"multipart/{structure[count]}", "charset": "",
                             "fileName": "", "name": ""})
            for place, child in enumerate(children[:count], 1):
                self.walk(server, child, f"{section}.{place}".lstrip("."), depth + 1, entities)
            return
        section = section or "1"
        kind = f"{structure[0]}/{structure[1]}"
        given = parameters(structure[2])
        # After the fields of every part come lines for a text, and for a message two more before them.
        is_message = kind == "message/rfc822"
        disposition = structure[8 + (structure[0] == "text") + 3 * is_message]
        shown = parameters(disposition[1]) if disposition else {}
        found = {"depth": depth, "type": kind, "charset": given.get("charset", ""),
                 "fileName": shown.get("filename", ""), "name": given.get("name", "")}
        entities.append(found if is_message else found | {"body": self.body(server, section)})
        if is_message:
            self.walk(server, structure[8], f"{section}.1", depth + 1, entities)

    @staticmethod
    def body(server, section):
        _, data = server.fetch("1", f"(BINARY.PEEK[{section}])")
        piece = data[0]
        # A literal, or for a body without bytes an empty quoted string.
        return piece[1].hex() if isinstance(piece, tuple) else ""
