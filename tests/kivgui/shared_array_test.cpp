#include "kivgui/shared_array.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string_view>

#include "kivgui/ansi_str.h"
#include "kivgui/blob.h"

namespace KivGuiBase {
namespace {

TEST(SharedArrayTest, GrowsByItsRule) {
    EXPECT_EQ(GetArrayCapacity(0, 1), 11u);
    EXPECT_EQ(GetArrayCapacity(19, 19), 29u) << "small arrays get ten more, whatever is added";
    EXPECT_EQ(GetArrayCapacity(20, 5), 30u) << "a quarter is still an append";
    EXPECT_EQ(GetArrayCapacity(20, 6), 20u) << "more than a quarter is a fill";
    EXPECT_EQ(GetArrayCapacity(99'999, 1), 149'998u) << "the last that grows by half";
    EXPECT_EQ(GetArrayCapacity(100'000, 1), 150'000u) << "the first that grows by a fixed step";
    EXPECT_EQ(GetArrayCapacity(0xFFFFFFFF - 49'999, 1), 0xFFFFFFFF) << "the step stops at 32 bits";
}

TEST(SharedArrayTest, ChangesLeaveOtherHandlesAlone) {
    SharedArray<AnsiStr> original;
    original.Add("a");
    original.Add("b");
    SharedArray<AnsiStr> added = original;
    for (unsigned i = 0; i < 60; ++i) added.Add(added[i]);  // an item of its own while it grows
    SharedArray<AnsiStr> changed = original;
    changed.Set(1, "B");
    changed.RemoveLast();
    ASSERT_EQ(original.GetCount(), 2u);
    EXPECT_EQ(original[1], "b");
    ASSERT_EQ(added.GetCount(), 62u);
    for (unsigned i = 0; i < 62; ++i) EXPECT_EQ(added[i], i % 2 == 0 ? "a" : "b");
}

TEST(BlobTest, ResizingKeepsTheBytesAndOtherHandles) {
    Blob blob;
    std::memcpy(blob.Renew(4), "abcd", 4);
    ASSERT_TRUE(blob.Resize(6));
    const Blob other = blob;
    std::memcpy(blob.Renew(3), "xyz", 3);
    Blob shorter = other;
    ASSERT_TRUE(shorter.Resize(2));
    EXPECT_EQ(std::string_view(shorter.GetData(), shorter.GetSize()), "ab");
    EXPECT_EQ(other.GetSize(), 6u);
    EXPECT_EQ(std::string_view(other.GetData(), 4), "abcd");
}

}  // namespace
}  // namespace KivGuiBase
