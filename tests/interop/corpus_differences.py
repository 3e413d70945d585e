"""Why other programs read real messages otherwise than we do.

`explain` finds for each entity that is read differently a rule that accounts for just that difference.
docs/interoperability.md gives the reasons to users.
"""

import base64
import re

BLANKS = "white space at the end of quoted-printable lines goes (RFC 2045, 6.7 (3)); the others keep it"
LAST_LINE_END = "the last line end: a delimiter's own, and no other, is no part of the body (RFC 2046, 5.1.1)"
OTHER_MESSAGES = "Python reads children in message/partial, external-body, delivery-status and the like"
ENCODED_MESSAGE = "an encoded message/rfc822 (RFC 2046, 5.2.1 forbids it) is a decoded body for us"
NO_TYPE = "a Content-Type without a slash is kept as it stands; the others put their default"
RUBBISH = "Python gives base64 with blanks, rubbish or bad padding back undecoded"
LAST_GROUP = "GMime drops the last byte of base64 without padding"
UUENCODE = "Python decodes uuencoded bodies"
MBOX_INSIDE = "Python takes the mbox line of an enclosed message for the start of its body"
MULTIPART_BODY = "a multipart without a usable boundary or delimiter is one body for us"
HEADER_END = "where a header block without an empty line ends: at its first line that is no field"
SECOND_TYPE = "of two Content-Type fields the first counts; GMime takes the last"
DOUBLED = "two delimiters in a row have no entity between; Python makes one"
CHARSET = "text in no or an unknown character set: we keep the bytes, the others guess"


BLANK_BOUNDARY = "a boundary that ends in blanks: the delimiter is its text without them (RFC 2046, 5.1.1)"

# What no rule can tell.
SINGLE = {
    "unittest__mime-parser__data__input__mbox__jwz__5":
        "a message whose first line is no field is text; GMime looks for fields behind it",
    "unittest__mime-parser__data__input__mbox__simple__2":
        "one boundary on three levels: the innermost entity's delimiter comes first (RFC 2046, 5.1.2)",
    "unittest__plaintext-rendering__data__input__5230-thai-chinese.eml": "windows-874, in words that share a character",
    "unittest__plaintext-rendering__data__input__6144-russian.eml": '"koi8_r" is koi8-r',
    "unittest__plaintext-rendering__data__input__gh-965-utf8.eml": "a blank-looking line, and then text: " + HEADER_END,
    "testmsgs__obsolete.msg": 'white space before the ":" of a field is obsolete and allowed (RFC 5322, 4.5)',
    "mimetools-testmsgs__multi-2evil.msg": "encoded words inside a file name are decoded wherever they stand",
    "mimetools-testmsgs__russian.msg": "a file name without quotes that holds \"=\"",
    "testmsgs__russian-headers.msg": "a file name without quotes that holds \"=\"",
    "testmsgs__very-long-boundary.msg": BLANK_BOUNDARY,
    "testmsgs__very-very-long-boundary.msg": BLANK_BOUNDARY,
    "testmsgs__weird-boundary.msg": BLANK_BOUNDARY,
}


def strip_blanks(body):
    return re.sub(rb"[ \t]+(?=\r?\n|\Z)", b"", body)


def decode_base64(body):
    text = re.sub(rb"[^A-Za-z0-9+/]", b"", body)
    return base64.b64decode(text + b"A" * (-len(text) % 4))


def prune(entities, keeps_children):
    """The entities without those below one that has no children for us; their bodies count no more."""
    kept, depth = [], None
    for entity in entities:
        if depth is not None and entity["depth"] > depth:
            kept[-1] = {**kept[-1], "body": None, "pruned": True}
            continue
        depth = None
        kept.append(entity)
        if not keeps_children(entity):
            depth = entity["depth"]
    return kept


def is_opaque(entity):
    kind = entity["type"].lower()
    return kind.startswith("message/") and kind not in ("message/rfc822", "message/global", "message/news")


def align(ours, theirs):
    """Their entities without what we have no entities for, and why."""
    reasons = set()
    entities = prune(theirs["entities"], lambda entity: not is_opaque(entity))
    if len(entities) != len(theirs["entities"]):
        reasons.add(OTHER_MESSAGES)
    for deviation, kind, reason in (("encodedMessage", "message/", ENCODED_MESSAGE),
                                    ("unusableBoundary", "multipart/", MULTIPART_BODY),
                                    ("unusedBoundary", "multipart/", MULTIPART_BODY)):
        if deviation not in ours["deviations"]:
            continue
        mine = [(one["depth"], one["type"].lower()) for one in ours["entities"] if one.get("body") is not None]
        before = len(entities)
        entities = prune(entities, lambda one: not (one["type"].lower().startswith(kind)
                                                    and (one["depth"], one["type"].lower()) in mine))
        if len(entities) != before:
            reasons.add(reason)
    return entities, reasons


def explain_type(mine, other):
    if "/" not in mine["type"] and other["type"] in ("text/plain", "application/octet-stream"):
        return NO_TYPE
    return None


def explain_body(mine, other, deviations):
    a, b = (bytes.fromhex(one.get("body") or "") for one in (mine, other))
    if strip_blanks(b) == a:
        return BLANKS
    if a.rstrip(b"\r\n") == b.rstrip(b"\r\n") and abs(len(a) - len(b)) <= 2:
        return LAST_LINE_END
    if "base64Padding" in deviations and b in (a[:-1], a[:-2]):
        return LAST_GROUP
    if a and decode_base64(b)[:len(a)] == a:
        return RUBBISH
    if mine["type"].lower().startswith("multipart/") and a.startswith(b):
        return MULTIPART_BODY
    if deviations & {"bodyWithoutBlankLine", "blankLineInHeader"} and (a.endswith(b) or b.endswith(a)):
        return HEADER_END
    if "uuencodedBody" in deviations and a.startswith(b"begin "):
        return UUENCODE
    if re.match(rb">?From ", b) and "mboxLine" in deviations:
        return MBOX_INSIDE
    return None


def explain(reader, path, fact, ours, theirs):
    """Why a fact differs; None when no rule accounts for all of it."""
    deviations = ours["deviations"]
    if fact == "subject" and path.name in SINGLE:
        return SINGLE[path.name]
    if fact == "subject":
        return CHARSET if "\ufffd" in ours["subject"] or "=?" in ours["subject"] else None
    entities, reasons = align(ours, theirs)
    if reader == "Python" and "mboxLine" in deviations and fact != "bodies":
        pairs = [(mine, other) for mine, other in zip(ours["entities"], entities) if mine["type"] != other["type"]]
        if pairs and all(re.match(rb">?From ", bytes.fromhex(other.get("body") or "")) for _, other in pairs):
            return MBOX_INSIDE
    if reader == "GMime" and "repeatedContentType" in deviations:
        return SECOND_TYPE
    if "doubledDelimiter" in deviations and len(entities) - len(ours["entities"]) in (0, 1):
        return DOUBLED
    if len(entities) != len(ours["entities"]):
        return SINGLE.get(path.name)
    for mine, other in zip(ours["entities"], entities):
        if fact == "structure":
            equal = (mine["depth"], mine["type"].lower() or "text/plain") == (other["depth"], other["type"].lower())
            why = explain_type(mine, other)
        elif fact == "bodies":
            equal = other.get("pruned") or (mine.get("body") or "") == (other.get("body") or "")
            why = explain_body(mine, other, deviations)
        else:
            equal = mine["shown"] == other["shown"]
            why = None
        if not equal and why is None:
            return SINGLE.get(path.name)
        if not equal:
            reasons.add(why)
        if fact == "bodies" and "body" in mine and "body" not in other and mine["type"].lower().startswith("multipart/"):
            reasons.add(MULTIPART_BODY)
    return "; ".join(sorted(reasons)) or SINGLE.get(path.name)
