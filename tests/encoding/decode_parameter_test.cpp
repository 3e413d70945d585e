#include <gtest/gtest.h>

#include <string>

#include "kivgui/convert.h"
#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using MIME::Test::Escape;
using MIME::Test::Random;

void Set(ParameterMap& map, std::string_view name, std::string_view value) {
    map.FindOrInsert(AnsiStr(name))->value.value = value;
}

/// Puts what EncodeParameter wrote into a map, as a reader of folded fields would.
void Parse(std::string_view text, ParameterMap& map) {
    while (!text.empty()) {
        const size_t end = std::min(text.find(";\r\n"), text.size());
        std::string field(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        for (size_t at; (at = field.find("\r\n")) != std::string::npos;) field.erase(at, 2);
        const size_t equals = field.find('=');
        Set(map, std::string_view(field).substr(1, equals - 1),
            KivGuiBase::ExtendedUnQuote(AnsiStr(std::string_view(field).substr(equals + 1))));
    }
}

TEST(DecodeParameterTest, GivesBackWhatWasEncoded) {
    Random random(9);
    for (int round = 0; round < 3000; ++round) {
        std::string value;
        for (size_t count = random.Below(200); count > 0; --count) {
            constexpr std::string_view kPieces[] = {
                "a", "b", ".", " ", "%41", "'", "\"", "\\", "\xC3\xA4", "\xE2\x82\xAC", "*", "="};
            value += kPieces[random.Below(std::size(kPieces))];
        }
        const AnsiStr wanted{std::string_view(value)};
        for (const bool useEncodedWords : {false, true}) {
            ParameterMap map;
            const AnsiStr text = Encoding::EncodeParameter("name", wanted, useEncodedWords);
            Parse(text, map);
            for (size_t at = 0, end; !useEncodedWords && at < text.GetLength(); at = end + 2) {
                end = std::min(std::string_view(text).find("\r\n", at), size_t{text.GetLength()});
                ASSERT_LE(end - at, 78u) << Escape(text);
            }
            const Decoding::ParameterResult got = Decoding::Parameter(map, "name");
            ASSERT_TRUE(got.found) << Escape(text);
            ASSERT_EQ(Escape(got.value), Escape(value)) << Escape(text);
        }
    }
}

TEST(DecodeParameterTest, ManySectionsTakeLinearTime) {
    constexpr unsigned kCount = 100000;
    ParameterMap map;
    for (unsigned i = 0; i < kCount; ++i) Set(map, "n*" + std::to_string(i) + "*", "%C3%A4");
    EXPECT_EQ(Decoding::Parameter(map, "n").value.GetLength(), 2 * kCount);
    // One call for each name sees only its own entries.
    unsigned found = 0;
    for (const auto& entry : map) found += Decoding::Parameter(map, entry.key).found;
    EXPECT_EQ(found, kCount);
}

}  // namespace
}  // namespace MIME
