#include "kivgui/convert.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace KivGuiBase {
namespace {

TEST(ConvertTest, WritesBase16InLines) {
    struct Case {
        std::string_view bytes;
        unsigned lineLength;
        const char* want;
    };
    const Case cases[] = {
        {"", 0, ""},
        {{"\x00\x01\x7F\x80\xAB\xFF", 6}, 0, "00017F80ABFF"},
        {"\x12\x34\x56", 2, "12, 34, 56"},
        {"\x12\x34\x56", 4, "1234, 56"},
        {"\x12\x34\x56", 3, "123, 456"},
        {"\x12\x34\x56", 6, "123456"},
    };
    for (const Case& c : cases) {
        const auto size = static_cast<unsigned>(c.bytes.size());
        EXPECT_EQ(Binary2B16Str(c.bytes.data(), size, c.lineLength, ", "), c.want) << c.lineLength;
    }
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
        {"0", true, true, 0, 1},
        {"12345", true, true, 12345, 5},
        {"12 bytes", true, true, 12, 2},
        {"00000000000000000042", true, true, 42, 20},
        {"000000000000000000042", false, false, 0, 0},  // 21 digits
        {"9223372036854775807", true, true, INT64_MAX, 19},
        {"9223372036854775808", false, true, uint64_t{1} << 63, 19},
        {"18446744073709551615", false, true, UINT64_MAX, 20},
        {"18446744073709551616", false, false, 0, 0},
        {"99999999999999999999", false, false, 0, 0},
        {"-1", true, false, static_cast<uint64_t>(-1), 2},
        {"+7", true, false, 7, 2},
        {"-9223372036854775808", true, false, uint64_t{1} << 63, 20},
        {"-9223372036854775809", false, false, 0, 0},
        {"", false, false, 0, 0},
        {"-", false, false, 0, 0},
        {"+-1", false, false, 0, 0},
        {" 1", false, false, 0, 0},
        {"x1", false, false, 0, 0},
    };
    constexpr uint64_t kUntouched = 4711;
    for (const Case& c : cases) {
        auto number = static_cast<int64_t>(kUntouched);
        const char* end = nullptr;
        EXPECT_EQ(Str2Hyper(c.text, &end, &number, false, 20) == 0, c.isSigned) << c.text;
        EXPECT_EQ(static_cast<uint64_t>(number), c.isSigned ? c.value : kUntouched) << c.text;
        EXPECT_EQ(end, c.isSigned ? c.text + c.length : nullptr) << c.text;

        uint64_t unsignedNumber = kUntouched;
        EXPECT_EQ(Str2UHyper(c.text, nullptr, &unsignedNumber, false, 20) == 0, c.isUnsigned)
            << c.text;
        EXPECT_EQ(unsignedNumber, c.isUnsigned ? c.value : kUntouched) << c.text;
    }
}

TEST(ConvertTest, FormatsNumbersAndTexts) {
    char buffer[11];
    EXPECT_STREQ(UInt2Str(buffer, 0), "0");
    EXPECT_STREQ(UInt2Str(buffer, 4294967295), "4294967295");
    EXPECT_EQ(FmtArgs("%s: %llu", "size", 18446744073709551615ull), "size: 18446744073709551615");
    EXPECT_EQ(FmtArgs("%s", ""), "");
    const std::string big(100'000, 'x');
    EXPECT_EQ(FmtArgs("<%s>", big.c_str()), "<" + big + ">");
}

struct TextCase {
    const char* why;
    std::string_view in;
    std::string_view want;
};

TEST(ConvertTest, CleansTheEnds) {
    const TextCase cases[] = {
        {"nothing to do", "a b", "a b"},
        {"blanks", "  a b\t ", "a b"},
        {"every kind of white space", "\t\n\v\f\r a \r\f\v\n\t", "a"},
        {"white space only", " \t\r\n", ""},
        {"empty", "", ""},
        {"NUL and no-break space are text", {"\0\xA0", 2}, {"\0\xA0", 2}},
    };
    for (const TextCase& c : cases) EXPECT_EQ(CleanStr(c.in), c.want) << c.why;
}

TEST(ConvertTest, UndoesQuotedStrings) {
    const TextCase cases[] = {
        {"plain", "abc", "abc"},
        {"quoted", "\"a b\"", "a b"},
        {"empty quotes", "\"\"", ""},
        {"empty", "", ""},
        {"escapes", R"("a\"b\\c\d")", R"(a"b\cd)"},
        {"an escaped NUL", {"\"\\\0x\"", 5}, {"\0x", 2}},
        {"a lone quote", "\"", "\""},
        {"no end", "\"abc", "\"abc"},
        {"no start", "abc\"", "abc\""},
        {"the last quote is escaped", R"("abc\")", R"("abc\")"},
        {"ends with an escaped backslash", R"("abc\\")", R"(abc\)"},
        {"text behind", "\"abc\"d", "\"abc\"d"},
        {"two strings", "\"a\" \"b\"", "\"a\" \"b\""},
        {"backslashes outside quotes stay", R"(a\b)", R"(a\b)"},
    };
    for (const TextCase& c : cases) EXPECT_EQ(ExtendedUnQuote(AnsiStr(c.in)), c.want) << c.why;
}

}  // namespace
}  // namespace KivGuiBase
