#include "kivgui/token_iterator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KivGuiBase {
namespace {

using Tokens = std::vector<std::string>;

Tokens Split(const char* text, const char* separators) {
    Tokens tokens;
    TokenIterator it(text, separators);
    while (it.ToNext()) tokens.emplace_back(it.token);
    EXPECT_EQ(it.token, "");
    EXPECT_FALSE(it.ToNext());
    return tokens;
}

TEST(TokenIteratorTest, SplitsAtSeparatorsOutsideQuotes) {
    struct Case {
        const char* why;
        const char* text;
        Tokens want;
    };
    const Case cases[] = {
        {"one token", "a", {"a"}},
        {"several", "a;b;c", {"a", "b", "c"}},
        {"white space stays", " a ; b\t", {" a ", " b\t"}},
        {"empty", "", {}},
        {"separators only", ";;;", {}},
        {"blank tokens are passed over", "; ;a;\t\r\n;;b;", {"a", "b"}},
        {"a separator in quotes", "a=\"x;y\";b", {"a=\"x;y\"", "b"}},
        {"an escaped quote in quotes", R"(a="x\";y";b)", {R"(a="x\";y")", "b"}},
        {"an escaped backslash ends nothing", R"(a="x\\";b)", {R"(a="x\\")", "b"}},
        {"a backslash outside quotes escapes nothing", R"(a\;b)", {R"(a\)", "b"}},
        {"quotes in the middle", R"(a"1;2"b"3;4"c;d)", {R"(a"1;2"b"3;4"c)", "d"}},
        {"an unclosed quote reaches to the end", "a;b=\"x;y", {"a", "b=\"x;y"}},
        {"a backslash as the last character in quotes", "a;\"b\\", {"a", "\"b\\"}},
    };
    for (const Case& c : cases) EXPECT_EQ(Split(c.text, ";"), c.want) << c.why;
}

TEST(TokenIteratorTest, AnySeparatorOfTheSetSeparates) {
    EXPECT_EQ(Split("a,b;c", ",;"), (Tokens{"a", "b", "c"}));
    EXPECT_EQ(Split("a;b", ""), (Tokens{"a;b"}));
}

}  // namespace
}  // namespace KivGuiBase
