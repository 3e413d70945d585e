// The entries of mail.h and html.h. They hand out standard types: what has no memory throws std::bad_alloc, and what
// has no file gives an error with the system's code. Both count as failures here; anything else must be
// the whole result.

#include <sstream>

#include "faults/faults.h"
#include "faults/try_text.h"
#include "mime/encoding/uuencode.h"
#include "mime/mail.h"
#include "support/temp_folder.h"
#ifdef MIME_FAULTS_HTML
#include "mime/html.h"
#endif

namespace MIME::Faults {

namespace {

constexpr char kMail[] =
    "From a@b Fri\r\nFrom: =?utf-8?Q?Doe=2C_J?= <a@b>, team: c@d (=?utf-8?Q?=C3=A9?=), e@f;, <\r\n"
    "Subject: =?utf-8?Q?Gr=C3=BC=C3?=\r\n =?utf-8?Q?=9Fe?= und \xFC mehr\r\n"
    "Date: Mon, 23 Nov 2026 10:00:00 +0100 (CET)\r\nMessage-ID: <a.b@c>\r\n"
    "References: <1@c>\r\n <2@c>\r\nContent-Type: multipart/mixed; boundary*0=\"a\"; "
    "boundary*1*=%62\r\n"
    "\r\npreamble\r\n--ab\r\nContent-Type: message/rfc822\r\n\r\nSubject: inner\r\n\r\nbody\r\n"
    "--ab\r\nContent-Type: multipart/alternative; boundary=c\r\n\r\n"
    "--c\r\nContent-Type: text/plain; charset=koi8-r; format=flowed\r\n\r\n\xD0\xD2 \r\n\xC9\r\n"
    "--c\r\nContent-Type: text/html\r\nContent-Transfer-Encoding: "
    "base64\r\n\r\nPGI+YQ==\r\n--c--\r\n"
    "--ab\r\nContent-Type: message/global\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"
    "Subject: =\r\nencoded\r\n\r\nbody\r\n"
    "--ab\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"
    "begin 644 a.gif\r\n#86)C\r\n`\r\nend\r\n"
    "--ab\r\nContent-Disposition: attachment; filename*=utf-8''%C3%A9.txt\r\nContent-ID: <i@j>\r\n"
    "Content-Transfer-Encoding: quoted-printable\r\n\r\ngr=C3=BC=C3=9Fe= "
    "\r\nx=\r\n--ab--\r\nepilogue";

constexpr char kMbox[] =
    "From a@b Mon Nov 23 10:00:00 2026\n\n>From x\n\nFrom c@d Mon Nov 23 10:00:00 2026\n\ny\n";

/// All that a mail says.
std::string Tell(const Mail& mail) {
    std::ostringstream out;
    out.exceptions(std::ios::badbit);  // else a failed allocation is kept from us
    out << mail.GetSubject() << '\n' << mail.GetFrom() << '\n' << mail.GetMessageId() << '\n';
    if (const auto date = mail.GetDate()) out << date->Format() << '\n';
    for (const std::string& id : mail.GetReferences()) out << id << '\n';
    out << mail.GetText() << '\n' << mail.GetHtml() << '\n' << mail.GetAttachments().size() << '\n';
    for (const Entity& entity : mail.GetEntities()) {
        out << entity.GetPath() << ' ' << entity.GetMediaType() << ' ' << entity.GetFileName()
            << ' ' << entity.GetSafeFileName() << ' ' << entity.GetFields().size() << ' '
            << entity.GetRange().offset << ' ' << entity.GetDecodedSize() << ' '
            << entity.GetRoot().GetPath() << ' ' << entity.GetReadableText() << '\n';
        for (const Field& field : entity.GetFields()) {
            out << field.GetValue() << '\n';
            for (const Parameter& one : field.GetParameters()) out << one.name << one.value << '\n';
        }
    }
    for (const Entity& file : mail.GetAttachments()) {
        out << file.GetPath() << ' ' << file.GetFileName() << ' ' << file.Decode() << '\n';
    }
    out << mail.FindById("i@j").has_value() << mail.FindByFileName("\xC3\xA9.txt").has_value();
    return out.str();
}

Result<std::string> TellOf(const Result<Mail>& mail) {
    if (!mail) return mail.error();
    return Tell(*mail);
}

Result<std::string> TellFolder(const std::string& path) {
    Result<MailFolder> folder = MailFolder::Open(path);
    if (!folder) return folder.error();
    std::string told;
    for (const auto& entry : *folder) {
        if (!entry) return entry.error();
        told += entry->GetPath().string() + ":" + entry->GetUnquotedText() + "\n";
    }
    return told;
}

/// Removes what is in a folder, whatever happened.
struct Emptied {
    ~Emptied() {
        Disarm();
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            std::filesystem::remove(entry.path());
        }
        Arm();
    }
    const std::string& folder;
};

/// Saves an attachment. A file that a failure leaves is found by its name, or by that of the next try.
Result<std::string> Save(const std::string& folder) {
    const Result<Mail> mail = Mail::Parse(kMail);
    if (!mail) return mail.error();
    const Entity file = mail->GetAttachments().back();
    const Result<std::filesystem::path> saved = file.SaveInto(folder);
    if (!saved) return saved.error();
    const Emptied atTheEnd{folder};
    const Result<void> again = file.SaveAs(*saved);
    if (!again) return again.error();
    return saved->filename().string();
}

#ifdef MIME_FAULTS_HTML

/// A tag with more attributes than are read: the document is parsed again without its tags.
std::string MakeManyAttributes() {
    std::string html = "<p";
    for (int i = 0; i < 300; ++i) html += " a" + std::to_string(i);
    return html + ">text<br>1 < 2";
}

/// The parser gets memory in chunks of 64 KiB, so one of them has to outgrow a chunk.
std::string MakeTable() {
    std::string html = "<table><tr><th>name<th>size</tr>";
    for (int i = 0; i < 60; ++i) html += "<tr><td>a longer name<td>" + std::to_string(i) + "</tr>";
    return html + "<tr><td>several<p>lines<td></table>";
}

void AddHtmlOperations(std::vector<Operation>& all) {
    const struct {
        const char* name;
        std::string html;
    } kDocuments[] = {
        {"table", MakeTable()},
        {"list", "<ol start=9><li>one<li>two<ul><li>in it</ul></ol><dl><dt>term<dd>text</dl>"},
        {"link", "<a href=' https://a.net/b c\xC3\xA9 '>the page</a><a href='mailto:a@b'>a@b</a>"},
        {"entities", "&lt;&#x1F600;&#0;&nbsp;&notit;&CounterClockwiseContourIntegral;&bad;\xFF"},
        {"image", "<p>a<img src=x alt='a picture with a long alternative text'>b<img alt>"},
        {"nested", "<blockquote><b><i><p>a<blockquote><pre>\n b\tc\n</pre><q>d</q><p>e</i>f"},
        {"broken", "<!DOCTYPE x><svg><b><table>x<td><p></b></x y='<table><!-- a <body><body c=d"},
        {"hidden", "<style>p{}</style><p style='display : none'>a<p hidden>b<script>c</script>d"},
        {"too many attributes", MakeManyAttributes()},
    };
    for (const auto& one : kDocuments) {
        all.push_back({kPlain, std::string("HtmlToText, ") + one.name, one.html, [](State& s) {
                           return Try(s, [&] {
                               return Result<std::string>(HtmlToText(std::string_view(s.in)));
                           });
                       }});
    }
    all.push_back(
        {kPlain, "Mail::GetText of HTML", "Content-Type: text/html\r\n\r\n<p>a<p>b", [](State& s) {
             return Try(s, [&]() -> Result<std::string> {
                 const Result<Mail> mail = Mail::Parse(std::string_view(s.in));
                 if (!mail) return mail.error();
                 return mail->GetText(HtmlToText);
             });
         }});
}

#endif

}  // namespace

void AddMailOperations(std::vector<Operation>& all, const std::string& folder) {
    const auto add = [&](const char* name, const std::string& in, auto body) {
        all.push_back({kPlain, name, in, [body](State& s) {
                           return Try(s, [&] { return body(std::string_view(s.in)); });
                       }});
    };
    add("Mail::Parse", kMail, [](std::string_view text) { return TellOf(Mail::Parse(text)); });
    add("Mail::Parse, with a report", kMail, [](std::string_view text) {
        ReadReport report;
        MailOptions options;
        options.report = &report;
        return TellOf(Mail::Parse(text, options));
    });
    add("Mail::Parse, type apart", "--a\r\n\r\n1\r\n--a--", [](std::string_view text) {
        return TellOf(Mail::Parse(text, "multipart/mixed; boundary=a"));
    });
    Test::WriteWholeFile(folder + "/mail", kMail);
    add("Mail::Open", folder + "/mail",
        [](std::string_view path) { return TellOf(Mail::Open(path)); });
    Test::WriteWholeFile(folder + "/mbox", kMbox);
    add("MailFolder, mbox", folder + "/mbox",
        [](std::string_view path) { return TellFolder(std::string(path)); });
    std::filesystem::create_directories(folder + "/files");
    Test::WriteWholeFile(folder + "/files/1", kMail);
    Test::WriteWholeFile(folder + "/files/2", kMbox);
    add("MailFolder, files", folder + "/files",
        [](std::string_view path) { return TellFolder(std::string(path)); });
    std::filesystem::create_directories(folder + "/saved");
    add("Entity::SaveInto, SaveAs", folder + "/saved",
        [](std::string_view path) { return Save(std::string(path)); });
    add("AddressList", "\"Zo\xC3\xAB\" <zoe@b>, g: (\xE9) a@b, =?utf-8?Q?=C3=A9?= <c@d>;, <",
        [](std::string_view text) {
            const AddressList list = AddressList::Parse(text);
            return Result<std::string>(list.GetStr() + std::to_string(list.GetProblems().size()));
        });
    add("DecodeText", "iso-8859-1", [](std::string_view charset) {
        return Result<std::string>(DecodeText("gr\xFC\xDF\x80", charset).text +
                                   DecodeText("\xD0", "koi8-r").text + DecodeRawHeader("\xE9"));
    });
    add("uuencoded", "begin 644 a\n#86)C\n`\nend\n", [](std::string_view text) {
        const std::vector<UuBlock> blocks = FindUuencoded(text);
        return Result<std::string>(blocks.at(0).name + DecodeUuencoded(text, blocks[0]));
    });
#ifdef MIME_FAULTS_HTML
    AddHtmlOperations(all);
#endif
}

}  // namespace MIME::Faults
