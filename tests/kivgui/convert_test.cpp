#include "kivgui/convert.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace KivGuiBase {
namespace {

TEST(ConvertTest, WritesBase16InLines) {
    EXPECT_EQ(Binary2B16Str("\x00\x01\x7F\x80\xAB\xFF", 6, 0, ", "), "00017F80ABFF");
    EXPECT_EQ(Binary2B16Str("\x12\x34\x56", 3, 4, ", "), "1234, 56");
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

TEST(ConvertTest, FormatsNumbersAndTexts) {
    EXPECT_EQ(FmtArgs("%s: %llu", "size", 18446744073709551615ull), "size: 18446744073709551615");
    const std::string big(100'000, 'x');
    EXPECT_EQ(FmtArgs("<%s>", big.c_str()), "<" + big + ">");
}

TEST(ConvertTest, CleansTheEndsAndUndoesQuotedStrings) {
    EXPECT_EQ(CleanStr("\t\n\v\f\r a b \r\f\v\n\t"), "a b");
    EXPECT_EQ(CleanStr(" \t\r\n"), "");
    struct Case {
        std::string_view in;
        std::string_view want;
    };
    const Case cases[] = {
        {"\"a b\"", "a b"},
        {"\"\"", ""},
        {"\"", "\""},
        {"\"abc", "\"abc"},
        {R"("a\"b\\c\d")", R"(a"b\cd)"},
        {R"("abc\")", R"("abc\")"},
        {R"("abc\\")", R"(abc\)"},
        {R"("a" "b")", R"("a" "b")"},
        {R"(a\b)", R"(a\b)"},
        {{"\"\\\0x\"", 5}, {"\0x", 2}},
    };
    for (const Case& c : cases) EXPECT_EQ(ExtendedUnQuote(AnsiStr(c.in)), c.want) << c.in;
}

}  // namespace
}  // namespace KivGuiBase
