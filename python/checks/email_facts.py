"""What a program usually asks of a message, by kivmime and by Python's email package: for the benchmark and the
comparison. Attachments are, by both, the entities that kivmime calls so: bodies that are neither plain text nor HTML,
or have a file name or the disposition "attachment", and carried messages as a whole."""

import email
import email.policy
import hashlib

import kivmime


def read_with_kivmime(source):
    mail = kivmime.parse(source)
    return {
        "subject": mail.subject,
        "from": [(one.name, one.address) for one in mail.from_],
        "to": [(one.name, one.address) for one in mail.to],
        "cc": [(one.name, one.address) for one in mail.cc],
        "text": mail.text,
        "attachments": [(file.filename or "", hashlib.sha256(file.decode()).hexdigest()) for file in mail.attachments],
    }


def get(part, name):
    """A field; None where the package raises, which it does on some malformed ones."""
    try:
        return part[name]
    except Exception:
        return None


def list_addresses(message, name):
    field = get(message, name)
    return [(one.display_name, one.addr_spec) for one in field.addresses] if field else []


def get_text(message):
    for kind in ("plain", "html"):
        try:
            return message.get_body((kind,)).get_content()
        except Exception:
            continue
    return ""


def is_attachment(part, parent):
    if part.get_content_maintype() == "multipart":
        return False
    if part.get_content_type() not in ("text/plain", "text/html"):
        return True
    disposition = get(part, "Content-Disposition")
    if disposition is not None and disposition.content_disposition == "attachment":
        return True
    return parent is not None and bool(part.get_filename())


def list_attachments(part, parent=None):
    """The attachments in order, without those inside carried messages."""
    if is_attachment(part, parent):
        yield part
    elif part.is_multipart():
        for child in part.get_payload():
            yield from list_attachments(child, part)


def decode(part):
    if not part.is_multipart():
        return part.get_payload(decode=True) or b""
    return b"".join(child.as_bytes() for child in part.get_payload())


def get_filename(part):
    try:
        return part.get_filename() or ""
    except Exception:
        return ""


def read_with_email(source):
    message = email.message_from_bytes(source, policy=email.policy.default)
    return {
        "subject": str(get(message, "Subject") or ""),
        "from": list_addresses(message, "From"),
        "to": list_addresses(message, "To"),
        "cc": list_addresses(message, "Cc"),
        "text": get_text(message),
        "attachments": [(get_filename(part), hashlib.sha256(decode(part)).hexdigest()) for part in list_attachments(message)],
    }
