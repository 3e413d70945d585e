#include "mime/foundation/lock_guard.h"

#include <gtest/gtest.h>

#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "support/timed_lock_fixture.h"

namespace MIME {
namespace {

using KivGuiBase::AnsiStr;
using KivGuiBase::LockInfo;
using KivGuiBase::LockSiteStatistics;
using KivGuiBase::TimedCriticalSection;

class LockGuardTest : public Test::TimedLockFixture {
protected:
    LockGuardTest() {
        lock_.name = "TestLock";
        lock_.keepsStatistics = true;
        watched_ = &lock_;
    }
    const LockSiteStatistics& Site(const char* name) {
        static const LockSiteStatistics kNone;
        const auto* node = lock_.sites.Find(name);
        return node != nullptr ? *node->value : kNone;
    }

    TimedCriticalSection lock_;
};

TEST_F(LockGuardTest, ReportsHoldsLongerThanTheThreshold) {
    struct Case {
        const char* why;
        bool keepsStatistics;
        uint64_t thresholdMs;
        uint64_t heldTicks;
        const char* site;
        const char* event;  // its details; null when there must be none
    };
    const Case cases[] = {
        {"shorter", true, 10, 9 * kMillisecond, "site", nullptr},
        {"exactly the threshold", true, 10, 10 * kMillisecond, "site", nullptr},
        {"longer by less than a millisecond", true, 10, 11 * kMillisecond - 1, "site", nullptr},
        {"longer", true, 10, 11 * kMillisecond, "site",
         "lockname=TestLock locksite=site calltime_ms=11 threshold_ms=10"},
        {"no site", true, 1, 3000 * kMillisecond, "",
         "lockname=TestLock locksite=Unknown calltime_ms=3000 threshold_ms=1"},
        {"no threshold", true, 0, 3000 * kMillisecond, "site", nullptr},
        {"no statistics, so no threshold", false, 10, 3000 * kMillisecond, "site", nullptr},
    };
    for (const Case& c : cases) {
        events_.clear();
        lock_.keepsStatistics = c.keepsStatistics;
        LockInfo::SetUnknownCriticalSectionThreshold(c.thresholdMs);
        {
            const LockGuard guard(lock_, c.site);
            Pass(c.heldTicks);
            EXPECT_TRUE(events_.empty()) << c.why;
        }
        if (c.event == nullptr) {
            EXPECT_TRUE(events_.empty()) << c.why << ": " << events_.front();
        } else {
            ASSERT_EQ(events_.size(), 1u) << c.why;
            EXPECT_EQ(events_.front(), std::string("KIVGUI 500 Lock duration exceeded threshold 2 7"
                                                   ": ") +
                                           c.event)
                << c.why;
        }
        EXPECT_EQ(lock_.lastHoldMs, c.heldTicks / kMillisecond) << c.why;
        EXPECT_EQ(lock_.thresholdMs, 0u) << c.why;
    }
}

TEST_F(LockGuardTest, NestedGuardsAreOneHold) {
    LockInfo::SetUnknownCriticalSectionThreshold(10);
    {
        const LockGuard outer(lock_, "outer");
        for (int i = 0; i < 2; ++i) {
            const LockGuard inner(lock_, "inner");
            EXPECT_EQ(lock_.recursionCount, 2u);
            Pass(20 * kMillisecond);
        }
        EXPECT_TRUE(events_.empty());
        EXPECT_EQ(lock_.recursionCount, 1u);
        EXPECT_EQ(lock_.holderSite, "outer");
    }
    ASSERT_EQ(events_.size(), 1u);
    EXPECT_NE(events_.front().find("locksite=outer calltime_ms=40"), std::string::npos);
    EXPECT_EQ(lock_.holdCount, 1u);
    EXPECT_EQ(Site("outer").holdCount, 1u);
    EXPECT_EQ(lock_.sites.Find("inner"), nullptr);
}

TEST_F(LockGuardTest, CountsHoldsOfEachSite) {
    for (const char* site : {"a", "b", "a", "", "a"}) {
        const LockGuard guard(lock_, site);
        Pass(5);
    }
    EXPECT_EQ(lock_.holdCount, 5u);
    EXPECT_EQ(lock_.holdTicks, 25u);
    EXPECT_EQ(Site("a").name, "a");
    EXPECT_EQ(Site("a").holdCount, 3u);
    EXPECT_EQ(Site("a").holdTicks, 15u);
    EXPECT_EQ(Site("b").holdCount, 1u);
    EXPECT_EQ(lock_.contendedCount, 0u);
    EXPECT_EQ(lock_.owner.load(), 0u);
    EXPECT_EQ(readings_, 10u) << "one reading when it is taken and one when it is left";

    lock_.keepsStatistics = false;
    { const LockGuard guard(lock_, "a"); }
    EXPECT_EQ(lock_.holdCount, 5u);
    EXPECT_EQ(lock_.holderSite, "a");
}

TEST_F(LockGuardTest, CountsTheWaitOfTheThreadThatWaited) {
    std::thread waiter;
    {
        const LockGuard guard(lock_, "holder");
        const unsigned before = readings_;
        waiter = std::thread([this] { const LockGuard wait(lock_, "waiter"); });
        // It reads the clock when it has found the lock taken, and then waits.
        while (readings_ == before) std::this_thread::yield();
        Pass(7);
    }
    waiter.join();
    EXPECT_EQ(lock_.contendedCount, 1u);
    EXPECT_EQ(lock_.waitTicks, 7u);
    EXPECT_EQ(Site("waiter").contendedCount, 1u);
    EXPECT_EQ(Site("waiter").waitTicks, 7u);
    EXPECT_EQ(Site("holder").contendedCount, 0u);
    EXPECT_EQ(Site("holder").holdTicks, 7u);
}

// For the thread sanitizer: what the lock guards, its statistics and its sites.
TEST(LockGuardRaceTest, ThreadsTakeTurns) {
    constexpr unsigned kThreads = 4;
    constexpr unsigned kRounds = 500;
    TimedCriticalSection lock;
    lock.keepsStatistics = true;
    LockInfo::SetUnknownCriticalSectionThreshold(60'000);
    unsigned guarded = 0;
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, own = AnsiStr(i % 2 != 0 ? "odd" : "even")] {
            start.arrive_and_wait();
            for (unsigned round = 0; round < kRounds; ++round) {
                const LockGuard guard(lock, own);
                const LockGuard nested(lock, "nested");
                ++guarded;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    LockInfo::SetUnknownCriticalSectionThreshold(0);
    EXPECT_EQ(guarded, kThreads * kRounds);
    EXPECT_EQ(lock.holdCount, kThreads * kRounds);
    EXPECT_EQ(lock.sites.Find("odd")->value->holdCount, kThreads * kRounds / 2);
    EXPECT_EQ(lock.sites.Find("even")->value->holdCount, kThreads * kRounds / 2);
    EXPECT_EQ(lock.recursionCount, 0u);
}

}  // namespace
}  // namespace MIME
