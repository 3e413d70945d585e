"""What other programs read otherwise than it was put in, and why.

Each entry names the reader, the message and the fact, and turns what was put in into what this
reader may find instead. docs/interoperability.md explains each reason to users.
"""

import re


def _quoted(mailboxes):
    return [[name, f'"{address}"'] for name, address in mailboxes]


def _without_last_line_end(body):
    return body.removesuffix("0d0a")


def _with_spaces_between_encoded_words(mailboxes):
    """The long name of "fields" goes into four encoded words, which end at these places."""
    *others, (name, address) = mailboxes
    one = "Sehr langer Name für eine Person "
    assert name == (one * 6).rstrip()
    split = ("Sehr langer Name für eine Person Sehr langer Name für", " eine Person Sehr langer Name für "
             "eine Person Sehr langer ", "Name für eine Person Sehr langer Name für eine Person",
             " Sehr langer Name für eine Person")
    assert "".join(split) == name
    return [*others, [" ".join(split), address]]


def _with_full_line_ends(body):
    return re.sub(rb"(?<!\r)\n", b"\r\n", bytes.fromhex(body)).hex()


def _leading_space(text):
    return " " + text


KNOWN = {
    # Python before 3.12.8 takes the space of a fold right behind the colon for text.
    ("Python", "fields", "subject"): _leading_space,
    ("Python", "build_text", "subject"): _leading_space,
    # Python leaves a space between encoded words in a display name.
    ("Python", "fields", "to"): _with_spaces_between_encoded_words,
    # GMime decodes encoded words in a quoted parameter before it looks for the closing quote; one
    # that begins with an encoded quote is empty for it. Content-Disposition has the name.
    ("GMime", "file_names", "20 name"): lambda name: "",
}

# Part::Write quotes every value that is no atom, addresses too.
for _message in ("streamed", "streamed_files", "streamed_names", "streamed_empty"):
    KNOWN["Python", _message, "from"] = KNOWN["GMime", _message, "from"] = _quoted
    KNOWN["Dovecot", _message, "from"] = lambda mailboxes: [
        [address, "MISSING_MAILBOX@MISSING_DOMAIN"] for _, address in mailboxes]

# Dovecot keeps a message with CR LF line ends only, so a binary body does not survive; and its
# ENVELOPE has single spaces.
for _message in ("encodings", "streamed", "streamed_files"):
    KNOWN["Dovecot", _message, "31 body"] = _with_full_line_ends
KNOWN["Dovecot", "subject_spaces", "subject"] = lambda subject: " ".join(subject.split())

# Part::Write lets a quoted-printable body file share its last line end with the boundary line.
for _reader in ("Python", "GMime", "Dovecot"):
    for _index in (7, 12, 17, 22, 26):
        KNOWN[_reader, "streamed_files", f"{_index} body"] = _without_last_line_end
