#include "mime/parser/body_reader.h"

#include <gtest/gtest.h>

#include <vector>

#include "mime/parser/body_name.h"
#include "parser/reading.h"
#include "support/base64_reference.h"

namespace MIME {
namespace {

using namespace std::string_view_literals;
using Test::Escape;
using Test::Random;
using Test::ReadWholeFile;
using Test::ReferenceEncodeBase64;
using Test::TempFolder;
using Test::ToString;

/// The body of one entity, read up to the delimiter "--b" or another one.
struct BodyReading {
    BodyReading(std::string_view text, TransferEncoding::keys encoding,
                const char* contentLength = "", const AnsiStr& boundary = "b") {
        part.info.transferEncoding = encoding;
        part.headers.FindOrInsert("content-length")->value.value = contentLength;
        Cursor cursor(text.data(), text.size());
        Delimiter delimiter(boundary);
        AnsiStr message;
        read = ReadBody(part, cursor, delimiter, message);
        error = ToString(message);
        left = cursor.GetRest();
        body = ReadWholeFile(part.data.file.GetPath());
    }

    Part part;
    bool read;
    std::string error;
    std::string left;
    std::string body;
};

class BodyReaderTest : public testing::Test {
protected:
    TempFolder folder_;
};

using RawBodyTest = BodyReaderTest;
using Base64BodyTest = BodyReaderTest;
using QuotedPrintableBodyTest = BodyReaderTest;

// ------------------------------------------------------------------------------- 7bit and such --

TEST_F(RawBodyTest, EndsAtTheDelimiter) {
    struct Case {
        const char* why;
        std::string_view text;
        std::string_view body;
        std::string_view left;
    };
    const Case cases[] = {
        {"lines", "line1\r\nline2\r\n--b\r\n", "line1\r\nline2", "\r\n--b\r\n"},
        {"empty body", "--b\r\n", "", "--b\r\n"},
        {"empty body behind an empty line", "\r\n--b\r\n", "", "\r\n--b\r\n"},
        {"one empty line", "\r\n\r\n--b\r\n", "\r\n", "\r\n--b\r\n"},
        {"inside a line", "text--b\r\n", "text", "--b\r\n"},
        {"with more behind it", "text\r\n--bc d\r\n", "text", "\r\n--bc d\r\n"},
        {"LF alone before it", "text\n--b\r\n", "text\n", "--b\r\n"},
        {"CR alone before it", "text\r--b\r\n", "text\r", "--b\r\n"},
        {"beginnings of it", "-\r\n--\r\n--a-\r\n---b", "-\r\n--\r\n--a-\r\n-", "--b"},
        {"NULs", "\0\0\r\n--b\0"sv, "\0\0"sv, "\r\n--b\0"sv},
        {"at the end of the text", "text\r\n--b", "text", "\r\n--b"},
    };
    for (const auto encoding :
         {TransferEncoding::bit7, TransferEncoding::bit8, TransferEncoding::binary}) {
        for (const Case& c : cases) {
            const BodyReading got(c.text, encoding);
            EXPECT_TRUE(got.read) << c.why << ": " << got.error;
            EXPECT_EQ(Escape(got.body), Escape(c.body)) << c.why;
            EXPECT_EQ(Escape(got.left), Escape(c.left)) << c.why;
        }
    }
}

TEST_F(RawBodyTest, ContentLengthCountsBytes) {
    struct Case {
        const char* why;
        const char* length;
        std::string_view text;
        std::string_view body;
    };
    const Case cases[] = {
        {"the delimiter and a NUL may stand in it", "12", "ab\r\n--b\r\n\0xy\r\n--b"sv,
         "ab\r\n--b\r\n\0xy"sv},
        {"nothing", "0", "text\r\n--b", ""},
        {"all there is", "4", "text", "text"},
        {"no delimiter follows", "2", "text", "te"},
        {"what follows the digits is ignored", "2 bytes", "text\r\n--b", "te"},
        {"zeros first", "00000000000000000002", "text\r\n--b", "te"},
    };
    for (const Case& c : cases) {
        const BodyReading got(c.text, TransferEncoding::binary, c.length);
        EXPECT_TRUE(got.read) << c.why << ": " << got.error;
        EXPECT_EQ(Escape(got.body), Escape(c.body)) << c.why;
        EXPECT_EQ(Escape(got.left), Escape(c.text.substr(c.body.size()))) << c.why;
    }
}

TEST_F(RawBodyTest, ContentLengthThatIsNoneFails) {
    struct Case {
        const char* length;
        const char* error;
    };
    const Case cases[] = {
        {"abc", "invalid content-length=\"abc\""},
        {"-1", "invalid content-length=\"-1\""},
        {"+1", "invalid content-length=\"+1\""},
        {" 1", "invalid content-length=\" 1\""},
        {"18446744073709551616", "invalid content-length=\"18446744073709551616\""},
        {"000000000000000000001", "invalid content-length=\"000000000000000000001\""},
        {"100", "invalid content-length=\"100\" exceeds remaining data=10"},
        {"11.0", "invalid content-length=\"11\" exceeds remaining data=10"},
        {"18446744073709551615",
         "invalid content-length=\"18446744073709551615\" exceeds remaining data=10"},
    };
    for (const Case& c : cases) {
        const BodyReading got("12345\r\n--b", TransferEncoding::bit8, c.length);
        EXPECT_FALSE(got.read) << c.length;
        EXPECT_EQ(got.error, c.error);
        EXPECT_EQ(got.body, "") << c.length;
        // Decoded bodies have lines to go by.
        EXPECT_EQ(BodyReading("QUJD\r\n--b\r\n", TransferEncoding::base64, c.length).body, "ABC");
    }
}

// Where one copied piece ends and the next begins, with the line end and the delimiter across it.
TEST_F(RawBodyTest, LongBodiesAreWhole) {
    for (const size_t piece : {5000u, 0x80000u, 525'000u, 1'050'000u}) {
        for (size_t size = piece - 8; size <= piece + 3; ++size) {
            const std::string body(size, '\r');
            const BodyReading got(body + "\r\n--b\r\n", TransferEncoding::bit7);
            ASSERT_TRUE(got.read) << size << ": " << got.error;
            ASSERT_TRUE(got.body == body) << size << " became " << got.body.size();
            ASSERT_EQ(got.left, "\r\n--b\r\n") << size;
        }
    }
}

TEST_F(RawBodyTest, WithoutADelimiterWholeSpansStay) {
    struct Case {
        size_t boundary;
        size_t text;
        size_t kept;
    };
    const Case cases[] = {
        {1, 0, 0},
        {1, 2, 0},
        {1, 5002, 0},
        {1, 5003, 5000},
        {1, 10'002, 5000},
        {1, 10'003, 10'000},
        {1, 525'002, 520'000},
        {1, 525'003, 525'000},
        {1, 525'005, 525'000},
        {1, 1'050'002, 1'045'000},
        {1, 1'050'003, 1'050'000},
        {4998, 9999, 0},
        {4998, 10'000, 5000},
        {6000, 12'003, 0},
        {6000, 12'004, 6002},
        {600'000, 1'800'005, 600'002},
        {600'000, 1'800'006, 1'200'004},
    };
    for (const Case& c : cases) {
        const std::string boundary(c.boundary, 'b');
        const BodyReading got(std::string(c.text, '-'), TransferEncoding::bit7, "",
                              AnsiStr(boundary));
        EXPECT_FALSE(got.read) << c.text;
        EXPECT_EQ(got.error, "data boundary is missing");
        EXPECT_EQ(got.body.size(), c.kept) << c.text << ", boundary of " << c.boundary;
        EXPECT_EQ(got.left.size(), c.text - c.kept) << c.text;
    }
}

// -------------------------------------------------------------------------------------- base64 --

TEST_F(Base64BodyTest, DecodesGroupsOfLines) {
    struct Case {
        const char* why;
        std::string_view text;
        std::string_view body;
    };
    const Case cases[] = {
        {"one line", "QUJDREVG\r\n--b", "ABCDEF"},
        {"no line", "--b", ""},
        {"empty lines", "\r\n\r\nQUJD\r\n\r\n--b", "ABC"},
        {"padding", "QUI=\r\n--b", "AB"},
        {"lines of 3 and 5 characters", "QUJ\r\nDREVG\r\nR0g=\r\n--b", "ABCDEFGH"},
        {"whole groups behind a part of one", "QUJ\r\nDREV\r\nG\r\n--b", "ABCDEF"},
        {"lines of 1 character", "Q\r\nU\r\nJ\r\nD\r\n--b", "ABC"},
        {"padding in the middle, at a line's end", "QQ==\r\nQUI=\r\nQUJD\r\n--b", "AABABC"},
        {"line ends inside a line", "Q\nUJ\rD\n\n\r\n--b", "ABC"},
        {"line ends only", "\n\n\n\n\r\n--b", ""},
        {"bits that nothing asks for", "QR==\r\n--b", "A"},
        {"a NUL behind the delimiter's line", "QUJD\r\n--b\r\n\0"sv, "ABC"},
        {"delimiter at the end of the text, cut down", "QUJD\r\n--b\n\0"sv, "ABC"},
        {"a delimiter with more behind it", "QUJD\r\n--b--x\r\n", "ABC"},
    };
    for (const Case& c : cases) {
        const BodyReading got(c.text, TransferEncoding::base64);
        EXPECT_TRUE(got.read) << c.why << ": " << got.error;
        EXPECT_EQ(got.body, c.body) << c.why;
        EXPECT_EQ(Escape(got.left), Escape(c.text.substr(c.text.find("--b")))) << c.why;
    }
}

TEST_F(Base64BodyTest, KeepsWhatWasDecodedBeforeAFailure) {
    struct Case {
        const char* why;
        std::string_view text;
        const char* error;
        std::string_view body;
    };
    const Case cases[] = {
        {"foreign character", "QUJD\r\nQU*D\r\n--b", "unexpected base64 data \"QU*D\"", "ABC"},
        {"white space", "QUJD\r\nQUJD \r\nQUJ\r\n--b", "unexpected base64 data \"QUJD QUJ\"",
         "ABC"},
        {"the text that is pending is named", "QUJD\r\nQ\r\nU*D\r\n--b",
         "unexpected base64 data \"QU*D\"", "ABC"},
        {"nothing of a bad line counts", "QUJDQUJD*UJD\r\n--b",
         "unexpected base64 data \"QUJDQUJD*UJD\"", ""},
        {"a group that is not filled", "QUJD\r\nQUI\r\n--b", "unexpected base64 data \"QUI\"",
         "ABC"},
        {"data behind padding", "QQ==QUJD\r\n--b", "unexpected base64 data \"QQ==QUJD\"", ""},
        {"padding alone", "====\r\n--b", "unexpected base64 data \"====\"", ""},
        {"a line end takes a place in a group", "QUJ\n\r\n--b", "unexpected base64 data \"QUJ\n\"",
         ""},
        {"a delimiter inside a line is data", "QUJD--b-\r\n--b",
         "unexpected base64 data \"QUJD--b-\"", ""},
        {"NUL in a line", "QUJD\r\nQU\0JD\r\n--b"sv, "eos in text", "ABC"},
        {"NUL in the delimiter's line", "QUJD\r\n--b\0\r\n"sv, "eos in text", "ABC"},
        {"no delimiter", "QUJD\r\nREVG\r\n", "text boundary is missing", "ABCDEF"},
        {"no delimiter, last line without a line end", "QUJD\r\nREVG", "text boundary is missing",
         "ABCDEF"},
        {"no delimiter, bytes pending", "QUJD\r\nRE", "text boundary is missing", "ABC"},
        {"no text", "", "text boundary is missing", ""},
    };
    for (const Case& c : cases) {
        const BodyReading got(c.text, TransferEncoding::base64);
        EXPECT_FALSE(got.read) << c.why;
        EXPECT_EQ(got.error, c.error) << c.why;
        EXPECT_EQ(got.body, c.body) << c.why;
    }
}

// ---------------------------------------------------------------------------- quoted-printable --

TEST_F(QuotedPrintableBodyTest, DecodesLines) {
    struct Case {
        const char* why;
        std::string_view text;
        std::string_view body;
    };
    const Case cases[] = {
        {"escapes, an empty line, a soft line break", "a=3D1\r\n\r\nb=\r\nc\r\n--b",
         "a=1\r\n\r\nbc\r\n"},
        {"no line", "--b", ""},
        {"one empty line", "\r\n--b", "\r\n"},
        {"white space at the end stays", "a \t\r\n--b", "a \t\r\n"},
        {"an escape in lower case", "=c3=A9\r\n--b", "\xC3\xA9\r\n"},
        {"what is no escape", "=G1=4=\r\n=1\r\n==41\r\n--b", "=G1=4=1\r\n=A\r\n"},
        {"a soft line break before the delimiter", "a=\r\n--b", "a"},
        {"CR and LF alone", "a\rb\nc=\rd\r\n--b", "a\rb\nc=\rd\r\n"},
        {"escaped line ends and NUL", "=0D=0A=00\r\n--b", "\r\n\0\r\n"sv},
        {"a delimiter inside a line is text", "a--b\r\n --b\r\n--b", "a--b\r\n --b\r\n"},
        {"beginnings of the delimiter", "-\r\n--\r\n--c\r\n--b", "-\r\n--\r\n--c\r\n"},
        {"delimiter at the end of the text, cut down", "a\r\n--b\r\0"sv, "a\r\n"},
    };
    for (const Case& c : cases) {
        const BodyReading got(c.text, TransferEncoding::quoted_printable);
        EXPECT_TRUE(got.read) << c.why << ": " << got.error;
        EXPECT_EQ(Escape(got.body), Escape(c.body)) << c.why;
        EXPECT_EQ(got.left.substr(0, 3), "--b") << c.why;
    }
}

TEST_F(QuotedPrintableBodyTest, KeepsTheLinesBeforeAFailure) {
    struct Case {
        const char* why;
        std::string_view text;
        const char* error;
        std::string_view body;
    };
    const Case cases[] = {
        {"NUL in a line", "a=41\r\nb\0\r\n--b"sv, "eos in text", "aA\r\n"},
        {"NUL in a long line", "a=41\r\nb 0123456789 0123456789 0123456789\0\r\n--b"sv,
         "eos in text", "aA\r\n"},
        {"no delimiter", "a\r\nb", "text boundary is missing", "a\r\nb\r\n"},
        {"no delimiter, line ends cut off", "a\r\nb=\n\n", "text boundary is missing", "a\r\nb"},
        {"no text", "", "text boundary is missing", ""},
    };
    for (const Case& c : cases) {
        const BodyReading got(c.text, TransferEncoding::quoted_printable);
        EXPECT_FALSE(got.read) << c.why;
        EXPECT_EQ(got.error, c.error) << c.why;
        EXPECT_EQ(Escape(got.body), Escape(c.body)) << c.why;
    }
}

// Lines longer than the pieces that are decoded at once and than the room of an output buffer.
TEST_F(BodyReaderTest, DecodesLongLines) {
    Random random(3);
    std::vector<size_t> sizes = {300'000};
    for (const size_t limit : {size_t{0x4000}, size_t{FileAccess::kMaxRoom}}) {
        for (size_t size = limit - 3; size <= limit + 1; ++size) sizes.push_back(size);
    }
    for (const size_t size : sizes) {
        const std::string line = random.Text(size, "abcdefgh ");
        const std::string text = "x=\r\n" + line + "\r\n=41" + line + "\r\n--b";
        const BodyReading plain(text, TransferEncoding::quoted_printable);
        ASSERT_TRUE(plain.read) << size;
        ASSERT_TRUE(plain.body == "x" + line + "\r\nA" + line + "\r\n") << size;

        const std::string bytes = random.Bytes(size / 4 * 3);
        const std::string encoded = ReferenceEncodeBase64(bytes, size, "\r\n");
        const BodyReading decoded(encoded + "\r\n" + encoded + "\r\n--b", TransferEncoding::base64);
        ASSERT_TRUE(decoded.read) << size;
        ASSERT_TRUE(decoded.body == bytes + bytes) << size;
    }
}

// Bodies on both sides of the size from which a file is written as it grows.
TEST_F(BodyReaderTest, DecodesLargeBodies) {
    const std::string line = ReferenceEncodeBase64(std::string(57, 'x'));
    std::string base64;
    std::string printable;
    for (size_t i = 0; i < 80'000; ++i) {
        base64 += line + "\r\n";
        printable += "=78" + std::string(60, 'x') + "=\r\n";
    }
    for (const char* length : {"", "1", "4194303", "4194304", "99999999999"}) {
        const BodyReading decoded(base64 + "--b", TransferEncoding::base64, length);
        EXPECT_TRUE(decoded.body == std::string(57 * 80'000, 'x')) << length;
        const BodyReading plain(printable + "--b", TransferEncoding::quoted_printable, length);
        EXPECT_TRUE(plain.body == std::string(61 * 80'000, 'x')) << length;
    }
}

// --------------------------------------------------------------------------------------- files --

TEST_F(BodyReaderTest, NamesFilesFromTheHeaders) {
    struct Case {
        const char* fileName;
        const char* id;
        const char* type;
        const char* start;
        const char* end;
    };
    const Case cases[] = {
        {"report.pdf", "id1", "text/plain", "mimeio-report-", ".pdf"},
        {"", "id1", "text/plain", "mimeio-id1-", ".txt"},
        {"", "", "image/gif", "mimeio-tmp-", ".gif"},
        {"", "<a@b>", "no/such", "mimeio-_a@b_-", ".bin"},
        {"", "", "", "mimeio-tmp-", ".bin"},
        {"../../etc/passwd", "", "", "mimeio-.._.-", "._etc_passwd"},
        {"/etc/passwd", "", "", "mimeio-_etc_passwd-", ""},
        {"", "../../x", "", "mimeio-.._.._x-", ".bin"},
        {"C:\\x", "", "", "mimeio-C__x-", ""},
        {"CON", "", "", "mimeio-CON-", ""},
        {"a\nb\x1B[2J.txt", "", "", "mimeio-a_b_[2J-", ".txt"},
    };
    for (const Case& c : cases) {
        Part part;
        HeaderMap& headers = part.headers;
        headers.FindOrInsert("Content-Disposition")
            ->value.parameters.FindOrInsert("filename")
            ->value.value = c.fileName;
        headers.FindOrInsert("Content-ID")->value.value = c.id;
        headers.FindOrInsert("Content-Type")->value.value = c.type;
        const std::string path = ToString(MakeBodyFile(headers).GetPath());
        ASSERT_TRUE(path.starts_with(folder_.At(c.start))) << path;
        EXPECT_TRUE(path.ends_with(c.end)) << path;
        EXPECT_EQ(path.find_first_of("/\\", folder_.GetPath().size() + 1), std::string::npos)
            << path;
        EXPECT_NE(ToString(MakeBodyFile(headers).GetPath()), path);
    }
}

}  // namespace
}  // namespace MIME
