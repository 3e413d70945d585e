#include "mime/mail.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "mime/mime.h"
#include "support/bytes.h"
#include "support/messages.h"
#include "support/same_tree.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

namespace fs = std::filesystem;
using Test::FindDifference;
using Test::FindMessages;
using Test::ReadWholeFile;
using Test::TempFolder;

const ReadOptions kMailInMemory = [] {
    ReadOptions options = ReadOptions::Mail();
    options.bodies = Bodies::memory;
    options.memoryLimit = AnsiStr::kMaxLength;
    return options;
}();

TEST(MailTest, IsTheTreeOfPartsAndMakesNoFile) {
    const TempFolder folder;
    for (const fs::path& path : FindMessages()) {
        const std::string text = ReadWholeFile(path.string());
        Part part;
        AnsiStr error;
        ReadReport report, same;
        MailOptions withReport;
        withReport.report = &same;
        const bool isRead = part.Read(text.data(), text.size(), error, kMailInMemory, &report);
        const Result<Mail> mail = Mail::Open(path, withReport);
        ASSERT_EQ(static_cast<bool>(mail), isRead) << path;
        if (mail) {
            EXPECT_EQ(FindDifference(*mail, part), "") << path;
            EXPECT_EQ(FindDifference(*Mail::Parse(text), part), "") << path;
        }
        EXPECT_EQ(same.worst, report.worst) << path;
        EXPECT_EQ(same.deviations.GetCount(), report.deviations.GetCount()) << path;
    }
    EXPECT_TRUE(folder.List().empty());
}

/// Without a report, the fields that steer the reading are read in the text where they are plain.
TEST(MailTest, PlainFieldsMeanWhatTheGrammarSays) {
    constexpr const char* kTypes[] = {"",
                                      "TEXT",
                                      "text/plain",
                                      "text/plain; a=\"b",
                                      "text/plain boundary=b",
                                      "message/rfc822",
                                      "Message/Global;",
                                      "multipart/mixed",
                                      "multipart/digest;boundary=b",
                                      "multipart/x;;a=b ;",
                                      "multipart/x; a=\"boundary=c\"; BOUNDARY=\"b\"; boundary=c",
                                      "multipart/x;\n boundary=b\n",
                                      "multipart/x; boundary=(c)b",
                                      "multipart/x; boundary=\"\\b\"",
                                      "multipart/x; boundary=b b",
                                      "multipart/x; boundary*=''%62",
                                      "multipart/x; boundary==?us-ascii?q?b?=",
                                      "multipart/x;b",
                                      "multipart/x; boundary=\"b \"",
                                      "multipart/x; boundary=",
                                      "multipart/x boundary=b",
                                      "multipart/x (;) ; boundary=b",
                                      "\"multipart/x\"; boundary=b",
                                      "multipart/x; a=b; boundary=\"b"};
    constexpr const char* kEncodings[] = {"", "BASE64", "7bit (8)", "quoted-printable;", "x-uue"};
    for (const char* type : kTypes) {
        for (const char* encoding : kEncodings) {
            const std::string text = std::string("Content-type: ") + type +
                                     "\nContent-Type: a/b\nContent-Transfer-Encoding: " + encoding +
                                     "\n\nA: b\n\n--b\n\nYmI=\n--b--\n";
            Part part;
            AnsiStr error;
            ASSERT_TRUE(part.Read(text.data(), text.size(), error, kMailInMemory));
            EXPECT_EQ(FindDifference(*Mail::Parse(text), part), "") << text;
        }
    }
}

TEST(MailTest, EncodedMessagesAreTextsOfTheirOwn) {
    const std::string inner = "Subject: in\nContent-Type: message/rfc822\n\n\nb=61";
    const std::string text =
        "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: message/rfc822\n"
        "Content-Transfer-Encoding: quoted-printable\n\n" +
        inner + "\n--b--";
    const Result<Mail> mail = Mail::Parse(text);
    ASSERT_TRUE(mail);
    const Entity carrier = mail->GetAttachments().at(0);
    const std::string decoded = inner.substr(0, inner.size() - 3) + "a";
    EXPECT_TRUE(carrier.IsInSource());
    EXPECT_EQ(carrier.GetRawBody(), inner);
    EXPECT_EQ(carrier.Decode(), decoded);
    const Entity message = *carrier.GetChildren().begin();
    EXPECT_FALSE(message.IsInSource());
    EXPECT_EQ(message.GetRaw(), decoded);
    EXPECT_EQ(message.GetField("Subject"), "in");
    EXPECT_EQ(mail->FindByPath("1.1.1")->GetBodyRange(), (Range{43, 2}));

    // Where reading fails in it is told by the place of its encoded body.
    MailOptions options;
    options.limits.maxDepth = 3;
    const Result<Mail> refused = Mail::Parse(text, options);
    EXPECT_EQ(refused.error().GetCode(), ErrorCode::tooDeep);
    EXPECT_EQ(refused.error().GetOffset(), text.find("Subject"));
    EXPECT_EQ(refused.error().GetEntityPath(), "1.1");
    options.limits = ReadOptions::Mail();
    options.limits.maxDecodedBytes = 10;
    EXPECT_EQ(Mail::Parse(text, options).error().GetCode(), ErrorCode::tooMuchContent);
}

TEST(MailTest, UuencodedFilesAreAttachments) {
    const std::string plain = "hi\nbegin 644 b.PNG\n#86)C\n`\nend\nbegin 644 prose\nend\nbye\n";
    const std::string encoded = "begin=20600 \xE9.txt\n#86)C\n`\nend\n--b--\n";
    const std::string text = "Content-Type: multipart/mixed; boundary=b\n\n--b\n\n" + plain +
                             "\n--b\nContent-Type: image/png\n\n" + plain +
                             "\n--b\nContent-Transfer-Encoding: quoted-printable\n\n" + encoded;
    const Result<Mail> mail = Mail::Parse(text);
    ASSERT_TRUE(mail);
    std::string listed;
    for (const Entity& file : mail->GetAttachments()) {
        listed += file.GetPath() + ' ' + file.GetMediaType() + ' ' + file.GetFileName() + ' ' +
                  std::to_string(file.GetDecodedSize()) + '\n';
        EXPECT_EQ(mail->FindByPath(file.GetPath()), file);
    }
    EXPECT_EQ(listed, "1.u1 image/png b.PNG 3\n2 image/png  55\n3.u1 text/plain \xC3\xA9.txt 3\n");
    const Entity file = mail->GetAttachments().back();
    EXPECT_EQ(file.Decode(), "abc");
    EXPECT_EQ(file.GetRawHeader(), "begin 600 \xE9.txt\n");
    EXPECT_TRUE(file.IsUuencoded() && !file.IsInSource() && file.IsAttachment());
    EXPECT_EQ(file.GetParent(), mail->FindByPath("3"));
    EXPECT_EQ(mail->FindByFileName("b.PNG"), mail->GetAttachments().front());
    for (const char* none : {"1.u2", "2.u1", "1.u0", "1.u1.1", "1.u", "u1"}) {
        EXPECT_FALSE(mail->FindByPath(none)) << none;
    }
    EXPECT_EQ(mail->GetText(), "hi\nbegin 644 prose\nend\nbye\n");
    EXPECT_EQ(mail->FindByPath("1")->Decode(), plain);
    EXPECT_EQ(mail->GetEntities().size(), 4u);
    Edit edit(*mail);
    edit.Remove(mail->GetAttachments().front());
    EXPECT_EQ(edit.ToString().error().GetCode(), ErrorCode::cannotEdit);
}

}  // namespace
}  // namespace MIME
