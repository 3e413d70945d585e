"""Why other programs read real messages otherwise than we do."""


def explain(reader, path, fact, ours, theirs):
    return None
