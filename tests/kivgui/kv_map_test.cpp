#include "kivgui/kv_map.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "kivgui/convert.h"
#include "kivgui/val.h"

namespace KivGuiBase {
namespace {

// Many more keys than buckets, some with bytes above 0x7F, whose hash is computed signed.
TEST(KVMapTest, KeepsKeysInTheOrderOfTheirFirstSetting) {
    KVMap<AnsiStr, Val, Val, 13> details;
    const auto key = [](unsigned i) {
        return FmtArgs("%s%llu", i % 2 != 0 ? "\xE9" : "", i / 2ull);
    };
    for (unsigned i = 0; i < 200; ++i) details.Set(key(i), Val(int64_t{i}));
    const auto before = details;
    for (unsigned i = 200; i-- > 0;) details.Set(key(i), Val(int64_t{i} + 1000));
    ASSERT_EQ(details.GetCount(), 200u);
    for (unsigned i = 0; i < 200; ++i) {
        EXPECT_EQ(details.GetKey(i), key(i));
        EXPECT_EQ(details.GetValue(i).GetInteger(), 1000 + i);
        EXPECT_EQ(before.GetValue(i).GetInteger(), i) << "the copy";
    }
}

TEST(ValTest, HoldsIntegersInPlaceAsFarAsTheyFitAndSharesStrings) {
    constexpr int64_t kLimit = int64_t{1} << 55;  // of a signed payload of 56 bits
    for (const int64_t number :
         {int64_t{0}, int64_t{-1}, kLimit - 1, -kLimit, kLimit, -kLimit - 1, INT64_MIN}) {
        const Val copy = Val(number);
        EXPECT_EQ(copy.GetType(), 2u);
        EXPECT_EQ(copy.IsReference(), number >= kLimit || number < -kLimit) << number;
        EXPECT_EQ(copy.GetInteger(), number);
    }
    Val text(AnsiStr("text"));
    const Val copy = text;
    text = Val(7);
    EXPECT_EQ(copy.GetType(), 5u);
    EXPECT_EQ(copy.GetString(), "text");
}

}  // namespace
}  // namespace KivGuiBase
