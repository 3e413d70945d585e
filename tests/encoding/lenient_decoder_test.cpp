#include "mime/encoding/lenient_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kivgui/convert.h"
#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;

using Body = Decoding::BodyResult;

Body DecodeQp(std::string_view text) {
    return Decoding::QuotedPrintable(text.data(), static_cast<unsigned>(text.size()));
}

Body DecodeBase64(std::string_view text) {
    return Decoding::Base64(text.data(), static_cast<unsigned>(text.size()));
}

/// Count and first offset of what was tolerated; "-" for nothing.
std::string Show(unsigned long long count, unsigned long long first) {
    return count == 0 ? "-" : std::to_string(count) + "@" + std::to_string(first);
}

/// Feeds the text in pieces that end at random places, into buffers that are just large enough.
template <class Decoder>
std::string DecodeInPieces(Decoder& decoder, std::string_view text, Random& random) {
    std::string body;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, 1 + random.Below(random.Below(9) + 1));
        std::vector<char> out(piece.size() + kLenientRoom);
        body.append(out.data(), decoder.Decode(piece, out.data()));
        text.remove_prefix(piece.size());
    }
    std::vector<char> out(kLenientRoom);
    return body.append(out.data(), decoder.Finish(out.data()));
}

TEST(LenientDecoderTest, PiecesMayEndAnywhere) {
    Random random(5);
    for (int round = 0; round < 6000; ++round) {
        // Of more blanks in a run not all can be held back.
        std::string text = random.Text(random.Below(300), "= \t\r\nA4=\n z");
        for (size_t at; (at = text.find("  ")) != std::string::npos;) text.erase(at, 1);
        for (char& c : text) c = c == '\t' && random.Below(2) == 0 ? 'x' : c;
        LenientQuotedPrintable qp;
        const Body whole = DecodeQp(text);
        ASSERT_EQ(Escape(DecodeInPieces(qp, text, random)), Escape(whole.body)) << Escape(text);
        ASSERT_EQ(Show(qp.GetMalformed().count, qp.GetMalformed().first),
                  Show(whole.malformed, whole.firstMalformed))
            << Escape(text);
        ASSERT_EQ(Show(qp.GetBlanks().count, qp.GetBlanks().first),
                  Show(whole.blanks, whole.firstBlank))
            << Escape(text);

        text = random.Text(random.Below(80), "QUJD4z+/=\r\n !");
        LenientBase64 base64;
        const Body decoded = DecodeBase64(text);
        ASSERT_EQ(Escape(DecodeInPieces(base64, text, random)), Escape(decoded.body))
            << Escape(text);
        ASSERT_EQ(base64.GetAfterPadding().first, decoded.firstAfterPadding) << Escape(text);
    }
}

/// Text of long runs, and escapes and line ends that are whole more often than not.
TEST(LenientDecoderTest, UsualTextIsDecodedAsAnyOther) {
    constexpr std::string_view kPieces[] = {"a long run of plain text",
                                            "=3D",
                                            "=\r\n",
                                            "\r\n",
                                            "\n",
                                            "x",
                                            " ",
                                            "=e4",
                                            "=20",
                                            "\r",
                                            "=",
                                            "=4"};
    Random random(6);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (size_t left = random.Below(60); left-- > 0;) {
            text += kPieces[std::min(random.Below(12), random.Below(12))];
        }
        LenientQuotedPrintable qp;
        const Body whole = DecodeQp(text);
        ASSERT_EQ(Escape(DecodeInPieces(qp, text, random)), Escape(whole.body)) << Escape(text);
        ASSERT_EQ(qp.GetMalformed().first, whole.firstMalformed) << Escape(text);

        text = random.Text(random.Below(400), "QUJD4z+/");
        const size_t length = 4 * (1 + random.Below(25));
        const std::string_view lineEnd = random.Below(2) == 0 ? "\n" : "\r\n";
        for (size_t at = length; at < text.size(); at += length + lineEnd.size()) {
            text.insert(at, lineEnd);
        }
        if (round % 2 == 0 && !text.empty()) text[random.Below(text.size())] = "-\r\nA="[round % 5];
        LenientBase64 base64;
        std::string body(text.size() + 2 * kLenientRoom, '\0');
        size_t taken = 0;
        size_t used = base64.DecodePlain(text, body.data(), taken);
        used += base64.DecodeLast(std::string_view(text).substr(taken), body.data() + used);
        ASSERT_EQ(Escape(body.substr(0, used)), Escape(DecodeBase64(text).body)) << Escape(text);
    }
}

TEST(LenientDecoderTest, HostileTextTakesLinearTime) {
    const std::string blanks(3 << 20, ' ');
    EXPECT_EQ(DecodeQp(blanks + "\n" + blanks + "x").body.GetLength(), blanks.size() + 2);
    EXPECT_EQ(DecodeQp("a=" + blanks).body, "a");
    EXPECT_EQ(DecodeQp(std::string(3 << 20, '=')).malformed, (3u << 20) - 1);
    EXPECT_EQ(DecodeBase64(std::string(3 << 20, '=')).malformed, 3u << 20);
}

}  // namespace
}  // namespace MIME
