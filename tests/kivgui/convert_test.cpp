#include "kivgui/convert.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kivgui/token_iterator.h"

namespace KivGuiBase {
namespace {

TEST(ConvertTest, WritesBase16InLinesAndFormats) {
    EXPECT_EQ(Binary2B16Str("\x00\x01\x7F\x80\xAB\xFF", 6, 0, ", "), "00017F80ABFF");
    EXPECT_EQ(Binary2B16Str("\x12\x34\x56", 3, 4, ", "), "1234, 56");
    EXPECT_EQ(FmtArgs("%s: %llu", "size", 18446744073709551615ull), "size: 18446744073709551615");
    const std::string big(100'000, 'x');
    EXPECT_EQ(FmtArgs("<%s>", big.c_str()), "<" + big + ">");
}

TEST(ConvertTest, ReadsDecimalNumbers) {
    struct Case {
        const char* text;
        bool isSigned;    // what Str2Hyper says
        bool isUnsigned;  // what Str2UHyper says
        uint64_t value;
        size_t length;  // of the number
    };
    const Case cases[] = {
        {"12 bytes", true, true, 12, 2},
        {"00000000000000000042", true, true, 42, 20},
        {"000000000000000000042", false, false, 0, 0},  // 21 digits
        {"9223372036854775808", false, true, uint64_t{1} << 63, 19},
        {"18446744073709551615", false, true, UINT64_MAX, 20},
        {"18446744073709551616", false, false, 0, 0},
        {"+7", true, false, 7, 2},
        {"-9223372036854775808", true, false, uint64_t{1} << 63, 20},
        {"", false, false, 0, 0},
        {"+-1", false, false, 0, 0},
        {" 1", false, false, 0, 0},
    };
    for (const Case& c : cases) {
        int64_t number = 4711;
        const char* end = nullptr;
        EXPECT_EQ(Str2Hyper(c.text, &end, &number, false, 20) == 0, c.isSigned) << c.text;
        EXPECT_EQ(static_cast<uint64_t>(number), c.isSigned ? c.value : 4711) << c.text;
        EXPECT_EQ(end, c.isSigned ? c.text + c.length : nullptr) << c.text;
        uint64_t positive = 4711;
        EXPECT_EQ(Str2UHyper(c.text, nullptr, &positive, false, 20) == 0, c.isUnsigned) << c.text;
        EXPECT_EQ(positive, c.isUnsigned ? c.value : 4711) << c.text;
    }
}

TEST(ConvertTest, CleansTheEndsAndUndoesQuotedStrings) {
    EXPECT_EQ(CleanStr("\t\n\v\f\r a b \r\f\v\n\t"), "a b");
    EXPECT_EQ(CleanStr(" \t\r\n"), "");
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"\"a b\"", "a b"},
        {"\"", "\""},
        {"\"abc", "\"abc"},
        {R"("a\"b\\c\d")", R"(a"b\cd)"},
        {R"("abc\")", R"("abc\")"},
        {R"("abc\\")", R"(abc\)"},
        {R"("a" "b")", R"("a" "b")"},
        {R"(a\b)", R"(a\b)"},
        {{"\"\\\0x\"", 5}, {"\0x", 2}},
    };
    for (const auto& [text, want] : cases) EXPECT_EQ(ExtendedUnQuote(AnsiStr(text)), want);
}

TEST(TokenIteratorTest, SplitsAtSeparatorsOutsideQuotes) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {" a ; b\t,c", {" a ", " b\t", "c"}},
        {"; ;a;\t\r\n;;b;", {"a", "b"}},
        {R"(a="x\";y";b)", {R"(a="x\";y")", "b"}},
        {R"(a="x\\";b)", {R"(a="x\\")", "b"}},
        {R"(a\;b)", {R"(a\)", "b"}},
        {R"(a"1;2"b"3;4"c;d)", {R"(a"1;2"b"3;4"c)", "d"}},
        {"a;b=\"x;y", {"a", "b=\"x;y"}},
        {"a;\"b\\", {"a", "\"b\\"}},
    };
    for (const auto& [text, want] : cases) {
        std::vector<std::string> tokens;
        TokenIterator it(text, ";,");
        while (it.ToNext()) tokens.emplace_back(it.token);
        EXPECT_EQ(tokens, want) << text;
    }
}

}  // namespace
}  // namespace KivGuiBase
