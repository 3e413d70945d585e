"""Why other programs read real messages otherwise than we do: each reason with a check that the
difference is of just that kind. docs/interoperability.md says more about them.

Entities are what corpus.py makes of them: depth, type, names, and the body in bytes for those without
children. The two lists are walked side by side; entities that only one reader makes are left out there,
with a reason, so that bodies and file names of the others can still be compared.
"""

import base64
import quopri
import re

EVERYTHING = ("structure", "bodies", "file names")
# What no rule can tell, by reader and the end of the path.
FILES = {
    ("Python", "mbox__simple__2"): (EVERYTHING, "one boundary for all levels: Python puts them side by side"),
    ("GMime", "mbox__jwz__5"): (EVERYTHING, "GMime passes over lines among the fields that are none"),
    ("GMime", "odd_but_readable.eml"): (EVERYTHING, "GMime stops at an empty parameter"),
    ("GMime", "5230-thai-chinese.eml"): (("subject",), "GMime loses an encoded word between two others"),
}
OPAQUE = {"message/partial", "message/external-body", "message/delivery-status", "message/feedback-report"}
BLANKS_BEHIND_ENCODING = re.compile(rb"^content-transfer-encoding:[ \t]*\S+(\r?\n)?[ \t]+\r?$", re.I | re.M)
ENCODED_WORD = re.compile(r"=\?([^?*]*)(?:\*[^?]*)?\?([BbQq])\?([^?]*)\?=")


def end_of_tree(entities, start):
    end = start + 1
    while end < len(entities) and entities[end]["depth"] > entities[start]["depth"]:
        end += 1
    return end


def strip_blanks(body):
    return re.sub(rb"[ \t]+(?=\r?\n|\Z)", b"", body)


def decode(encoding, body):
    """What a program that forgives everything makes of a body that was left undecoded."""
    if encoding == "quoted-printable":
        return strip_blanks(quopri.decodestring(body))
    letters = re.sub(rb"[^A-Za-z0-9+/]", b"", body)
    if len(letters) % 4 == 1:
        letters = letters[:-1]
    return base64.b64decode(letters + b"=" * (-len(letters) % 4))


def is_left_undecoded(ours, theirs):
    """Whether `theirs` is the text that our body, which has a transfer encoding, was decoded from."""
    encoding, body = ours["encoding"], ours["body"]
    if encoding not in ("base64", "quoted-printable") or theirs == body:
        return False
    return decode(encoding, theirs) == (strip_blanks(body) if encoding == "quoted-printable" else body)


def decode_words(text, charset=None):
    """Encoded words decoded, all of them in one character set when it is given."""
    def decode(match):
        name, form, word = match.groups()
        data = word.encode("latin-1", "replace")
        data = base64.b64decode(data + b"=" * (-len(data) % 4)) if form in "Bb" else \
            quopri.decodestring(data.replace(b"_", b" "))
        return data.decode(charset or name, "replace")
    try:
        return ENCODED_WORD.sub(decode, re.sub(r"\?=\s+=\?", "?==?", text))
    except (LookupError, ValueError):
        return None


def squeeze(text):
    """Header text up to how programs treat its folds, NULs, and what is not UTF-8."""
    return re.sub("[ \t\r\n\0]+", " ", text.encode("utf-8", "replace").decode()).strip(" ")


def join_marks(text):
    return re.sub("\ufffd+", "\ufffd", text)


def is_whole(body, source):
    """Whether a body stands in the source up to a delimiter or the end."""
    return re.search(re.escape(body) + rb"(?=\r?\n--|\Z)", source) is not None


def find_field(source, name):
    match = re.search(rb"^" + name + rb"[ \t]*:((?:.*\n)(?:[ \t].*\n)*)", source, re.I | re.M)
    return squeeze(match.group(1).decode("latin-1")) if match else ""


# Structure ---------------------------------------------------------------------------------------


def explain_type(reader, ours, theirs):
    if "/" not in ours and theirs == {"Python": "text/plain", "GMime": "application/octet-stream"}[reader]:
        return f"a type without a slash is {theirs} for {reader}"
    return None


def explain_children(reader, ours, theirs, deviations, source):
    """`theirs`, a subtree, has children where our entity is a body."""
    kind, body = ours["type"], ours.get("body")
    if body is None:
        return None
    leaf = theirs[-1].get("body", b"")
    if reader == "Python" and kind in OPAQUE and is_whole(body, source):
        return f"Python reads the body of {kind} as a message"
    if reader == "Python" and "encodedMessage" in deviations and kind == "message/rfc822" and \
            is_left_undecoded(ours, leaf):
        return "Python reads an encoded message/rfc822 without decoding it"
    if kind.startswith("multipart/") and "unusableBoundary" in deviations and \
            re.search(rb'boundary=""', source) and is_whole(body, source):
        return 'boundary="" is a boundary for others'
    if reader == "Python" and "doubledDelimiter" in deviations and [source.rstrip(b"\r\n").endswith(one["body"]) for one in theirs[1:]] == [True]:
        return "Python lets two delimiters in a row begin an entity"
    return None


def put_start_first(ours, theirs, index):
    """`theirs` with the children of the multipart/related at `index` in our order, when only that child
    whose bytes are those of our first one stands elsewhere; None when it does not."""
    first = next((one for one in ours if one["depth"] == theirs[index]["depth"] + 1), None)
    end, i = end_of_tree(theirs, index), index + 1
    while first and i < end:
        stop = end_of_tree(theirs, i)
        if i > index + 1 and theirs[i] == dict(first, encoding=theirs[i]["encoding"]):
            return theirs[:index + 1] + theirs[i:stop] + theirs[index + 1:i] + theirs[stop:]
        i = stop
    return None


def walk(reader, ours, theirs, deviations, source):
    """Pairs of entities that stand for each other, and the reasons for those that have no pair; None
    when the structures differ for no known reason."""
    pairs, reasons, i, j = [], set(), 0, 0
    while i < len(ours) and j < len(theirs):
        one, other = ours[i], theirs[j]
        kind, kindOfOther = one["type"], other["type"]
        if one["depth"] != other["depth"]:
            return None
        if kind != kindOfOther:
            reason = explain_type(reader, kind, kindOfOther)
            if reader == "Python" and other.get("body", b"").startswith(b">From ") and i and \
                    ours[i - 1]["type"] == "message/rfc822" and \
                    is_left_undecoded(one, re.split(rb"\n\r?\n", other["body"], maxsplit=1)[-1]):
                reasons.add('Python ends the header block at a ">From " line')
                i, j = end_of_tree(ours, i), j + 1
                continue
            if not reason:
                return None
            reasons.add(reason)
        moved = None
        if kind == "multipart/related" and re.search(rb";\s*start=", source):
            moved = put_start_first(ours[i + 1:end_of_tree(ours, i)], theirs, j)
        if moved:
            theirs = moved
            reasons.add("we put the start of a multipart/related first")
        end, endOfOther = end_of_tree(ours, i), end_of_tree(theirs, j)
        if end == i + 1 and endOfOther > j + 1:
            reason = explain_children(reader, one, theirs[j:endOfOther], deviations, source)
            if not reason:
                return None
            reasons.add(reason)
            pairs.append((one, dict(other, body=one["body"])))
            j = endOfOther
        else:
            pairs.append((one, other))
            j += 1
        i += 1
    return (pairs, reasons) if i == len(ours) and j == len(theirs) else None


def explain_message(reader, ours, theirs, deviations, source):
    """Reasons that account for a message as a whole."""
    types = [one["type"] for one in theirs]
    if reader == "GMime" and "repeatedContentType" in deviations and \
            re.findall(rb"^content-type:\s*([^\s;]+)", source, re.I | re.M)[1:2] == [types[0].encode()]:
        return "of two Content-Type fields GMime takes the last"
    if re.search(rb'boundary="[^"]*[ \t]"', source) and types == [one["type"] for one in ours][:len(types)] and \
            sum(len(one.get("body", b"")) for one in theirs) != sum(len(one.get("body", b"")) for one in ours):
        return "blanks at the end of a boundary count for others"
    return None


# Bodies, names, subjects -------------------------------------------------------------------------


def explain_body(reader, entity, theirs, deviations, source):
    kind, ours = entity["type"], entity.get("body")
    if kind.startswith("multipart/") and theirs is None and is_whole(ours, source):
        return f"{reader} keeps no body of a multipart without entities"
    if ours is None or theirs is None:
        return None
    if entity["encoding"] == "quoted-printable" and len(ours) < len(theirs) and \
            strip_blanks(ours) == strip_blanks(theirs):
        return f"{reader} keeps white space at the end of quoted-printable lines"
    if kind.startswith("multipart/") and "unusedBoundary" in deviations and \
            (ours.startswith(theirs.rstrip(b"\r\n")) or not ours and not theirs.strip(b"\r\n")):
        return f"{reader} ends a multipart that is one body otherwise"
    if reader == "Python" and "missingEnd" in deviations and ours in (theirs + b"\n", theirs + b"\r\n"):
        return "Python drops the last line end of a text without closing delimiter"
    if reader == "GMime" and deviations & {"base64Padding", "base64Rubbish"} and \
            ours.startswith(theirs) and 0 < len(ours) - len(theirs) < 3:
        return "GMime drops what an incomplete last base64 group holds"
    if "uuencodedBody" in deviations and ours.startswith(b"begin ") and len(theirs) < len(ours) and \
            b"begin " not in theirs:
        return f"{reader} decodes uuencoded bodies"
    if "base64AfterPadding" in deviations and ours.startswith(theirs):
        return f"{reader} ends a base64 body at its first padding"
    if reader == "GMime" and theirs == ours + b"\r":
        return "GMime keeps the CR of the line end before a delimiter"
    if reader == "GMime" and deviations & {"bodyWithoutBlankLine", "blankLineInHeader"} and \
            len(theirs) < len(ours) and ours.endswith(theirs) and \
            (any(is_whole(ours, text) for text in (source, strip_blanks(quopri.decodestring(source)))) or
             base64.b64encode(ours) in re.sub(rb"\s", b"", source)):
        return "GMime passes over lines among the fields that are none"
    if reader == "Python" and "malformedFieldName" in deviations and theirs.endswith(ours):
        return "Python knows no field with white space before the colon"
    if reader == "Python" and is_left_undecoded(entity, theirs):
        if entity["encoding"] == "base64" and "base64Rubbish" in deviations:
            return "Python gives a base64 body with rubbish undecoded"
        if BLANKS_BEHIND_ENCODING.search(source):
            return "Python does not decode when its field has blanks behind the encoding"
    return None


def explain_name(reader, ours, theirs, deviations, source):
    if reader == "Python" and "encodedWordInFileName" in deviations:
        if theirs and decode_words(theirs) == ours:
            return "Python decodes no encoded word inside a longer text"
        if not theirs and ours and re.search(rb"name==\?", source) and \
                ours in decode_words(find_field(source, b"content-disposition")):
            return "Python reads no encoded word without quotes"
    return None


def explain_subject(reader, ours, theirs, deviations, source):
    raw = find_field(source, b"subject")
    if reader == "GMime" and "nulInHeader" in deviations and theirs and ours.startswith(theirs):
        return "GMime ends a field at a NUL"
    if reader == "GMime" and re.search("[\x80-\xff]", raw) and raw == theirs and \
            join_marks(ours) == join_marks(raw.encode("latin-1").decode("utf-8", "replace")):
        return "GMime takes 8-bit text that is not UTF-8 for Latin-1"
    if reader == "GMime" and "\ufffd" in ours and ours.replace("\ufffd", "?") == theirs:
        return 'GMime writes "?" for a malformed sequence'
    if reader == "GMime" and decode_words(raw, "latin-1") == theirs and decode_words(raw) == ours:
        return "GMime does not know a character set"
    if reader == "Python" and ENCODED_WORD.search(raw) and decode_words(raw) is None:
        return "Python does not know a character set"
    if reader == "Python" and not theirs and "malformedFieldName" in deviations:
        return "Python knows no field with white space before the colon"
    return None


def explain(reader, path, fact, ours, theirs):
    """The reason why `fact` differs, or None. `path` is the message's."""
    for (who, end), (facts, reason) in FILES.items():
        if who == reader and fact in facts and path.name.endswith(end):
            return reason
    source, deviations = path.read_bytes(), ours["deviations"]
    if fact == "subject":
        return explain_subject(reader, ours["subject"], theirs["subject"], deviations, source)
    reason = explain_message(reader, ours["entities"], theirs["entities"], deviations, source)
    if reason:
        return reason
    walked = walk(reader, ours["entities"], theirs["entities"], deviations, source)
    if walked is None:
        return None
    pairs, reasons = walked
    for one, other in pairs:
        reason = "the same"
        if fact == "bodies" and one.get("body") != other.get("body"):
            reason = explain_body(reader, one, other.get("body"), deviations, source)
        elif fact == "file names" and one["fileName"] != other["fileName"]:
            reason = explain_name(reader, one["fileName"], other["fileName"], deviations, source)
        if reason is None:
            return None
        reasons |= {reason} - {"the same"}
    return "; ".join(sorted(reasons)) or None
