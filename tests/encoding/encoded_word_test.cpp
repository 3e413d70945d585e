#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;

std::string X(size_t count) {
    return std::string(count, 'x');
}

std::string Repeat(const std::string& text, size_t count) {
    std::string repeated;
    while (count-- > 0) repeated += text;
    return repeated;
}

TEST(EncodedWordTest, Encodes) {
    struct Case {
        const char* why;
        std::string text;
        bool force;
        std::string want;
    };
    const Case kCases[] = {
        {"plain ASCII is not encoded", "Hello World", false, "Hello World"},
        {"unless it must be", "Hello World", true, "=?utf-8?Q?Hello_World?="},
        {"nothing stays nothing", "", false, ""},
        {"even by force", "", true, ""},
        {"what looks like an encoded word, and tabs, are plain ASCII", "=?x?\t", false, "=?x?\t"},
        {"UTF-8",
         "Gr\xC3\xBC\xC3\x9F"
         "e aus K\xC3\xB6ln",
         false, "=?utf-8?Q?Gr=C3=BC=C3=9Fe_aus_K=C3=B6ln?="},
        {"characters with a meaning in words", "a=b?c_d.e", true, "=?utf-8?Q?a=3Db=3Fc=5Fd=2Ee?="},
        {"the five that need no escape", "!*+-/", true, "=?utf-8?Q?!*+-/?="},
        {"a line break must not reach a header", "line\r\nbreak", false,
         "=?utf-8?Q?line=0D=0Abreak?="},
        {"nor half of one", "a\rb", false, "=?utf-8?Q?a=0Db?="},
        {"63 characters fill a word", X(70), true,
         "=?utf-8?Q?" + X(63) + "?= =?utf-8?Q?" + X(7) + "?="},
        {"a character stays whole", X(61) + "\xC3\xA9", true,
         "=?utf-8?Q?" + X(61) + "?= =?utf-8?Q?=C3=A9?="},
        {"and fits exactly", X(57) + "\xC3\xA9", true, "=?utf-8?Q?" + X(57) + "=C3=A9?="},
        {"ten characters of two bytes a word", Repeat("\xC3\xA9", 40), false,
         Repeat("=?utf-8?Q?" + Repeat("=C3=A9", 10) + "?= ", 3) + "=?utf-8?Q?" +
             Repeat("=C3=A9", 10) + "?="},
        {"21 bytes fit a word, though they are no character", "\xC3" + std::string(20, '\x80'),
         false, "=?utf-8?Q?=C3" + Repeat("=80", 20) + "?="},
        {"more continuation bytes than a word holds are divided", "\xC3" + std::string(22, '\x80'),
         false, "=?utf-8?Q?=C3" + Repeat("=80", 20) + "?= =?utf-8?Q?=80=80?="},
        {"behind something else they begin in a word of their own",
         "x\xC3" + std::string(21, '\x80'), false,
         "=?utf-8?Q?x?= =?utf-8?Q?=C3" + Repeat("=80", 20) + "?= =?utf-8?Q?=80?="},
        {"the text ends at a NUL", std::string("a\xC3\xA9\0z", 5), false, "=?utf-8?Q?a=C3=A9?="},
    };
    for (const Case& c : kCases) {
        EXPECT_EQ(Escape(Encoding::QEncode(AnsiStr(std::string_view(c.text)), c.force)),
                  Escape(c.want))
            << c.why;
    }
}

/// Every word within 75 characters, none ending inside a character of valid UTF-8.
TEST(EncodedWordTest, WordsKeepTheirLimitsOverRandomText) {
    const std::string kCharacters[] = {
        "a", " ", ".", "?", "=", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\t", "Z9"};
    Random random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (size_t n = random.Below(200); n > 0; --n) text += kCharacters[random.Below(10)];
        const AnsiStr encoded = Encoding::QEncode(AnsiStr(std::string_view(text)), true);
        for (std::string_view rest = encoded; !rest.empty();) {
            const std::string_view word = rest.substr(0, rest.find(' '));
            rest.remove_prefix(std::min(word.size() + 1, rest.size()));
            ASSERT_LE(word.size(), 75u) << Escape(text);
            ASSERT_TRUE(word.starts_with("=?utf-8?Q?") && word.ends_with("?=")) << word;
            const std::string_view first = word.substr(10, 3);
            const bool startsInside = first.starts_with("=8") || first.starts_with("=9") ||
                                      first.starts_with("=A") || first.starts_with("=B");
            ASSERT_FALSE(startsInside) << word;
        }
    }
}

}  // namespace
}  // namespace MIME
