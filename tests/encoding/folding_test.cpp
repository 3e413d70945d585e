#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;

/// Whatever the text: one field, nothing lost, lines within their limits.
TEST(FoldingTest, KeepsItsPromisesOverRandomText) {
    Random random(5);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = random.Text(random.Below(400), "abcdefgh \t\r\n");
        const std::string folded{
            std::string_view(Encoding::FoldHeader(AnsiStr(std::string_view(text))))};
        if (text.empty()) continue;
        ASSERT_TRUE(folded.ends_with("\r\n"));
        size_t start = 0;
        while (start < folded.size()) {
            const size_t end = folded.find("\r\n", start);
            const std::string line = folded.substr(start, end - start);
            ASSERT_TRUE(start == 0 || line[0] == ' ' || line[0] == '\t') << Escape(folded);
            // The space that was put in does not count.
            const bool isLong = line.size() > 79;
            ASSERT_FALSE(isLong && line.find_first_of(" \t", 1) != std::string::npos)
                << Escape(folded);
            ASSERT_EQ(line.find_first_of("\r\n"), std::string::npos) << Escape(folded);
            start = end + 2;
        }
        std::string letters, foldedLetters;
        for (const char c : text) letters += c >= 'a' ? std::string(1, c) : "";
        for (const char c : folded) foldedLetters += c >= 'a' ? std::string(1, c) : "";
        ASSERT_EQ(letters, foldedLetters);
    }
}

}  // namespace
}  // namespace MIME
