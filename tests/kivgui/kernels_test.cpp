#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "encoding/quoted_printable_reference.h"
#include "kivgui/ascii.h"
#include "kivgui/convert.h"
#include "kivgui/kernels/base64_kernel.h"
#include "kivgui/kernels/cpu.h"
#include "kivgui/kernels/quoted_printable_kernel.h"
#include "mime/mime.h"
#include "support/base64_reference.h"
#include "support/bytes.h"

namespace KivGuiBase {
namespace {

using namespace MIME::Test;
namespace Qp = QuotedPrintable;

/// Where decoding stops, and what it gives up to there, a byte at a time.
struct DecodeReference {
    bool isClean;

    bool MustStop(std::string_view text, size_t at) const {
        const std::string_view rest = text.substr(at);
        if (!isClean) {
            return rest[0] == '\0' ||
                   (rest.starts_with("--") && at >= 2 && text.substr(at - 2, 2) == "\r\n");
        }
        const bool isLineEnd = rest[0] == '\n' || rest.starts_with("\r\n");
        return (rest[0] == '=' && MeasureEscape(rest) == 1) ||
               (isLineEnd && at != 0 && IsBlankAscii(text[at - 1]));
    }
    static size_t MeasureEscape(std::string_view rest) {
        const std::string line = QuotedPrintableReference::DecodeLine(rest.substr(0, 3));
        return rest.starts_with("=\r\n") || (line.size() == 3 && rest.size() > 2) ? 3 : 1;
    }
    std::string Decode(std::string_view text, size_t& taken) const {
        std::string bytes;
        size_t at = 0;
        while (at < text.size() && at < taken && !MustStop(text, at)) {
            const size_t length = text[at] == '=' ? MeasureEscape(text.substr(at)) : 1;
            const std::string_view unit = text.substr(at, length);
            if (length == 1) bytes += unit;
            if (length == 3 && unit != "=\r\n")
                bytes += QuotedPrintableReference::DecodeLine(unit)[0];
            at += length;
        }
        taken = at;
        return bytes;
    }
};

void CheckDecoding(std::string_view text, bool isClean) {
    constexpr size_t kLastBytes = 130;
    const DecodeReference reference{isClean};
    std::string out(text.size(), '\0');
    const Qp::Progress done =
        isClean ? Qp::DecodeClean(text, out.data()) : Qp::DecodeExact(text, out.data());
    size_t taken = done.taken;
    ASSERT_EQ(out.substr(0, done.written), reference.Decode(text, taken)) << Escape(text);
    ASSERT_EQ(taken, done.taken) << "it stops no later than it must: " << Escape(text);
    ASSERT_TRUE(taken + kLastBytes >= text.size() || reference.MustStop(text, taken))
        << "nor earlier at " << taken << ": " << Escape(text);
}

// Every form of every kernel at every length and alignment, like the references.
TEST(KernelsTest, EveryLengthAndAlignmentLikeTheReference) {
    constexpr std::string_view kAlphabets[] = {"=4dF", "abc=\r\n", "a \t\r\n.=3D",
                                               "xyz ab\xC3\xA9"};
    Random random(20261123);
    for (size_t length = 0; length <= 300; ++length) {
        std::string contents;
        while (contents.size() < length + 64) {
            contents += random.Text(random.Below(90), kAlphabets[random.Below(4)]) + "=41\r\n";
            if (random.Below(8) == 0) {
                contents += random.Below(2) == 0 ? "--" : std::string(1, '\0');
            }
        }
        for (size_t at = 0; at < 64; ++at) {
            const std::string content = contents.substr(at, length);
            const std::string quoted = QuotedPrintableReference::Encode(content);
            const std::string base64 = ReferenceEncodeBase64(content, 76, "\r\n");
            // A block that ends with the bytes, so that a memory checker sees a read after them.
            const auto block = std::make_unique<char[]>(at + length);
            const std::string_view text(block.get() + at, length);
            content.copy(block.get() + at, length);
            for (const bool isPortable : {false, true}) {
                Kernels::ForcePortable(isPortable);
                CheckDecoding(text, false);
                CheckDecoding(text, true);
                const auto size = static_cast<unsigned>(length);
                ASSERT_EQ(MIME::Encoding::QPEncode(text.data(), size), quoted) << Escape(text);
                ASSERT_EQ(Binary2B64Str(text.data(), size, 76, "\r\n"), base64) << Escape(text);
                std::string decoded(length, '\0');
                auto* out = reinterpret_cast<unsigned char*>(decoded.data());
                const size_t lines =
                    Base64::DecodeLines(base64.data(), base64.size(), 76, "\r\n", out);
                ASSERT_EQ(lines, base64.size() / 78);
                ASSERT_EQ(decoded.substr(0, lines * 57), text.substr(0, lines * 57));
            }
        }
    }
    Kernels::ForcePortable(false);
}

}  // namespace
}  // namespace KivGuiBase
