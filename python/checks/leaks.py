"""Does reading, asking, writing and changing leave memory behind?

    leaks.py FOLDER [MESSAGES]

Does all of it to the files below FOLDER until MESSAGES (100,000) were read, and fails when the memory in use grows by
more than 4 MB after the first tenth.
"""

import argparse
import gc
import itertools
import sys
from pathlib import Path

import kivmime

MOST_GROWTH = 4 << 20


def measure_memory():
    gc.collect()
    pages = int(Path("/proc/self/statm").read_text().split()[1])
    return pages * 4096


def use(source):
    mail = kivmime.parse(source)
    facts = [mail.subject, mail.date, mail.text, mail.html, mail.report.deviations, mail.items(), repr(mail)]
    facts += [(one.name, one.address) for one in mail.from_]
    facts += [(part.raw, part.range, part.decode(), part.fields, part.get_filename()) for part in mail.walk()]
    for part in mail.attachments:
        part.decode_to(facts.append)
    try:
        kivmime.parse(source, max_fields=1)
    except kivmime.Error as error:
        facts.append(error)
    try:
        kivmime.Composer().from_("a@example.org").answer(mail).text(mail.text).attach(mail).to_bytes()
        kivmime.Edit(mail).add_field("X-A", "b").add_footer("c").to_bytes()
    except kivmime.Error as error:    # mails from nobody, or without a text
        facts.append(error)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=Path)
    parser.add_argument("messages", type=int, nargs="?", default=100_000)
    options = parser.parse_args()
    sources = [path.read_bytes() for path in sorted(options.folder.rglob("*")) if path.is_file()]
    start = most = 0
    for number, source in enumerate(itertools.islice(itertools.cycle(sources), options.messages), 1):
        use(source)
        if number == options.messages // 10:
            start = measure_memory()
        elif number % (options.messages // 10) == 0:
            most = measure_memory()
            print(f"{number} messages: {most / 1e6:.1f} MB", flush=True)
    print(f"{options.messages} messages, memory grew by {(most - start) / 1e3:.0f} kB after the first tenth")
    return 0 if most - start <= MOST_GROWTH else 1


if __name__ == "__main__":
    sys.exit(main())
