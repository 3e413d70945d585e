#include "mime/parser/delimiter.h"

#include <gtest/gtest.h>

#include "parser/reading.h"

namespace MIME {
namespace {

using namespace std::string_view_literals;
using Test::Escape;
using Test::ToString;

TEST(DelimiterTest, SkipsToTheNextBoundaryLine) {
    struct Case {
        const char* why;
        std::string_view text;
        bool last;
        std::string_view left;
    };
    const Case cases[] = {
        {"at once", "--xyz\r\nrest", false, "rest"},
        {"closing", "--xyz--\r\nrest", true, "rest"},
        {"behind other lines", "pre\r\n\r\n--\r\n--xy\r\nxyz\r\n--xyz\r\nrest", false, "rest"},
        {"behind other characters", "pre\r\nxx--xyz\r\nrest", false, "rest"},
        {"behind other characters, closing", "--xy--xyz--\r\nrest", true, "rest"},
        {"more behind it", "--xyzabc\r\nrest", false, "rest"},
        {"more behind it, closing", "--xyz--  trailing words\r\nrest", true, "rest"},
        {"one dash does not close", "--xyz-\r\nrest", false, "rest"},
        {"white space does not close", "--xyz --\r\nrest", false, "rest"},
        {"the first place on the line counts", "--xyz --xyz--\r\nrest", false, "rest"},
        {"case counts", "--XYZ\r\n--xyz--\r\nrest", true, "rest"},
        {"CR and LF alone end no line", "a\n--xyz--\r\r\nrest", true, "rest"},
        {"a NUL behind the line", "--xyz\r\n\0"sv, false, "\0"sv},
        {"at the end of the text", "--xyz", false, ""},
        {"closing, at the end of the text", "pre\r\n--xyz--", true, ""},
        {"cut off while closing", "--xyz-", false, ""},
        {"line ends and NULs cut off the last line", "--xyz--\n\n\0"sv, true, ""},
    };
    for (const Case& c : cases) {
        Delimiter delimiter("xyz");
        Cursor cursor(c.text.data(), c.text.size());
        bool last = !c.last;
        AnsiStr error;
        EXPECT_TRUE(SkipToBoundary(cursor, delimiter, last, error)) << c.why << ": " << error;
        EXPECT_EQ(last, c.last) << c.why;
        EXPECT_EQ(Escape(cursor.GetRest()), Escape(c.left)) << c.why;
    }
}

TEST(DelimiterTest, FailsWithoutABoundaryLine) {
    struct Case {
        const char* why;
        std::string_view text;
        const char* error;
    };
    const Case cases[] = {
        {"no text", "", "text boundary is missing"},
        {"line ends only", "\r\n\r\n\r\n", "text boundary is missing"},
        {"one character short", "pre\r\n--xy", "text boundary is missing"},
        {"a line end in it", "--x\r\nyz\r\n", "text boundary is missing"},
        {"NUL in a line", "a\0b\r\n--xyz\r\n"sv, "eos in text"},
        {"NUL behind the delimiter", "--xyz\0\r\n"sv, "eos in text"},
        {"NUL in a last line without a line end", "a\0--xyz"sv, "eos in text"},
        {"NUL as the last byte", "pre\r\nab\0"sv, "text boundary is missing"},
        {"NUL in a last line of two bytes", "pre\r\n\0a"sv, "text boundary is missing"},
    };
    for (const Case& c : cases) {
        Delimiter delimiter("xyz");
        Cursor cursor(c.text.data(), c.text.size());
        bool last = false;
        AnsiStr error;
        EXPECT_FALSE(SkipToBoundary(cursor, delimiter, last, error)) << c.why;
        EXPECT_EQ(ToString(error), c.error) << c.why;
    }
}

}  // namespace
}  // namespace MIME
