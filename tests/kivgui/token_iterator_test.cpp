#include "kivgui/token_iterator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KivGuiBase {
namespace {

TEST(TokenIteratorTest, SplitsAtSeparatorsOutsideQuotes) {
    struct Case {
        const char* text;
        std::vector<std::string> want;
    };
    const Case cases[] = {
        {" a ; b\t,c", {" a ", " b\t", "c"}},
        {"", {}},
        {"; ;a;\t\r\n;;b;", {"a", "b"}},
        {R"(a="x\";y";b)", {R"(a="x\";y")", "b"}},
        {R"(a="x\\";b)", {R"(a="x\\")", "b"}},
        {R"(a\;b)", {R"(a\)", "b"}},
        {R"(a"1;2"b"3;4"c;d)", {R"(a"1;2"b"3;4"c)", "d"}},
        {"a;b=\"x;y", {"a", "b=\"x;y"}},
        {"a;\"b\\", {"a", "\"b\\"}},
    };
    for (const Case& c : cases) {
        std::vector<std::string> tokens;
        TokenIterator it(c.text, ";,");
        while (it.ToNext()) tokens.emplace_back(it.token);
        EXPECT_EQ(tokens, c.want) << c.text;
    }
}

}  // namespace
}  // namespace KivGuiBase
