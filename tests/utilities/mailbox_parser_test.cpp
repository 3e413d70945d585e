#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mime/mime.h"

namespace MIME {
namespace {

TEST(MailboxParserTest, FindsMailboxes) {
    struct Case {
        const char* why;
        const char* text;
        std::vector<std::string> mailboxes;
        bool isMalformed;
    };
    const Case kCases[] = {
        {"nothing", "", {}, false},
        {"white space only", " \t\r\n\v\f", {}, false},
        {"three kinds",
         "John Doe <jdoe>, \"Smith, Jane\" <jsmith>, bob",
         {"\"John Doe\" <jdoe>", "\"Smith, Jane\" <jsmith>", "bob"},
         false},
        {"a name that is not ASCII", "J\xC3\xBCrgen <jm>", {"=?utf-8?Q?J=C3=BCrgen?= <jm>"}, false},
        {"a name that is an atom", "Admin <root>", {"Admin <root>"}, false},
        {"a name with a dot", "J.Doe <j>", {"\"J.Doe\" <j>"}, false},
        {"escapes in a name", R"("A \"B\" C" <a1>)", {R"("A \"B\" C" <a1>)"}, false},
        {"a name behind the address", "<a1> \"Late Name\"", {"\"Late Name\" <a1>"}, false},
        {"empty entries", ", , a1", {"a1"}, false},
        {"an empty address", "<>, c3", {"c3"}, false},
        {"bare text before a comma is an address", "Name only, b2", {"Name only", "b2"}, false},
        {"a group passes through", "undisclosed-recipients:;", {"undisclosed-recipients:;"}, false},
        {"a comment too", "a1 (comment)", {"a1 (comment)"}, false},
        {"nothing inside brackets counts", "<a,\"b>, c", {"a,\"b", "c"}, false},
        {"bytes above ASCII are no white space",
         "\xA0"
         "a <b>",
         {"=?utf-8?Q?=A0a?= <b>"},
         false},
        {"text behind an address", "<a1> trailing, b2", {}, true},
        {"two addresses", "<a> <b>", {}, true},
        {"two names", "\"a\" \"b\" <c>", {}, true},
        {"what came before stays", "x, <a> y, z", {"x"}, true},
        {"a name without an address", "\"Name only\"", {}, false},
        {"a name that is not closed", "\"unterminated", {}, true},
        {"a backslash at the end", "\"a\\", {}, true},
        {"an address that is not closed", "a <b", {}, true},
    };
    for (const Case& c : kCases) {
        MailboxParser parser(c.text);
        std::vector<std::string> found;
        while (parser.ToNext()) found.emplace_back(std::string_view(parser.GetMailbox()));
        EXPECT_EQ(found, c.mailboxes) << c.why;
        EXPECT_EQ(parser.IsMalformed(), c.isMalformed) << c.why;
    }
}

TEST(MailboxParserTest, GivesNameAndAddress) {
    MailboxParser parser(R"("A \"B\"" <a1>, <b>)");
    ASSERT_TRUE(parser.ToNext());
    EXPECT_EQ(parser.name, "A \"B\"");
    EXPECT_EQ(parser.address, "a1");
    ASSERT_TRUE(parser.ToNext());
    EXPECT_EQ(parser.name, "");
    EXPECT_EQ(parser.address, "b");
}

}  // namespace
}  // namespace MIME
