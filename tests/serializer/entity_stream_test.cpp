#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "mime/mime.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;

using Parameters = std::vector<std::pair<AnsiStr, AnsiStr>>;

void SetField(Part& part, const AnsiStr& name, const AnsiStr& value,
              const Parameters& parameters = {}) {
    HeaderMap::Node* field = part.headers.FindOrInsert(name);
    field->value.value = value;
    for (const auto& [key, text] : parameters) {
        field->value.parameters.FindOrInsert(key)->value.value = text;
    }
}

/// Adds a child with one field and a body that is written as it is.
Part& AddLeaf(Part& parent, const AnsiStr& subject, const AnsiStr& body) {
    Part* leaf = new Part;
    SetField(*leaf, "Subject", subject);
    leaf->info.transferEncoding = TransferEncoding::bit8;
    leaf->data.content = body;
    parent.AddPart(leaf);
    return *leaf;
}

Part& AddMultipart(Part& parent, const AnsiStr& boundary) {
    Part* child = new Part;
    child->info.boundary = boundary;
    parent.AddPart(child);
    return *child;
}

class EntityStreamTest : public testing::Test {
protected:
    /// What Part::Write puts into a file.
    std::string Write(Part& part, AnsiStr* contentTypeOut = nullptr) {
        EXPECT_TRUE(part.Write(target_, contentTypeOut));
        return ReadWholeFile(folder_.At("out"));
    }

    TempFolder folder_;
    const File target_{AnsiStr(folder_.At("out"))};
};

TEST_F(EntityStreamTest, HeaderBlocksAreAlphabeticalAndCompleteNothing) {
    Part part;
    SetField(part, "to", "you");
    SetField(part, "Subject", std::string_view(std::string(2000, 's')));
    SetField(part, "From", "me");
    part.headers.FindOrInsert("from")->value.parameters.FindOrInsert("raw")->value = {"a b", true};
    part.info.contentType.str = "text/plain";
    part.info.charset = "utf-8";
    EXPECT_EQ(Write(part), "from: me; raw=\"a b\"\r\nSubject: " + std::string(2000, 's') +
                               "\r\nto: you\r\n\r\n");
}

TEST_F(EntityStreamTest, ContentTypeTravelsApart) {
    struct Case {
        AnsiStr value;
        Parameters parameters;
        const char* want;
    };
    const Case cases[] = {
        {"multipart/mixed",
         {{"type", "text/xml"}, {"boundary", "=_Qvm_=-01"}},
         "multipart/mixed; boundary=\"=_Qvm_=-01\"; type=text/xml"},
        {"", {}, ""},
        {"", {{"charset", "utf-8"}}, "; charset=utf-8"},
    };
    for (const Case& c : cases) {
        Part part;
        SetField(part, "Subject", "left out");
        if (!c.parameters.empty()) SetField(part, "content-type", c.value, c.parameters);
        part.info.boundary = "b";
        AddLeaf(part, "kept", "body");
        AnsiStr contentType = "before";
        EXPECT_EQ(Write(part, &contentType), "--b\r\nSubject: kept\r\n\r\nbody\r\n--b--\r\n");
        EXPECT_EQ(contentType, c.want);
        EXPECT_EQ(part.headers.Find("content-type")->key, "Content-Type");
    }
}

TEST_F(EntityStreamTest, ChildrenStandBetweenBoundaryLines) {
    Part top;
    SetField(top, "Content-Type", "multipart/mixed", {{"boundary", "outer"}});
    top.info.boundary = "outer";
    top.data.content = "not written: there are children";
    AddLeaf(top, "1", "one\r\n");
    Part& inner = AddMultipart(top, "in ner");
    AddLeaf(inner, "2", "two");
    AddMultipart(inner, "none");
    AddLeaf(top, "3", "");
    EXPECT_EQ(Escape(Write(top)), Escape("Content-Type: multipart/mixed; boundary=outer\r\n\r\n"
                                         "--outer\r\nSubject: 1\r\n\r\none\r\n\r\n"
                                         "--outer\r\n\r\n"
                                         "--in ner\r\nSubject: 2\r\n\r\ntwo\r\n"
                                         "--in ner\r\n\r\n\r\n"
                                         "--in ner--\r\n\r\n"
                                         "--outer\r\nSubject: 3\r\n\r\n\r\n"
                                         "--outer--\r\n"));
}

// Such a body has the line end of its last line from the reader.
TEST_F(EntityStreamTest, OnlyAQuotedPrintableFileSharesItsLineEndWithTheBoundaryLine) {
    struct Case {
        const char* body;
        TransferEncoding::keys encoding;
        const char* want;
    };
    const Case cases[] = {
        {"line\r\n", TransferEncoding::quoted_printable, "line\r\n--b--"},
        {"\r\n", TransferEncoding::quoted_printable, "\r\n--b--"},
        {"", TransferEncoding::quoted_printable, "--b--"},
        {"line", TransferEncoding::quoted_printable, "line\r\n--b--"},
        {"line\n", TransferEncoding::quoted_printable, "line=0A\r\n--b--"},
        {"line\r\n", TransferEncoding::binary, "line\r\n\r\n--b--"},
        {"line\r\n", TransferEncoding::base64, "bGluZQ0K\r\n\r\n--b--"},
    };
    for (const Case& c : cases) {
        WriteWholeFile(folder_.At("body"), c.body);
        Part top;
        top.info.boundary = "b";
        Part& leaf = AddLeaf(top, "", "");
        leaf.data.file = File(AnsiStr(folder_.At("body")));
        leaf.info.transferEncoding = c.encoding;
        EXPECT_EQ(Escape(Write(top)), Escape("\r\n--b\r\n\r\n" + std::string(c.want) + "\r\n"));
    }
}

TEST_F(EntityStreamTest, RawTextStandsForTheWholeEntity) {
    Part top;
    top.info.boundary = "b";
    Part& child = AddMultipart(top, "unused");
    SetField(child, "Subject", "unused");
    AddLeaf(child, "unused", "unused");
    child.rawText = AnsiStr("raw\0text", 8);
    EXPECT_EQ(Escape(Write(top)), Escape({"\r\n--b\r\nraw\0text\r\n--b--\r\n", 24}));

    top.rawText = "X: y\r\n\r\n";
    AnsiStr contentType;
    EXPECT_EQ(Write(top), "X: y\r\n\r\n");
    EXPECT_EQ(Write(top, &contentType), "X: y\r\n\r\n");
}

TEST_F(EntityStreamTest, AFailureKeepsWhatWasWrittenAndStops) {
    Part top;
    top.info.boundary = "b";
    AddLeaf(top, "1", "one");
    AddLeaf(top, "2", "").data.file = File(AnsiStr(folder_.At("missing")));
    AddLeaf(top, "3", "three");
    EXPECT_FALSE(top.Write(File(AnsiStr(folder_.GetPath())))) << "a folder";
    EXPECT_FALSE(top.Write(target_));
    EXPECT_EQ(KivGuiBase::GetLastError(), KivGuiBase::kErrorFileNotFound);
    EXPECT_EQ(ReadWholeFile(folder_.At("out")),
              "\r\n--b\r\nSubject: 1\r\n\r\none\r\n--b\r\nSubject: 2\r\n\r\n");
}

}  // namespace
}  // namespace MIME
