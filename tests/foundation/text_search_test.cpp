#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "mime/foundation/line_search.h"
#include "mime/foundation/text_finder.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using KivGuiBase::AnsiStr;
using Test::Escape;
using Test::ForEachText;
using Test::Random;

/// The text in a block of exactly its size, so that a memory checker sees a read behind it.
class ExactCopy {
public:
    explicit ExactCopy(std::string_view text)
        : block_(std::make_unique<char[]>(text.size())), size_(text.size()) {
        text.copy(block_.get(), size_);
    }
    operator std::string_view() const { return {block_.get(), size_}; }

private:
    std::unique_ptr<char[]> block_;
    size_t size_;
};

size_t FindStop(std::string_view text) {
    return FindLineStop(ExactCopy(text).operator std::string_view().data(), text.size());
}

/// The same, byte by byte.
size_t ReferenceStop(std::string_view text) {
    for (size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == '\0' || (text[i] == '\r' && text[i + 1] == '\n')) return i;
    }
    return text.size();
}

TEST(LineSearchTest, StopsAtLineEndsAndNuls) {
    using namespace std::string_view_literals;
    struct Case {
        const char* why;
        std::string_view text;
        size_t want;
    };
    const Case cases[] = {
        {"line end", "ab\r\ncd", 2}, {"empty line", "\r\n", 0},
        {"CR alone", "a\rb\r\n", 3}, {"LF alone", "a\nb\r\n", 3},
        {"two CRs", "a\r\r\n", 2},   {"CR as the last byte", "ab\r", 3},
        {"NUL", "a\0b\r\n"sv, 1},    {"NUL as the last byte", "ab\0"sv, 3},
        {"nothing", "abc", 3},       {"empty", "", 0},
    };
    for (const Case& c : cases) EXPECT_EQ(FindStop(c.text), c.want) << c.why;
}

// Every short text, at every distance from the vector's first place.
TEST(LineSearchTest, FindsTheSameAsAWalk) {
    ForEachText(std::string_view("a\r\n\0", 4), 5, [](std::string_view text) {
        for (const size_t before : {0u, 11u, 12u, 13u, 14u, 15u, 16u, 29u, 30u}) {
            for (const size_t behind : {0u, 1u, 17u}) {
                const std::string all =
                    std::string(before, 'x') + std::string(text) + std::string(behind, 'y');
                ASSERT_EQ(FindStop(all), ReferenceStop(all)) << Escape(all);
            }
        }
    });
}

TEST(TextFinderTest, FindsTheSameAsTheStandardLibrary) {
    Random random(11);
    for (int i = 0; i < 20'000; ++i) {
        const std::string wanted = random.Text(1 + random.Below(20), "aab");
        std::string text = random.Text(random.Below(100), "aab");
        if (i % 2 == 0) text.insert(random.Below(text.size() + 1), wanted);
        const size_t want = text.find(wanted);
        TextFinder finder((AnsiStr(wanted)));
        ASSERT_EQ(finder.Find(ExactCopy(text)),
                  want == std::string::npos ? TextFinder::kNotFound : want)
            << wanted << " in " << text;
    }
}

// Places that almost match, so many that the search changes its method; the table serves the
// searches that follow as well.
TEST(TextFinderTest, StaysExactWhenEverythingAlmostMatches) {
    const std::string run(3000, '-');
    for (const char* end : {"-", "x", "-x-"}) {
        const std::string wanted = "--" + run + end;
        TextFinder finder((AnsiStr(wanted)));
        for (const size_t extra : {0u, 1u, 2u, 500u, 20'000u}) {
            const std::string text = std::string(extra, '-') + "y" + std::string(extra, '-');
            for (const std::string& all :
                 {text, text + wanted, text + wanted.substr(1), text + run + "x" + wanted + "-"}) {
                const size_t want = all.find(wanted);
                ASSERT_EQ(finder.Find(all),
                          want == std::string::npos ? TextFinder::kNotFound : want)
                    << end << " " << extra << " " << all.size();
            }
        }
    }
}

// Texts that repeat themselves, where a match has to be resumed from many shorter ones.
TEST(TextFinderTest, ResumesInsideRepetitions) {
    Random random(12);
    for (int i = 0; i < 300; ++i) {
        const std::string unit = random.Text(1 + random.Below(6), "ab");
        std::string wanted;
        while (wanted.size() < 3000) wanted += unit;
        wanted += random.Text(1 + random.Below(8), "ab");
        std::string text;
        for (int piece = 0; piece < 8; ++piece) {
            text += wanted.substr(0, wanted.size() - random.Below(12));
            text += random.Text(random.Below(3), "ab");
        }
        const size_t want = text.find(wanted);
        TextFinder finder((AnsiStr(wanted)));
        ASSERT_EQ(finder.Find(text), want == std::string::npos ? TextFinder::kNotFound : want)
            << i << " " << unit;
    }
}

}  // namespace
}  // namespace MIME
