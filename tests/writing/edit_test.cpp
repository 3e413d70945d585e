#include "mime/writing/edit.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/temp_folder.h"

namespace MIME {
namespace {

namespace fs = std::filesystem;

/// The mails of the tests, and those of the folder that KIVMIME_CORPUS names.
std::vector<fs::path> FindMails() {
    std::vector<fs::path> folders = {fs::path(MIME_TEST_DATA_DIR) / "mail",
                                     fs::path(MIME_TEST_DATA_DIR) / "rfc"};
    if (const char* more = std::getenv("KIVMIME_CORPUS")) folders.emplace_back(more);
    std::vector<fs::path> mails;
    for (const fs::path& folder : folders) {
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            if (entry.is_regular_file()) mails.push_back(entry.path());
        }
    }
    return mails;
}

/// The leaves whose ranges are those of the source, but for one.
std::vector<Entity> GetLeaves(const Mail& mail, const std::string& without = "none") {
    std::vector<Entity> leaves;
    for (const Entity& entity : mail.GetEntities()) {
        const bool isLeaf = !entity.HasChildren() && entity.IsInSource();
        if (isLeaf && entity.GetPath() != without) leaves.push_back(entity);
    }
    return leaves;
}

std::vector<std::string> Cut(const std::vector<Entity>& entities) {
    std::vector<std::string> texts;
    for (const Entity& entity : entities) texts.emplace_back(entity.GetRaw());
    return texts;
}

class EditedCorpusTest : public testing::Test {
protected:
    /// Reads what an edit wrote. @return none where it failed as it may.
    std::optional<Mail> Write(Edit& edit, ErrorCode mayFail = ErrorCode::none) {
        Result<std::string> text = edit.ToString();
        if (!text) {
            EXPECT_EQ(text.error().GetCode(), mayFail) << text.error().GetText();
            return std::nullopt;
        }
        return *Mail::Parse(*std::move(text));
    }

    void CheckField(const Mail& mail) {
        Edit edit(mail);
        const std::optional<Mail> got = Write(edit.AddField("X-Cleaned", "cleaned"));
        EXPECT_EQ(got->GetTop().GetField("X-Cleaned"), "cleaned");
        std::string text(got->GetSource());
        const size_t at = text.find("X-Cleaned: cleaned");
        text.erase(at, text.find('\n', at) + 1 - at);
        // A mail without an empty line after its fields gets one.
        const std::string_view source = mail.GetSource();
        const bool isWhole = mail.GetTop().GetHeaderRange().size != 0;
        if (text != source && isWhole) {
            ++repaired_;
            const size_t end = text.size() - source.size();
            EXPECT_LE(end, 2u);
            EXPECT_TRUE(text.ends_with(source.substr(mail.GetTop().GetBodyRange().offset)));
        } else if (isWhole) {
            EXPECT_EQ(text, source);
        }
        EXPECT_EQ(got->GetEntities().size(), mail.GetEntities().size());
    }

    void CheckPart(const Mail& mail, const Entity& part) {
        const std::string path = part.GetPath();
        const std::vector<std::string> others = Cut(GetLeaves(mail, path));
        Edit edit(mail);
        if (const auto got = Write(edit.Replace(part, "[removed]\n"), ErrorCode::cannotEdit)) {
            EXPECT_EQ(got->FindByPath(path)->GetText().substr(0, 9), "[removed]") << path;
            EXPECT_EQ(Cut(GetLeaves(*got, path)), others) << path;
        }
        Edit removal(mail);
        if (const auto got = Write(removal.Remove(part), ErrorCode::cannotEdit)) {
            const std::vector<Entity> left = GetLeaves(*got);
            // The last part of a multipart leaves an empty text.
            if (left.size() == others.size()) {
                EXPECT_EQ(Cut(left), others) << path;
            } else {
                ASSERT_EQ(left.size(), others.size() + 1) << path;
                EXPECT_EQ(got->FindByPath(path)->Decode(), "") << path;
            }
        }
    }

    void CheckFooter(const Mail& mail) {
        Edit edit(mail);
        const std::optional<Mail> got =
            Write(edit.AddFooter("-- \nfooter \u00DC\n"), ErrorCode::cannotEdit);
        if (!got) return;
        ++footers_;
        EXPECT_EQ(got->GetEntities().size(), mail.GetEntities().size());
        EXPECT_NE((got->GetText() + got->GetHtml()).find("footer "), std::string::npos);
    }

    void CheckAttachment(const Mail& mail) {
        const std::string bytes = "\xFF" + std::string(300, '\r');
        const char* const name = "\u00DCbersicht.bin";
        Edit edit(mail);
        const std::optional<Mail> got = Write(edit.AttachBytes(bytes, {.name = name}));
        const std::optional<Entity> file = got->FindByFileName(name);
        ASSERT_TRUE(file);
        EXPECT_EQ(file->Decode(), bytes);
        EXPECT_EQ(got->GetSubject(), mail.GetSubject());
        const size_t more = got->GetEntities().size() - mail.GetEntities().size();
        EXPECT_TRUE(more == 1 || more == 2);
    }

    size_t repaired_ = 0;
    size_t footers_ = 0;
};

TEST_F(EditedCorpusTest, EverythingElseStaysByteForByte) {
    size_t count = 0;
    for (const fs::path& path : FindMails()) {
        SCOPED_TRACE(path);
        const Result<Mail> mail = Mail::Open(path);
        if (!mail) continue;
        ++count;
        Edit none(*mail);
        EXPECT_TRUE(*none.ToString() == mail->GetSource());
        CheckField(*mail);
        CheckFooter(*mail);
        CheckAttachment(*mail);
        const std::vector<Entity> leaves = GetLeaves(*mail);
        for (size_t i = 0; i < leaves.size(); i += 1 + leaves.size() / 8) {
            if (!leaves[i].GetPath().empty()) CheckPart(*mail, leaves[i]);
        }
    }
    EXPECT_GT(footers_, count / 2);
    EXPECT_LE(repaired_, count / 100);
    std::printf("%zu mails, %zu without an empty line, %zu with a footer\n", count, repaired_,
                footers_);
}

TEST(EditTest, OtherPartsOfDamagedMailsStay) {
    const std::string kMixed = "Content-Type: multipart/mixed; boundary=cut\n\n";
    const std::string kOther = "Content-Type: multipart/alternative; boundary=cut\n\n";
    const std::string kHtml = "--cut\nContent-Type: text/html\n\n<body>a\n--cut--</body>\n";
    const struct {
        std::string mail;
        std::string path;  ///< to which a part is added; or a footer "f", an attachment "a"
        std::string parts;
    } kRows[] = {
        {kMixed + "--cut\n\n1\n--cut\n", "a", "1|new|"},
        {kMixed + "--cut\n\n", "a", "--cut--\n\n|new|"},
        {kOther + "--cut\n\n1\n--cut\n", "a", "1|new|"},
        {kOther + "--cut\n\n1\n--cut \n", "a", "1|new|"},
        {kOther + "--cut\n\n1\n--cut\n", "f", "1\nnew\n|"},
        {kMixed + kHtml, "f", "<body>a\n--cut--\n<p>new\n</p></body>\n|"},
        {kMixed + "--cut\n" + kOther + "--cut\n\n1\n--cut--\n--cut\n\n2\n", "a", "1|2\n|new|"},
        {kMixed + "--cut\n" + kOther + "--cut\n\n1\n--cut--\n--cut\n\n2\n", "1", "1|new|2\n|"},
        {kMixed + "--cut\n" + kOther + "--cut\n\n1\n--cut\n\n2\n", "", ""},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.mail + row.path);
        const Result<Mail> mail = Mail::Parse(row.mail);
        Edit edit(*mail);
        if (row.path == "a") {
            edit.AttachBytes("new", {.name = "new"});
        } else if (row.path == "f") {
            edit.AddFooter("new");
        } else {
            edit.Add(*mail->FindByPath(row.path), "new");
        }
        const Result<std::string> text = edit.ToString();
        if (!text) {
            EXPECT_EQ(text.error().GetCode(), ErrorCode::cannotEdit);
        }
        const std::string written = text ? *text : "";
        const Result<Mail> got = Mail::Parse(written);
        std::string parts;
        if (text) {
            for (const Entity& leaf : GetLeaves(*got)) parts += leaf.Decode() + "|";
        }
        EXPECT_EQ(parts, row.parts) << written;
    }
}

}  // namespace
}  // namespace MIME
