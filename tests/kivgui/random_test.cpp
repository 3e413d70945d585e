#include "kivgui/random.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

namespace KivGuiBase {
namespace {

TEST(RandomTest, NumbersReachBothEndsAndNothingBeyond) {
    struct Case {
        uint64_t low;
        uint64_t high;
    };
    const Case cases[] = {{0, 0}, {5, 5}, {0, 1}, {10, 16}, {UINT64_MAX - 2, UINT64_MAX}};
    for (const Case& c : cases) {
        std::set<uint64_t> seen;
        // A missing number has a chance of (6/7)^2000.
        for (int i = 0; i < 2000; ++i) seen.insert(GetPseudoRandomNumberEx(c.low, c.high));
        EXPECT_EQ(*seen.begin(), c.low);
        EXPECT_EQ(*seen.rbegin(), c.high);
        EXPECT_EQ(seen.size(), c.high - c.low + 1);
    }
    std::set<uint64_t> wide;
    for (int i = 0; i < 1000; ++i) wide.insert(GetPseudoRandomNumberEx(0, UINT64_MAX));
    EXPECT_EQ(wide.size(), 1000u);
}

// Across the blocks in which a thread draws, and with requests larger than a block.
TEST(RandomTest, UnpredictableBytesDoNotRepeat) {
    std::set<std::string> seen;
    size_t draws = 0;
    for (const size_t size : {16u, 48u, 500u, 512u, 513u, 3000u}) {
        for (int i = 0; i < 50; ++i, ++draws) {
            std::string bytes(size, '\0');
            GetUnpredictableBytes(bytes.data(), size);
            seen.insert(bytes.substr(0, 16));
            EXPECT_NE(bytes.substr(size - 8), std::string(8, '\0')) << "filled to the end";
        }
    }
    EXPECT_EQ(seen.size(), draws);
}

}  // namespace
}  // namespace KivGuiBase
