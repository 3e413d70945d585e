"""Folders of every kind, and what in them cannot be read."""

import os

import pytest

import kivmime

MBOX = b"From a@b Thu Jan  1 00:00:01 1970\nSubject: 1\n\n>From x\n\nFrom a@b Thu Jan  1 00:00:02 1970\nSubject: 2\nX: y\n\ntwo\n"


@pytest.fixture
def mbox(tmp_path):
    path = tmp_path / "box"
    path.write_bytes(MBOX)
    return path


def test_mbox_has_messages_and_their_places(mbox):
    folder = kivmime.folder(mbox)
    assert folder.kind == "mbox"
    mails = list(folder)
    assert [mail.subject for mail in mails] == ["1", "2"] and mails[0].text == "From x\n"
    folder.rewind()
    for entry, mail in zip(folder.entries(), mails):
        assert entry.raw == MBOX[entry.offset:entry.offset + entry.size] and entry.file == mbox
        assert (entry.offset, entry.parse().subject) == (mail.entry.offset, mail.subject)
        assert entry.from_line.startswith("From a@b")
    places = [mail.entry.offset for mail in mails]
    for begin, end, expected in [(0, None, places), (places[0] + 1, None, places[1:]), (0, places[1], places[:1])]:
        folder.rewind()
        assert [entry.offset for entry in folder.entries(begin, end)] == expected


def test_maildir_has_flags(tmp_path):
    for folder in ("cur", "new", "tmp"):
        (tmp_path / folder).mkdir()
    (tmp_path / "cur" / "1.x:2,RS").write_bytes(b"Subject: a\n\n")
    (tmp_path / "new" / "2.x").write_bytes(b"Subject: b\n\n")
    folder = kivmime.folder(tmp_path)
    assert folder.kind == "maildir"
    assert [(mail.subject, mail.entry.flags) for mail in folder] == [("a", "RS"), ("b", "")]


def test_what_cannot_be_read_is_raised_or_given(mbox):
    (mbox.parent / "zzz").symlink_to("nowhere")
    results = list(kivmime.folder(mbox.parent, errors="yield", max_fields=1))
    assert [type(result).__name__ for result in results] == ["Mail", "Error", "FileNotFoundError"]
    assert "box" in str(results[1]) and os.path.basename(results[2].filename) == "zzz"
    mails = iter(kivmime.folder(mbox.parent, max_fields=1))
    assert next(mails).subject == "1"
    with pytest.raises(kivmime.Error):
        next(mails)
    with pytest.raises(FileNotFoundError):    # the walk goes on after an error
        next(mails)
    assert next(mails, None) is None
