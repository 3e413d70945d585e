#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kivgui/charset.h"
#include "kivgui/convert.h"
#include "support/base64_reference.h"
#include "support/bytes.h"

namespace KivGuiBase {
namespace {

using MIME::Test::Random;
using namespace MIME::Test;

TEST(ConvertTest, WritesBase16InLinesAndFormats) {
    EXPECT_EQ(Binary2B16Str("\x00\x01\x7F\x80\xAB\xFF", 6, 0, ", "), "00017F80ABFF");
    EXPECT_EQ(Binary2B16Str("\x12\x34\x56", 3, 4, ", "), "1234, 56");
    EXPECT_EQ(FmtArgs("%s: %llu", "size", 18446744073709551615ull), "size: 18446744073709551615");
    EXPECT_EQ(FmtArgs("%s", std::string(100'000, 'x').c_str()).GetLength(), 100'000u);
}

TEST(ConvertTest, CleansTheEnds) {
    EXPECT_EQ(CleanStr("\t\n\v\f\r a b \r\f\v\n\t"), "a b");
    EXPECT_EQ(CleanStr(" \t\r\n"), "");
}

/// Encodes from a block of exactly the bytes, so that a memory checker sees a read past them.
AnsiStr Encode(std::string_view bytes, unsigned lineLength, const char* separator) {
    const auto block = std::make_unique<char[]>(bytes.size());
    bytes.copy(block.get(), bytes.size());
    return Binary2B64Str(block.get(), static_cast<unsigned>(bytes.size()), lineLength, separator);
}

/// Decodes into a buffer with guard bytes after its capacity, which must survive.
std::optional<std::string> Decode(std::string_view text, size_t capacity) {
    const std::string guard = "guard bytes as wide as the widest store of a vector unit there is";
    std::string buffer = std::string(capacity, '\0') + guard;
    auto size = static_cast<unsigned>(capacity);
    const bool valid = B64Str2Binary(AnsiStr(text), buffer.data(), size, "\r\n");
    EXPECT_EQ(buffer.substr(capacity), guard) << Escape(text) << " into " << capacity;
    if (!valid) return std::nullopt;
    EXPECT_LE(size, capacity) << Escape(text);
    return buffer.substr(0, size);
}

// Longer than several steps of the vector code, with every remainder.
TEST(Base64Test, EveryLengthThereAndBack) {
    Random random(20240501);
    for (size_t length = 1; length <= 300; ++length) {
        const std::string bytes = random.Bytes(length);
        const std::string text = ReferenceEncodeBase64(bytes, 76, "\r\n");
        const auto line = static_cast<unsigned>(random.Below(100));
        ASSERT_EQ(Encode(bytes, line, " - "), ReferenceEncodeBase64(bytes, line, " - ")) << line;
        ASSERT_EQ(Decode("Zm9v " + text, length + 3), std::nullopt) << "another separator";
        ASSERT_EQ(Encode(bytes, 76, "\r\n"), text) << length;
        ASSERT_EQ(Decode(text, length), bytes) << length;
        ASSERT_EQ(Decode(text, length - 1), std::nullopt) << length << ", too little room";
        std::string scattered;
        for (const char c : text) scattered += random.Text(random.Below(3), "\r\n") + c;
        ASSERT_EQ(Decode(scattered, length + 2), bytes) << length << ", separators anywhere";
        scattered.pop_back();
        ASSERT_EQ(Decode(scattered, length + 2), std::nullopt) << length << ", cut";
    }
}

// Two letters, padding, a separator and a foreign character: every way in which padding and line
// ends can stand.
TEST(Base64Test, DecodesEveryShortTextLikeTheReference) {
    size_t valid = 0;
    ForEachText("Az=\r!", 8, [&valid](std::string_view text) {
        const std::optional<std::string> want = ReferenceDecodeBase64(text, "\r\n");
        ASSERT_EQ(Decode(text, text.size()), want) << Escape(text);
        valid += want.has_value() ? 1 : 0;
    });
    EXPECT_EQ(valid, 3985u);
}

// In a text that is long enough for the vector code, each byte at each place.
TEST(Base64Test, FindsForeignBytesAtEveryPlace) {
    const std::string text = Random(3).Text(72, kBase64Alphabet);
    for (size_t i = 0; i < text.size() * 256; ++i) {
        std::string changed = text;
        changed[i / 256] = static_cast<char>(i % 256);
        ASSERT_EQ(Decode(changed, 54), ReferenceDecodeBase64(changed, "\r\n")) << Escape(changed);
    }
}

/// Every way to end a text, a buffer of the system's converter and a step of ours.
TEST(CharsetTest, LongTextsAreConvertedWhole) {
    Random random(7);
    for (const char* charset : {"utf-8", "iso-8859-1", "iso-8859-15", "us-ascii"}) {
        for (size_t size = 4000; size < 4140; ++size) {
            std::string text = random.Text(size, "abcdefghijklmnopqrstuvwxyz \r\n");
            const CharsetResult got = ConvertToUtf8(text, charset);
            ASSERT_EQ(got.text, std::string_view(text)) << charset;
            ASSERT_EQ(got.replaced, 0u) << charset;
        }
    }
    EXPECT_FALSE(ConvertToUtf8("abc", std::string(1 << 20, 'u')).known);
    const std::string rubbish(1 << 20, '\xFF');
    for (const char* charset : {"utf-8", "us-ascii", "euc-kr"}) {
        EXPECT_EQ(ConvertToUtf8(rubbish, charset).replaced, rubbish.size()) << charset;
    }
}

}  // namespace
}  // namespace KivGuiBase
