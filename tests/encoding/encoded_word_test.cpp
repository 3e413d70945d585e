#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;

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
