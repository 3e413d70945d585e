#include "kivgui/skip_list_map.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "kivgui/ascii.h"
#include "support/bytes.h"

namespace KivGuiBase {
namespace {

using MIME::Test::Escape;
using MIME::Test::Random;

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
