"""Reading: what is found, what keeps what alive, which exceptions come."""

import errno
import gc
import hashlib
import os
import pickle
import sys
import threading
from datetime import datetime, timedelta, timezone

import pytest

import kivmime
from conftest import ROOT


def test_mail_is_read(nested):
    assert nested.subject == nested["subject"] == "Minutes and the drawing"
    assert [(one.name, one.address) for one in nested.from_] == [("Kiran Rao", "kiran@example.com")]
    assert str(nested.to[-1]) == "desk@example.com"
    assert nested.date == datetime(2026, 5, 20, 16, 12, 45, tzinfo=timezone.utc)
    assert nested.message_id == "minutes-0520@example.com"
    assert nested.text == "The minutes are attached, the drawing is in the HTML form.\n"
    assert nested.html.startswith("<p>The minutes")
    assert [file.filename for file in nested.attachments] == [None, "minutes.txt", "invitation.eml"]
    assert [part.path for part in nested.walk()] == ["", "1", "1.1", "1.2", "1.2.1", "1.2.2", "2", "3", "3.1"]
    assert [part.get_content_type() for part in nested.iter_parts()] == ["multipart/alternative", "text/plain", "message/rfc822"]
    assert nested.find_by_filename("minutes.txt") == nested.find_by_path("2")
    assert nested.find_by_path("2").parent == nested and nested.find_by_path("7") is None


def test_fields_are_those_of_the_text():
    mail = kivmime.parse(b"Received: a\nSubject: =?utf-8?q?=C3=BC?=\n x\nreceived: b\nContent-Type: Text/Plain; charset=Latin1; x=y\n\n")
    assert (mail["SUBJECT"], mail["X"], mail.get("X", 1)) == ("ü x", None, 1)
    assert (mail.get_all("Received"), mail.get_all("X"), mail.get_all("X", [])) == (["a", "b"], None, [])
    assert ("subject" in mail, "x" in mail, len(mail), bool(kivmime.parse(b""))) == (True, False, 4, True)
    assert mail.keys() == list(mail) == ["Received", "Subject", "received", "Content-Type"]
    assert mail.items()[0] == ("Received", "a") and mail.values()[2] == "b"
    assert mail.fields[1].raw == b"=?utf-8?q?=C3=BC?=\n x"
    assert (mail.fields[3].value, mail.fields[3].parameters) == ("Text/Plain", {"charset": "Latin1", "x": "y"})
    assert (mail.get_content_charset(), mail.get_param("x"), mail.get_content_subtype()) == ("latin1", "y", "plain")


@pytest.mark.parametrize("text, expected", [
    ("Mon, 1 Jan 2024 10:00:00 +0130", datetime(2024, 1, 1, 10, tzinfo=timezone(timedelta(minutes=90)))),
    ("Mon, 1 Jan 2024 10:00:00 -0000", datetime(2024, 1, 1, 10, tzinfo=timezone.utc)),
    ("Mon, 1 Jan 2024 10:00:00 +9959", datetime(2023, 12, 28, 6, 1, tzinfo=timezone.utc)),  # no timezone of Python
    ("Fri, 31 Dec 9999 23:59:59 -0100", datetime(9999, 12, 31, 23, 59, 59, tzinfo=timezone(timedelta(hours=-1)))),
    ("soon", None),
])
def test_date_is_aware(text, expected):
    assert kivmime.parse(f"Date: {text}\n\n".encode()).date == expected


def test_bodies_are_decoded(nested, tmp_path):
    for file in nested.attachments:
        pieces = []
        file.decode_to(pieces.append)
        assert b"".join(pieces) == file.decode() and len(file.decode()) == file.size
        saved = file.save_into(tmp_path)
        assert saved.parent == tmp_path and saved.read_bytes() == file.decode()
    file.save_as(tmp_path / "copy")
    with open(tmp_path / "again", "wb") as again:
        file.decode_to(again)
    assert (tmp_path / "again").read_bytes() == (tmp_path / "copy").read_bytes() == file.decode()
    with pytest.raises(ZeroDivisionError):
        file.decode_to(lambda piece: 1 / 0)


@pytest.mark.parametrize("encoding, body, decoded", [
    ("base64", b"", b""), ("base64", b"eA==", b"x"), ("quoted-printable", b"=C3=BC", b"\xc3\xbc"), ("8bit", b"\xff", b"\xff"),
    ("base64", b"AAAA" * 100_000, b"\0" * 300_000),
])
def test_decoded_bytes_have_their_own_size(encoding, body, decoded):
    got = kivmime.parse(b"Content-Transfer-Encoding: " + encoding.encode() + b"\n\n" + body).decode()
    assert got == decoded and sys.getsizeof(got) == sys.getsizeof(bytes(decoded))


def test_ranges_lead_to_the_source(nested):
    source = (ROOT / "samples/nested.eml").read_bytes()
    assert nested.source == source and nested.source.readonly
    for part in nested.walk():
        assert part.raw == source[part.range]
        assert part.raw_header == source[part.header_range]
        assert part.raw_body == source[part.body_range]


def test_all_that_is_handed_out_keeps_the_text_alive():
    source = b"Subject: x\n\n" + os.urandom(100_000).hex().encode()
    before = sys.getrefcount(source)
    kept = kivmime.parse(source)
    assert sys.getrefcount(source) == before + 1    # kept, not copied
    field, part, raw = kept.fields[0], next(kept.walk()), kept.raw_body
    del kept
    gc.collect()
    assert (field.text, part.decode(), raw) == ("x", source[12:], source[12:])
    del field, part, raw
    assert sys.getrefcount(source) == before


def test_mutable_buffers_are_copied():
    buffer = bytearray(b"Subject: x\n\n")
    mail = kivmime.parse(memoryview(buffer))
    buffer[:] = b"\0" * len(buffer)
    assert mail.subject == "x"


def test_failures_of_files_are_os_errors(tmp_path, nested):
    (tmp_path / "file").write_bytes(b"")
    for path, kind, number in [("none", FileNotFoundError, errno.ENOENT), (".", IsADirectoryError, errno.EISDIR),
                               ("file/x", NotADirectoryError, errno.ENOTDIR)]:
        with pytest.raises(kind) as caught:
            kivmime.open(tmp_path / path)
        assert (caught.value.errno, caught.value.filename) == (number, str(tmp_path / path))
    with pytest.raises(FileNotFoundError):
        kivmime.folder(tmp_path / "none")
    with pytest.raises(FileNotFoundError):
        nested.save_into(tmp_path / "none")


def test_limits_are_errors_with_a_place():
    with pytest.raises(kivmime.Error, match="more than 1 fields") as caught:
        kivmime.parse(b"A: b\nC: d\n\n", max_fields=1)
    assert isinstance(caught.value, ValueError)
    for error in (caught.value, pickle.loads(pickle.dumps(caught.value))):
        assert (error.code, error.offset, error.path) == ("tooManyFields", 10, "")


@pytest.mark.parametrize("call", [lambda: kivmime.parse("str"), lambda: kivmime.parse(b"", deep=1), lambda: kivmime.open(5)])
def test_wrong_arguments_are_type_errors(call):
    with pytest.raises(TypeError):
        call()


def test_options_say_how_to_read():
    mail = kivmime.parse(b"--x\n\n\xe4\n--x--", content_type="multipart/form-data; boundary=x", fallback_charset="koi8-r")
    assert [part.text for part in mail.iter_parts()] == ["Д"]


def test_report_has_the_verdict():
    report = kivmime.parse(b"Content-Type: text/plain\nContent-Type: text/html\n\n").report
    assert report.verdict == "ambiguous" and report.omitted == 0
    assert ("repeatedContentType", "ambiguous", "") in [(one.kind, one.severity, one.path) for one in report.deviations]


def test_addresses_are_values():
    some = kivmime.parse_addresses("Friends: =?utf-8?q?Zo=C3=AB?= <zoe@x.org>; bob@x.org, <>")
    assert [(one.name, one.address, one.group) for one in some] == [("Zoë", "zoe@x.org", "Friends"), ("", "bob@x.org", "")]
    assert len(some.problems) == 1 and some.groups == ["Friends"] and some == kivmime.parse_addresses(str(some))
    assert len({some[0], some[-2], kivmime.parse_addresses(str(some))[0]}) == 1
    with pytest.raises(IndexError):
        some[2]


def test_any_bytes_can_be_asked_everything():
    """All properties of what random changes make of the samples; none may raise."""
    changes = hashlib.shake_128(b"seed").digest(4096)
    for path in sorted((ROOT / "samples").glob("*.eml")):
        source = bytearray(path.read_bytes())
        for place, value in zip(changes[::2], changes[1::2]):
            source[(place * 131 + value * 7) % len(source)] = value
        mail = kivmime.parse(source)
        for thing in [mail, *mail.walk(), *mail.attachments, *mail.fields, *mail.from_, mail.report]:
            repr(thing)
            for name in dir(type(thing)):
                if isinstance(getattr(type(thing), name), property):
                    getattr(thing, name)


def test_threads_share_a_mail(nested):
    bodies = [part.decode() for part in nested.walk()]

    def read():
        for _ in range(200):
            results.append([part.decode() for part in nested.walk()] == bodies and bool(nested.attachments))
    results = []
    threads = [threading.Thread(target=read) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 800 and all(results)
