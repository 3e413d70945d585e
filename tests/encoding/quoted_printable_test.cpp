#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "encoding/quoted_printable_reference.h"
#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::ForEachText;
using Test::Random;
using Reference = Test::QuotedPrintableReference;

std::string Letters(size_t count) {
    return std::string(count, 'x');
}

/// A block of exactly the bytes, so that a memory checker sees a read behind them.
std::unique_ptr<char[]> MakeBlock(std::string_view bytes) {
    auto block = std::make_unique<char[]>(bytes.size());
    bytes.copy(block.get(), bytes.size());
    return block;
}

std::string Encode(std::string_view body) {
    const auto block = MakeBlock(body);
    return std::string(Encoding::QPEncode(block.get(), static_cast<unsigned>(body.size())));
}

std::string DecodeLine(std::string_view line) {
    const auto block = MakeBlock(line);
    Blob out;
    EXPECT_TRUE(Encoding::QPDecodeLine({block.get(), static_cast<unsigned>(line.size())}, out));
    return {out.GetData(), out.GetSize()};
}

std::vector<std::string_view> SplitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    for (;;) {
        const size_t end = text.find("\r\n");
        lines.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return lines;
        text.remove_prefix(end + 2);
    }
}

TEST(QuotedPrintableTest, Encodes) {
    struct Case {
        const char* why;
        std::string in;
        std::string want;
    };
    const Case cases[] = {
        {"nothing", "", ""},
        {"a full stop, wherever it stands", "Hello.World.", "Hello=2EWorld=2E"},
        {"the escape character", "a=b", "a=3Db"},
        {"other punctuation stays", "!\"#$%&'()*+,-/:;<>?@[\\]^_`{|}~",
         "!\"#$%&'()*+,-/:;<>?@[\\]^_`{|}~"},
        {"bytes above ASCII", "caf\xC3\xA9 \x80\xFF", "caf=C3=A9 =80=FF"},
        {"control bytes", std::string("\0\x01\x0B\x1F\x7F", 5), "=00=01=0B=1F=7F"},

        // White space, which must not end a line.
        {"a blank at the end", "trailing space ", "trailing space=20"},
        {"a tab at the end only", "tab\tend\t", "tab\tend=09"},
        {"a blank before a line break", "line1 \r\nline2", "line1=20\r\nline2"},
        {"only the last of several", " \t \r\n", " \t=20\r\n"},
        {"a blank before what is no line break", "a \rb \nc", "a =0Db =0Ac"},

        // Line breaks.
        {"CR LF", "\r\n", "\r\n"},
        {"a lone LF", "lone\nLF", "lone=0ALF"},
        {"a lone CR at the end", "a \r", "a =0D"},
        {"CR CR LF", "\r\r\n\n", "=0D\r\n=0A"},

        // The byte-order mark.
        {"only a mark", "\xEF\xBB\xBF", ""},
        {"a mark at the start",
         "\xEF\xBB\xBF"
         "BOM",
         "BOM"},
        {"two of them", "\xEF\xBB\xBF\xEF\xBB\xBF", "=EF=BB=BF"},
        {"not at the start", "a\xEF\xBB\xBF", "a=EF=BB=BF"},
        {"the start of one", "\xEF\xBB", "=EF=BB"},

        // Where lines are broken.
        {"more than a line", Letters(80), Letters(75) + "=\r\n" + Letters(5)},
        {"exactly a line, and the end", Letters(76), Letters(76)},
        {"exactly a line, and a break", Letters(76) + "\r\n", Letters(76) + "\r\n"},
        {"a line and a blank", Letters(76) + " ", Letters(75) + "=\r\nx=20"},
        {"an escape that leaves the soft break its place",
         Letters(72) + "==", Letters(72) + "=3D=\r\n=3D"},
        {"an escape with no place for more",
         Letters(73) + "\xE9"
                       "a",
         Letters(73) + "=\r\n=E9a"},
        {"an escape that ends the text", Letters(73) + "\xE9", Letters(73) + "=E9"},
        {"an escape that ends the line", Letters(73) + "\xE9\r\nz", Letters(73) + "=E9\r\nz"},
        {"an escape with no place at all", Letters(74) + "==", Letters(74) + "=\r\n=3D=3D"},
        {"a blank at the place of the soft break", Letters(75) + " y", Letters(75) + "=\r\n y"},
        {"a blank at the end in the last place", Letters(73) + " ", Letters(73) + "=20"},
        {"a blank at the end behind it", Letters(74) + " \r\n", Letters(74) + "=\r\n=20\r\n"},
    };
    for (const Case& c : cases) EXPECT_EQ(Escape(Encode(c.in)), Escape(c.want)) << c.why;

    EXPECT_EQ(Encoding::QPEncode(AnsiStr("a\0b", 3)), "a=00b") << "a NUL ends no string";
}

TEST(QuotedPrintableTest, DecodesLines) {
    struct Case {
        const char* why;
        std::string_view in;
        std::string_view want;
    };
    constexpr Case cases[] = {
        {"digits of either case", "abc=41=3d=3D", "abcA==\r\n"},
        {"any byte", "=00=fF=0D=0A", {"\0\xFF\r\n\r\n", 6}},
        {"nothing", "", "\r\n"},
        {"white space at the end stays", "trail \t ", "trail \t \r\n"},
        {"a soft line break", "soft=", "soft"},
        {"only a soft line break", "=", ""},
        {"white space behind it: no break", "a= ", "a= \r\n"},
        {"an escape that is cut", "=4", "=4\r\n"},
        {"digits that are none", "bad=G1=1G=x", "bad=G1=1G=x\r\n"},
        {"characters next to the digits", "=/0=:0=@0=`0=0g", "=/0=:0=@0=`0=0g\r\n"},
        {"an escape behind what is none", "==41", "=A\r\n"},
        {"bytes above ASCII and line-end bytes", "\xC3\xA9\r\n\n\r", "\xC3\xA9\r\n\n\r\r\n"},
    };
    for (const Case& c : cases) EXPECT_EQ(Escape(DecodeLine(c.in)), Escape(c.want)) << c.why;
}

TEST(QuotedPrintableTest, DecodingReplacesTheBlobAndLeavesItsCopies) {
    Blob out;
    ASSERT_TRUE(Encoding::QPDecodeLine({"a longer line", 13}, out));
    const char* const bytes = out.GetData();
    ASSERT_TRUE(Encoding::QPDecodeLine({"x=3D", 4}, out));
    EXPECT_EQ(std::string(out.GetData(), out.GetSize()), "x=\r\n");
    EXPECT_EQ(out.GetData(), bytes) << "the buffer was large enough";

    const Blob copy = out;
    ASSERT_TRUE(Encoding::QPDecodeLine({"y", 1}, out));
    EXPECT_EQ(std::string(out.GetData(), out.GetSize()), "y\r\n");
    EXPECT_EQ(std::string(copy.GetData(), copy.GetSize()), "x=\r\n");
}

// Plain characters, a digit, white space, both bytes of a line break and bytes to be escaped.
constexpr std::string_view kEncoderAlphabet = "0A \r\n=.\t\xC3";

TEST(QuotedPrintableTest, EveryShortTextLikeTheReference) {
    for (const size_t place : {0u, 70u, 72u, 73u, 74u, 75u, 76u}) {
        ForEachText(kEncoderAlphabet, place == 0 ? 6 : 4, [place](std::string_view text) {
            for (const char* tail : {"", "z", "\r\nz"}) {
                const std::string body = Letters(place) + std::string(text) + tail;
                ASSERT_EQ(Encode(body), Reference::Encode(body)) << Escape(body);
            }
        });
    }
    // Alone, and where the step of the vector code ends.
    for (const size_t place : {0u, 13u, 16u}) {
        ForEachText("=4dG\r ", 5, [place](std::string_view text) {
            const std::string line = Letters(place) + std::string(text);
            ASSERT_EQ(DecodeLine(line), Reference::DecodeLine(line)) << Escape(line);
        });
    }
}

TEST(QuotedPrintableTest, RandomBodiesThereAndBack) {
    constexpr std::string_view kAlphabets[] = {"abcdefghij klmno", "ab.=\xC3\xA9\xFF", "a \t\r\n",
                                               "\r\n", kEncoderAlphabet};
    Random random(20240607);
    for (int round = 0; round < 2000; ++round) {
        std::string body = random.Bytes(random.Below(100));
        for (size_t pieces = random.Below(8); pieces > 0; --pieces) {
            body += random.Text(random.Below(200), kAlphabets[random.Below(std::size(kAlphabets))]);
        }
        const std::string encoded = Encode(body);
        ASSERT_EQ(encoded, Reference::Encode(body)) << Escape(body);
        std::string decoded;
        for (const std::string_view line : SplitLines(encoded)) {
            ASSERT_LE(line.size(), 76u) << Escape(line);
            decoded += DecodeLine(line);
        }
        ASSERT_EQ(decoded, body + "\r\n") << "the last line is ended";
    }
}

}  // namespace
}  // namespace MIME
