#include <gtest/gtest.h>

#include "mime/mail.h"
#include "mime/writing/field_text.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

// Whatever text is given to the writer, the mail has the fields and parts that a harmless text would have
// given it, and the text is read back; or else there is an error.

namespace MIME {
namespace {

using namespace std::string_literals;
using Text = const std::string&;
using MIME::Test::Escape;

const std::string kSource =
    "From: a@b.org\r\nSubject: s\r\nContent-Type: multipart/mixed; boundary=cut\r\n\r\n--cut\r\n"
    "Content-Type: text/plain; charset=utf-8\r\n\r\ntext\r\n--cut\r\nContent-Type: text/html\r\n"
    "Content-Transfer-Encoding: quoted-printable\r\n\r\n<p>=C3=BC</body>\r\n"
    "--cut\r\nContent-Type: text/plain; charset=koi8-r\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\ncg==\r\n--cut--\r\n";

std::string Canonical(Text text) {
    std::string lines;  // without a byte-order mark
    for (size_t i = text.starts_with("\xEF\xBB\xBF") ? 3 : 0; i < text.size(); ++i) {
        const bool isPair = text.compare(i, 2, "\r\n") == 0;
        const bool isEnd = text[i] == '\r' || text[i] == '\n';
        lines += isEnd ? "\r\n" : std::string(1, text[i]);
        i += isPair ? 1 : 0;
    }
    return lines;
}
std::string Same(Text text) {
    return text;
}
std::string Trimmed(Text text) {
    const size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
    return text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}
std::string Bare(Text text) {
    return text.starts_with('<') ? text.substr(1, text.size() - 2) : text;
}
std::string Lower(Text text) {
    std::string lower = text;
    for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return lower;
}
std::string Listed(Text text) {
    return AddressList::Parse(text).GetStr();
}
std::string SentName(Text text) {
    return MakeSentName(text);
}
template <char... kBefore>
std::string Appended(Text text) {  // in lines of its own
    std::string lines = Canonical(std::string{kBefore..., '\r', '\n'} + text);
    return lines.ends_with("\r\n") ? lines : lines + "\r\n";
}

/// Paths and how many fields; an encoding depends on the text.
std::string Outline(const Mail& mail) {
    std::string outline;
    for (const Entity& entity : mail.GetEntities()) {
        const bool isEncoded = entity.FindField("Content-Transfer-Encoding").has_value();
        const size_t count = entity.GetFields().size() - (isEncoded ? 1 : 0);
        outline += entity.GetPath() + ":" + std::to_string(count) + " ";
    }
    return outline;
}

std::string Unfold(std::string_view raw) {
    std::string text(raw);
    std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
    return text;
}

/// A mail of somebody else whose texts, decoded, are any bytes.
Mail Receive(Text text) {
    std::string word = "=?utf-8?Q?";
    for (const char c : text) {
        if (word.size() % 71 == 70) word += "?=\r\n =?utf-8?Q?";
        word += {'=', "0123456789ABCDEF"[(c >> 4) & 15], "0123456789ABCDEF"[c & 15]};
    }
    word += "?=";
    return *Mail::Parse("From: " + word + " <c@d.org>\r\nSubject: " + word +
                        "\r\nMessage-ID: <a@b>\r\nContent-Disposition: attachment; "
                        "filename=\"" +
                        word + "\"\r\n\r\nbody\r\n");
}

struct Base {
    Mail received = Receive("");
    Composer composer{1};
    Mail source = *Mail::Parse(kSource);
    Edit edit{source};
    Entity Get(const char* path) const { return *source.FindByPath(path); }
};

struct Entry {
    const char* name;
    const char* plain;  ///< a harmless text
    Result<std::string> (*write)(Base& base, Text text);
    std::string (*read)(const Mail& mail);
    std::string (*want)(Text text);
};

/// A composer with a call more, or an edit.
#define RECEIVED(call)                                                     \
    [](Base& b, Text t) {                                                  \
        b.received = Receive(t);                                           \
        return b.composer.call(b.received).From("", "a@b.org").ToString(); \
    }
#define COMPOSED(call)                                    \
    [](Base& b, [[maybe_unused]] Text t) {                \
        b.composer.call;                                  \
        return b.composer.From("", "a@b.org").ToString(); \
    }
#define EDITED(call)                       \
    [](Base& b, [[maybe_unused]] Text t) { \
        b.edit.call;                       \
        return b.edit.ToString();          \
    }
#define READ(expression) [](const Mail& m) -> std::string { return expression; }

const Entry kEntries[] = {
#define ROLE(role)                                                                               \
    {#role ", name", "Ann",                                                                      \
     COMPOSED(role(t, "c@d.org").From("", "e@f.org").Sender("", "g@h.org")),                     \
     READ(m.Get##role()[0].GetName()), Trimmed},                                                 \
        {#role ", address", "c@d.org",                                                           \
         COMPOSED(role("Ann", t).From("", "e@f.org").Sender("", "g@h.org")),                     \
         READ(m.Get##role()[0].GetAddress()), Same},                                             \
    {                                                                                            \
#role ", list", "Ann <c@d.org>", COMPOSED(role(t)), READ(m.Get##role().GetStr()), Listed \
    }
    // clang-format off
    ROLE(ReplyTo), ROLE(To), ROLE(Cc), ROLE(Bcc),
    {"From, name", "Ann", COMPOSED(From(t, "c@d.org").Sender("", "e@f.org")), READ(m.GetFrom()[0].GetName()), Trimmed},
    {"From, address", "c@d.org", COMPOSED(From("Ann", t).Sender("", "e@f.org")), READ(m.GetFrom()[0].GetAddress()), Same},
    {"From, list", "Ann <c@d.org>", COMPOSED(Sender("e@f.org").From(t)), READ(m.GetFrom().GetStr()), [](Text t) { return Listed(t + ", a@b.org"); }},
    {"Sender, name", "Ann", COMPOSED(Sender(t, "c@d.org")), READ(m.GetSender()[0].GetName()), Trimmed},
    {"Sender, list", "Ann <c@d.org>", COMPOSED(Sender(t)), READ(m.GetSender().GetStr()), Listed},
    {"Subject", "s", COMPOSED(Subject(t)), READ(m.GetSubject()), Same},
    {"MessageId", "a@b", COMPOSED(MessageId(t)), READ(m.GetMessageId()), Bare},
    {"AddField, name", "X-A", COMPOSED(AddField(t, "value")), READ(m.GetTop().GetFields()[3].GetText()), [](Text) { return "value"s; }},
    {"AddField, X-A", "v", COMPOSED(AddField("X-A", t)), READ(m.GetTop().GetField("X-A")), Same},
    {"AddField, List-Id", "v", COMPOSED(AddField("List-Id", t)), READ(Unfold(m.GetTop().FindField("List-Id")->raw)), Trimmed},
    {"AddField, Resent-To", "a@b.c", COMPOSED(AddField("Resent-To", t)), READ(m.GetAddresses("Resent-To").GetStr()), Listed},
    {"Answer", "s", RECEIVED(Answer), READ(m.GetSubject().substr(0, 3) + m.GetTo().GetStr()), [](Text t) { return "Re:" + Receive(t).GetFrom().GetStr(); }},
    {"Attach(Mail)", "s", RECEIVED(Attach), READ(m.FindByPath("1.1")->GetField("Subject")), [](Text t) { return Receive(t).GetSubject(); }},
    {"Attach(Entity)", "s", [](Base& b, Text t) { b.received = Receive(t); return b.composer.From("a@b.org").Attach(b.received.GetTop()).ToString(); },
     READ(m.FindByPath("1")->GetFileName()), [](Text t) { return MakeSentName(Receive(t).GetTop().GetSafeFileName()); }},
    {"Text", "t", COMPOSED(Text(t)), READ(m.GetTop().Decode()), Canonical},
    {"Text, charset", "koi8-r", COMPOSED(Text("t", t)), READ(m.GetTop().GetCharset()), Same},
    {"Html", "t", COMPOSED(Text("x").Html(t)), READ(m.FindByPath("2")->Decode()), Canonical},
    {"Html, charset", "koi8-r", COMPOSED(Text("t").Html(t, t)), READ(m.FindByPath("2")->GetCharset()), Same},
    {"AttachBytes", "t", COMPOSED(AttachBytes(t, {"a"})), READ(m.FindByPath("1")->Decode()), Same},
    {"AttachBytes, name", "t.x", COMPOSED(AttachBytes("x", {t, "a/b"})), READ(m.FindByPath("1")->GetFileName() + m.FindByPath("1")->GetParameter("Content-Type", "name")), [](Text t) { return SentName(t) + SentName(t); }},
    {"AttachBytes, type", "a/b", COMPOSED(AttachBytes("x", {"a", t})), READ(m.FindByPath("1")->GetMediaType()), Lower},
    {"AttachBytes, id", "a@b", COMPOSED(AttachBytes("x", {"a", "", t})), READ(m.FindByPath("1")->GetContentId()), Bare},
    {"InlineBytes", "t", COMPOSED(Html("x").InlineBytes(t, {"a"})), READ(m.FindByPath("2")->Decode()), Same},
    {"InlineBytes, name", "t.x", COMPOSED(Html("x").InlineBytes("x", {t, "a/b"})), READ(m.FindByPath("2")->GetFileName()), SentName},
    {"InlineBytes, id", "a@b", COMPOSED(Html("x").InlineBytes("x", {"a", "", t})), READ(m.FindByPath("2")->GetContentId()), Bare},
    {"Edit::AddField, name", "X-A", EDITED(AddField(t, "value")), READ(m.GetTop().GetFields().back().GetText()), [](Text) { return "value"s; }},
    {"Edit::AddField", "v", EDITED(AddField("X-A", t)), READ(m.GetTop().GetField("X-A")), Same},
    {"Edit::AddField of a part", "v", EDITED(AddField(b.Get("2"), "X-A", t)), READ(m.FindByPath("2")->GetField("X-A")), Same},
    {"Edit::SetField, name", "X-A", EDITED(SetField(b.Get("1"), t, "x")), READ(m.FindByPath("1")->GetFields().back().GetText()), [](Text) { return "x"s; }},
    {"Edit::SetField, Subject", "v", EDITED(SetField("Subject", t)), READ(m.GetSubject()), Same},
    {"Edit::SetField, To", "a@b.c", EDITED(SetField("To", t)), READ(m.GetTo().GetStr()), Listed},
    {"Edit::SetField, Content-Type", "text/x; a=b", EDITED(SetField(b.Get("1"), "Content-Type", t)), READ(m.FindByPath("1")->Decode()), [](Text) { return "text"s; }},
    {"Edit::SetField, disposition", "inline; filename=a", EDITED(SetField(b.Get("1"), "Content-Disposition", t)), READ(m.FindByPath("1")->Decode()), [](Text) { return "text"s; }},
    {"Edit::RemoveField", "X-A", EDITED(RemoveField(t)), READ(m.GetSubject()), [](Text) { return "s"s; }},
    {"Edit::Replace", "t", EDITED(Replace(b.Get("1"), t)), READ(m.FindByPath("1")->Decode()), Canonical},
    {"Edit::Replace of all", "t", EDITED(Replace(b.Get(""), t)), READ(m.GetTop().Decode()), Canonical},
    {"Edit::Replace, HTML", "t", EDITED(Replace(b.Get("2"), NewPart::Html(t))), READ(m.FindByPath("2")->Decode()), Canonical},
    {"Edit::Replace, bytes", "t", EDITED(Replace(b.Get("2"), NewPart::Bytes(t, {"a"}))), READ(m.FindByPath("2")->Decode()), Same},
    {"Edit::Add", "t", EDITED(Add(b.Get(""), t)), READ(m.FindByPath("4")->Decode()), Canonical},
    {"Edit::Add, name", "a.x", EDITED(Add(b.Get(""), NewPart::Bytes("x", {t, "a/b"}))), READ(m.FindByPath("4")->GetFileName()), SentName},
    {"Edit::AttachBytes, type", "a/b", EDITED(AttachBytes("x", {"a", t})), READ(m.FindByPath("4")->GetMediaType()), Lower},
    {"Edit::AttachBytes, id", "a@b", EDITED(AttachBytes("x", {"a", "", t})), READ(m.FindByPath("4")->GetContentId()), Bare},
    {"Edit::AppendText", "t", EDITED(AppendText(b.Get("1"), t)), READ(m.FindByPath("1")->GetText()), Appended<'t', 'e', 'x', 't'>},
    {"Edit::AppendText, HTML", "t", EDITED(AppendText(b.Get("2"), t)), READ(m.FindByPath("2")->GetText().substr(0, 5)), [](Text) { return "<p>\u00FC"s; }},
    {"Edit::AppendText, koi8-r", "t", EDITED(AppendText(b.Get("3"), t)), READ(m.FindByPath("3")->GetText()), Appended<'r'>},
    {"Edit::AddFooter", "t", EDITED(AddFooter(t)), READ(m.FindByPath("3")->GetText()), Appended<'r'>},
    // clang-format on
};

std::vector<std::string> MakeTexts() {
    std::vector<std::string> texts = {"a\rb",
                                      "a\nb",
                                      "a\0b"s,
                                      "a\r\n\r\nb",
                                      "a\r\nBcc: x@y.org\r\n\r\n--cut--",
                                      "\r\n",
                                      "\n",
                                      "\xFF",
                                      "a\xC3",
                                      "\xED\xA0\x80",
                                      "Gr\u00FC\u00DFe",
                                      "\u6771\u4EAC",
                                      "=?utf-8?Q?a?=",
                                      "=?utf-8?Q?=0D=0ABcc:_x@y.org?=",
                                      "a =?x?= b",
                                      "a\u202E\u2066b",
                                      "a\u2028b\u0085c",
                                      "\x7F",
                                      "\x1B[2J",
                                      "\t",
                                      "  a  b  ",
                                      "a;b=\"c\"",
                                      "\\\"",
                                      "a, b",
                                      "<a@b.org>",
                                      "<a@b.org",
                                      "a@b.org, c@d.org",
                                      "a@b.org <c@d.org>",
                                      "a@b.org\r\nBcc: x@y.org",
                                      "(a",
                                      "g: a@b.org;",
                                      "a/b",
                                      "a/b; c=d",
                                      "multipart/mixed; boundary=cut",
                                      "multipart/mixed; boundary=\"\"",
                                      "message/rfc822; a=b",
                                      "--cut",
                                      "--cut--",
                                      "a\r\n--cut\r\n\r\nb",
                                      "a\n--cut--\n",
                                      ".\r\n..\r\n",
                                      "From a",
                                      "a:b",
                                      "Content-Type",
                                      "content-transfer-encoding",
                                      "Content-Type: multipart/mixed",
                                      "../../a",
                                      "..",
                                      "a%0D%0Ab",
                                      "utf-8''a%00",
                                      "'*'",
                                      "\xEF\xBB\xBF"
                                      "a",
                                      "&<>\"'",
                                      "</body>",
                                      " \r\n "};
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    texts.push_back(all);
    texts.push_back(std::string(1000, 'x'));
    for (const char* piece : {"x", "\u00FC", "word ", "a@b.org, "}) {
        std::string longText;
        while (longText.size() < 100'000) longText += piece;
        texts.push_back(longText);
    }
    return texts;
}

TEST(HostileTextTest, MakesNoFieldAndNoPart) {
    const std::vector<std::string> texts = MakeTexts();
    for (const Entry& entry : kEntries) {
        Base plain;
        const Result<std::string> outlined = entry.write(plain, entry.plain);
        ASSERT_TRUE(outlined) << entry.name << outlined.error().GetText();
        const std::string outline = Outline(*Mail::Parse(*outlined));
        EXPECT_EQ(entry.read(*Mail::Parse(*outlined)), entry.want(entry.plain)) << entry.name;
        for (Text text : texts) {
            SCOPED_TRACE(entry.name + (": " + Escape(text.substr(0, 200))));
            Base base;
            const Result<std::string> written = entry.write(base, text);
            if (!written) {
                EXPECT_NE(written.error().GetCode(), ErrorCode::none);
                EXPECT_TRUE(written.error().GetText().find_first_of("\r\n") == std::string::npos);
                continue;
            }
            const Result<Mail> mail = Mail::Parse(*written);
            ASSERT_TRUE(mail);
            const std::string got = Outline(*mail);
            EXPECT_EQ(got, outline);
            if (got != outline) continue;
            EXPECT_TRUE(entry.read(*mail) == entry.want(text))
                << Escape(entry.read(*mail).substr(0, 300));
        }
    }
}

}  // namespace
}  // namespace MIME
