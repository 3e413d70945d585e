"""Why other programs find something else than we do: a table of reasons, each with a check that the
difference is of just that kind. docs/interoperability.md says more about them."""

import base64
import collections
import quopri
import re

Difference = collections.namedtuple("Difference", "reader file fact ours theirs source deviations ourFacts theirFacts encodings")
Body = collections.namedtuple("Body", "kind encoding ours theirs")

OPAQUE = {"message/partial", "message/external-body", "message/delivery-status", "message/feedback-report"}
UUENCODED = re.compile(r"^begin [0-7]{3,6} \S.*?^end$", re.M | re.S)
BLANKS_AFTER_ENCODING = re.compile(rb"^content-transfer-encoding:[ \t]*\S+(\r?\n)?[ \t]+\r?$", re.I | re.M)


def squeeze(text):
    """Header text up to how programs treat its folds, NULs, and what is not UTF-8."""
    return re.sub("[ \t\r\n\0]+", " ", text.encode("utf-8", "replace").decode()).strip(" ")


def squeeze_lines(text):
    """A text up to white space at the ends of lines, and empty lines at its own end."""
    return re.sub(r"[ \t\r]*\n", "\n", text.replace("\r\n", "\n") + "\n").rstrip("\n")


def is_flowed(d):
    return b"format=flowed" in d.source.lower()


def strip_marks(text, marks=r"[\s>]"):
    """A text without what joining lines changes, or without these marks."""
    return re.sub(marks, "", text)


def strip_blanks(body):
    return re.sub(rb"[ \t]+(?=\r?\n|\Z)", b"", body)


def strip_spaces(value):
    return re.sub(r"\s|\\s", "", str(value))


def types(difference):
    return {kind for _, kind in difference.ourFacts["structure"]}


def decode_base64(body):
    """What the letters of the alphabet in a body hold."""
    letters = re.sub(rb"[^A-Za-z0-9+/]", b"", body)
    letters = letters[:-1] if len(letters) % 4 == 1 else letters
    return base64.b64decode(letters + b"=" * (-len(letters) % 4))


def is_undecoded(b):
    """Whether their body is the text that ours was decoded from."""
    if b.encoding == "quoted-printable":
        return strip_blanks(quopri.decodestring(b.theirs)) == strip_blanks(b.ours)
    return b.encoding == "base64" and decode_base64(b.theirs) == b.ours


def subject_field(d):
    match = re.search(rb"^subject[ \t]*:((?:.*\n)(?:[ \t].*\n)*)", d.source, re.I | re.M)
    return squeeze(match.group(1).decode("latin-1")) if match else ""


def decode_words(text, charset=None):
    """Encoded words decoded, all of them in one charset when it is given; None for an unknown charset."""
    def decode(match):
        name, form, word = match.groups()
        data = word.encode("latin-1", "replace")
        data = base64.b64decode(data + b"=" * (-len(data) % 4)) if form in "Bb" else quopri.decodestring(data.replace(b"_", b" "))
        return data.decode(charset or name, "replace")
    try:
        return re.sub(r"=\?([^?*]*)(?:\*[^?]*)?\?([BbQq])\?([^?]*)\?=", decode, re.sub(r"\?=\s+=\?", "?==?", text))
    except (LookupError, ValueError):
        return None


# Here the message is as the RFCs have it, or its tree is the same but for our order: our verdict may be harmless.
PARTIAL = "the body of a message/partial and the like is read as a message"
FROM_LINE = 'a ">From " line ends the header block'
SPACES = "white space at the end of quoted-printable lines stays"
CARRIAGE_RETURN = "the CR of the line end before a delimiter stays"
BLANKS = "a body stays undecoded when blanks follow the encoding's name"
START = "the start of a multipart/related stays at its place"
HARMLESS = {PARTIAL, FROM_LINE, SPACES, CARRIAGE_RETURN, BLANKS, START}

# Reader ("" is any), fact, deviation that we report ("" is none needed), the check, the reason.
ROWS = [
    # Messages that we make.
    ("Python", "subject", "", lambda d: d.theirs == " " + d.ours, "a space of the fold right after the colon stays (before 3.12.8)"),
    ("Python", "from", "", lambda d: strip_spaces(d.theirs) == strip_spaces(d.ours), "a space between encoded words of a name stays"),
    ("Python", "to", "", lambda d: strip_spaces(d.theirs) == strip_spaces(d.ours), "a space between encoded words of a name stays"),
    ("Dovecot", "subject", "", lambda d: strip_spaces(d.theirs) == strip_spaces(d.ours), "ENVELOPE has single spaces"),
    ("Dovecot", "charset", "", lambda d: all(a == b or (a, b) == ("", "us-ascii") for a, b in zip(d.ours, d.theirs)),
     "BODYSTRUCTURE names the charset that a missing parameter stands for"),
    # Structure.
    ("Python", "structure", "", lambda d: types(d) & OPAQUE, PARTIAL),
    ("Python", "structure", "decodedMessage", lambda d: "message/rfc822" in types(d), "an encoded message/rfc822 is read without decoding it"),
    ("GMime", "structure", "decodedMessage", lambda d: set(d.theirs) < set(d.ours), "an encoded message/rfc822 is a body"),
    ("Python", "structure", "doubledDelimiter", lambda d: len(d.theirs) > len(d.ours), "two delimiters in a row begin an entity"),
    ("Python", "structure", "", lambda d: b"\n>From " in d.source and "message/rfc822" in types(d), FROM_LINE),
    ("Python", "structure", "boundaryIsPrefix", lambda d: sorted(kind for _, kind in d.ours) == sorted(kind for _, kind in d.theirs),
     "one boundary for all levels puts them side by side"),
    ("", "structure", "", lambda d: any("/" not in kind for _, kind in d.ours) and [depth for depth, _ in d.ours] == [depth for depth, _ in d.theirs],
     "a type without a slash is text/plain for Python and application/octet-stream for GMime"),
    ("", "structure", "unusableBoundary", lambda d: b'boundary=""' in d.source, 'boundary="" is a boundary'),
    ("", "structure", "", lambda d: re.search(rb'boundary="[^"]*[ \t]"', d.source), "blanks at the end of a boundary count"),
    ("", "structure", "", lambda d: b"start=" in d.source and sorted(d.ours) == sorted(d.theirs), START),
    ("GMime", "structure", "repeatedContentType", lambda d: True, "of two Content-Type fields the last counts"),
    ("GMime", "structure", "bodyWithoutBlankLine", lambda d: True, "lines among the fields that are none are passed over"),
    ("GMime", "structure", "", lambda d: b";;" in d.source, "an empty parameter ends the parameters"),
    # Bodies, one by one; `b` is the pair.
    ("", "bodies", "", lambda d, b: b.kind.startswith("multipart/") and not b.theirs, "no body of a multipart without entities is kept"),
    ("", "bodies", "unusedBoundary", lambda d, b: b.ours.startswith(b.theirs.rstrip(b"\r\n")), "a multipart that is one body ends otherwise"),
    ("", "bodies", "", lambda d, b: b.encoding == "quoted-printable" and strip_blanks(b.ours) == strip_blanks(b.theirs), SPACES),
    ("Python", "bodies", "missingEnd", lambda d, b: b.ours in (b.theirs + b"\n", b.theirs + b"\r\n"), "the last line end of a text without closing delimiter is dropped"),
    ("GMime", "bodies", "base64Padding", lambda d, b: b.ours.startswith(b.theirs) and len(b.ours) - len(b.theirs) < 3, "an incomplete last base64 group is dropped"),
    ("GMime", "bodies", "base64Rubbish", lambda d, b: b.ours.startswith(b.theirs) and len(b.ours) - len(b.theirs) < 3, "an incomplete last base64 group is dropped"),
    ("", "bodies", "base64AfterPadding", lambda d, b: b.ours.startswith(b.theirs), "a base64 body ends at its first padding"),
    ("", "bodies", "uuencodedBody", lambda d, b: b.ours.startswith(b"begin ") and len(b.theirs) < len(b.ours), "uuencoded bodies are decoded"),
    ("GMime", "bodies", "", lambda d, b: b.theirs == b.ours + b"\r", CARRIAGE_RETURN),
    ("GMime", "bodies", "bodyWithoutBlankLine", lambda d, b: b.ours.endswith(b.theirs), "lines among the fields that are none are passed over"),
    ("GMime", "bodies", "blankLineInHeader", lambda d, b: b.ours.endswith(b.theirs), "lines among the fields that are none are passed over"),
    ("Python", "bodies", "malformedFieldName", lambda d, b: b.theirs.endswith(b.ours), "no field has white space before its colon"),
    ("Python", "bodies", "base64Rubbish", lambda d, b: is_undecoded(b), "a base64 body with rubbish stays undecoded"),
    ("Python", "bodies", "", lambda d, b: BLANKS_AFTER_ENCODING.search(d.source) and is_undecoded(b), BLANKS),
    ("Python", "bodies", "decodedMessage", lambda d, b: b.ours in decode_base64(b.theirs), "an encoded message/rfc822 is read without decoding it"),
    ("Python", "bodies", "", lambda d, b: re.search(rb'boundary="[^"]*[ \t]"', d.source) and b.theirs.startswith(b.ours), "blanks at the end of a boundary count"),
    # Plain texts.
    ("Python", "text", "", lambda d: is_flowed(d) and strip_marks(d.ours) == strip_marks(d.theirs), "flowed lines are joined (RFC 3676)"),
    ("Python", "text", "", lambda d: strip_marks(d.ours, "[^!-~]|>") == strip_marks(d.theirs, "[^!-~]|>"),
     "text without charset, or with bytes that its charset lacks, is read as windows-1252"),
    ("Python", "text", "", lambda d: strip_marks(d.theirs, "[^!-~]|>") in strip_marks(d.ours, "[^!-~]|>"),
     "texts one after the other are joined"),
    ("Python", "text", "uuencodedFile", lambda d: strip_marks(UUENCODED.sub("", d.theirs)) in strip_marks(d.ours), "uuencoded files are left out"),
    ("Python", "text", "", lambda d: b"gb2312" in d.source.lower(), "gb2312 is read as the larger gb18030"),
    ("Python", "text", "", lambda d: "multipart/alternative" in types(d) and [kind for _, kind in d.ourFacts["structure"]].count("text/plain") > 1,
     "of two plain alternatives the last counts (RFC 2046, 5.1.4)"),
    ("Python", "text", "", lambda d: any(d.ourFacts[fact] != d.theirFacts[fact] for fact in ("structure", "bodies")), "entities or bodies differ"),
    ("Python", "text", "", lambda d: not d.ours and "text/plain" not in types(d), "a multipart without entities has no text"),
    # Names and subjects.
    ("Python", "fileName", "encodedWordInFileName", lambda d: all(a == b or not b or decode_words(b) == a for a, b in zip(d.ours, d.theirs)),
     "no encoded word without quotes or inside a longer text is decoded"),
    ("Python", "subject", "", lambda d: decode_words(subject_field(d)) is None, "a charset is not known"),
    ("Python", "subject", "malformedFieldName", lambda d: not d.theirs, "no field has white space before its colon"),
    ("GMime", "subject", "nulInHeader", lambda d: d.ours.startswith(d.theirs), "a NUL ends a field"),
    ("GMime", "subject", "", lambda d: re.search("[\x80-\xff]", subject_field(d)) and subject_field(d) == d.theirs, "8-bit text that is not UTF-8 is taken for Latin-1"),
    ("GMime", "subject", "", lambda d: d.ours.replace("\ufffd", "?") == d.theirs, 'a malformed sequence is "?"'),
    ("GMime", "subject", "", lambda d: decode_words(subject_field(d), "latin-1") == d.theirs, "a charset is not known"),
    ("GMime", "subject", "", lambda d: d.file.endswith("5230-thai-chinese.eml"), "an encoded word between two others is lost"),
]


def explain_bodies(d, rows):
    """A reason for each pair of bodies that differ; None when one has none."""
    reasons = set()
    for (_, kind), encoding, ours, theirs in zip(d.ourFacts["structure"], d.encodings, d.ours, d.theirs):
        if ours == theirs:
            continue
        body = Body(kind, encoding, ours or b"", theirs or b"")
        reason = next((why for check, why in rows if check(d, body)), None)
        if not reason:
            return None
        reasons.add(reason)
    return "; ".join(sorted(reasons))


def may_be_harmless(fact, reason):
    """Whether a message on which another program finds other entities or bodies, for this reason, needs no verdict."""
    return fact not in ("structure", "bodies") or set(reason.split("; ")) <= HARMLESS


def explain(d):
    """The reason for a difference, or None."""
    rows = [(check, why) for reader, fact, deviation, check, why in ROWS
            if reader in ("", d.reader) and fact == d.fact and (not deviation or deviation in d.deviations)]
    if d.fact == "bodies":
        return explain_bodies(d, rows)
    return next((why for check, why in rows if check(d)), None)
