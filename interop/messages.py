"""Messages that `kivmime` makes, and what must be found in them: fixed ones with everything that
mail programs are known to trip over, and seeded random ones of the same pieces."""

import email
import random
import subprocess

WORDS = ["a", "word", "Grüße", "東京", "😀", "=?x?=", '"quoted"', "back\\slash", "(x)", "100%", "it's", "a;b,c",
         "a  b", ".", "nospaceatall" * 4, "Größe " * 12, "w" * 90, "_", "=", "*"]
PIECES = ["text ", "Grüße", "\n", "\n", "\r\n", "\r", " \n", "\t\n", ".\n", "From x\n", "=3D", "x" * 998, "averylongword" * 90,
          "\ufeff", "<p>"]
FILE_NAMES = ["plain", "note.txt", "with spaces.txt", "semi;colon, comma.txt", 'quo"te\\back.txt', "per%20cent.txt",
              "it's*star.txt", ".hidden", "trailing space ", "Grüße & mehr.txt", "東京.txt", "😀.png", "a = b.txt", "what?",
              "long ascii name " * 12 + ".txt", "nospaceatall" * 20 + ".txt", "Größe " * 30 + ".pdf", "東京" * 40 + ".pdf"]
MAILBOXES = [("", "bo@example.net"), ("Admin", "root@example.net"), ("Mary Ann Lee", "lee@example.net"),
             ("Smith, Jane (x)", "jane@example.net"), ('A "B" \\ C', "abc@example.net"), ("東京タワー", "t@example.net"),
             ("Sehr langer Name für eine Person " * 5 + "!", "long@example.net")]
TYPES = {"txt": "text/plain", "png": "image/png", "pdf": "application/pdf", "eml": "message/rfc822"}
PATTERNS = [bytes(range(256)) * 50, b"", b"no line end", b"a\nb\n\n", b"a\rb\r", b"\r\n\r\r\n\n", b"l" * 10000 + b" \n", b"x" * 998 + b"\n.",
            b".\n..\nFrom x\n>From x\n--\n-- \n --\n", b"=\n=3D\n=20", b"a \nb\t\n "]
CARRIED = b"Subject: x\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
OCTETS = "application/octet-stream"


def entity(depth, kind, body=None, charset="", name=""):
    found = {"depth": depth, "type": kind, "charset": charset, "fileName": name, "name": name}
    return found if body is None else found | {"body": body.hex()}


def mailbox(name, address):
    quoted = name.replace("\\", "\\\\").replace('"', '\\"')
    return f'"{quoted}" <{address}>' if name else address


def as_text(content):
    """A text as build encodes it: without a byte-order mark in front, lines ended by CR LF."""
    content = content.removeprefix("\ufeff").replace("\r\n", "\n").replace("\r", "\n").replace("\n", "\r\n")
    return content.encode(), "us-ascii" if content.isascii() else "utf-8"


class Maker:
    def __init__(self, program, folder, seed=20261):
        self.program, self.folder, self.random = program, folder, random.Random(seed)

    def join(self, pieces, most, separator=""):
        return separator.join(self.random.choices(pieces, k=self.random.randrange(most)))

    def build(self, name, subject, sender, recipients, text, page, files):
        """The message's path, and what must be found in it."""
        home = self.folder / name
        home.mkdir()
        for file, content in {"\u00b7text": text.encode(), "\u00b7page": page.encode(), **files}.items():
            (home / file).write_bytes(content)
        path = self.folder / f"{name}.eml"
        subprocess.run([self.program, "build", "--seed", "7", "-o", path, "--from", mailbox(*sender), "--subject", subject,
                        "--to", ", ".join(mailbox(*one) for one in recipients), "--text", home / "\u00b7text",
                        "--html", home / "\u00b7page", *(["--attach", *[home / file for file in files]] if files else [])],
                       check=True)
        depth = 1 if files else 0
        entities = ([entity(0, "multipart/mixed")] if files else []) + [entity(depth, "multipart/alternative")]
        for kind, content in (("text/plain", text), ("text/html", page)):
            entities.append(entity(depth + 1, kind, *as_text(content)))
        for file, content in files.items():
            kind = TYPES.get(file.rpartition(".")[2], OCTETS) if "." in file else OCTETS
            charset = "us-ascii" if kind == "text/plain" and content.isascii() else ""
            is_message = file.endswith(".eml")
            entities.append(entity(1, kind, None if is_message else content, charset, file.rpartition("\\")[2]))
            if is_message:
                entities.append(entity(2, "text/plain", content.removeprefix(CARRIED), "utf-8"))
        return path, {"subject": subject, "from": [list(sender)], "to": [list(one) for one in recipients],
                      "entities": entities}

    def make_patterns(self):
        """Bytes that trip programs up, in every place that takes some; last the message's own boundary lines."""
        for number, pattern in enumerate([*PATTERNS, None]):
            if pattern is None:
                parts = email.message_from_bytes(path.read_bytes()).walk()
                boundaries = [part.get_boundary().encode() for part in parts if part.get_boundary()]
                pattern = b"".join(b"--%b\n\nx\n--%b--\n--%bx\n" % (one, one, one) for one in boundaries)
            text = pattern.decode("latin-1")
            files = {"a.bin": pattern, "a.txt": pattern, "b.bin": b"\n" + pattern}
            if text.isascii() and "\r" not in text and len(text) < 999:
                files["a.eml"] = CARRIED + as_text(text)[0]
            path, found = self.build(f"pattern_{number}", "x", MAILBOXES[0], MAILBOXES[:1], text, text, files)
            yield f"pattern_{number}", path, found

    def make_all(self, count):
        """Name, path and what must be found."""
        every_text = "".join(PIECES)
        yield "fields", *self.build("fields", " ".join(WORDS), MAILBOXES[1], MAILBOXES, every_text, "", {})
        files = {name: b"the file " + str(i).encode() for i, name in enumerate(FILE_NAMES)}
        files |= {"all bytes.bin": bytes(range(256)) * 2, "empty.txt": b"", "dots.txt": b".\r\nFrom x\r\n" + b"l" * 999}
        yield "files", *self.build("files", "several words " * 40 + "end", MAILBOXES[6], MAILBOXES[:1], ".\n..\n", "x" * 1500, files)
        yield from self.make_patterns()
        for i in range(count):
            names = {self.join(WORDS, 6, " ").replace("/", "")[:60] + f"{k}.bin": self.random.randbytes(30) for k in range(4)}
            yield f"random_{i}", *self.build(
                f"random_{i}", self.join(WORDS, 30, " ") + "!", self.random.choice(MAILBOXES), self.random.choices(MAILBOXES, k=3),
                self.join(PIECES, 30), self.join(PIECES, 30), names)
