// Part::Read without options. Whole messages are in data/: these are the rows that need no file.

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

#include "encoding/quoted_printable_reference.h"
#include "parser/reading.h"
#include "support/base64_reference.h"

namespace MIME {
namespace {

using namespace std::string_literals;
using Test::Escape;
using Test::Lines;
using Test::QuotedPrintableReference;
using Test::Random;
using Test::Reading;
using Test::ReadWholeFile;
using Test::ReferenceEncodeBase64;
using Test::ShowFields;
using Test::TempFolder;
using Test::ToString;
using Test::WriteWholeFile;

constexpr const char* kType = "multipart/related; boundary=a";
const std::string kTop = Lines({"Content-Type: multipart/mixed; boundary=a", ""});
const std::string kInner = Lines({"Content-Type: multipart/mixed; boundary=b", ""});
const std::string kBase64 = "--a\r\nContent-Transfer-Encoding: base64\r\n\r\n";
const std::string kPrintable = "--a\r\nContent-Transfer-Encoding: Quoted-Printable\r\n\r\n";

/// A text and what Reading::Show gives for it.
struct TextCase {
    const char* why;
    std::string text;
    const char* want;
};

template <size_t kCount>
void ExpectReadings(const TextCase (&cases)[kCount], const char* contentType,
                    const std::string& before = "") {
    for (const TextCase& c : cases) {
        const Reading got(before + c.text, contentType);
        EXPECT_EQ(got.Show(), c.want) << c.why;
        EXPECT_EQ(got.error.empty(), got.read) << c.why;
    }
}

/// A leaf without header fields, up to the boundary line after it.
std::string Leaf(const std::string& body) {
    return "\r\n" + body + "\r\n";
}

// -------------------------------------------------------------------------------------- fields --

TEST(ExactRulesTest, ReadsFields) {
    const TextCase cases[] = {
        {"white space around name and value", " A \t: \v1 2\f \r\n", "A=1 2"},
        {"a name may hold anything but a colon", "A b\"=;\xC3: 1\r\n", "A b\\\"=;\\xc3=1"},
        {"a name of white space", " : x\r\n", "=x"},
        {"only the first colon separates", "X-Key:a:b\r\n", "X-Key=a:b"},
        {"an empty value stores an empty field", "Subject:\r\n", "Subject="},
        {"CR and LF alone are text", "A: 1\r2\n3\r\n", "A=1\\r2\\n3"},
        {"sorted by name, case ignored", "b: 1\r\nC: 2\r\nA: 3\r\n_: 4\r\n", "_=4|A=3|b=1|C=2"},
        {"the last of two fields counts, and its spelling", "A: 1\r\na: 2\r\n", "a=2"},
        {"parameters of repeated fields are merged", "A: 1; x=1; y=1\r\nA: 2; Y=2; z=2\r\n",
         "A=2; x=1; Y=2; z=2"},
        {"a value without parameters leaves those there are", "A: 1; x=1\r\nA: 2\r\n", "A=2; x=1"},
        {"escapes in a quoted string", "A: \"a\\\"\\\\b\"\r\n", "A=a\\\"\\\\b"},
        {"quotes that are not all of it stay", "A: \"Smith, J\" <j@x>\r\n",
         "A=\\\"Smith, J\\\" <j@x>"},
        {"a value with parameters keeps its quotes", "A: \"text/plain\" ; x=1\r\n",
         "A=\\\"text/plain\\\"; x=1"},
        {"the first semicolon ends the value, quoted or not", "A: \"p;q\"\r\n", "A=\\\"p; q\\\"="},
        {"a semicolon first is no separator", "A: ;x=1\r\n", "A=;x=1"},
        {"parameters", "A: v; b=\"x y\" ;a= 1\t;c;d\t=4;\r\n", "A=v; a=1; b=x y; c=; d=4"},
        {"a semicolon in quotes", "A: v; a=\"x;y\\\";z\"; b=2\r\n", "A=v; a=x;y\\\";z; b=2"},
        {"quotes that are not closed", "A: v; a=\"x;b=2\r\n", "A=v; a=\\\"x;b=2"},
        {"empty parameters are none", "A: v;; ;\t; a=1;\r\n", "A=v; a=1"},
        {"a repeated parameter", "A: v; a=1; A=2\r\n", "A=v; A=2"},
        {"\"=\" first makes no value", "A: v; =x; \"q\"; a=b=c\r\n", "A=v; =x=; a=b=c; q="},
        {"nothing is decoded", "A: v; t*=utf-8''%41; t*0=b; u==?utf-8?Q?=41?=\r\n",
         "A=v; t*=utf-8''%41; t*0=b; u==?utf-8?Q?=41?="},
    };
    for (const TextCase& c : cases) {
        const Reading got(c.text + "\r\nx");
        EXPECT_EQ(ShowFields(got.part.headers), c.want) << c.why;
        EXPECT_EQ(got.error, "boundary missing") << c.why;
    }
}

TEST(ExactRulesTest, HeaderBlocksThatEndEarlyFail) {
    const TextCase cases[] = {
        {"folded line", "\tfolded\r\n\r\nx", "Unexpected header line: \"\tfolded\": A=1"},
        {"colon first", ": B \r\n\r\nx", "Unexpected header line: \": B \": A=1"},
        {"NUL", "B: \0\r\n\r\nx"s, "eos in text: A=1"},
        {"NUL after the last line end", "\0x\r\n"s, "eos in text: A=1"},
        {"no empty line", "B: 2\r\n", "text boundary is missing: A=1|B=2"},
        {"last line without a line end", "B: 2", "text boundary is missing: A=1|B=2"},
        {"line ends and NULs after the last line", "B: 2\n\r\0\n"s, "eos in text: A=1"},
        {"a NUL as the last byte is cut off", "B: 2\0"s, "text boundary is missing: A=1|B=2"},
        {"nothing after the empty line", "\r\n", "text boundary is missing: A=1"},
        {"last line of two bytes", "B:", "text boundary is missing: A=1|B="},
        {"last line without a colon", "B\r", "Unexpected header line: \"B\": A=1"},
    };
    for (const TextCase& c : cases) {
        const Reading got("A: 1\r\n" + c.text);
        EXPECT_FALSE(got.read) << c.why;
        EXPECT_EQ(got.error + ": " + ShowFields(got.part.headers), c.want) << c.why;
    }
}

TEST(ExactRulesTest, ContentTypes) {
    struct Case {
        const char* type;
        const char* boundary;
        const char* keys;  // those of the type that the extension of the field's type stands for
    };
    const Case cases[] = {
        {"multipart/related; boundary=\"=_a b\"; start=\"<r>\"", "=_a b", "invalid/invalid"},
        {"MULTIPART/Mixed;boundary=q", "q", "invalid/invalid"},
        {"multipart/; BOUNDARY=q", "q", "invalid/invalid"},
        {"multipart/mixed; boundary", "", "invalid/invalid"},
        {"multipart/mixed; boundary=\"\"", "", "invalid/invalid"},
        {" multipart/mixed", "", "invalid/invalid"},
        {"multipartx/mixed; boundary=q", "", "invalid/invalid"},
        {"multipart; boundary=q", "", "invalid/invalid"},
        {"\"multipart/mixed\"; boundary=q", "", "invalid/invalid"},
        {"IMAGE/Gif; boundary=q", "", "image/gif"},
        {"", "", "invalid/invalid"},
    };
    for (const Case& c : cases) {
        Reading got("--q--\r\n", c.type);
        EXPECT_EQ(got.error, *c.boundary == '\0'    ? "boundary missing"
                             : c.boundary[0] == 'q' ? ""
                                                    : "text boundary is missing");
        EXPECT_EQ(got.part.info.boundary, c.boundary) << c.type;
        EXPECT_EQ(got.part.info.contentType.GetStr(), c.keys) << c.type;
    }
}

// ----------------------------------------------------------------------------------- structure --

TEST(ExactRulesTest, ReadsTrees) {
    const TextCase cases[] = {
        {"an empty child", "--a\r\n\r\n--a--", "([])"},
        {"children", "--a\r\n" + Leaf("1") + "--a\r\n" + Leaf("2") + "--a--", "([1][2])"},
        {"a byte-order mark and line ends first", "\xEF\xBB\xBF\r\n\n\r\r\n--a--", "()"},
        {"a preamble", "This is\n\r\n- -a\r\n--A\r\nx--a--", "()"},
        {"a header block is a preamble", kInner + "--b\r\n\r\nx\r\n--a--", "()"},
        {"an epilogue, NULs in it", "--a--\r\nend\0--a\r\n"s, "()"},
        {"nested", "--a\r\n" + kInner + "--b\r\n" + Leaf("1") + "--b--\r\n--a--", "(([1]))"},
        {"an epilogue of a nested entity",
         "--a\r\n" + kInner + "--b--\r\nbye\r\n\r\n--a\r\n" + Leaf("2") + "--a--", "(()[2])"},
        {"the enclosing boundary in a nested preamble",
         "--a\r\n" + kInner + "--a\r\n--a--\r\n--b--\r\n--a--", "(())"},
        {"the enclosing boundary in a nested leaf",
         "--a\r\n" + kInner + "--b\r\n" + Leaf("1\r\n--a") + "--b--\r\n--a--", "(([1\\r\\n--a]))"},
        {"the same boundary on both levels",
         "--a\r\n" + kTop + "--a\r\n" + Leaf("1") + "--a--\r\n--a\r\n" + Leaf("2") + "--a--",
         "(([1])[2])"},
        {"a multipart without a boundary, and a message, are leaves",
         "--a\r\nContent-Type: multipart/mixed\r\n" + Leaf("1") +
             "--a\r\nContent-Type: message/rfc822\r\n" + Leaf("A: 1\r\n\r\n2") + "--a--",
         "([1][A: 1\\r\\n\\r\\n2])"},

        {"more after a boundary", "--abc\r\n\r\n1--a--  words\r\n", "([1])"},
        {"one dash does not close", "--a-\r\n\r\n1\r\n--a --\r\n\r\n2\r\n--a--", "([1][2])"},
        {"the first place on the line counts", "--a --a--\r\n\r\n--a--", "([])"},
        {"line ends and NULs cut off the last line", "--a--\n\n\0"s, "()"},

        {"no text", "", "text boundary is missing: ()"},
        {"line ends only", "\r\n\r\n\r\n", "text boundary is missing: ()"},
        {"one character short", "pre\r\n--", "text boundary is missing: ()"},
        {"a line end in it", "pre\r\n-\r\n-a--\r\n", "text boundary is missing: ()"},
        {"NUL in the preamble", "te\0xt\r\n--a--\r\n"s, "eos in text: ()"},
        {"NUL after the boundary", "--a\0\r\n"s, "eos in text: ()"},
        {"NUL in a last line without a line end", "a\0--a--"s, "eos in text: ()"},
        {"NUL in a last line of two bytes", "pre\r\n\0a"s, "text boundary is missing: ()"},
    };
    ExpectReadings(cases, kType);
}

TEST(ExactRulesTest, KeepsWhatWasReadBeforeAFailure) {
    const TextCase cases[] = {
        {"no header block after a boundary line", "", "text boundary is missing: ([1])"},
        {"inside a body", "\r\nbody\r\n", "data boundary is missing: ([1])+[]"},
        {"after a body", "Content-Length: 4\r\n\r\nbody\r\n",
         "text boundary is missing: ([1][body])"},
        {"a bad header line", " x\r\n\r\n--a--", "Unexpected header line: \" x\": ([1])"},
        {"an unknown encoding", "Content-Transfer-Encoding: 7bit (y); z\r\n\r\n--a--",
         "unsupported transfer encoding \"7bit (y)\": ([1])"},
        {"a nested entity is lost with its complete children",
         kInner + "--b\r\n" + Leaf("2") + "--b\r\n" + Leaf("3") + "--a--",
         "data boundary is missing: ([1])+[]+[2]"},
        {"a nested entity that is complete stays", kInner + "--b--\r\n\0x\r\n"s,
         "eos in text: ([1]())"},
    };
    ExpectReadings(cases, kType, "--a\r\n" + Leaf("1") + "--a\r\n");
    EXPECT_EQ(Reading(Lines({"Content-Transfer-Encoding: base6", "", "x"})).error,
              "unsupported transfer encoding \"base6\"");
}

TEST(ExactRulesTest, TheStartParameterNamesTheFirstChild) {
    struct Case {
        const char* why;
        const char* start;
        const char* end;
        const char* want;
    };
    const Case cases[] = {
        {"an empty start", "; start=\"\"", "--a--", "([1][2][3][4][5])"},
        {"the name's case does not count", "; START=<R>", "--a--", "([4][1][2][3][5])"},
        {"the value's does", "; start=\"<r>\"", "--a--", "([1][2][3][4][5])"},
        {"so do the brackets", "; start=R", "--a--", "([1][2][3][4][5])"},
        {"each that has it goes before those read before", "; start=\"<1>\"", "--a\r\n",
         "text boundary is missing: ([5][3][1][2][4])"},
    };
    std::string text;
    int number = 0;
    for (const char* id : {"<1>", "<2>", "<1>", "<R>", "<1>"}) {
        text += "--a\r\nContent-ID: " + std::string(id) + "\r\n" + Leaf(std::to_string(++number));
    }
    for (const Case& c : cases) {
        EXPECT_EQ(Reading(text + c.end, (kType + std::string(c.start)).c_str()).Show(), c.want)
            << c.why;
    }
}

TEST(ExactRulesTest, AddsToWhatIsThere) {
    const TempFolder folder;
    Part part;
    part.headers.FindOrInsert("X")->value.value = "kept";
    part.info.boundary = "old";
    part.info.contentType.type = Type::audio;
    part.AddPart(new Part);
    const std::string text =
        "--a\r\nContent-ID: i\r\n" + Leaf("1") + "--a\r\n" + Leaf("2") + "--a--";
    AnsiStr error;
    ASSERT_TRUE(
        part.Read(text.data(), text.size(), error, "multipart/related; boundary=a; start=i"));
    EXPECT_EQ(ShowFields(part.headers),
              "Content-Type=multipart/related; boundary=a; start=i|X=kept");
    EXPECT_EQ(part.info.boundary, "a");
    EXPECT_EQ(part.info.contentType.type, Type::audio);
    ASSERT_EQ(part.parts.GetCount(), 3u);
    EXPECT_EQ(part.parts[0]->headers.Find("Content-ID")->value.value, "i");
    EXPECT_TRUE(part.parts[1]->data.file.IsEmpty());
}

// -------------------------------------------------------------------------------------- bodies --

TEST(ExactRulesTest, CopiedBodies) {
    const TextCase cases[] = {
        {"lines", "line1\r\nline2\r\n--a--\r\n", "([line1\\r\\nline2])"},
        {"empty body after an empty line", "\r\n--a--\r\n", "([])"},
        {"one empty line", "\r\n\r\n--a--\r\n", "([\\r\\n])"},
        {"inside a line", "text--a--\r\n", "([text])"},
        {"LF alone before it", "text\n--a--\r\n", "([text\\n])"},
        {"CR alone before it", "text\r--a--\r\n", "([text\\r])"},
        {"beginnings of it", "-\r\n--\r\n--b-\r\n---a--", "([-\\r\\n--\\r\\n--b-\\r\\n-])"},
        {"NULs", "\0\0\r\n--a--"s, "([\\x00\\x00])"},
        {"none", "text", "data boundary is missing: ()+[]"},
    };
    for (const char* encoding : {"7BIT", "8bit", "Binary"}) {
        const std::string field =
            "Content-Transfer-Encoding: " + std::string(encoding) + "\r\n\r\n";
        ExpectReadings(cases, kType, "--a\r\n" + field);
    }
}

TEST(ExactRulesTest, ContentLengthCountsBytes) {
    const TextCase cases[] = {
        {"a boundary line and a NUL inside", "12\r\n\r\nab\r\n--a\r\n\0xy\r\n--a--"s,
         "([ab\\r\\n--a\\r\\n\\x00xy])"},
        {"nothing", "0\r\n\r\ntext\r\n--a--", "([])"},
        {"the rest is passed over, and what follows the digits", "4 bytes\r\n\r\n12345\r\n--a--",
         "([1234])"},
        {"zeros first", "00000000000000000002\r\n\r\ntext\r\n--a--", "([te])"},
        {"all that is left", "4\r\n\r\ntext", "text boundary is missing: ([text])"},

        {"no digits", "abc\r\n\r\n1--a--", "invalid content-length=\"abc\": ()+[]"},
        {"a sign", "+1\r\n\r\n1--a--", "invalid content-length=\"+1\": ()+[]"},
        {"too large for a number", "18446744073709551616\r\n\r\n1--a--",
         "invalid content-length=\"18446744073709551616\": ()+[]"},
        {"21 digits", "000000000000000000001\r\n\r\n1--a--",
         "invalid content-length=\"000000000000000000001\": ()+[]"},
        {"more than is left", "7.0\r\n\r\n1--a--",
         "invalid content-length=\"7\" exceeds remaining data=6: ()+[]"},
        {"the largest number", "18446744073709551615\r\n\r\n1--a--",
         "invalid content-length=\"18446744073709551615\" exceeds remaining data=6: ()+[]"},
        {"decoded bodies have lines to go by",
         "abc\r\nContent-Transfer-Encoding: base64\r\n\r\nQUJD\r\n--a--", "([ABC])"},
    };
    ExpectReadings(cases, kType, "--a\r\nContent-Length: ");
}

TEST(ExactRulesTest, Base64Bodies) {
    const TextCase cases[] = {
        {"one line", "QUJDREVG\r\n--a--", "([ABCDEF])"},
        {"no line", "--a--", "([])"},
        {"empty lines", "\r\n\r\nQUJD\r\n\r\n--a--", "([ABC])"},
        {"lines of 3 and 5 characters", "QUJ\r\nDREVG\r\nR0g=\r\n--a--", "([ABCDEFGH])"},
        {"whole groups after a part of one", "QUJ\r\nDREV\r\nG\r\n--a--", "([ABCDEF])"},
        {"lines of 1 character", "Q\r\nU\r\nJ\r\nD\r\n--a--", "([ABC])"},
        {"padding in the middle, at a line's end", "QQ==\r\nQUI=\r\nQUJD\r\n--a--", "([AABABC])"},
        {"line ends inside a line", "Q\nUJ\rD\n\n\r\n--a--", "([ABC])"},
        {"line ends only", "\n\n\n\n\r\n--a--", "([])"},
        {"bits that nothing asks for", "QR==\r\n--a--", "([A])"},
        {"boundary at the end of the text, cut down", "QUJD\r\n--a--\n\0"s, "([ABC])"},

        {"foreign character", "QUJD\r\nQU*D\r\n--a--", "unexpected base64 data \"QU*D\": ()+[ABC]"},
        {"white space", "QUJD\r\nQUJD \r\nQUJ\r\n--a--",
         "unexpected base64 data \"QUJD QUJ\": ()+[ABC]"},
        {"the text that is pending is named", "QUJD\r\nQ\r\nU*D\r\n--a--",
         "unexpected base64 data \"QU*D\": ()+[ABC]"},
        {"nothing of a bad line counts", "QUJDQUJD*UJD\r\n--a--",
         "unexpected base64 data \"QUJDQUJD*UJD\": ()+[]"},
        {"a group that is not filled", "QUJD\r\nQUI\r\n--a--",
         "unexpected base64 data \"QUI\": ()+[ABC]"},
        {"data after padding", "QQ==QUJD\r\n--a--", "unexpected base64 data \"QQ==QUJD\": ()+[]"},
        {"padding alone", "====\r\n--a--", "unexpected base64 data \"====\": ()+[]"},
        {"a line end takes a place in a group", "QUJ\n\r\n--a--",
         "unexpected base64 data \"QUJ\n\": ()+[]"},
        {"a boundary inside a line is data", "QUJD--a-\r\n--a--",
         "unexpected base64 data \"QUJD--a-\": ()+[]"},
        {"NUL in a line", "QUJD\r\nQU\0JD\r\n--a--"s, "eos in text: ()+[ABC]"},
        {"NUL in the boundary line", "QUJD\r\n--a--\0\r\n"s, "eos in text: ()+[ABC]"},
        {"no boundary", "QUJD\r\nREVG\r\n", "text boundary is missing: ()+[ABCDEF]"},
        {"no boundary, no line end", "QUJD\r\nREVG", "text boundary is missing: ()+[ABCDEF]"},
        {"no boundary, bytes pending", "QUJD\r\nRE", "text boundary is missing: ()+[ABC]"},
    };
    ExpectReadings(cases, kType, kBase64);
}

TEST(ExactRulesTest, QuotedPrintableBodies) {
    const TextCase cases[] = {
        {"escapes, an empty line, a soft line break", "a=3D1\r\n\r\nb=\r\nc\r\n--a--",
         "([a=1\\r\\n\\r\\nbc\\r\\n])"},
        {"no line", "--a--", "([])"},
        {"white space at the end stays", "a \t\r\n--a--", "([a \\t\\r\\n])"},
        {"what is no escape", "=G1=4=\r\n=1\r\n==41\r\n--a--", "([=G1=4=1\\r\\n=A\\r\\n])"},
        {"a soft line break before the boundary", "a=\r\n--a--", "([a])"},
        {"CR and LF alone", "a\rb\nc=\rd\r\n--a--", "([a\\rb\\nc=\\rd\\r\\n])"},
        {"a boundary inside a line is text", "a--a\r\n --a\r\n--a--", "([a--a\\r\\n --a\\r\\n])"},
        {"boundary at the end of the text, cut down", "a\r\n--a--\r\0"s, "([a\\r\\n])"},

        {"NUL in a line", "a=41\r\nb\0\r\n--a--"s, "eos in text: ()+[aA\\r\\n]"},
        {"NUL in a long line", "a\r\nb 0123456789 0123456789 0123456789 01234567\0\r\n--a--"s,
         "eos in text: ()+[a\\r\\n]"},
        {"no boundary", "a\r\nb", "text boundary is missing: ()+[a\\r\\nb\\r\\n]"},
        {"no boundary, line ends cut off", "a\r\nb=\n\n",
         "text boundary is missing: ()+[a\\r\\nb]"},
    };
    ExpectReadings(cases, kType, kPrintable);
}

TEST(ExactRulesTest, QuotedPrintableTextLikeTheReference) {
    constexpr std::string_view kAlphabets[] = {"abc=4G\r\n- ", "=\r\n",
                                               "abcdefghijklmnopqrstuvwxyz4="};
    Random random(5);
    for (int round = 0; round < 200; ++round) {
        std::string text, want;
        for (size_t count = random.Below(60); count > 0; --count) {
            const std::string_view alphabet = kAlphabets[random.Below(std::size(kAlphabets))];
            text += "x" + random.Text(random.Below(60), alphabet) + "=\r\n";
        }
        for (size_t at = 0, end; at < text.size(); at = end + 2) {
            end = text.find("\r\n", at);
            want += QuotedPrintableReference::DecodeLine(text.substr(at, end - at));
        }
        if (text.find("\r\n--a") != std::string::npos) continue;
        const Reading got(kPrintable + text + "--a--", kType);
        ASSERT_EQ(got.error, "") << Escape(text);
        ASSERT_EQ(ReadWholeFile(ToString(got.part.parts[0]->data.file.GetPath())), want)
            << Escape(text);
    }
}

// Where one copied piece ends and the next begins, with the line end and the delimiter across it.
TEST(ExactRulesTest, LongCopiedBodiesAreWhole) {
    for (const size_t piece : {5000u, 0x80000u, 525'000u, 1'050'000u}) {
        for (size_t size = piece - 8; size <= piece + 3; ++size) {
            const std::string body(size, '\r');
            const Reading got("--a\r\n\r\n" + body + "\r\n--a--", kType);
            ASSERT_TRUE(got.read) << size << ": " << got.error;
            ASSERT_TRUE(ReadWholeFile(ToString(got.part.parts[0]->data.file.GetPath())) == body)
                << size;
        }
    }
}

// A copied body without a boundary is kept in whole spans of 5,000 bytes or one delimiter.
TEST(ExactRulesTest, WholeSpansOfAnUnfinishedBodyAreKept) {
    struct Case {
        size_t boundary, text, kept;
    };
    const Case cases[] = {
        {1, 5002, 0},
        {1, 5003, 5000},
        {1, 10'002, 5000},
        {1, 525'002, 520'000},
        {1, 525'003, 525'000},
        {1, 525'005, 525'000},
        {1, 1'050'002, 1'045'000},
        {4998, 9999, 0},
        {4998, 10'000, 5000},
        {6000, 12'003, 0},
        {6000, 12'004, 6002},
        {600'000, 1'800'005, 600'002},
        {600'000, 1'800'006, 1'200'004},
    };
    for (const Case& c : cases) {
        const std::string boundary(c.boundary, 'b');
        const Reading got("--" + boundary + "\r\n\r\n" + std::string(c.text, '-'),
                          ("multipart/x; boundary=" + boundary).c_str());
        EXPECT_EQ(got.error, "data boundary is missing");
        ASSERT_EQ(got.folder.List().size(), 1u);
        EXPECT_EQ(ReadWholeFile(got.folder.At(got.folder.List()[0])).size(), c.kept)
            << c.text << ", boundary of " << c.boundary;
    }
}

// Lines longer than the pieces that are decoded at once, and bodies on both sides of the size from
// which a file is written as it grows.
TEST(ExactRulesTest, DecodesLongLinesAndLargeBodies) {
    Random random(3);
    struct Case {
        size_t line, count;
    };
    std::vector<Case> cases = {{60, 1}, {60, 80'000}, {300'000, 1}};
    for (const size_t limit : {0x4000u, 0x80000u}) {
        for (size_t size = limit - 3; size <= limit + 1; ++size) cases.push_back({size, 2});
    }
    for (const Case& c : cases) {
        const std::string line = random.Text(c.line, "abcdefgh ");
        const std::string bytes = random.Bytes(c.line / 4 * 3);
        const std::string encoded = ReferenceEncodeBase64(bytes, c.line, "\r\n") + "\r\n";
        std::string printable, base64, lines, decoded;
        for (size_t i = 0; i < c.count; ++i) {
            printable += "=41" + line + "\r\nx=\r\n";
            lines += "A" + line + "\r\nx";
            base64 += encoded;
            decoded += bytes;
        }
        for (const char* length : {"", "4194303", "4194304"}) {
            if (*length != '\0' && c.count < 80'000) continue;
            const std::string field = "--a\r\nContent-Length: "s + length;
            const Reading got(field + kPrintable.substr(3) + printable + field + kBase64.substr(3) +
                                  base64 + "--a--",
                              kType);
            ASSERT_EQ(got.error, "") << c.line;
            const auto& parts = got.part.parts;
            ASSERT_TRUE(ReadWholeFile(ToString(parts[0]->data.file.GetPath())) == lines) << c.line;
            ASSERT_TRUE(ReadWholeFile(ToString(parts[1]->data.file.GetPath())) == decoded)
                << c.line;
        }
    }
}

// --------------------------------------------------------------------------------------- files --

TEST(ExactRulesTest, NamesFilesFromTheHeaders) {
    struct Case {
        const char* fields;
        const char* start;
        const char* end;
    };
    const Case cases[] = {
        {"Content-Disposition: x; filename=report.pdf\r\nContent-ID: id1\r\n", "mimeio-report-",
         ".pdf"},
        {"Content-ID: id1\r\nContent-Type: text/plain\r\n", "mimeio-id1-", ".txt"},
        {"Content-Type: image/gif\r\n", "mimeio-tmp-", ".gif"},
        {"Content-ID: <a@b>\r\nContent-Type: no/such\r\n", "mimeio-_a@b_-", ".bin"},
        {"", "mimeio-tmp-", ".bin"},
        {"Content-Disposition: x; filename=../../etc/passwd\r\n", "mimeio-.._.-", "._etc_passwd"},
        {"Content-Disposition: x; filename=/etc/passwd\r\n", "mimeio-_etc_passwd-", ""},
        {"Content-ID: ../../x\r\n", "mimeio-.._.._x-", ".bin"},
        {"Content-Disposition: x; filename=C:\\x\r\n", "mimeio-C__x-", ""},
        {"Content-Disposition: x; filename=CON\r\n", "mimeio-CON-", ""},
        {"Content-Disposition: x; filename=a\nb\x1B[2J.txt\r\n", "mimeio-a_b_[2J-", ".txt"},
    };
    for (const Case& c : cases) {
        const std::string leaf = "--a\r\n" + std::string(c.fields) + Leaf("x");
        const Reading got(leaf + leaf + "--a--", kType);
        const std::vector<std::string> names = got.folder.List();
        ASSERT_EQ(names.size(), 2u) << c.fields;
        for (const std::string& name : names) {
            EXPECT_TRUE(name.starts_with(c.start) && name.ends_with(c.end)) << name;
        }
    }
}

TEST(ExactRulesTest, ReadsFiles) {
    const TempFolder folder;
    const std::string path = folder.At("message");
    const File file{AnsiStr(path)};
    AnsiStr error("left from before");
    Part none;
    EXPECT_FALSE(none.Read(file, error));
    EXPECT_EQ(ToString(error), "");

    WriteWholeFile(path, "");
    EXPECT_FALSE(none.Read(file, error));
    EXPECT_EQ(ToString(error), "text boundary is missing");

    // A file that is read at once, and one that is mapped.
    for (const size_t size : {10u, 5'000'000u}) {
        const std::string body(size, 'x');
        WriteWholeFile(path, "--a\r\n" + Leaf(body) + "--a--");
        Part part;
        ASSERT_TRUE(part.Read(file, error, kType)) << ToString(error);
        EXPECT_TRUE(ReadWholeFile(ToString(part.parts[0]->data.file.GetPath())) == body);
    }
}

TEST(ExactRulesTest, AMissingTemporaryFolderFailsTheWrite) {
    const TempFolder folder;
    std::filesystem::remove(folder.GetPath());
    Part part;
    AnsiStr error;
    EXPECT_FALSE(part.Read("--a\r\n\r\nx\r\n--a--", 15, error, kType));
    const uint32_t code = KivGuiBase::GetLastError();
    EXPECT_TRUE(code == KivGuiBase::kErrorFileNotFound || code == KivGuiBase::kErrorPathNotFound);
    EXPECT_EQ(ToString(error),
              "write failed (" + ToString(KivGuiBase::GetErrorMessage(code, 0, 1)) + ")");
    EXPECT_TRUE(part.parts.IsEmpty());
    EXPECT_TRUE(part.Read("--a--", 5, error, kType)) << "nothing to write";
}

// Different parts may be read at once: their files do not meet, though all have the same name.
TEST(ExactRulesTest, ConcurrentReadsShareNothing) {
    constexpr unsigned kThreads = 4;
    constexpr unsigned kReads = 50;
    const TempFolder folder;
    std::atomic<unsigned> whole = 0;
    const auto read = [&](unsigned number) {
        const std::string body = "body of " + std::to_string(number);
        const std::string head = "--a\r\nContent-Disposition: x; filename=same.txt\r\n";
        const std::string text = head + Leaf(body) + "--a--";
        for (unsigned i = 0; i < kReads; ++i) {
            Part part;
            AnsiStr error;
            if (!part.Read(text.data(), text.size(), error, kType)) return;
            whole += ReadWholeFile(ToString(part.parts[0]->data.file.GetPath())) == body;
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back(read, i);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(whole, kThreads * kReads);
    EXPECT_EQ(folder.List().size(), kThreads * kReads);
}

// -------------------------------------------------------------------------------------- scale --

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kDepth = 20'000;
#else
constexpr size_t kDepth = 300'000;
#endif

// A level costs memory, not stack: reading, writing and destroying must not recurse.
TEST(ExactRulesTest, DepthNeedsNoStack) {
    std::string text;
    for (size_t i = 0; i < kDepth; ++i) {
        const std::string boundary = std::to_string(i % 10);
        text +=
            "Content-Type: multipart/x; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
    }
    text += Leaf("leaf");
    {
        // All but the top entity is destroyed in the middle of the descent.
        const Reading cutOff(text);
        EXPECT_EQ(cutOff.error, "data boundary is missing");
        EXPECT_TRUE(cutOff.part.parts.IsEmpty());
    }
    for (size_t i = kDepth; i-- > 0;) {
        text += "--" + std::to_string(i % 10) + (i > 0 ? "--\r\n\r\n" : "--\r\n");
    }
    Reading got(text);
    ASSERT_TRUE(got.read) << got.error;
    const Part* deepest = &got.part;
    size_t depth = 0;
    for (; !deepest->parts.IsEmpty(); deepest = deepest->parts[0]) ++depth;
    EXPECT_EQ(depth, kDepth);
    const std::string path = got.folder.At("written");
    ASSERT_TRUE(got.part.Write(File{AnsiStr(path)}));
    EXPECT_TRUE(ReadWholeFile(path) == text);
}

// A million fields, a field of 10 MB, 100,000 parameters, 100,000 children that all go to the
// front: nothing here is quadratic.
TEST(ExactRulesTest, LargeIsNotSlow) {
    constexpr unsigned kMany = 100'000;
    std::string text;
    for (unsigned i = 0; i < 10 * kMany; ++i) text += "X" + std::to_string(i) + ":1\r\n";
    text += "Long:" + std::string(10'000'000, ';') + "\r\nMany:v";
    for (unsigned i = 0; i < kMany; ++i) text += ";" + std::to_string(i) + "=1";
    text += "\r\nContent-Type: multipart/related; boundary=a; start=i\r\n\r\n";
    for (unsigned i = 0; i < kMany; ++i) {
        text += "--a\r\nContent-ID: i\r\nX: " + std::to_string(i) + "\r\n" + kInner + "--b--\r\n";
    }
    const Reading got(text + "--a--");
    ASSERT_TRUE(got.read) << got.error;
    unsigned fields = 0;
    for ([[maybe_unused]] const HeaderMap::Node& field : got.part.headers) ++fields;
    EXPECT_EQ(fields, 10 * kMany + 4);
    EXPECT_EQ(got.part.headers.Find("long")->value.value.GetLength(), 10'000'000u);
    unsigned parameters = 0;
    for ([[maybe_unused]] const auto& node : got.part.headers.Find("many")->value.parameters) {
        ++parameters;
    }
    EXPECT_EQ(parameters, kMany);
    ASSERT_EQ(got.part.parts.GetCount(), kMany);
    for (unsigned i = 0; i < kMany; i += 9999) {
        EXPECT_EQ(got.part.parts[i]->headers.Find("X")->value.value,
                  AnsiStr(std::to_string(kMany - 1 - i)));
    }
}

}  // namespace
}  // namespace MIME
