#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "mime/foundation/text_search.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using namespace Test;

using KivGuiBase::AnsiStr;

/// What the function says and what a walk says, byte by byte; a NUL at the end stops nothing.
void CompareStops(std::string_view text) {
    size_t want = text.size();
    for (size_t i = text.size(); i-- > 1;) {
        if (text[i - 1] == '\0' || text.substr(i - 1, 2) == "\r\n") want = i - 1;
    }
    // A block of exactly the text, so that a memory checker sees a read past it.
    const std::vector<char> block(text.begin(), text.end());
    ASSERT_EQ(FindLineStop(block.data(), block.size()), want) << Escape(text);
}

// Every short text, at every distance from the vector's first place.
TEST(LineSearchTest, FindsTheSameAsAWalk) {
    ForEachText(std::string_view("a\r\n\0", 4), 5, [](std::string_view text) {
        for (const size_t before : {0u, 11u, 12u, 13u, 14u, 15u, 16u, 29u, 30u}) {
            for (const size_t after : {0u, 1u, 17u}) {
                CompareStops(std::string(before, 'x') + std::string(text) +
                             std::string(after, 'y'));
            }
        }
    });
}

void CompareFinds(const std::string& wanted, const std::string& text) {
    TextFinder finder((AnsiStr(wanted)));
    const size_t want = text.find(wanted);
    const std::vector<char> block(text.begin(), text.end());
    ASSERT_EQ(finder.Find({block.data(), block.size()}),
              want == std::string::npos ? TextFinder::kNotFound : want)
        << wanted.substr(0, 50) << " in " << text.substr(0, 100);
}

// So many places that almost match, and texts that repeat themselves, that the search changes its
// method and resumes a match from many shorter ones.
TEST(TextFinderTest, StaysExactWhenEverythingAlmostMatches) {
    Random random(12);
    for (int i = 0; i < 300; ++i) {
        const std::string unit = random.Text(1 + random.Below(6), i % 3 == 0 ? "a" : "ab");
        std::string wanted;
        while (wanted.size() < 3000) wanted += unit;
        wanted += random.Text(random.Below(8), "ab");
        std::string text;
        for (int piece = 0; piece < 8; ++piece) {
            text += wanted.substr(0, wanted.size() - random.Below(12));
            text += random.Text(random.Below(3), "ab");
        }
        CompareFinds(wanted, text);
        CompareFinds(wanted, text + wanted);
        CompareFinds(unit + "b", text);
    }
}

}  // namespace
}  // namespace MIME
