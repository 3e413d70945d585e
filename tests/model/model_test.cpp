#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "mime/mime.h"
#include "support/base64_reference.h"
#include "support/bytes.h"
#include "support/temp_folder.h"
#include "support/tree_dump.h"

namespace MIME {
namespace {

using namespace Test;

void Set(HeaderMap& headers, const char* field, const char* name, const char* value, bool raw) {
    ParameterValue& parameter =
        headers.FindOrInsert(field)->value.parameters.FindOrInsert(name)->value;
    parameter.value = value;
    parameter.raw = raw;
}

TEST(HeaderMapTest, CopyingTakesFieldsWithExactlyTheirParameters) {
    HeaderMap source;
    Set(source, "content-type", "format", "flowed", true);
    source.FindOrInsert("content-type")->value.value = "text/html";
    source.FindOrInsert("Subject")->value.value = "new";
    HeaderMap target;
    Set(target, "Content-Type", "charset", "utf-8", false);
    Set(target, "Subject", "x", "y", false);
    target.FindOrInsert("Received")->value.value = "stays";
    ASSERT_TRUE(target.CopyFrom(source));
    ASSERT_TRUE(target.CopyFrom(target));
    target.FindOrInsert(Header::Content_Type);
    EXPECT_EQ(Dump(target),
              "Content-Type: \"text/html\"\n  ; format=\"flowed\" raw\nReceived: \"stays\"\n"
              "Subject: \"new\"\n");
}

TEST(ParameterMapTest, CopyingKeepsParametersOfOtherNames) {
    HeaderMap headers;
    Set(headers, "A", "Charset", "utf-8", true);
    Set(headers, "B", "charset", "ascii", false);
    Set(headers, "B", "name", "n", false);
    ParameterMap& target = headers.Find("b")->value.parameters;
    ASSERT_TRUE(target.CopyFrom(headers.Find("a")->value.parameters));
    ASSERT_TRUE(target.CopyFrom(target));
    EXPECT_EQ(Dump(headers),
              "A: \"\"\n  ; Charset=\"utf-8\" raw\nB: \"\"\n  ; Charset=\"utf-8\" raw\n"
              "  ; name=\"n\"\n");
}

class PartTest : public testing::Test {
protected:
    bool SetContent(Part& part, std::string_view content, const ContentType& type) const {
        WriteWholeFile(folder_.At("content"), content);
        MemoryFile file;
        EXPECT_TRUE(file.Open(File(AnsiStr(folder_.At("content"))), MemoryFile::Mode::read));
        return part.SetContent(file, type);
    }
    /// Makes `data` a body with a file that it owns, which is deleted with it.
    void Fill(Data& data, const char* name) const {
        WriteWholeFile(folder_.At(name), name);
        data.file = File(AnsiStr(folder_.At(name)));
        data.ownsFile = data.encoded = true;
    }
    static std::string Read(const Data& data) {
        return ReadWholeFile(std::string(data.file.GetPath()));
    }
    TempFolder folder_;
};

TEST_F(PartTest, TheTypeKeyChoosesTheEncoding) {
    const std::string large = Random(1).Bytes(100'000);
    struct Case {
        ContentType type;
        std::string content;
        const char* encoding;
        std::string want;
    };
    const Case cases[] = {
        {{"text/x-y", Type::text, SubType::invalid}, "a.=", "quoted-printable", "a=2E=3D"},
        {{"text/plain", Type::invalid, SubType::invalid}, "a", "base64", "YQ=="},
        {{"", Type::text, SubType::plain}, "", "quoted-printable", ""},
        {{"", Type::image, SubType::png},
         large,
         "base64",
         ReferenceEncodeBase64(large, 76, "\r\n")},
    };
    Part part;  // each case replaces what the one before has set
    HeaderValue& field = part.headers.FindOrInsert("content-transfer-encoding")->value;
    field.parameters.FindOrInsert("x")->value.value = "stays";
    for (const Case& c : cases) {
        ASSERT_TRUE(SetContent(part, c.content, c.type));
        EXPECT_EQ(part.data.content, c.want);
        EXPECT_TRUE(part.data.encoded);
        EXPECT_EQ(TransferEncoding::GetStr(part.info.transferEncoding), c.encoding);
        EXPECT_EQ(field.value, c.encoding);
        EXPECT_EQ(part.info.contentType.GetStr(), c.type.GetStr());
    }
    EXPECT_EQ(field.parameters.Find("x")->value.value, "stays");
}

// A file with a hole of 4 GiB takes no room on the disk.
TEST_F(PartTest, TooMuchContentChangesNothing) {
    WriteWholeFile(folder_.At("huge"), "");
    std::filesystem::resize_file(folder_.At("huge"), uintmax_t{1} << 32);
    MemoryFile file;
    ASSERT_TRUE(file.Open(File(AnsiStr(folder_.At("huge"))), MemoryFile::Mode::read));
    Part part;
    EXPECT_FALSE(part.SetContent(file, {"", Type::text, SubType::plain}));
    EXPECT_TRUE(part.headers.IsEmpty());
    EXPECT_FALSE(part.data.encoded);
}

TEST_F(PartTest, EveryBoundaryIsNewAndTheFirstChildSettlesIt) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        Part part;
        part.AddPart(new Part);
        const std::string boundary(part.info.boundary);
        ASSERT_EQ(boundary.size(), 40u);
        ASSERT_EQ(boundary.substr(0, 8), "=_Qvm_=-");
        ASSERT_EQ(boundary.find_first_not_of("0123456789ABCDEF", 8), std::string::npos) << boundary;
        EXPECT_TRUE(seen.insert(boundary).second);
        part.AddPart(new Part);
        EXPECT_EQ(part.info.boundary, boundary);
    }
}

TEST_F(PartTest, BodyFilesThatAreOwnedGoWithTheTree) {
    auto root = std::make_unique<Part>();
    root->parts.Add(new Part);
    root->parts.Add(nullptr);
    root->parts[0]->parts.Add(new Part);
    const SharedArray<Part*> kept = root->parts[0]->parts;  // as a host may hold it
    Fill(root->parts[0]->parts[0]->data, "inner");
    Fill(root->parts[0]->data, "outer");
    EXPECT_EQ(folder_.List().size(), 2u);
    root.reset();
    EXPECT_TRUE(folder_.List().empty());
}

TEST_F(PartTest, ACopyOfAnOwnedFileIsAFileOfItsOwn) {
    Data original;
    Fill(original, "photo.jpeg");
    Data copy = original;
    EXPECT_TRUE(copy.encoded && copy.ownsFile);
    EXPECT_TRUE(std::string(copy.file.GetPath()).ends_with(".jpeg"));
    original = Data();
    EXPECT_EQ(folder_.List().size(), 1u);
    const Data& self = copy;
    copy = self;
    EXPECT_EQ(Read(copy), "photo.jpeg") << "itself";
    Data target;
    Fill(target, "old");
    target = copy;
    EXPECT_FALSE(std::filesystem::exists(folder_.At("old")));
    EXPECT_EQ(Read(target), "photo.jpeg");
}

TEST_F(PartTest, ACopyOfAFileThatIsNotOwnedSharesItAndOfOneThatIsGoneHasNone) {
    WriteWholeFile(folder_.At("file"), "text");
    Data original;
    original.file = File(AnsiStr(folder_.At("file")));
    EXPECT_EQ(Data(original).file.GetPath(), original.file.GetPath());
    EXPECT_TRUE(original.file.Remove(false)) << "the copy has left it alone";
    original.ownsFile = true;
    EXPECT_TRUE(Data(original).file.IsEmpty());
    EXPECT_TRUE(folder_.List().empty()) << "no half of a copy stays";
}

}  // namespace
}  // namespace MIME
