"""Compares what kivmime and Python's email package find in messages.

    compare_email.py FOLDER...

Subject, plain text, tree, bodies and file names of every file below each FOLDER, with the reasons that interop/ has for
differences; each distinct value of an address field; and the hashes of attachments, which may differ only where tree,
bodies or names do. Prints what agrees, what is explained and what is not; the status is 0 when all is explained.
"""

import hashlib
import sys
from pathlib import Path

import kivmime
from email_facts import decode, get_filename, list_attachments

sys.path.insert(0, str(Path(__file__).parents[2] / "interop"))
import addresses  # noqa: E402
import compare  # noqa: E402
import differences  # noqa: E402

# interop/ compares the tree, where such bytes stay as they are.
differences.ROWS.append(("Python", "subject", "", lambda d: addresses.mask(d.ours) == addresses.mask(d.theirs) and "\ufffd" in d.theirs,
                         "8-bit text that is not UTF-8 is read as windows-1252"))


def get_value(part, name):
    return next((field.value for field in part.fields if field.name.lower() == name), "")


class KivmimeReader:
    """What kivmime finds, in the form of interop/compare.py."""

    def read(self, path):
        mail = kivmime.open(path)
        report = mail.report
        return {"subject": mail.subject, "text": mail.text, "entities": [self.describe(part) for part in mail.walk()],
                "worst": compare.SEVERITIES.index(report.verdict), "deviations": [(one.kind,) for one in report.deviations]}

    @staticmethod
    def describe(part):
        entity = {"depth": part.path.count(".") + bool(part.path), "type": get_value(part, "content-type") or part.content_type,
                  "encoding": get_value(part, "content-transfer-encoding"), "charset": part.get_content_charset() or "",
                  "fileName": part.get_param("filename", "", "Content-Disposition"), "name": part.get_param("name", "")}
        return entity if part.is_multipart() else entity | {"body": part.decode().hex()}


def describe_file(name, body):
    return differences.squeeze(name), hashlib.sha256(body).hexdigest()


def compare_attachments(folder):
    """Leaves out carried messages, which email would write anew, and uuencoded files, which it does not have."""
    ours, python = KivmimeReader(), compare.PythonReader()
    equal, explained, failed = 0, 0, []
    for path in sorted(path for path in folder.rglob("*") if path.is_file() and not compare.NOTES.match(path.name)):
        mail = kivmime.open(path)
        mine = [describe_file(file.filename or "", file.decode()) for file in mail.attachments
                if file.get_content_maintype() != "message" and not file.is_uuencoded]
        message = addresses.email.message_from_bytes(path.read_bytes(), policy=addresses.email.policy.default)
        theirs = [describe_file(get_filename(file), decode(file)) for file in list_attachments(message)
                  if file.get_content_maintype() != "message"]
        facts = compare.make_facts(ours.read(path), False), compare.make_facts(python.read(path), False)
        if mine == theirs:
            equal += 1
        elif any(facts[0][key] != facts[1][key] for key in ("structure", "bodies", "fileName")):
            explained += 1
        else:
            failed.append(path)
            print(f"DIFFERENT  attachments of {path}\n  we    {mine}\n  they  {theirs}")
    print(f"\n{folder}: attachments of {equal} messages are equal, of {explained} tree, bodies or names differ (above)")
    return bool(failed)


def compare_addresses(folders):
    comparison = addresses.Comparison()
    for value in addresses.collect(folders)[0]:
        found = kivmime.parse_addresses(value)
        comparison.compare_addresses("Python", addresses.read_python, value, {
            "mailboxes": [[one.name, one.address] for one in found], "groups": found.groups, "problems": found.problems})
    print("\naddress fields")
    comparison.report()
    return comparison.failed


def main():
    folders = [Path(name) for name in sys.argv[1:]] or sys.exit(__doc__)
    failed = [compare.check_others(folder, KivmimeReader(), [compare.PythonReader()]) for folder in folders]
    failed += [compare_attachments(folder) for folder in folders]
    return 1 if any([*failed, compare_addresses(folders)]) else 0


if __name__ == "__main__":
    sys.exit(main())
