#include "kivgui/shared_array.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "kivgui/ansi_str.h"
#include "kivgui/blob.h"

namespace KivGuiBase {
namespace {

TEST(SharedArrayTest, GrowsByItsRule) {
    struct Step {
        unsigned count;
        unsigned capacity;
    };
    std::vector<Step> steps;
    SharedArray<int*> items;
    for (unsigned i = 1; i <= 120; ++i) {
        const unsigned before = items.GetCapacity();
        ASSERT_TRUE(items.Add(nullptr));
        if (items.GetCapacity() != before) steps.push_back({i, items.GetCapacity()});
    }
    const Step want[] = {{1, 11}, {12, 22}, {23, 34}, {35, 52}, {53, 79}, {80, 120}};
    ASSERT_EQ(steps.size(), std::size(want));
    for (size_t i = 0; i < steps.size(); ++i) {
        EXPECT_EQ(steps[i].count, want[i].count);
        EXPECT_EQ(steps[i].capacity, want[i].capacity);
    }

    while (items.GetCount() < 100'000) items.Add(nullptr);
    unsigned grown = 0;
    while (grown < 3) {
        const unsigned before = items.GetCapacity();
        items.Add(nullptr);
        if (items.GetCapacity() == before) continue;
        EXPECT_EQ(items.GetCapacity(), items.GetCount() + 50'000);
        ++grown;
    }
}

TEST(SharedArrayTest, CapacityFollowsWhatIsAdded) {
    struct Case {
        const char* why;
        unsigned count;
        unsigned added;
        unsigned want;
    };
    const Case cases[] = {
        {"small arrays get ten more, whatever is added", 19, 19, 29},
        {"a quarter is still an append", 20, 5, 30},
        {"more than a quarter is a fill", 20, 6, 20},
        {"more than a quarter, rounded down", 23, 6, 23},
        {"the last that grows by half", 99'999, 1, 149'998},
        {"the first that grows by a fixed step", 100'000, 1, 150'000},
        {"the fixed step stops at 32 bits", 0xFFFFFFFF - 49'999, 1, 0xFFFFFFFF},
        {"and does not wrap", 0xFFFFFFFF, 1, 0xFFFFFFFF},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(GetArrayCapacity(c.count, c.added), c.want) << c.why;
    }
}

TEST(SharedArrayTest, ChangesLeaveOtherHandlesAlone) {
    SharedArray<AnsiStr> original;
    for (const char* text : {"a", "b", "c"}) original.Add(text);

    SharedArray<AnsiStr> added = original;
    added.Add("d");
    SharedArray<AnsiStr> replaced = original;
    replaced.Set(1, "B");
    SharedArray<AnsiStr> shorter = original;
    shorter.RemoveLast();
    SharedArray<AnsiStr> cleared = original;
    cleared.Clear();

    const auto join = [](const SharedArray<AnsiStr>& items) {
        AnsiStr all;
        for (const AnsiStr& item : items) all += item;
        return all;
    };
    EXPECT_EQ(join(original), "abc");
    EXPECT_EQ(join(added), "abcd");
    EXPECT_EQ(join(replaced), "aBc");
    EXPECT_EQ(join(shorter), "ab");
    EXPECT_EQ(join(cleared), "");
    EXPECT_EQ(original[0].GetStr(), added[0].GetStr()) << "a copied item shares what it holds";
}

TEST(SharedArrayTest, AddsAnItemOfItsOwnWhileItGrows) {
    SharedArray<AnsiStr> items;
    items.Add("first");
    for (unsigned i = 1; i < 60; ++i) items.Add(items[i - 1]);
    for (const AnsiStr& item : items) EXPECT_EQ(item, "first");
}

TEST(SharedArrayTest, StopsAt32BitsAndStaysAsItWas) {
    SharedArray<char> items;
    items.Add('x');
    // The body is three 32-bit numbers: references, capacity, count.
    char* body;
    std::memcpy(&body, static_cast<const void*>(&items), sizeof body);
    const auto claimCount = [body](uint32_t count) { std::memcpy(body + 8, &count, sizeof count); };
    claimCount(0xFFFFFFFF);
    ASSERT_EQ(items.GetCount(), 0xFFFFFFFF);

    SetLastError(kErrorNone);
    EXPECT_FALSE(items.Add('y'));
    EXPECT_EQ(GetLastError(), kErrorStringOverflow);
    EXPECT_EQ(items.GetCount(), 0xFFFFFFFF);
    claimCount(1);
    EXPECT_EQ(items[0], 'x');
}

// Blobs follow the same rules of sharing.
TEST(BlobTest, ResizingKeepsTheBytesAndOtherHandles) {
    Blob blob;
    EXPECT_EQ(blob.GetSize(), 0u);
    std::memcpy(blob.Renew(4), "abcd", 4);
    const char* place = blob.GetData();
    EXPECT_EQ(blob.Renew(3), place) << "in place when the body is large enough";
    ASSERT_TRUE(blob.Resize(6));
    EXPECT_EQ(std::string_view(blob.GetData(), 3), "abc");

    const Blob other = blob;
    std::memcpy(blob.Renew(3), "xyz", 3);
    EXPECT_EQ(other.GetSize(), 6u);
    EXPECT_EQ(std::string_view(other.GetData(), 3), "abc");
    Blob shorter = other;
    ASSERT_TRUE(shorter.Resize(2));
    EXPECT_EQ(std::string_view(shorter.GetData(), shorter.GetSize()), "ab");
    EXPECT_EQ(other.GetSize(), 6u);
}

}  // namespace
}  // namespace KivGuiBase
