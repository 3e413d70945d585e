"""Messages made with `kivmime build`, and what must be found in them."""

import subprocess


def text(value):
    """A body as a reader must find it: text with CR LF line ends."""
    return value.replace("\n", "\r\n").encode().hex()


def entity(depth, kind, body=None, charset="", name=""):
    found = {"depth": depth, "type": kind, "charset": charset, "fileName": name, "name": name}
    return found if body is None else found | {"body": body}


class Builder:
    """Writes the files that a message is made of, and runs the program."""

    def __init__(self, program, folder, message):
        self.program = program
        self.message = folder / f"{message}.eml"
        self.folder = folder / message
        self.folder.mkdir()

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def run(self, *arguments):
        subprocess.run([self.program, "build", "--seed", "7", "-o", self.message, *arguments], check=True)


def one_text(program, folder):
    builder = Builder(program, folder, "build_text")
    plain = "\ufeffGruß\n.\nFrom here\nodd\rend"
    builder.run("--from", "Jürgen Groß <j@example.net>", "--subject", "Grüße =?x?=\r\nBcc: nobody@example.net",
                "--to", 'bo@example.net, "Lee, Ann (x)" <ann@example.net>', "--to", "東京 <t@example.net>",
                "--text", builder.file("text", plain))
    return {"subject": "Grüße =?x?=\r\nBcc: nobody@example.net",
            "from": [["Jürgen Groß", "j@example.net"]],
            "to": [["", "bo@example.net"], ["Lee, Ann (x)", "ann@example.net"], ["東京", "t@example.net"]],
            "entities": [entity(0, "text/plain", text(plain[1:]), "utf-8")]}


def files_of_every_kind(program, folder):
    builder = Builder(program, folder, "build_everything")
    page = "<p>Grüße <img src='cid:dot.png@inline.invalid'></p>\n"
    long_name = "Größe " * 30 + "Ende.pdf"
    attached = {
        "plain": b"no extension",
        "unix.txt": b"line\nline\n",
        "dos.txt": b".\r\nFrom x\r\n" + b"l" * 1000 + b"\r\n",
        "mark.txt": b"\xef\xbb\xbfwith a mark\r\n",
        "it's": b"an apostrophe",
        "what?": b"a question",
        "two words.bin": bytes(range(256)),
        "Grüße & mehr; 100%.txt": "Grüße\r\n".encode(),
        long_name: b"%PDF-1.7",
        "l" * 200 + ".gif": b"GIF89a",
        "empty.txt": b"",
    }
    kinds = {"plain": ("application/octet-stream", ""), "it's": ("application/octet-stream", ""),
             "what?": ("application/octet-stream", ""), "unix.txt": ("text/plain", "us-ascii"),
             "dos.txt": ("text/plain", "us-ascii"), "mark.txt": ("text/plain", "utf-8"),
             "two words.bin": ("application/octet-stream", ""),
             "Grüße & mehr; 100%.txt": ("text/plain", "utf-8"), long_name: ("application/pdf", ""),
             "l" * 200 + ".gif": ("image/gif", ""), "empty.txt": ("text/plain", "us-ascii")}
    builder.run("--from", "a@example.net", "--to", "b@example.net", "--subject", "everything",
                "--text", builder.file("text", "x" * 1500 + "\n"), "--html", builder.file("page", page),
                "--inline", builder.file("dot.png", b"\x89PNG"),
                "--attach", *[builder.file(name, content) for name, content in attached.items()])
    return {"subject": "everything", "from": [["", "a@example.net"]], "to": [["", "b@example.net"]],
            "entities": [
                entity(0, "multipart/mixed"),
                entity(1, "multipart/alternative"),
                entity(2, "text/plain", text("x" * 1500 + "\n"), "us-ascii"),
                entity(2, "multipart/related"),
                entity(3, "text/html", text(page), "utf-8"),
                entity(3, "image/png", b"\x89PNG".hex(), name="dot.png"),
                *[entity(1, kinds[name][0], content.hex(), kinds[name][1], name)
                  for name, content in attached.items()]]}


def attached_message(program, folder):
    builder = Builder(program, folder, "build_message_attached")
    builder.run("--from", "a@example.net", "--attach",
                builder.file("note.eml", "Subject: inner\nContent-Type: text/plain; charset=utf-8\n\nGrüße\n"))
    return {"subject": "", "from": [["", "a@example.net"]], "to": [],
            "entities": [entity(0, "multipart/mixed"), entity(1, "message/rfc822", name="note.eml"),
                         entity(2, "text/plain", text("Grüße\n"), "utf-8")]}


BUILT = {"build_text": one_text, "build_everything": files_of_every_kind,
         "build_message_attached": attached_message}
