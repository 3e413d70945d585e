#include "mime/foundation/lazy_table.h"

#include <gtest/gtest.h>

#include <atomic>
#include <iterator>
#include <latch>
#include <thread>
#include <vector>

#include "support/timed_lock_fixture.h"

namespace MIME {
namespace {

using KivGuiBase::AnsiStr;
using KivGuiBase::ByteOrder;
using KivGuiBase::GetLazyStaticLock;
using Map = KivGuiBase::SkipListMap<int, ByteOrder>;
using Table = LazyTable<Map>;

class LazyTableTest : public Test::TimedLockFixture {
protected:
    LazyTableTest() { GetLazyStaticLock().keepsStatistics = true; }
    ~LazyTableTest() override { GetLazyStaticLock().keepsStatistics = false; }
};

// The maps outlive their tables, as they do in the library, where tables are statics; the tests
// let go of them here, for the sake of leak checkers.
void Drop(Table& table) {
    const Map* map = &table.Get();
    { const Table::Emptier emptier(table); }
    delete map;
}

std::atomic<int> builds{0};

TEST_F(LazyTableTest, IsBuiltOnceByItsFirstUser) {
    builds = 0;
    Table table("site of the table", [](Map& map) {
        ++builds;
        EXPECT_EQ(GetLazyStaticLock().holderSite, "site of the table");
        map.FindOrInsert("one")->value = 1;
    });
    EXPECT_EQ(builds, 0);
    const Map* map = &table.Get();
    EXPECT_EQ(map->Find("one")->value, 1);
    EXPECT_EQ(&table.Get(), map);
    EXPECT_EQ(builds, 1);
    EXPECT_EQ(GetLazyStaticLock().owner.load(), 0u);
    Drop(table);
}

TEST_F(LazyTableTest, AnEmptiedTableFindsNothing) {
    builds = 0;
    Table table("site", [](Map& map) {
        ++builds;
        map.FindOrInsert("one")->value = 1;
    });
    const Map* map = &table.Get();
    {
        const Table::Emptier emptier(table);
        EXPECT_NE(table.Get().Find("one"), nullptr);
    }
    EXPECT_EQ(table.Get().Find("one"), nullptr);
    EXPECT_EQ(&table.Get(), map);
    EXPECT_EQ(builds, 1);
    delete map;
    Table unused("unused", [](Map&) { ++builds; });
    { const Table::Emptier emptier(unused); }
    EXPECT_EQ(builds, 1) << "a table that nobody asked for is not built to be emptied";
}

TEST_F(LazyTableTest, ASlowBuilderIsReportedOnce) {
    static Table inner("inner site", [](Map& map) {
        Pass(4 * kMillisecond);
        map.FindOrInsert("inner");
    });
    Table outer("outer site", [](Map& map) {
        Pass(3 * kMillisecond);
        EXPECT_NE(inner.Get().Find("inner"), nullptr) << "the lock is re-entrant";
        map.FindOrInsert("outer");
    });
    KivGuiBase::LockInfo::SetUnknownCriticalSectionThreshold(6);
    watched_ = &GetLazyStaticLock();
    EXPECT_NE(outer.Get().Find("outer"), nullptr);
    outer.Get();
    ASSERT_EQ(events_.size(), 1u);
    EXPECT_EQ(events_.front(),
              "KIVGUI 500 Lock duration exceeded threshold 2 7: lockname=LazyStatic "
              "locksite=outer site calltime_ms=7 threshold_ms=6");
    Drop(outer);
    Drop(inner);
}

TEST(LazyTableRaceTest, FirstUsersAtOnceGetOneWholeTable) {
    constexpr unsigned kThreads = 4;
    for (int round = 0; round < 20; ++round) {
        builds = 0;
        Table table("raced", [](Map& map) {
            ++builds;
            for (int i = 0; i < 200; ++i) {
                map.FindOrInsert(KivGuiBase::FmtArgs("%d", i))->value = i;
            }
        });
        std::latch start(kThreads);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                const Map& map = table.Get();
                EXPECT_EQ(std::distance(map.begin(), map.end()), 200);
                EXPECT_EQ(map.Find("199")->value, 199);
            });
        }
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(builds, 1);
        Drop(table);
    }
}

}  // namespace
}  // namespace MIME
