#!/usr/bin/env python3
"""What `kivmime show --json` prints, made with Python's email package: a JSON object a line for each file.

usage: show_json.py FILE... ; without FILE the names are read from standard input, one a line

The places of entities in the file are missing, because the package does not keep them.
"""

import email
import email.policy
import json
import sys


def describe(entity, index, parent, depth):
    is_leaf = not entity.is_multipart()
    return {
        "index": index,
        "parent": parent,
        "depth": depth,
        "type": entity.get_content_type(),
        "charset": entity.get_content_charset(),
        "transferEncoding": entity.get("Content-Transfer-Encoding"),
        "disposition": entity.get_content_disposition(),
        "fileName": entity.get_filename(),
        "size": len(entity.get_payload(decode=True) or b"") if is_leaf else None,
    }


def list_entities(message):
    entities = []
    waiting = [(message, "1", None, 0)]
    while waiting:
        entity, index, parent, depth = waiting.pop()
        number = len(entities)
        entities.append(describe(entity, index, parent, depth))
        children = entity.get_payload() if entity.is_multipart() else []
        waiting += [(child, f"{index}.{i}", number, depth + 1)
                    for i, child in reversed(list(enumerate(children, 1)))]
    return entities


def show(path):
    with open(path, "rb") as file:
        data = file.read()
    try:
        message = email.message_from_bytes(data, policy=email.policy.default)
        entities = list_entities(message)
    except Exception as error:  # the package raises many things over malformed fields
        return {"file": path, "error": repr(error)}
    return {"file": path, "length": len(data), "entities": entities}


def main():
    for path in sys.argv[1:] or sys.stdin.read().splitlines():
        print(json.dumps(show(path)))


main()
