#include "mime/serializer/body_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/base64_reference.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;
using Test::ReadWholeFile;
using Test::ReferenceEncodeBase64;
using Test::TempFolder;
using Test::WriteWholeFile;

constexpr size_t kDiskFileSize = 4'194'304;  // bytes: body files from here on are read in pieces
constexpr auto kUnknownEncoding = static_cast<TransferEncoding::keys>(5);

class BodyWriterTest : public testing::Test {
protected:
    BodyWriterTest() { WriteWholeFile(folder_.At("body"), ""); }

    /// A part whose body is a file with this content.
    Part& UseFile(std::string_view content) {
        WriteWholeFile(folder_.At("body"), content);
        part_.data.content = AnsiStr();
        part_.data.file = File(AnsiStr(folder_.At("body")));
        return part_;
    }
    Part& UseContent(std::string_view content) {
        part_.data.content = content;
        part_.data.file = File();
        return part_;
    }

    /// The text of a body; "failed" when it cannot be written.
    std::string Write(const Part& part) {
        FileAccess out(File(AnsiStr(folder_.At("out"))));
        EXPECT_TRUE(out.OpenDiskFileForWriting());
        const bool written = WriteBody(part, out, endsLine_);
        EXPECT_TRUE(out.Close());
        return written ? ReadWholeFile(folder_.At("out")) : "failed";
    }
    std::string Write(Part& part, TransferEncoding::keys encoding) {
        part.info.transferEncoding = encoding;
        return Write(part);
    }

    TempFolder folder_;
    Part part_;
    bool endsLine_ = false;  ///< what WriteBody said of the body that was written last
};

/// Sizes at which a line, a buffer, a piece or the way of reading changes.
std::vector<size_t> GetSizes() {
    std::vector<size_t> sizes;
    for (const size_t edge : {size_t{1}, size_t{57}, size_t{76}, size_t{100}, size_t{114},
                              size_t{57 * 400}, size_t{57 * 800}, size_t{0x4000}, size_t{0x10000},
                              size_t{0x20000}, kDiskFileSize, kDiskFileSize + 0x10000}) {
        for (const size_t size : {edge - 1, edge, edge + 1}) sizes.push_back(size);
    }
    return sizes;
}

TEST_F(BodyWriterTest, FilesAndContentAsTheyAre) {
    for (const size_t size : GetSizes()) {
        const std::string body = Random(size).Bytes(size);
        for (const auto encoding :
             {TransferEncoding::bit7, TransferEncoding::bit8, TransferEncoding::binary}) {
            ASSERT_TRUE(Write(UseFile(body), encoding) == body) << size;
        }
        ASSERT_TRUE(Write(UseContent(body), TransferEncoding::binary) == body) << size;
    }
    part_.data.encoded = true;
    const std::string text = "=not encoded again=";
    for (const auto encoding :
         {TransferEncoding::base64, TransferEncoding::quoted_printable, kUnknownEncoding}) {
        EXPECT_EQ(Write(UseFile(text), encoding), text);
        EXPECT_EQ(Write(UseContent(text), encoding), text);
    }
}

TEST_F(BodyWriterTest, Base64) {
    const std::string hundred(100, 'x');
    const std::string text = Write(UseFile(hundred), TransferEncoding::base64);
    EXPECT_EQ(text, ReferenceEncodeBase64(hundred.substr(0, 57)) + "\r\n" +
                        ReferenceEncodeBase64(hundred.substr(57)) + "\r\n");
    EXPECT_EQ(text.size(), 76u + 2 + 60 + 2);
    EXPECT_EQ(Write(UseContent(hundred), TransferEncoding::base64) + "\r\n", text);

    for (const size_t size : GetSizes()) {
        const std::string body = Random(size).Bytes(size);
        std::string want(
            KivGuiBase::Binary2B64Str(body.data(), static_cast<unsigned>(size), 76, "\r\n"));
        if (size <= 114) {
            ASSERT_EQ(want, ReferenceEncodeBase64(body, 76, "\r\n"));
        }
        ASSERT_TRUE(Write(UseContent(body), TransferEncoding::base64) == want) << size;
        if (size != 0) want += "\r\n";
        ASSERT_TRUE(Write(UseFile(body), TransferEncoding::base64) == want) << size;
    }
}

std::string EncodeWhole(const std::string& body) {
    return std::string(Encoding::QPEncode(body.data(), static_cast<unsigned>(body.size())));
}

/// Line ends, white space and escapes so close together that one of each stands at every edge
/// between two reads.
std::string MakeDenseText(Random& random, size_t size) {
    return random.Text(size, random.Below(2) == 0 ? "xy \t\r\n=.\xC3" : "xxxxxxxxxxxxxxxx \r\n");
}

TEST_F(BodyWriterTest, QuotedPrintableIsThatOfTheWholeContent) {
    Random random(99);
    for (const size_t size : GetSizes()) {
        const std::string body = MakeDenseText(random, size);
        const std::string want = EncodeWhole(body);
        ASSERT_TRUE(Write(UseFile(body), TransferEncoding::quoted_printable) == want) << size;
        ASSERT_TRUE(Write(UseContent(body), TransferEncoding::quoted_printable) == want) << size;
    }
}

TEST_F(BodyWriterTest, QuotedPrintableAtBothEndsOfAFile) {
    struct Case {
        const char* head;
        const char* tail;
    };
    constexpr Case cases[] = {
        {"", " "},
        {"", "\t\r\n"},
        {"", "\xC3"},
        {"\xEF\xBB\xBF", "\r"},
        {"\xEF\xBB\xBF\xEF\xBB\xBF", "\r\n\r\n"},
        {"\xEF\xBB", "="},
    };
    Random random(7);
    for (const size_t size : {size_t{0}, size_t{1000}, kDiskFileSize}) {
        const std::string middle = MakeDenseText(random, size);
        for (const Case& c : cases) {
            const std::string body = c.head + middle + c.tail;
            ASSERT_TRUE(Write(UseFile(body), TransferEncoding::quoted_printable) ==
                        EncodeWhole(body))
                << size << ", " << Escape(c.head) << " ... " << Escape(c.tail);
        }
    }
}

// A full line that begins so far before the end of the first read that it just is, or is not,
// whole in there; and bytes that are a byte-order mark only at the start of the text.
TEST_F(BodyWriterTest, QuotedPrintableLinesAcrossTheEdgeOfARead) {
    constexpr size_t kEdge = 0x10000;
    const std::string tail = "\r\n" + std::string(kDiskFileSize, 'z');
    for (const std::string& line : {std::string(76, 'x'), "\xEF\xBB\xBF" + std::string(67, 'x')}) {
        for (const size_t before : {0u, 1u, 2u, 74u, 75u, 76u, 77u, 78u, 79u, 80u, 81u}) {
            const std::string body = std::string(kEdge - before - 2, 'y') + "\r\n" + line + tail;
            ASSERT_TRUE(Write(UseFile(body), TransferEncoding::quoted_printable) ==
                        EncodeWhole(body))
                << before << ", " << Escape(line);
        }
    }
}

// Such a body has the line end of its last line from the reader.
TEST_F(BodyWriterTest, OnlyQuotedPrintableFilesShareTheirLastLineEnd) {
    struct Case {
        const char* body;
        bool endsLine;
    };
    constexpr Case cases[] = {{"", true},        {"line\r\n", true},  {"line \r\n", true},
                              {"\r\n", true},    {"line", false},     {"line\n", false},
                              {"line\r", false}, {"\r\nline ", false}};
    for (const Case& c : cases) {
        for (const std::string& start : {std::string(), std::string(kDiskFileSize, 'x') + "\r\n"}) {
            Write(UseFile(start + c.body), TransferEncoding::quoted_printable);
            EXPECT_EQ(endsLine_, c.endsLine) << start.size() << ", " << Escape(c.body);
        }
        Write(UseContent(c.body), TransferEncoding::quoted_printable);
        EXPECT_FALSE(endsLine_) << Escape(c.body);
        for (const auto encoding : {TransferEncoding::base64, TransferEncoding::binary}) {
            Write(UseFile(c.body), encoding);
            EXPECT_FALSE(endsLine_) << Escape(c.body);
        }
    }
}

TEST_F(BodyWriterTest, ContentCountsBeforeTheFile) {
    Part& part = UseFile("file");
    part.data.content = "content";
    EXPECT_EQ(Write(part, TransferEncoding::bit8), "content");
    EXPECT_EQ(Write(part, TransferEncoding::quoted_printable), "content");
    part.data.file = File(AnsiStr(folder_.At("missing")));
    EXPECT_EQ(Write(part, TransferEncoding::bit8), "content") << "the file is not needed";
}

TEST_F(BodyWriterTest, FailsOnlyWhereThereIsABodyThatCannotBeWritten) {
    struct Case {
        const char* why;
        const char* file;  ///< null: no file is named
        const char* content;
        TransferEncoding::keys encoding;
        const char* want;
    };
    constexpr auto kQuotedPrintable = TransferEncoding::quoted_printable;
    constexpr Case cases[] = {
        {"no body", nullptr, "", TransferEncoding::base64, ""},
        {"no body, unknown encoding", nullptr, "", kUnknownEncoding, ""},
        {"empty file", "empty", "", kQuotedPrintable, ""},
        {"empty file, unknown encoding", "empty", "", kUnknownEncoding, ""},
        {"file, unknown encoding", "full", "", kUnknownEncoding, "failed"},
        {"large file, unknown encoding", "large", "", kUnknownEncoding, "failed"},
        {"content, unknown encoding", nullptr, "x", kUnknownEncoding, "failed"},
        {"missing file, as it is", "missing", "", TransferEncoding::binary, "failed"},
        {"missing file, base64", "missing", "", TransferEncoding::base64, "failed"},
        {"missing file, quoted-printable", "missing", "", kQuotedPrintable, "failed"},
        {"missing file, unknown encoding", "missing", "", kUnknownEncoding, "failed"},
        {"a folder", ".", "", TransferEncoding::binary, "failed"},
    };
    WriteWholeFile(folder_.At("empty"), "");
    WriteWholeFile(folder_.At("full"), "x");
    WriteWholeFile(folder_.At("large"), std::string(kDiskFileSize, 'x'));
    for (const Case& c : cases) {
        Part part;
        if (c.file != nullptr) part.data.file = File(AnsiStr(folder_.At(c.file)));
        part.data.content = c.content;
        EXPECT_EQ(Write(part, c.encoding), c.want) << c.why;
    }
}

}  // namespace
}  // namespace MIME
