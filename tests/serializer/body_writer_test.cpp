// The bodies that Part::Write writes, from memory and from files.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kivgui/convert.h"
#include "mime/mime.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;

constexpr size_t kDiskFileSize = 4'194'304;  // bytes: body files from here on are read in pieces
constexpr auto kUnknownEncoding = static_cast<TransferEncoding::keys>(5);

class BodyWriterTest : public testing::Test {
protected:
    /// The text of a body without header fields; "failed" when it cannot be written.
    std::string Write(Part& part, TransferEncoding::keys encoding) const {
        part.info.transferEncoding = encoding;
        const bool written = part.Write(File(AnsiStr(folder_.At("out"))));
        return written ? ReadWholeFile(folder_.At("out")).substr(2) : "failed";
    }
    std::string WriteFile(std::string_view body, TransferEncoding::keys encoding,
                          bool isEncoded = false) const {
        WriteWholeFile(folder_.At("body"), body);
        Part part;
        part.data.file = File(AnsiStr(folder_.At("body")));
        part.data.encoded = isEncoded;
        return Write(part, encoding);
    }
    std::string WriteContent(std::string_view body, TransferEncoding::keys encoding,
                             bool isEncoded = false) const {
        Part part;
        part.data.content = body;
        part.data.encoded = isEncoded;
        return Write(part, encoding);
    }

    TempFolder folder_;
};

std::string EncodeWhole(const std::string& body) {
    return std::string(Encoding::QPEncode(body.data(), static_cast<unsigned>(body.size())));
}

/// A block of no round size, again and again.
std::string Repeat(const std::string& block, size_t size) {
    std::string text;
    while (text.size() < size) text += block;
    return text.substr(0, size);
}

/// Line ends, white space and escapes so close together that one of each is at every edge between
/// two reads.
std::string MakeDenseText(Random& random, size_t size) {
    const char* alphabet = random.Below(2) == 0 ? "xy \t\r\n=.\xC3" : "xxxxxxxxxxxxxxxx \r\n";
    return Repeat(random.Text(10'007, alphabet), size);
}

// Sizes at which a line, a buffer, a piece or the way of reading changes.
TEST_F(BodyWriterTest, EverySizeInEveryEncoding) {
    Random random(99);
    for (const size_t edge : {size_t{1}, size_t{57}, size_t{114}, size_t{57 * 400}, size_t{0x4000},
                              size_t{0x10000}, kDiskFileSize}) {
        for (const size_t size : {edge - 1, edge, edge + 1}) {
            const std::string bytes = Repeat(random.Bytes(10'007), size);
            const std::string text = MakeDenseText(random, size);
            const std::string base64(
                KivGuiBase::Binary2B64Str(bytes.data(), static_cast<unsigned>(size), 76, "\r\n"));
            const std::string printable = EncodeWhole(text);
            const std::string lineEnd =
                size == 0 ? "" : "\r\n";  // a file's last base64 line has one
            for (const auto encoding :
                 {TransferEncoding::bit7, TransferEncoding::bit8, TransferEncoding::binary}) {
                ASSERT_TRUE(WriteFile(bytes, encoding) == bytes) << size;
                ASSERT_TRUE(WriteContent(bytes, encoding) == bytes) << size;
            }
            ASSERT_TRUE(WriteFile(bytes, TransferEncoding::base64) == base64 + lineEnd) << size;
            ASSERT_TRUE(WriteContent(bytes, TransferEncoding::base64) == base64) << size;
            ASSERT_TRUE(WriteFile(text, TransferEncoding::quoted_printable) == printable) << size;
            ASSERT_TRUE(WriteContent(text, TransferEncoding::quoted_printable) == printable)
                << size;
        }
    }
}

// Both ends of a file, and a line around the edge of the first read: bytes that are a byte-order mark
// only at the start of the text, and a full line that just is, or is not, whole in the first read.
TEST_F(BodyWriterTest, QuotedPrintableAtTheEdgesOfAFile) {
    constexpr size_t kEdge = 0x10000;
    Random random(7);
    std::vector<std::string> bodies;
    for (const std::string& middle : {std::string(), MakeDenseText(random, kDiskFileSize)}) {
        for (const char* tail : {" ", "\t\r\n", "\xC3", "\r", "="}) bodies.push_back(middle + tail);
        for (const char* head : {"\xEF\xBB\xBF", "\xEF\xBB\xBF\xEF\xBB\xBF", "\xEF\xBB"}) {
            bodies.push_back(head + middle + "\r\n\r\n");
        }
    }
    for (const std::string& line : {std::string(76, 'x'), "\xEF\xBB\xBF" + std::string(67, 'x')}) {
        for (const size_t before : {0u, 1u, 75u, 76u, 77u, 78u, 81u}) {
            bodies.push_back(std::string(kEdge - before - 2, 'y') + "\r\n" + line + "\r\n" +
                             std::string(kDiskFileSize, 'z'));
        }
    }
    for (const std::string& body : bodies) {
        ASSERT_TRUE(WriteFile(body, TransferEncoding::quoted_printable) == EncodeWhole(body))
            << body.size() << ", " << Escape(body.substr(0, 10)) << "..."
            << Escape(body.substr(body.size() - 1));
    }
}

TEST_F(BodyWriterTest, WhatIsEncodedIsWrittenAsItIs) {
    const std::string text = "=not encoded again=";
    for (const auto encoding :
         {TransferEncoding::base64, TransferEncoding::quoted_printable, kUnknownEncoding}) {
        EXPECT_EQ(WriteFile(text, encoding, true), text);
        EXPECT_EQ(WriteContent(text, encoding, true), text);
    }
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
        {"content counts before the file", "full", "content", kQuotedPrintable, "content"},
        {"the file is not needed", "missing", "content", TransferEncoding::bit8, "content"},
        {"no body, unknown encoding", nullptr, "", kUnknownEncoding, ""},
        {"empty file, unknown encoding", "empty", "", kUnknownEncoding, ""},
        {"file, unknown encoding", "full", "", kUnknownEncoding, "failed"},
        {"large file, unknown encoding", "large", "", kUnknownEncoding, "failed"},
        {"content, unknown encoding", nullptr, "x", kUnknownEncoding, "failed"},
        {"missing file, as it is", "missing", "", TransferEncoding::binary, "failed"},
        {"missing file, base64", "missing", "", TransferEncoding::base64, "failed"},
        {"missing file, quoted-printable", "missing", "", kQuotedPrintable, "failed"},
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
