#include "kivgui/kv_map.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "kivgui/convert.h"
#include "kivgui/val.h"

namespace KivGuiBase {
namespace {

using Details = KVMap<AnsiStr, Val, Val, 13>;

/// The whole map as text, in its order.
std::string Show(const Details& details) {
    std::string all;
    for (unsigned i = 0; i < details.GetCount(); ++i) {
        const Val& value = details.GetValue(i);
        all += std::string(details.GetKey(i)) + "=";
        all += value.GetType() == Val::kString ? std::string(value.GetString())
                                               : std::to_string(value.GetInteger());
        all += ";";
    }
    return all;
}

TEST(KVMapTest, KeepsTheOrderOfFirstSettings) {
    Details details;
    EXPECT_EQ(Show(details), "");
    details.Set("size", Val(1));
    details.Set("name", Val(AnsiStr("x")));
    details.Set("", Val(2));
    details.Set("size", Val(AnsiStr("big")));
    details.Set("Size", Val(3));
    EXPECT_EQ(Show(details), "size=big;name=x;=2;Size=3;");
}

TEST(KVMapTest, ChangingACopyLeavesTheOriginal) {
    Details details;
    details.Set("a", Val(1));
    const Details before = details;
    Details changed = details;
    changed.Set("a", Val(2));
    details.Set("b", Val(3));
    EXPECT_EQ(Show(before), "a=1;");
    EXPECT_EQ(Show(changed), "a=2;");
    EXPECT_EQ(Show(details), "a=1;b=3;");
}

// Many more keys than buckets, some with bytes above 0x7F, whose hash is computed signed.
TEST(KVMapTest, FindsEveryKeyAgain) {
    Details details;
    const auto key = [](unsigned i) {
        return FmtArgs("%s%llu", i % 2 != 0 ? "\xE9" : "", i / 2ull);
    };
    for (unsigned round = 0; round < 2; ++round) {
        for (unsigned i = 0; i < 200; ++i) details.Set(key(i), Val(int64_t{round * 1000} + i));
    }
    ASSERT_EQ(details.GetCount(), 200u);
    for (unsigned i = 0; i < 200; ++i) {
        EXPECT_EQ(details.GetKey(i), key(i));
        EXPECT_EQ(details.GetValue(i).GetInteger(), 1000 + i);
    }
}

TEST(ValTest, HoldsIntegersInPlaceAsFarAsTheyFit) {
    struct Case {
        int64_t number;
        bool isReference;
    };
    constexpr int64_t kLimit = int64_t{1} << 55;  // of a signed payload of 56 bits
    const Case cases[] = {
        {0, false},          {1, false},        {-1, false},
        {kLimit - 1, false}, {-kLimit, false},  {kLimit, true},
        {-kLimit - 1, true}, {INT64_MAX, true}, {INT64_MIN, true},
    };
    for (const Case& c : cases) {
        const Val value(c.number);
        EXPECT_EQ(value.GetType(), 2u);
        EXPECT_EQ(value.IsReference(), c.isReference) << c.number;
        EXPECT_EQ(value.GetInteger(), c.number);
        EXPECT_EQ(value.GetString(), "") << c.number;
        const Val copy = value;
        EXPECT_EQ(copy.GetInteger(), c.number);
    }
}

TEST(ValTest, SharesStrings) {
    const AnsiStr text("text");
    Val value(text);
    EXPECT_EQ(value.GetType(), 5u);
    EXPECT_EQ(value.GetInteger(), 0);
    Val copy = value;
    value = Val(7);
    EXPECT_EQ(copy.GetString().GetStr(), text.GetStr()) << "the same characters, not copies";
    copy = *&copy;
    EXPECT_EQ(copy.GetString(), "text");
    const Val moved = std::move(copy);
    EXPECT_EQ(moved.GetString(), "text");
    EXPECT_EQ(Val(AnsiStr()).GetType(), 5u) << "an empty string is a string";
    EXPECT_EQ(Val().GetType(), Val::kNone);
}

}  // namespace
}  // namespace KivGuiBase
