// The mail writer: Composer and Edit, into a text, a sink and a file. A file that cannot be replaced must be
// as it was, with nothing beside it.

#include <memory>
#include <new>
#include <stdexcept>

#include "faults/faults.h"
#include "faults/try_text.h"
#include "kivsec/signing.h"
#include "mime/mail.h"
#include "support/temp_folder.h"

namespace MIME::Faults {

namespace {

using Text = Result<std::string>;

constexpr char kSource[] =
    "From: a@b\r\nSubject: x\r\nDKIM-Signature: v=1; d=b; h=from:subject\r\nContent-Type: "
    "multipart/mixed; boundary=cut\r\n\r\n--cut\r\nContent-Type: text/plain; charset=koi8-r\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\n0NLJ\r\n--cut\r\nContent-Type: text/html\r\n\r\n"
    "<p>a</body>\r\n--cut\r\nContent-Type: multipart/signed; boundary=in; "
    "protocol=\"application/pgp-signature\"\r\n\r\n--in\r\n\r\nb\r\n--in\r\nContent-Type: "
    "application/pgp-signature\r\n\r\nc\r\n--in--\r\n--cut--\r\n";

/// What the operations use; made without faults.
struct Room {
    explicit Room(const std::string& where)
        : folder(where + "/written"), file(where + "/attached.bin"), mail(*Mail::Parse(kSource)) {
        std::filesystem::create_directories(folder);
        Test::WriteWholeFile(file, std::string(100, '\xFF'));
    }
    std::string folder;  ///< empty
    std::string file;
    Mail mail;
    std::string passPhrase{std::string_view(KivOssSec::Test::GetPassPhrase())};
};

Composer Compose(const Room& room) {
    Composer mail;
    mail.From("Zo\u00EB, Lund", "zoe@b.org").To("Ann <a@b>, c@d").Subject("Gr\u00FC\u00DFe");
    mail.SentAt({}).AddField("X-A", "b").Text("a\n.\u00FC").Html("<p>\u00FC");
    mail.InlineBytes("gif", {"a.gif"});
    mail.Attach(room.file).AttachBytes("text\n", {"\u00FC.txt"}).Attach(room.mail);
    return mail;
}

Edit Change(const Room& room) {
    Edit edit(room.mail);
    edit.AddField("X-A", "\u00FC").SetField("Subject", "y").AddFooter("-- \n\u00FC\n");
    edit.Remove(*room.mail.FindByPath("3.2")).Attach(room.file);
    return edit;
}

template <class Written>
Text Pass(Written& mail) {
    std::string text;
    const auto done = mail.WriteTo([&text](std::string_view piece) {
        text += piece;
        return true;
    });
    if (!done) return done.error();
    return text;
}

/// Replaces a file, and looks at it afterwards.
template <class Written>
Text Save(Written& mail, const Room& room) {
    const std::string target = room.folder + "/target";
    Disarm();
    Test::WriteWholeFile(target, "old");
    Arm();
    Text result = Error(ErrorCode::none);
    bool hasMemory = true;
    try {
        const auto saved = mail.Save(target);
        if (!saved) result = saved.error();
        if (saved) result = std::string("saved");
    } catch (const std::bad_alloc&) {
        hasMemory = false;
    }
    Disarm();
    const std::string content = Test::ReadWholeFile(target);
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(room.folder)) {
        std::filesystem::remove(entry.path());
        ++files;
    }
    const bool mayStay = injection->kind == removing;  // else what could not be removed is there
    if (files != 1 && !mayStay) throw std::logic_error("a file beside the target");
    const bool isSaved = hasMemory && result;
    if (!isSaved && content != "old") throw std::logic_error("the target has changed");
    if (isSaved) result = content;
    Arm();
    if (!hasMemory) throw std::bad_alloc();
    return result;
}

}  // namespace

void AddWritingOperations(std::vector<Operation>& all, const std::string& folder) {
    const auto room = std::make_shared<const Room>(folder);
    const auto add = [&](const char* name, auto make, auto write, unsigned traits = kPlain) {
        all.push_back({traits, name, "", [=](State& s) {
                           return Try(s, [&]() -> Text {
                               auto mail = make(*room);
                               return write(mail, *room);
                           });
                       }});
    };
    const auto toText = [](auto& mail, const Room&) { return mail.ToString(); };
    const auto toSink = [](auto& mail, const Room&) { return Pass(mail); };
    const auto toFile = [](auto& mail, const Room& r) { return Save(mail, r); };
    const auto toSigned = [](auto& mail, const Room& r) {
        return mail.SignWith(MIME_TEST_KEYS_DIR "/rsa.pem", r.passPhrase).ToString();
    };
    add("Composer, text", Compose, toText);
    add("Composer, sink", Compose, toSink);
    add("Composer, file", Compose, toFile);
    add("Composer, signed", Compose, toSigned, kSigns);
    add("Edit, text", Change, toText);
    add("Edit, sink", Change, toSink);
    add("Edit, file", Change, toFile);
    add("Edit, signed", Change, toSigned, kSigns);
    const auto edit = [&](const char* name, auto change) {
        const auto make = [=](const Room& r) {
            Edit changed(r.mail);
            change(changed, r);
            return changed;
        };
        add(name, make, toText);
    };
    edit("Edit, none", [](Edit&, const Room&) {});
    edit("Edit, replaced",
         [](Edit& e, const Room& r) { e.Replace(*r.mail.FindByPath("1"), "\u00FC"); });
    edit("Edit, all replaced", [](Edit& e, const Room& r) {
        e.Replace(r.mail.GetTop(), NewPart::File(r.file)).AttachBytes("x", {"y"});
    });
    edit("Edit, all removed", [](Edit& e, const Room& r) {
        for (const Entity& part : r.mail.GetTop().GetChildren()) e.Remove(part);
    });
    edit("Edit, added", [](Edit& e, const Room& r) {
        e.Add(*r.mail.FindByPath("3"), NewPart::Html("<p>")).RemoveField("Subject");
    });
}

}  // namespace MIME::Faults
