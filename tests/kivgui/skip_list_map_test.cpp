#include "kivgui/skip_list_map.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "kivgui/convert.h"
#include "support/bytes.h"

namespace KivGuiBase {
namespace {

using MIME::Test::Escape;
using MIME::Test::Random;

using ByteMap = SkipListMap<int, ByteOrder>;
using CaselessMap = SkipListMap<int, CaselessOrder>;

struct ByteLess {
    bool operator()(std::string_view a, std::string_view b) const { return a < b; }
};

struct CaselessLess {
    static std::string Fold(std::string_view text) {
        std::string folded(text);
        for (char& c : folded) {
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
        }
        return folded;
    }
    bool operator()(std::string_view a, std::string_view b) const { return Fold(a) < Fold(b); }
};

/// Plays the same random game against a map of the standard library. That one does not re-spell
/// its keys, so the spellings are kept beside the values.
template <class Map, class Less>
void CompareWithModel(uint64_t seed) {
    struct Entry {
        std::string spelling;
        int value;
    };
    Random random(seed);
    Map map;
    std::map<std::string, Entry, Less> model;
    for (int step = 1; step <= 5000; ++step) {
        const std::string key = random.Text(random.Below(4), "aAbBzZ_\xC9\xE9");
        const auto known = model.find(key);
        const auto* found = std::as_const(map).Find(AnsiStr(key));
        ASSERT_EQ(found != nullptr, known != model.end()) << Escape(key) << ", step " << step;
        if (found != nullptr) {
            ASSERT_EQ(found->key, known->second.spelling) << "step " << step;
            ASSERT_EQ(found->value, known->second.value) << "step " << step;
        }
        if (random.Below(3) == 0) continue;
        auto* node = map.FindOrInsert(AnsiStr(key));
        ASSERT_NE(node, nullptr);
        ASSERT_EQ(node->key, key) << "step " << step;
        ASSERT_EQ(node->value, known != model.end() ? known->second.value : 0) << "step " << step;
        ASSERT_TRUE(found == nullptr || found == node) << "nodes stay where they are";
        node->value = step;
        model[key] = {key, step};
    }
    auto node = map.begin();
    for (const auto& [key, entry] : model) {
        ASSERT_NE(node, map.end());
        EXPECT_EQ(node->key, entry.spelling);
        EXPECT_EQ(node->value, entry.value);
        ++node;
    }
    EXPECT_EQ(node, map.end());
}

TEST(SkipListMapTest, BehavesLikeAMapOfTheStandardLibrary) {
    for (uint64_t seed = 1; seed <= 4; ++seed) {
        CompareWithModel<ByteMap, ByteLess>(seed);
        CompareWithModel<CaselessMap, CaselessLess>(seed);
    }
}

TEST(SkipListMapTest, WalksInOrderHoweverItWasFilled) {
    constexpr int kCount = 3000;
    const auto key = [](int i) { return FmtArgs("%06llu", static_cast<unsigned long long>(i)); };
    for (const char* order : {"ascending", "descending", "mixed"}) {
        ByteMap map;
        for (int i = 0; i < kCount; ++i) {
            const int place = *order == 'a' ? i : *order == 'd' ? kCount - 1 - i : i * 7 % kCount;
            map.FindOrInsert(key(place))->value = place;
        }
        int want = 0;
        for (const ByteMap::Node& node : map) {
            EXPECT_EQ(node.key, key(want)) << order;
            EXPECT_EQ(node.value, want++) << order;
        }
        EXPECT_EQ(want, kCount) << order;
    }
}

TEST(SkipListMapTest, KeysAreOneOrTwoByTheMapsOrder) {
    CaselessMap names;
    names.FindOrInsert("Subject")->value = 7;
    EXPECT_EQ(names.Find("sUBJECT")->value, 7);
    EXPECT_EQ(names.begin()->key, "Subject") << "looking alone does not re-spell";
    EXPECT_EQ(names.FindOrInsert("SUBJECT")->value, 7);
    EXPECT_EQ(names.begin()->key, "SUBJECT");
    EXPECT_EQ(++names.begin(), names.end());

    ByteMap extensions;
    extensions.FindOrInsert("z")->value = 1;
    extensions.FindOrInsert("Z")->value = 2;
    EXPECT_EQ(extensions.begin()->key, "Z");
    EXPECT_EQ(extensions.Find("z")->value, 1);
}

TEST(SkipListMapTest, FindLeavesAnEmptyMapEmpty) {
    ByteMap map;
    EXPECT_EQ(map.Find("key"), nullptr);
    EXPECT_EQ(map.Find(AnsiStr()), nullptr);
    EXPECT_TRUE(map.IsEmpty());
    map.FindOrInsert(AnsiStr())->value = 1;
    EXPECT_EQ(map.Find("")->value, 1) << "the empty key is a key";
    map.Clear();
    EXPECT_TRUE(map.IsEmpty());
    EXPECT_EQ(map.Find(""), nullptr);
    map.FindOrInsert("again")->value = 2;
    EXPECT_EQ(map.begin()->value, 2);
}

struct Counted {
    Counted() noexcept { ++alive; }
    ~Counted() { --alive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    SkipListMap<int, ByteOrder> nested;
    static inline int alive = 0;
};

TEST(SkipListMapTest, ValuesLiveAndDieWithTheMap) {
    {
        SkipListMap<Counted, ByteOrder> map;
        EXPECT_EQ(Counted::alive, 0);
        for (const char* key : {"a", "b", "a"})
            map.FindOrInsert(key)->value.nested.FindOrInsert("x");
        EXPECT_EQ(Counted::alive, 3) << "two entries and the head";
    }
    EXPECT_EQ(Counted::alive, 0);
}

}  // namespace
}  // namespace KivGuiBase
