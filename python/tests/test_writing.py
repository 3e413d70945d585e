"""Composer and Edit: what is written can be read, and failures are exceptions."""

import io
from datetime import datetime, timedelta, timezone

import pytest

import kivmime
from conftest import ROOT

WHEN = datetime(2026, 1, 2, 3, 4, 5, tzinfo=timezone(timedelta(hours=-3)))


def test_composed_mail_arrives(nested, tmp_path):
    (tmp_path / "a.txt").write_text("file\n")
    mail = kivmime.Composer(1).from_("Zoë Lund", "zoe@example.org").to(nested.from_).cc("Bob <bob@x.org>, carl@x.org")
    logo = mail.inline_bytes(b"png", name="logo.png")
    mail.text("Grüße\n").html(f"<img src='{logo}'>").sent_at(WHEN).add_field("X-A", "b")
    mail.attach(tmp_path / "a.txt").attach_bytes(b"\0\1", name="b.bin").attach(nested).attach(nested.attachments[1]).answer(nested)
    read = kivmime.parse(mail.to_bytes())
    assert (read.subject, str(read.to), len(read.cc)) == ("Re: Minutes and the drawing", str(nested.from_), 2)
    assert read.date == WHEN and read.date.utcoffset() == timedelta(hours=-3)
    assert (read.text, read["X-A"], read.in_reply_to) == ("Grüße\n", "b", [nested.message_id])
    assert read.find_by_id(logo.url).decode() == b"png"
    assert [file.decode() for file in read.attachments[1:]] == [
        b"file\n", b"\0\1", b"".join(nested.source.tobytes().splitlines(True)), nested.attachments[1].decode()]


def test_mail_is_written_everywhere_alike(tmp_path):
    mail = kivmime.Composer(1).from_("a@x.org").subject("x").text("y")
    stream, pieces = io.BytesIO(), []
    mail.save(tmp_path / "out")
    mail.write_to(stream)
    mail.write_to(pieces.append)
    assert (tmp_path / "out").read_bytes() == stream.getvalue() == b"".join(pieces) == bytes(mail)


def test_bytes_of_another_charset_are_sent_as_they_are():
    mail = kivmime.Composer().from_("a@x.org").text("ä".encode("latin-1"), "iso-8859-1")
    assert kivmime.parse(bytes(mail)).text == "ä\n"


@pytest.mark.parametrize("change, kind, named", [
    (lambda mail: mail.to("Bob <"), kivmime.Error, "To"),
    (lambda mail: mail.attach("none.pdf"), FileNotFoundError, "none.pdf"),
    (lambda mail: mail.sign_with("none.pem"), FileNotFoundError, "none.pem"),
])
def test_what_cannot_be_sent_is_raised_when_it_is_written(change, kind, named):
    with pytest.raises(kind, match=named) as caught:
        change(kivmime.Composer().from_("a@x.org").text("")).to_bytes()
    if kind is FileNotFoundError:
        assert caught.value.filename == named


def test_what_a_target_raises_passes_through():
    mail = kivmime.Composer().from_("a@x.org").text("x")
    with pytest.raises(ZeroDivisionError):
        mail.write_to(lambda piece: 1 / 0)
    with pytest.raises(RuntimeError):    # it is in use
        mail.write_to(lambda piece: mail.subject("y"))
    assert kivmime.parse(mail.to_bytes()).text == "x\n"


def test_edit_leaves_the_rest_alone(nested):
    assert kivmime.Edit(nested).to_bytes() == nested.source
    edit = kivmime.Edit(nested).add_field("X-Filter", "cleaned").set_field("Subject", "ü").remove_field("Message-ID")
    edit.replace(nested.find_by_path("2"), "[removed]\n").remove(nested.find_by_path("1.2"))
    edit.add(nested, kivmime.NewPart.bytes(b"\0", name="x.bin")).attach_bytes(b"1", name="y.bin").add_footer("FOOTER")
    read = kivmime.parse(edit.to_bytes())
    assert (read["X-Filter"], read.subject, read.message_id) == ("cleaned", "ü", None)
    assert "FOOTER" in read.text and read.find_by_path("2").text.startswith("[removed]")
    assert [file.filename for file in read.attachments] == ["invitation.eml", "x.bin", "y.bin"]
    assert read.find_by_path("3").raw == nested.find_by_path("3").raw


def test_edit_names_broken_signatures_and_errors(nested):
    signed = kivmime.parse(
        b'Content-Type: multipart/signed; boundary=b; protocol="application/pgp-signature"\n\n--b\n\nx\n--b\n'
        b"Content-Type: application/pgp-signature\n\nx\n--b--\n")
    edit = kivmime.Edit(signed).append_text(signed.find_by_path("1"), "y")
    assert [(one.kind, one.where) for one in edit.broken_signatures] == [("openpgp", "")]
    assert len(edit.write_to(io.BytesIO())) == 1
    with pytest.raises(kivmime.Error) as caught:
        kivmime.Edit(signed).remove(nested).to_bytes()
    assert caught.value.code == "notInMail"
    with pytest.raises(FileNotFoundError):
        kivmime.Edit(signed).attach("none.pdf").to_bytes()


def test_writers_keep_what_they_need():
    mail = kivmime.Composer().from_("a@x.org").attach(kivmime.open(ROOT / "samples/nested.eml"))
    edit = kivmime.Edit(kivmime.open(ROOT / "samples/nested.eml"))
    assert len(mail.to_bytes()) > len(edit.to_bytes()) > 1000
