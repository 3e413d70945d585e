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

/// A block of exactly the bytes, so that a memory checker sees a read past them.
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

TEST(QuotedPrintableTest, DecodingReplacesTheBlobAndLeavesItsCopies) {
    Blob out;
    ASSERT_TRUE(Encoding::QPDecodeLine({"a longer line", 13}, out));
    const Blob copy = out;
    ASSERT_TRUE(Encoding::QPDecodeLine({"y", 1}, out));
    EXPECT_EQ(std::string(out.GetData(), out.GetSize()), "y\r\n");
    EXPECT_EQ(std::string(copy.GetData(), copy.GetSize()), "a longer line\r\n");
}

// Plain characters, a digit, white space, both bytes of a line break and bytes to be escaped.
constexpr std::string_view kEncoderAlphabet = "0A \r\n=.\t\xC3";

TEST(QuotedPrintableTest, EveryShortTextLikeTheReference) {
    for (const size_t place : {0u, 70u, 72u, 73u, 74u, 75u, 76u}) {
        ForEachText(kEncoderAlphabet, place == 0 ? 5 : 3, [place](std::string_view text) {
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
