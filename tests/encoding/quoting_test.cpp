#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;

TEST(QuotingTest, AtomsAndQuotedStrings) {
    struct Case {
        const char* why;
        AnsiStr text;
        bool isAtom;
        const char* quoted;
    };
    const Case cases[] = {
        {"nothing", "", true, "\"\""},
        {"a media type", "text/plain", true, "\"text/plain\""},
        {"an apostrophe", "O'Neil", true, "\"O'Neil\""},
        {"a blank", "John Doe", false, "\"John Doe\""},
        {"a dot", "a.b", false, "\"a.b\""},
        {"quotes", "say \"hi\"", false, R"("say \"hi\"")"},
        {"a backslash", "back\\slash", false, R"("back\\slash")"},
        {"nothing but what is escaped", "\"\\\"", false, R"("\"\\\"")"},
        {"CR is escaped, LF is not", "a\r\nb", false, "\"a\\\r\nb\""},
        {"bytes above ASCII", "K\xC3\xB6ln", false, "\"K\xC3\xB6ln\""},
        {"a NUL ends the text", AnsiStr("ab\0 \"", 5), true, "\"ab\""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Encoding::IsAtom(c.text), c.isAtom) << c.why;
        EXPECT_EQ(Escape(Encoding::Quote(c.text)), Escape(c.quoted)) << c.why;
    }
}

TEST(QuotingTest, EveryByteIsAnAtomCharacterOrNot) {
    const std::string atomCharacters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!#$%&'*+-/?^_`{|}~";
    for (unsigned byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool isAtom = atomCharacters.find(c) != std::string::npos;
        const std::string around = std::string("a") + c + "z";
        EXPECT_EQ(Encoding::IsAtom(AnsiStr(&c, 1)), isAtom) << byte;
        EXPECT_EQ(Encoding::IsAtom(AnsiStr(std::string_view(around))), isAtom) << byte;
    }
}

TEST(QuotingTest, LongTexts) {
    std::string text;
    std::string quoted = "\"";
    for (int i = 0; i < 50'000; ++i) {
        text += "\"plain";
        quoted += "\\\"plain";
    }
    EXPECT_EQ(Encoding::Quote(AnsiStr(std::string_view(text))), std::string_view(quoted + '"'));
}

}  // namespace
}  // namespace MIME
