#include "mime/mime.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

#include "support/base64_reference.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using Test::Random;
using Test::ReferenceEncodeBase64;
using Test::TempFolder;
using Test::WriteWholeFile;

class ContentTest : public testing::Test {
protected:
    bool SetContent(Part& part, std::string_view content, const ContentType& type) const {
        WriteWholeFile(folder_.At("content"), content);
        MemoryFile file;
        EXPECT_TRUE(file.Open(File(AnsiStr(folder_.At("content"))), MemoryFile::Mode::read));
        return part.SetContent(file, type);
    }
    TempFolder folder_;
};

AnsiStr GetField(const Part& part) {
    const HeaderMap::Node* field = part.headers.Find("Content-Transfer-Encoding");
    return field != nullptr ? field->value.value : AnsiStr("none");
}

TEST_F(ContentTest, TheTypeKeyChoosesTheEncoding) {
    struct Case {
        const char* why;
        ContentType type;
        std::string_view content;
        bool isText;
        std::string_view want;
    };
    const Case cases[] = {
        {"text", {"", Type::text, SubType::html}, "a.b", true, "a=2Eb"},
        {"text with a type string", {"text/x-y", Type::text, SubType::invalid}, "=", true, "=3D"},
        {"a type string alone is no key",
         {"text/plain", Type::invalid, SubType::invalid},
         "a",
         false,
         "YQ=="},
        {"image", {"", Type::image, SubType::png}, {"\0\xFF.", 3}, false, "AP8u"},
        {"multipart", {"", Type::multipart, SubType::mixed}, "a", false, "YQ=="},
        {"empty text", {"", Type::text, SubType::plain}, "", true, ""},
        {"empty image", {"", Type::image, SubType::png}, "", false, ""},
    };
    Part part;  // each case replaces what the one before has set
    for (const Case& c : cases) {
        ASSERT_TRUE(SetContent(part, c.content, c.type)) << c.why;
        EXPECT_EQ(part.data.content, c.want) << c.why;
        EXPECT_TRUE(part.data.encoded) << c.why;
        EXPECT_EQ(part.info.transferEncoding,
                  c.isText ? TransferEncoding::quoted_printable : TransferEncoding::base64)
            << c.why;
        EXPECT_EQ(GetField(part), c.isText ? "quoted-printable" : "base64") << c.why;
        EXPECT_EQ(part.info.contentType.str, c.type.str) << c.why;
        EXPECT_EQ(part.info.contentType.type, c.type.type) << c.why;
        EXPECT_EQ(part.info.contentType.subType, c.type.subType) << c.why;
    }
}

TEST_F(ContentTest, WritesBase64InLinesOf76) {
    Part part;
    for (const size_t size : {57u, 58u, 1000u, 100'000u}) {
        const std::string content = Random(size).Bytes(size);
        ASSERT_TRUE(SetContent(part, content, {"", Type::image, SubType::png}));
        EXPECT_EQ(part.data.content, ReferenceEncodeBase64(content, 76, "\r\n")) << size;
    }
}

TEST_F(ContentTest, LeavesTheRestOfThePartAlone) {
    Part part;
    part.rawText = "raw";
    part.info.charset = "utf-8";
    part.info.boundary = "b";
    part.data.file = File("file");
    HeaderValue& field = part.headers.FindOrInsert("content-transfer-encoding")->value;
    field.value = "8bit";
    field.parameters.FindOrInsert("x")->value.value = "y";
    part.headers.FindOrInsert("Subject")->value.value = "s";
    ASSERT_TRUE(SetContent(part, "text", {"", Type::text, SubType::plain}));
    EXPECT_EQ(part.rawText, "raw");
    EXPECT_EQ(part.info.charset, "utf-8");
    EXPECT_EQ(part.info.boundary, "b");
    EXPECT_EQ(part.data.file.GetPath(), "file");
    EXPECT_EQ(field.value, "quoted-printable");
    EXPECT_EQ(field.parameters.Find("x")->value.value, "y");
    EXPECT_EQ(part.headers.Find("Subject")->value.value, "s");
}

// A file with a hole of 4 GiB takes no room on the disk.
TEST_F(ContentTest, TooMuchContentChangesNothing) {
    const std::string path = folder_.At("huge");
    WriteWholeFile(path, "");
    std::error_code error;
    std::filesystem::resize_file(path, uintmax_t{1} << 32, error);
    if (error) GTEST_SKIP() << "no file of 4 GiB: " << error.message();
    MemoryFile file;
    if (!file.Open(File(AnsiStr(path)), MemoryFile::Mode::read)) {
        GTEST_SKIP() << "cannot map 4 GiB";
    }
    Part part;
    EXPECT_FALSE(part.SetContent(file, {"", Type::text, SubType::plain}));
    EXPECT_EQ(part.info.contentType.type, Type::invalid);
    EXPECT_TRUE(part.headers.IsEmpty());
    EXPECT_FALSE(part.data.encoded);
}

TEST(BoundaryTest, IsNewEveryTime) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        Info info;
        info.boundary = "old";
        info.GenerateBoundary();
        const std::string boundary(info.boundary);
        ASSERT_EQ(boundary.size(), 40u);
        ASSERT_EQ(boundary.substr(0, 8), "=_Qvm_=-");
        ASSERT_EQ(boundary.find_first_not_of("0123456789ABCDEF", 8), std::string::npos) << boundary;
        seen.insert(boundary);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

TEST(TransferEncodingTest, TextsOfTheKeys) {
    const char* texts[] = {"base64", "quoted-printable", "7bit", "8bit", "binary", "", ""};
    for (unsigned i = 0; i < std::size(texts); ++i) {
        EXPECT_EQ(TransferEncoding::GetStr(static_cast<TransferEncoding::keys>(i)), texts[i]) << i;
    }
}

TEST(ContentTypeTest, TheStringCountsBeforeTheKeys) {
    EXPECT_EQ((ContentType{"", Type::text, SubType::plain}).GetStr(), "text/plain");
    EXPECT_EQ((ContentType{"text/x-custom", Type::image, SubType::png}).GetStr(), "text/x-custom");
}

}  // namespace
}  // namespace MIME
