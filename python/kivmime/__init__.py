"""Reads and writes mail: any message, by the rules of docs/mail.md.

    mail = kivmime.open("x.eml")
    print(mail.subject, mail.from_, mail.text)
    for file in mail.attachments:
        file.save_into("folder")

open, parse and folder take these options: content_type (of a text that begins with the body, as in HTTP),
fallback_charset (of text that names no charset and is not UTF-8), and the limits max_depth, max_parts, max_fields,
max_header_bytes and max_decoded_bytes, where 0 means no limit. docs/python.md shows the whole interface.
"""

from ._kivmime import (
    Address, AddressList, BrokenSignature, Composer, Deviation, Edit, Entity, Error, Field, Folder, FolderEntry,
    InlineFile, Mail, NewPart, Report, __version__, folder, open, parse, parse_addresses)

__all__ = [
    "Address", "AddressList", "BrokenSignature", "Composer", "Deviation", "Edit", "Entity", "Error", "Field", "Folder",
    "FolderEntry", "InlineFile", "Mail", "NewPart", "Report", "folder", "open", "parse", "parse_addresses"]

for _name in __all__:
    globals()[_name].__module__ = __name__
del _name
