"""Runs index_archive.py on a cluster of two workers on this machine, and kills one in the middle of its work: the records
must be those of a run in this process, each once.

check_index_archive.py FOLDER...
"""

import json
import os
import signal
import sys
import tempfile
import threading
import time
from pathlib import Path

import index_archive
from dask.distributed import Client, LocalCluster


def work_slowly(part, target):
    """The records are not in their place before a while, so that a worker dies with some half done."""
    records = [record for piece in part for record in index_archive.read_piece(*piece)]
    time.sleep(0.05)
    return index_archive.write_records(records, target)


def kill_one(client, parts, killed):
    """Kills a worker when a few parts are done."""
    while not parts.is_dir() or len(list(parts.iterdir())) < 6:
        time.sleep(0.01)
    address, pid = min(client.run(os.getpid).items())
    killed.append(client.processing()[address])
    os.kill(pid, signal.SIGKILL)


def index_with_a_loss(folders, out):
    """Returns the number of records, and what the worker that was killed had to do."""
    killed = []
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, Client(cluster) as client:
        killer = threading.Thread(target=kill_one, args=(client, Path(f"{out}.parts"), killed), daemon=True)
        killer.start()
        count = index_archive.index(client, folders, out, size=1000, files=2, work=work_slowly)
        killer.join()
    return count, killed[0]


def main():
    folders = [os.path.abspath(folder) for folder in sys.argv[1:]] or sys.exit(__doc__)
    with tempfile.TemporaryDirectory() as place, tempfile.TemporaryDirectory() as results:
        mbox, out = Path(place, "mail.mbox"), Path(results, "out.jsonl")
        mbox.write_bytes(b"".join(b"From a@b Thu Jan  1 00:00:01 1970\nSubject: %d\n\nText\n\n" % number for number in range(100)))
        Path(place, "gone.eml").symlink_to("nowhere")    # a failure
        folders.append(place)
        expected = [json.dumps(record) for part in index_archive.make_parts(folders) for piece in part
                    for record in index_archive.read_piece(*piece)]
        count, lost = index_with_a_loss(folders, out)
        got = out.read_text().splitlines()
    ids = {json.loads(line)["id"] for line in got}
    print(f"{count} records, {len(ids)} ids; a worker was killed with {len(lost)} parts to do")
    assert lost, "the worker had nothing to do"
    assert got == expected and count == len(got) == len(ids) > 100, "records were lost or doubled"
    assert sum(json.loads(line)["failure"] is not None for line in got) == 1


if __name__ == "__main__":
    main()
