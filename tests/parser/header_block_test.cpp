#include "mime/parser/header_block.h"

#include <gtest/gtest.h>

#include "parser/reading.h"

namespace MIME {
namespace {

using namespace std::string_view_literals;
using Test::Escape;
using Test::ShowFields;
using Test::ToString;

TEST(HeaderBlockTest, StoresFields) {
    struct Case {
        const char* why;
        std::string_view block;
        const char* want;
    };
    const Case cases[] = {
        {"no field", "", ""},
        {"white space around name and value", " A \t: \v1 2\f \r\n", "A=1 2"},
        {"a name may hold anything but a colon", "A b\"=;\xC3: 1\r\n", "A b\\\"=;\\xc3=1"},
        {"a name of white space", " : x\r\n", "=x"},
        {"only the first colon separates", "X-Key:a:b\r\n", "X-Key=a:b"},
        {"an empty value stores an empty field", "Subject:\r\n", "Subject="},
        {"CR and LF alone are text", "A: 1\r2\n3\r\n", "A=1\\r2\\n3"},
        {"sorted by name, case ignored", "b: 1\r\nC: 2\r\nA: 3\r\n_: 4\r\n", "_=4|A=3|b=1|C=2"},
        {"a line that starts with white space is a field", "A: 1\r\n B: 2\r\n", "A=1|B=2"},

        {"the last of two fields counts, and its spelling", "A: 1\r\na: 2\r\n", "a=2"},
        {"parameters of repeated fields are merged", "A: 1; x=1; y=1\r\nA: 2; Y=2; z=2\r\n",
         "A=2; x=1; Y=2; z=2"},
        {"a value without parameters leaves those there are", "A: 1; x=1\r\nA: 2\r\n", "A=2; x=1"},

        {"a value that is a quoted string", "A: \"text/plain\"\r\n", "A=text/plain"},
        {"escapes in a quoted string", "A: \"a\\\"\\\\b\"\r\n", "A=a\\\"\\\\b"},
        {"quotes that are not all of it stay", "A: \"Smith, J\" <j@x>\r\n",
         "A=\\\"Smith, J\\\" <j@x>"},
        {"a value with parameters keeps its quotes", "A: \"text/plain\" ; x=1\r\n",
         "A=\\\"text/plain\\\"; x=1"},
        {"the first semicolon ends the value, quoted or not", "A: \"p;q\"\r\n", "A=\\\"p; q\\\"="},
        {"a semicolon first is no separator", "A: ;x=1\r\n", "A=;x=1"},
        {"a semicolon last", "A: 1;\r\n", "A=1"},

        {"parameters", "A: v; b=\"x y\" ;a= 1\t;c;d\t=4\r\n", "A=v; a=1; b=x y; c=; d=4"},
        {"a semicolon in quotes", "A: v; a=\"x;y\\\";z\"; b=2\r\n", "A=v; a=x;y\\\";z; b=2"},
        {"quotes that are not closed", "A: v; a=\"x;b=2\r\n", "A=v; a=\\\"x;b=2"},
        {"empty parameters are none", "A: v;; ;\t; a=1;\r\n", "A=v; a=1"},
        {"a repeated parameter", "A: v; a=1; A=2\r\n", "A=v; A=2"},
        {"a value may hold \"=\"", "A: v; a=b=c\r\n", "A=v; a=b=c"},
        {"\"=\" first makes no value", "A: v; =x; \"q\"\r\n", "A=v; =x=; q="},
        {"nothing is decoded", "A: v; t*=utf-8''%41; t*0=b; u==?utf-8?Q?=41?=\r\n",
         "A=v; t*=utf-8''%41; t*0=b; u==?utf-8?Q?=41?="},
    };
    for (const Case& c : cases) {
        const std::string text = std::string(c.block) + "\r\nbody";
        Part part;
        Cursor cursor(text.data(), text.size());
        AnsiStr error;
        EXPECT_TRUE(ReadHeaderBlock(part, cursor, error)) << c.why << ": " << error;
        EXPECT_EQ(cursor.GetRest(), "body") << c.why;
        // Escaping the expected text twice would make the rows hard to read.
        EXPECT_EQ(ShowFields(part.headers), c.want) << c.why;
    }
}

TEST(HeaderBlockTest, KeepsWhatStandsBeforeAFailure) {
    struct Case {
        const char* why;
        std::string_view text;
        const char* error;
        const char* fields;
    };
    const Case cases[] = {
        {"folded line", "A: 1\r\n\tcontinued\r\n\r\nx", "Unexpected header line: \"\tcontinued\"",
         "A=1"},
        {"line without a colon", "A: 1\r\nB\r\n\r\nx", "Unexpected header line: \"B\"", "A=1"},
        {"colon first", "A: 1\r\n: B \r\n\r\nx", "Unexpected header line: \": B \"", "A=1"},
        {"NUL", "A: 1\r\nB: \0\r\n\r\nx"sv, "eos in text", "A=1"},
        {"NUL behind the last line end", "A: 1\r\n\0x\r\n"sv, "eos in text", "A=1"},

        {"no text", "", "text boundary is missing", ""},
        {"two bytes", "\r\n", "text boundary is missing", ""},
        {"no empty line", "A: 1\r\nB: 2\r\n", "text boundary is missing", "A=1|B=2"},
        {"last line without a line end", "A: 1\r\nB: 2", "text boundary is missing", "A=1|B=2"},
        {"line ends and NULs behind the last line", "A: 1\r\nB: 2\n\r\0\n"sv, "eos in text", "A=1"},
        {"a NUL as the last byte is cut off", "A: 1\r\nB: 2\0"sv, "text boundary is missing",
         "A=1|B=2"},
        {"nothing behind the empty line", "A: 1\r\n\r\n", "text boundary is missing", "A=1"},
        {"last line of two bytes", "A: 1\r\nB:", "text boundary is missing", "A=1|B="},
        {"last line without a colon", "A: 1\r\nB\r", "Unexpected header line: \"B\"", "A=1"},
    };
    for (const Case& c : cases) {
        Part part;
        Cursor cursor(c.text.data(), c.text.size());
        AnsiStr error;
        EXPECT_FALSE(ReadHeaderBlock(part, cursor, error)) << c.why;
        EXPECT_EQ(ToString(error), c.error) << c.why;
        EXPECT_EQ(ShowFields(part.headers), c.fields) << c.why;
    }
}

TEST(HeaderBlockTest, OneByteBehindTheEmptyLineIsEnough) {
    Part part;
    Cursor cursor("A: 1\r\n\r\nx", 9);
    AnsiStr error;
    EXPECT_TRUE(ReadHeaderBlock(part, cursor, error));
    EXPECT_EQ(cursor.GetLeft(), 1u);
}

// A million fields, a field of 10 MB, 100,000 parameters: nothing here is quadratic.
TEST(HeaderBlockTest, TakesLargeBlocks) {
    std::string text;
    for (int i = 0; i < 1'000'000; ++i) text += "X" + std::to_string(i) + ":1\r\n";
    text += "Long:" + std::string(10'000'000, ';') + "\r\nMany:v";
    for (int i = 0; i < 100'000; ++i) text += ";" + std::to_string(i) + "=1";
    text += "\r\n\r\nx";
    Part part;
    Cursor cursor(text.data(), text.size());
    AnsiStr error;
    ASSERT_TRUE(ReadHeaderBlock(part, cursor, error)) << error;
    size_t count = 0;
    for ([[maybe_unused]] const HeaderMap::Node& field : part.headers) ++count;
    EXPECT_EQ(count, 1'000'002u);
    EXPECT_EQ(part.headers.Find("long")->value.value.GetLength(), 10'000'000u);
    count = 0;
    for ([[maybe_unused]] const auto& node : part.headers.Find("many")->value.parameters) ++count;
    EXPECT_EQ(count, 100'000u);
}

}  // namespace
}  // namespace MIME
