#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "kivgui/ansi_str.h"
#include "kivgui/ascii.h"
#include "kivgui/blob.h"
#include "kivgui/shared_array.h"
#include "kivgui/skip_list_map.h"
#include "support/bytes.h"

namespace KivGuiBase {
namespace {

using MIME::Test::Escape;
using MIME::Test::Random;

TEST(SharedArrayTest, GrowsByItsRule) {
    EXPECT_EQ(GetArrayCapacity(0, 1), 10u);
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
    Blob shorter = blob;
    ASSERT_TRUE(shorter.Resize(2));
    ASSERT_TRUE(blob.Resize(6));
    EXPECT_EQ(std::string_view(shorter.GetData(), shorter.GetSize()), "ab");
    EXPECT_EQ(std::string_view(blob.GetData(), 4), "abcd");
}

std::string Fold(std::string_view text) {
    std::string folded(text);
    for (char& c : folded) c = ToLowerAscii(c);
    return folded;
}

/// Plays the same random game against a map of the standard library, whose keys are folded; the
/// spellings stand beside the values.
template <class Map>
void CompareWithModel(std::string (*fold)(std::string_view), uint64_t seed) {
    Random random(seed);
    Map map;
    std::map<std::string, std::pair<std::string, int>> model;
    for (int step = 1; step <= 5000; ++step) {
        const std::string key = random.Text(random.Below(4), "aAbBzZ_\xC9\xE9");
        const auto known = model.find(fold(key));
        const auto* found = std::as_const(map).Find(AnsiStr(key));
        ASSERT_EQ(found != nullptr, known != model.end()) << Escape(key) << ", step " << step;
        if (found != nullptr) {
            ASSERT_EQ(found->key, known->second.first) << "looking alone does not re-spell";
            ASSERT_EQ(found->value, known->second.second) << "step " << step;
        }
        if (random.Below(3) == 0) continue;
        auto* node = map.FindOrInsert(AnsiStr(key));
        ASSERT_TRUE(found == nullptr ? node->value == 0 : found == node) << "nodes stay in place";
        node->value = step;
        model[fold(key)] = {key, step};
    }
    auto node = map.begin();
    for (const auto& [key, entry] : model) {
        ASSERT_NE(node, map.end());
        EXPECT_EQ(node->key, entry.first);
        EXPECT_EQ(node->value, entry.second);
        ++node;
    }
    EXPECT_EQ(node, map.end());
}

TEST(SkipListMapTest, BehavesLikeAMapOfTheStandardLibrary) {
    for (uint64_t seed = 1; seed <= 4; ++seed) {
        CompareWithModel<SkipListMap<int, ByteOrder>>(
            [](std::string_view key) { return std::string(key); }, seed);
        CompareWithModel<SkipListMap<int, CaselessOrder>>(Fold, seed);
    }
}

}  // namespace
}  // namespace KivGuiBase
