#include <gtest/gtest.h>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using MIME::Test::Escape;

struct Case {
    const char* why;
    const char* text;
    const char* paragraphs;
    bool deleteSpace = false;
};

TEST(FlowedTest, JoinsLinesToParagraphs) {
    constexpr Case kCases[] = {
        {"nothing", "", ""},
        {"fixed lines stay", "a\r\nb\nc", "a\r\nb\r\nc\r\n"},
        {"flowed lines are joined", "a \r\nb \r\nc\r\nd\r\n", "a b c\r\nd\r\n"},
        {"the last line may be flowed", "a \r\nb ", "a b \r\n"},
        {"an empty line ends a paragraph", "a \r\n\r\nb\r\n", "a \r\nb\r\n"},
        {"with delsp", "a \r\nb  \r\nc\r\n", "ab c\r\n", true},
        {"space-stuffing", " From me\r\n  two\r\n >no quote\r\n",
         "From me\r\n two\r\n>no quote\r\n"},
        {"a stuffed empty line is not flowed", " \r\na\r\n", "\r\na\r\n"},
        {"quotes with delsp", ">a \r\n>b\r\n> c\r\n", "> ab\r\n> c\r\n", true},
        {"quotes keep their levels", "> a \r\n> b\r\n>> c\r\n", "> a b\r\n> > c\r\n"},
        {"only the first space behind the marks is stuffing", "> > a\r\n", "> > a\r\n"},
        {"another depth ends a paragraph", ">a \r\nb \r\n>>c\r\n", "> a \r\nb \r\n> > c\r\n"},
        {"the signature line stands alone", "a \r\n-- \r\nb\r\n> -- \r\n",
         "a \r\n-- \r\nb\r\n> -- \r\n"},
    };
    for (const Case& c : kCases) {
        EXPECT_EQ(Escape(Decoding::FlowedToParagraphs(c.text, c.deleteSpace)), Escape(c.paragraphs))
            << c.why;
    }
}

}  // namespace
}  // namespace MIME
