#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "mime/mail.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using namespace std::string_literals;
using MIME::Test::Escape;

std::string Repeat(std::string_view piece, size_t count) {
    std::string text;
    while (count-- > 0) text += piece;
    return text;
}

std::vector<std::string> MakePatterns() {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
    const std::string longLine(10'000, 'l');
    return {"",
            all,
            Repeat(all, 400),
            "no line end",
            "a\nb\n",
            "a\rb\r",
            "\r",
            "\n\n",
            "\r\n",
            "\r\n\r\r\n\n\r",
            longLine,
            longLine + "\n" + longLine + " \n",
            Repeat("\u00FC", 5000),
            Repeat("a\n", 40'000),
            ".\n..\n.",
            "From x\nFrom y\n>From z",
            "--\n-- \n--x\n--=_\n",
            "a \nb\t\n ",
            "=\n=3D\n=20",
            std::string(996, 'x') + "\r\n.",
            std::string(998, 'y') + "\n",
            std::string(999, 'z') + "\n",
            "a\0b\n"s,
            "\xEF\xBB\xBF",
            "Content-Type: text/html\n\n"};
}

/// Such a text as it arrives: with CR LF. One that is not UTF-8 is not sent.
std::string MakeCanonical(std::string_view text) {
    std::string lines;
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    for (size_t i = 0; i < text.size(); ++i) {
        if (text.substr(i, 2) == "\r\n") ++i;
        text[i] == '\r' || text[i] == '\n' ? lines += "\r\n" : lines += text[i];
    }
    return lines;
}

/// Writes the bytes in every place that takes some, and looks for them there.
std::string SendAll(const std::string& bytes) {
    std::string carried = "From: a@b\r\nContent-Type: text/plain; charset=x\r\n";
    const bool isBinary = bytes.find('\0') != std::string::npos;
    carried += "Content-Transfer-Encoding: 8bit\r\n\r\n" + bytes;
    const Result<Mail> inner = Mail::Parse(carried);
    const Result<Mail> old = Mail::Parse("Subject: x\n\nold text\n");
    Composer mail(7);
    mail.From("", "a@b.org").Text(bytes, "iso-8859-1").Html(bytes, "iso-8859-1");
    mail.InlineBytes(bytes, {"inline.gif"});
    mail.AttachBytes(bytes, {"x.bin"}).AttachBytes(bytes, {"x.txt"}).Attach(*inner);
    const Result<std::string> text = mail.ToString();
    if (!text) return ADD_FAILURE() << text.error().GetText(), "";
    ReadReport report;
    const Result<Mail> got = Mail::Parse(*text, {.report = &report});
    const std::string lines = MakeCanonical(bytes);
    const struct {
        const char* path;
        const char* type;
        const std::string& want;
    } kWanted[] = {{"1", "multipart/alternative", ""}, {"1.1", "text/plain", lines},
                   {"1.2", "multipart/related", ""},   {"1.2.1", "text/html", lines},
                   {"1.2.2", "image/gif", bytes},      {"2", "application/octet-stream", bytes},
                   {"3", "text/plain", bytes}};
    EXPECT_GE(got->GetEntities().size(), std::size(kWanted) + 2);
    for (const auto& [path, type, want] : kWanted) {
        const Entity entity = *got->FindByPath(path);
        EXPECT_EQ(entity.GetMediaType(), type);
        EXPECT_TRUE(entity.HasChildren() || entity.Decode() == want)
            << path << Escape(entity.Decode().substr(0, 300));
    }
    // A carried mail is sent as one where it can be, with CR LF, and else as a file.
    const Entity last = *got->FindByPath("4");
    const bool isFile = !last.CarriesMessage();
    EXPECT_TRUE((isFile ? last.Decode() == carried : last.GetRawBody() == MakeCanonical(carried)));
    EXPECT_TRUE(isFile || !isBinary);
    EXPECT_LE(got->GetTop().GetChildren().size(), 4u);
    for (const ReadReport::Entry& entry : report.deviations) {
        if (isFile || !std::string_view(entry.path).starts_with("4.")) {
            EXPECT_EQ(Deviation::GetSeverity(entry.kind), Deviation::Severity::harmless)
                << Deviation::GetStr(entry.kind);
        }
    }
    for (size_t at = 0, end; at < text->size(); at = end + 2) {
        end = text->find("\r\n", at);
        if (end == std::string::npos) end = text->size();
        EXPECT_LE(end - at, 998u);
        EXPECT_EQ(text->substr(at, end - at).find_first_of("\r\n\0"s), std::string::npos);
    }
    return *text;
}

TEST(AnyBytesTest, ArriveWhereverTheyAreSent) {
    std::set<std::string> boundaries;
    for (const std::string& pattern : MakePatterns()) {
        SCOPED_TRACE(Escape(pattern.substr(0, 60)) + " and so on");
        const std::string text = SendAll(pattern);
        const Result<Mail> mail = Mail::Parse(text);
        for (const Entity& entity : mail->GetEntities()) {
            const std::string boundary = entity.GetParameter("Content-Type", "boundary");
            if (!boundary.empty()) boundaries.insert("--" + boundary);
        }
    }
    // The same seed gives the same boundaries, unless they occur in the bodies.
    EXPECT_EQ(boundaries.size(), 3u);
    std::string all;
    for (const std::string& line : boundaries) {
        all += line + "\r\n\r\n" + line + "--\r\n " + line + "\r\n" + line.substr(0, 10) + "\r\n";
        SendAll(line);
        SendAll(line + "--");
        SendAll(line + "x\n" + line + " \n");
    }
    EXPECT_EQ(SendAll(all).find("\r\n" + *boundaries.begin() + "\r\nContent-"), std::string::npos);
}

TEST(AnyBytesTest, ReplaceOrFollowWhatIsThere) {
    const std::string source =
        "Subject: x\r\nContent-Type: multipart/mixed; "
        "boundary=\"=_cut\"\r\n\r\n--=_cut\r\n\r\nold\r\n"
        "--=_cut\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: "
        "quoted-printable\r\n\r\nold=\r\n--=_cut--\r\n";
    std::vector<std::string> patterns = MakePatterns();
    patterns.insert(patterns.end(), {"--=_cut", "--=_cut--\r\n", "x\r\n--=_cut\r\n\r\ny"});
    for (const char* const end : {"\r\n", "\n"}) {
        std::string text = source;
        for (size_t at = 0; *end == '\n' && (at = text.find("\r\n")) != std::string::npos;) {
            text.replace(at, 2, "\n");
        }
        const Result<Mail> mail = Mail::Parse(text);
        for (const std::string& pattern : patterns) {
            SCOPED_TRACE(Escape(pattern.substr(0, 60)) + " and so on");
            Edit edit(*mail);
            edit.Replace(*mail->FindByPath("1"), NewPart::Bytes(pattern, {"x.bin"}));
            edit.Add(mail->GetTop(), NewPart::Bytes(pattern, {"x.txt"}));
            const bool isText = pattern.find_first_of("\xEF\xFF") == std::string::npos;
            if (isText) edit.AppendText(*mail->FindByPath("2"), pattern);
            if (isText) edit.Add(mail->GetTop(), pattern);
            edit.AttachBytes(pattern, {"y.bin"});
            const Result<std::string> written = edit.ToString();
            ASSERT_TRUE(written) << written.error().GetText();
            const Result<Mail> got = Mail::Parse(*written);
            ASSERT_EQ(got->GetTop().GetChildren().size(), isText ? 5u : 4u);
            EXPECT_EQ(got->FindByPath("1")->Decode(), pattern);
            EXPECT_EQ(got->FindByPath("3")->Decode(), pattern);
            const std::string last = isText ? "5" : "4";
            EXPECT_EQ(got->FindByPath(last)->Decode(), pattern);
            if (!isText) continue;
            EXPECT_EQ(MakeCanonical(got->FindByPath("4")->Decode()), MakeCanonical(pattern));
            std::string added = MakeCanonical(pattern);
            if (!added.ends_with("\r\n")) added += "\r\n";
            EXPECT_EQ(MakeCanonical(got->FindByPath("2")->Decode()), "old\r\n" + added);
        }
    }
}

TEST(AnyBytesTest, WhatIsAddedStandsWhereItWasAskedFor) {
    const Result<Mail> mail = Mail::Parse(
        "Content-Type: multipart/related; boundary=a\n\n--a\n\n1\n--a\nContent-Type: "
        "multipart/mixed; boundary=b\n\n--b\n\n2.1\n--b--\n--a\n\n3\n--a--\n");
    const auto at = [&mail](const char* path) { return *mail->FindByPath(path); };
    const struct {
        std::function<void(Edit&)> change;
        const char* want;
    } kCases[] = {
        {[&](Edit& e) { e.Add(at(""), "x"); }, "1:1 2.1:2.1 3:3 4:x "},
        {[&](Edit& e) { e.Attach(MIME_TEST_DATA_DIR "/rows/types.rows"); },
         "1.1:1 1.2.1:2.1 1.3:3 2:* "},
        {[&](Edit& e) { e.Add(at("2"), "x").Remove(at("3")); }, "1:1 2.1:2.1 2.2:x "},
        {[&](Edit& e) { e.Remove(at("2.1")); }, "1:1 2.1: 3:3 "},
        {[&](Edit& e) { e.Remove(at("2.1")).Add(at("2"), "x"); }, "1:1 2.1:x 3:3 "},
        {[&](Edit& e) { e.Remove(at("2.1")).Add(at("2"), "x").Add(at("2"), "y"); },
         "1:1 2.1:x 2.2:y 3:3 "},
        {[&](Edit& e) { e.Remove(at("2")).Add(at(""), "x"); }, "1:1 2:3 3:x "},
    };
    for (const auto& [change, want] : kCases) {
        Edit edit(*mail);
        change(edit);
        const Result<Mail> got = Mail::Parse(*edit.ToString());
        std::string found;
        for (const Entity& entity : got->GetEntities()) {
            if (entity.HasChildren()) continue;
            const bool isFile = entity.GetFileName() == "types.rows";
            found += entity.GetPath() + ":" + (isFile ? "*" : entity.Decode()) + " ";
        }
        EXPECT_EQ(found, want);
    }
}

TEST(AnyBytesTest, FootersOfBareMails) {
    const char* const kMails[] = {"",
                                  "\r\n",
                                  "Subject: x",
                                  "Subject: x\r\n",
                                  "Subject: x\r\n\r\n",
                                  "Subject: x\nbody",
                                  "body",
                                  "body\n",
                                  "Content-Type: text/html",
                                  "From a@b",
                                  "Content-Type: multipart/mixed; boundary=a\n\n--a\n\n--a",
                                  "Content-Type: multipart/mixed; boundary=\"=_\"\n\n--=_\n\nx",
                                  "Content-Type: multipart/mixed; boundary=a\n\n--a\n\n--a--",
                                  "Content-Type: multipart/mixed; boundary=a\n\n--a\nX: y\n--a--"};
    const Result<Mail> like = Mail::Parse("Subject: x\r\n\r\nTo: y@z.org\r\n");
    const Result<std::string> bare = Edit(*like).RemoveField("Subject").ToString();
    EXPECT_EQ(Mail::Parse(*bare)->GetText(), "To: y@z.org\n") << "does not become a field";
    const Result<Mail> odd = Mail::Parse("Content-X: x\njunk\nA: b\nodd\nReceived: c\n\nbody\n");
    const auto tell = [&](const Result<std::string>& text) {
        const Result<Mail> got = Mail::Parse(*text);
        std::string names;
        for (const Field& field : got->GetTop().GetFields()) names += field.name;
        return names + " " + got->GetText();
    };
    EXPECT_EQ(tell(Edit(*odd).RemoveField("Content-X").ToString()), "AReceived body\n");
    EXPECT_EQ(tell(Edit(*odd).RemoveField("Received").ToString()), "Content-XA body\n");
    EXPECT_EQ(tell(Edit(*odd).SetField("A", "y").ToString()), "Content-XAReceived body\n");
    EXPECT_EQ(tell(Edit(*odd).AttachBytes("x", {"y"}).ToString()),
              "AReceivedMIME-VersionContent-Type body\n");
    const Result<Mail> joined = Mail::Parse(
        "A: b\nContent-Type: multipart/mixed; boundary=a\nte\n--a\n\n1\n--a\n\n2\n--a--\n");
    ASSERT_EQ(joined->GetEntities().size(), 3u);
    const Result<std::string> replaced =
        Edit(*joined).Replace(*joined->FindByPath("1"), "x").ToString();
    EXPECT_EQ(Mail::Parse(*replaced)->GetEntities().size(), 3u) << *replaced;
    for (const std::string source : kMails) {
        for (const std::string footer : {"Bcc: x@y.org", "\u00FC: x", "\r\nx", "From x", "--a"}) {
            SCOPED_TRACE(Escape(source) + " and " + Escape(footer));
            const Result<Mail> mail = Mail::Parse(source);
            for (const size_t more : {size_t{0}, size_t{1}}) {
                Edit edit(*mail);
                if (more != 0) edit.AddField("X-A", "b");
                const Result<std::string> text = edit.AddFooter(footer).ToString();
                ASSERT_TRUE(text) << text.error().GetText();
                const Result<Mail> got = Mail::Parse(*text);
                EXPECT_EQ(got->GetEntities().size(), mail->GetEntities().size());
                EXPECT_NE((got->GetText() + got->GetHtml()).find(footer.substr(2)),
                          std::string::npos);
                const size_t fields = mail->GetTop().GetFields().size() + more;
                // A text that became UTF-8 has up to three more.
                const bool isNamed = got->GetTop().FindField("MIME-Version").has_value();
                EXPECT_LE(got->GetTop().GetFields().size(), fields + (isNamed ? 3 : 0));
                EXPECT_GE(got->GetTop().GetFields().size(), fields);
                Edit attached(*mail);
                const Result<std::string> whole = attached.AttachBytes("x", {"y"}).ToString();
                EXPECT_EQ(Mail::Parse(*whole)->FindByFileName("y")->Decode(), "x") << *whole;
            }
        }
    }
}

}  // namespace
}  // namespace MIME
