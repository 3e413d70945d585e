#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kivgui/convert.h"
#include "support/base64_reference.h"
#include "support/bytes.h"

namespace KivGuiBase {
namespace {

using MIME::Test::Escape;
using MIME::Test::ForEachText;
using MIME::Test::kBase64Alphabet;
using MIME::Test::Random;
using MIME::Test::ReferenceDecodeBase64;
using MIME::Test::ReferenceEncodeBase64;

/// Encodes from a block of exactly the bytes, so that a memory checker sees a read behind them.
AnsiStr Encode(std::string_view bytes, unsigned lineLength, const char* separator) {
    const auto block = std::make_unique<char[]>(bytes.size());
    bytes.copy(block.get(), bytes.size());
    return Binary2B64Str(block.get(), static_cast<unsigned>(bytes.size()), lineLength, separator);
}

/// Decodes into a buffer with guard bytes behind its capacity, which must survive.
std::optional<std::string> Decode(std::string_view text, size_t capacity, const char* separator) {
    const std::string guard = "guard bytes as wide as the widest store of a vector unit there is";
    std::string buffer = std::string(capacity, '\0') + guard;
    auto size = static_cast<unsigned>(capacity);
    const bool valid = B64Str2Binary(AnsiStr(text), buffer.data(), size, separator);
    EXPECT_EQ(buffer.substr(capacity), guard) << Escape(text) << " into " << capacity;
    if (!valid) return std::nullopt;
    EXPECT_LE(size, capacity) << Escape(text);
    return buffer.substr(0, size);
}

/// The capacity that always suffices: six bits per character.
std::optional<std::string> Decode(std::string_view text) {
    return Decode(text, text.size() * 6 / 8, "\r\n");
}

TEST(Base64Test, EncodesTheTextsOfRfc4648) {
    struct Case {
        const char* bytes;
        const char* text;
    };
    const Case cases[] = {{"", ""},
                          {"f", "Zg=="},
                          {"fo", "Zm8="},
                          {"foo", "Zm9v"},
                          {"foob", "Zm9vYg=="},
                          {"fooba", "Zm9vYmE="},
                          {"foobar", "Zm9vYmFy"}};
    for (const Case& c : cases) {
        EXPECT_EQ(Encode(c.bytes, 76, "\r\n"), c.text);
        EXPECT_EQ(Decode(c.text), c.bytes);
    }
}

// Longer than several steps of the vector code, with every remainder.
TEST(Base64Test, EveryLengthThereAndBack) {
    Random random(20240501);
    for (size_t length = 0; length <= 300; ++length) {
        const std::string bytes = random.Bytes(length);
        const std::string text = ReferenceEncodeBase64(bytes, 76, "\r\n");
        ASSERT_EQ(Encode(bytes, 76, "\r\n"), text) << length;
        ASSERT_EQ(Decode(text), bytes) << length;
        ASSERT_EQ(Decode(text, length, "\r\n"), bytes) << length << ", no spare room";
        if (length == 0) continue;
        ASSERT_EQ(Decode(text, length - 1, "\r\n"), std::nullopt) << length << ", too little room";

        std::string cut = text;
        cut.pop_back();
        ASSERT_EQ(Decode(cut), std::nullopt) << length << ", cut";
        std::string scattered;
        for (const char c : text) scattered += random.Text(random.Below(3), "\r\n") + c;
        ASSERT_EQ(Decode(scattered), bytes) << length << ", separators anywhere";
    }
}

TEST(Base64Test, LinesOfAnyLength) {
    const std::string bytes = Random(7).Bytes(200);
    for (const unsigned lineLength : {0u, 1u, 3u, 4u, 64u, 75u, 76u, 77u, 268u, 10'000u}) {
        for (const char* separator : {"", "\n", "\r\n", " - "}) {
            EXPECT_EQ(Encode(bytes, lineLength, separator),
                      ReferenceEncodeBase64(bytes, lineLength, separator))
                << lineLength << " " << Escape(separator);
        }
    }
    EXPECT_EQ(Encode(bytes, 76, nullptr), ReferenceEncodeBase64(bytes));
}

// Two letters, padding, a separator and a foreign character: every way in which padding and line
// ends can stand.
TEST(Base64Test, DecodesEveryShortTextLikeTheReference) {
    size_t valid = 0;
    ForEachText("Az=\r!", 8, [&valid](std::string_view text) {
        const std::optional<std::string> want = ReferenceDecodeBase64(text, "\r\n");
        ASSERT_EQ(Decode(text), want) << Escape(text);
        valid += want.has_value() ? 1 : 0;
    });
    EXPECT_EQ(valid, 3985u);
}

// In a text that is long enough for the vector code, each byte at each place.
TEST(Base64Test, FindsForeignBytesAtEveryPlace) {
    const std::string text = Random(3).Text(72, kBase64Alphabet);
    for (size_t place = 0; place < text.size(); ++place) {
        for (unsigned byte = 0; byte < 256; ++byte) {
            std::string changed = text;
            changed[place] = static_cast<char>(byte);
            ASSERT_EQ(Decode(changed), ReferenceDecodeBase64(changed, "\r\n"))
                << byte << " at " << place;
        }
    }
}

TEST(Base64Test, OnlyTheGivenSeparatorsAreSkipped) {
    EXPECT_EQ(Decode("Zm9v\r\nYmFy", 6, "\r\n"), "foobar");
    EXPECT_EQ(Decode("Zm9v\r\nYmFy", 6, ""), std::nullopt);
    EXPECT_EQ(Decode("Zm9v\r\nYmFy", 6, nullptr), std::nullopt);
    EXPECT_EQ(Decode("Zm9v YmFy", 6, "\r\n"), std::nullopt);
    EXPECT_EQ(Decode("Zm9v\t\tYmFy", 6, " \t"), "foobar");
    EXPECT_EQ(Decode("\r\n\r\n", 0, "\r\n"), "");
}

}  // namespace
}  // namespace KivGuiBase
