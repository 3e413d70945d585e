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

TEST_F(EntityStreamTest, HeaderLines) {
    struct Case {
        const char* why;
        AnsiStr value;
        Parameters parameters;
        const char* want;
    };
    const Case cases[] = {
        {"an atom", "text/plain", {}, "X: text/plain\r\n"},
        {"no atom", "Hello World", {}, "X: \"Hello World\"\r\n"},
        {"quotes in the value", "a \"b\" \\", {}, "X: \"a \\\"b\\\" \\\\\"\r\n"},
        {"bytes above ASCII as they are", "K\xC3\xB6ln", {}, "X: \"K\xC3\xB6ln\"\r\n"},
        {"a parameter", "text/plain", {{"charset", "utf-8"}}, "X: text/plain; charset=utf-8\r\n"},
        {"parameters in alphabetical order",
         "form-data",
         {{"name", "a"}, {"Filename", "b c.txt"}, {"x", "\""}},
         "X: form-data; Filename=\"b c.txt\"; name=a; x=\"\\\"\"\r\n"},
        {"an empty parameter", "attachment", {{"filename", ""}}, "X: attachment; filename=\r\n"},
        {"an empty value: no line", "", {{"a", "b"}}, ""},
    };
    for (const Case& c : cases) {
        Part part;
        SetField(part, "X", c.value, c.parameters);
        EXPECT_EQ(Escape(Write(part)), Escape(c.want + std::string("\r\n"))) << c.why;
    }
}

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
        const char* why;
        AnsiStr value;
        Parameters parameters;
        const char* want;
    };
    const Case cases[] = {
        {"a type alone", "multipart/mixed", {}, "multipart/mixed"},
        {"parameters",
         "multipart/mixed",
         {{"type", "text/xml"}, {"boundary", "=_Qvm_=-01"}},
         "multipart/mixed; boundary=\"=_Qvm_=-01\"; type=text/xml"},
        {"no type", "", {}, ""},
        {"no type, but a parameter", "", {{"charset", "utf-8"}}, "; charset=utf-8"},
    };
    for (const Case& c : cases) {
        Part part;
        SetField(part, "Subject", "left out");
        if (!c.value.IsEmpty() || !c.parameters.empty()) {
            SetField(part, "content-type", c.value, c.parameters);
        }
        part.info.boundary = "b";
        AddLeaf(part, "kept", "body");
        AnsiStr contentType = "before";
        EXPECT_EQ(Write(part, &contentType), "--b\r\nSubject: kept\r\n\r\nbody\r\n--b--\r\n")
            << c.why;
        EXPECT_EQ(contentType, c.want) << c.why;
        const HeaderMap::Node* field = part.headers.Find("content-type");
        ASSERT_NE(field, nullptr) << c.why;
        EXPECT_EQ(field->key, "Content-Type") << c.why;
        EXPECT_EQ(field->value.value, c.value) << c.why;
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

TEST_F(EntityStreamTest, AQuotedPrintableFileSharesItsLineEndWithTheBoundaryLine) {
    WriteWholeFile(folder_.At("body"), "line\r\n");
    Part top;
    top.info.boundary = "outer";
    Part& inner = AddMultipart(top, "inner");
    for (const auto encoding : {TransferEncoding::quoted_printable, TransferEncoding::binary}) {
        Part& leaf = AddLeaf(inner, "", "");
        leaf.data.file = File(AnsiStr(folder_.At("body")));
        leaf.info.transferEncoding = encoding;
    }
    EXPECT_EQ(Escape(Write(top)), Escape("\r\n--outer\r\n"
                                         "\r\n--inner\r\n\r\nline"
                                         "\r\n--inner\r\n\r\nline\r\n"
                                         "\r\n--inner--\r\n"
                                         "\r\n--outer--\r\n"));
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

TEST_F(EntityStreamTest, ALongerFileIsReplaced) {
    WriteWholeFile(folder_.At("out"), std::string(100'000, 'x'));
    Part part;
    EXPECT_EQ(Write(part), "\r\n");
}

// A tree as deep as hostile input makes it: neither writing nor destroying may recurse.
TEST_F(EntityStreamTest, DeepTrees) {
    constexpr size_t kLevels = 300'000;
    Part top;
    top.info.boundary = "b";
    Part* innermost = &top;
    for (size_t level = 0; level < kLevels; ++level) innermost = &AddMultipart(*innermost, "b");
    const std::string begin = "\r\n--b";
    const std::string end = "\r\n--b--\r\n";
    const std::string text = Write(top);
    ASSERT_EQ(text.size(), kLevels * (begin.size() + 2 + end.size()) + 2);
    EXPECT_EQ(text.substr(0, 9), "\r\n--b\r\n\r\n");
    EXPECT_EQ(text.substr(text.size() - 18), end + end);
    EXPECT_EQ(text.substr(kLevels * (begin.size() + 2), 11), "\r\n" + end);
}

TEST_F(EntityStreamTest, FailsWithoutATarget) {
    struct Case {
        const char* why;
        AnsiStr path;
    };
    const Case cases[] = {{"no name", ""},
                          {"no such folder", AnsiStr(folder_.At("missing/out"))},
                          {"a folder", AnsiStr(folder_.GetPath())}};
    for (const Case& c : cases) {
        Part part;
        SetField(part, "Content-Type", "text/plain");
        AnsiStr contentType;
        KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
        EXPECT_FALSE(part.Write(File(c.path), &contentType)) << c.why;
        EXPECT_NE(KivGuiBase::GetLastError(), KivGuiBase::kErrorNone) << c.why;
        EXPECT_EQ(contentType, "text/plain") << c.why;
    }
    EXPECT_TRUE(folder_.List().empty());
}

TEST_F(EntityStreamTest, AFailureKeepsWhatWasWrittenAndStops) {
    Part top;
    top.info.boundary = "b";
    AddLeaf(top, "1", "one");
    AddLeaf(top, "2", "").data.file = File(AnsiStr(folder_.At("missing")));
    AddLeaf(top, "3", "three");
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    EXPECT_FALSE(top.Write(target_));
    EXPECT_EQ(KivGuiBase::GetLastError(), KivGuiBase::kErrorFileNotFound);
    EXPECT_EQ(ReadWholeFile(folder_.At("out")),
              "\r\n--b\r\nSubject: 1\r\n\r\none\r\n--b\r\nSubject: 2\r\n\r\n");
}

}  // namespace
}  // namespace MIME
