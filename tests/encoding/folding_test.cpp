#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;

std::string RunOf(char c, size_t count) {
    return std::string(count, c);
}

std::string Words(int first, int last) {
    std::string words;
    for (int i = first; i <= last; ++i) {
        const std::string number = std::to_string(i);
        words += " word" + std::string(2 - number.size(), '0') + number;
    }
    return words;
}

TEST(FoldingTest, Folds) {
    struct Case {
        const char* why;
        std::string text;
        std::string want;
    };
    const Case kCases[] = {
        {"nothing", "", ""},
        {"a short field", "Subject: Hello", "Subject: Hello\r\n"},
        {"one that ends its line already", "Subject: Hello\r\n", "Subject: Hello\r\n"},
        {"white space is a fold and stays", "Subject:" + Words(0, 24),
         "Subject:" + Words(0, 9) + "\r\n" + Words(10, 20) + "\r\n" + Words(21, 24) + "\r\n"},
        {"a token longer than a line", "X-Long: " + RunOf('a', 100) + " tail",
         "X-Long:\r\n " + RunOf('a', 100) + "\r\n tail\r\n"},
        {"one longer than lines may be", "X-Huge: " + RunOf('b', 1200),
         "X-Huge:\r\n " + RunOf('b', 997) + "\r\n " + RunOf('b', 203) + "\r\n"},
        {"line breaks of every kind", "A: one\r\ntwo\nthree\rfour",
         "A: one\r\n two\r\n three\r\n four\r\n"},
        {"an empty line holds a space", "A: x\r\n\r\ny", "A: x\r\n \r\n y\r\n"},
        {"a line break before white space", "A: x\r\n\ty", "A: x\r\n\ty\r\n"},
        {"a line of 78 characters", "T: " + RunOf('c', 75) + " d",
         "T: " + RunOf('c', 75) + "\r\n d\r\n"},
        {"a tab", "T:\tab" + RunOf('c', 90), "T:\r\n\tab" + RunOf('c', 90) + "\r\n"},
        {"the text ends at a NUL", std::string("A: b\0c", 6), "A: b\r\n"},
    };
    for (const Case& c : kCases) {
        EXPECT_EQ(Escape(Encoding::FoldHeader(AnsiStr(std::string_view(c.text)))), Escape(c.want))
            << c.why;
    }
}

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
