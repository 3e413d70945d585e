#include "mime/foundation/lock_guard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kivgui/convert.h"
#include "kivgui/host/host.h"
#include "mime/foundation/lazy_table.h"
#include "support/gate.h"

namespace MIME {
namespace {

using KivGuiBase::AnsiStr;
using KivGuiBase::LockInfo;

std::atomic<uint64_t> now{1};  // in nanoseconds
constexpr uint64_t kMillisecond = 1'000'000;

/// Sets the clock and sees the events of the library; both are back to normal afterwards.
class LockGuardTest : public testing::Test {
protected:
    LockGuardTest() {
        lock_.keepsStatistics = true;
        watched_ = &lock_;
        events_.clear();
        KivGuiBase::SetClockSource([] { return now.load(); });
        KivGuiBase::SetEventHandler(&Take);
    }
    ~LockGuardTest() override {
        KivGuiBase::SetClockSource(nullptr);
        KivGuiBase::SetEventHandler(nullptr);
        LockInfo::SetUnknownCriticalSectionThreshold(0);
    }
    /// Whether a thread that does not hold the lock could take it now.
    static bool IsFree(KivGuiBase::TimedCriticalSection& lock) {
        bool isFree = false;
        std::thread([&] {
            isFree = std::unique_lock(lock.section, std::try_to_lock).owns_lock();
        }).join();
        return isFree;
    }
    static bool Take(const AnsiStr& /*source*/, unsigned id, const AnsiStr& /*text*/,
                     const KivGuiBase::EventDetails& details, KivGuiBase::ReportEventType /*type*/,
                     KivGuiBase::ReportEventCategory category) {
        EXPECT_TRUE(IsFree(*watched_)) << "an event under the lock";
        std::string event = std::to_string(id) + " " + std::to_string(static_cast<int>(category));
        for (unsigned i = 0; i < details.GetCount(); ++i) {
            const KivGuiBase::Val& value = details.GetValue(i);
            event += " " + std::string(details.GetKey(i)) + "=" + std::string(value.GetString());
            if (value.GetString().IsEmpty()) event += std::to_string(value.GetInteger());
        }
        events_.push_back(event);
        return true;
    }

    KivGuiBase::TimedCriticalSection lock_;
    static inline KivGuiBase::TimedCriticalSection* watched_ = nullptr;
    static inline std::vector<std::string> events_;
};

TEST_F(LockGuardTest, ReportsHoldsLongerThanTheThreshold) {
    lock_.name = "Test";
    // Longer by less than a millisecond, by one, and without a threshold.
    for (const auto& [threshold, held] : {std::pair{10u, 11 * kMillisecond - 1},
                                          {10u, 11 * kMillisecond},
                                          {0u, 3000 * kMillisecond}}) {
        events_.clear();
        LockInfo::SetUnknownCriticalSectionThreshold(threshold);
        {
            const LockGuard outer(lock_, "outer");
            { const LockGuard nested(lock_, "nested"); }
            EXPECT_FALSE(IsFree(lock_)) << "the end of a nested guard leaves it held";
            now += held;
        }
        const std::vector<std::string> want = {
            "500 7 lockname=Test locksite=outer calltime_ms=11 threshold_ms=10"};
        EXPECT_EQ(events_, held == 11 * kMillisecond ? want : std::vector<std::string>()) << held;
    }
    EXPECT_EQ(lock_.holdCount, 3u);
    EXPECT_EQ(lock_.sites.Find("nested"), nullptr);
}

using Map = KivGuiBase::SkipListMap<int, KivGuiBase::ByteOrder>;

TEST_F(LockGuardTest, ASlowTableIsReportedOnceAndEmptyAtTheEnd) {
    static LazyTable<Map> inner("inner", [](Map& map) {
        now += 4 * kMillisecond;
        map.FindOrInsert("key");
    });
    static LazyTable<Map> outer("outer", [](Map& map) {
        now += 3 * kMillisecond;
        map.FindOrInsert("key")->value = inner.Get().Find("key") != nullptr ? 1 : 0;
    });
    watched_ = &KivGuiBase::GetLazyStaticLock();
    watched_->keepsStatistics = true;
    LockInfo::SetUnknownCriticalSectionThreshold(6);
    EXPECT_EQ(outer.Get().Find("key")->value, 1);
    EXPECT_EQ(&outer.Get(), &outer.Get());
    watched_->keepsStatistics = false;
    ASSERT_EQ(events_.size(), 1u);
    EXPECT_EQ(events_[0], "500 7 lockname=LazyStatic locksite=outer calltime_ms=7 threshold_ms=6");
    outer.Empty();
    EXPECT_EQ(outer.Get().Find("key"), nullptr);
}

TEST(LockGuardRaceTest, FirstUsersOfATableGetItWholeAndTakeTurns) {
    static std::atomic<int> builds;
    builds = 0;
    static LazyTable<Map> table("raced", [](Map& map) {
        ++builds;
        for (int i = 0; i < 5000; ++i) map.FindOrInsert(KivGuiBase::FmtArgs("%d", i));
    });
    KivGuiBase::TimedCriticalSection lock;
    lock.keepsStatistics = true;
    unsigned guarded = 0;
    MIME::Test::Gate start(4);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 4; ++i) {
        threads.emplace_back([&, site = AnsiStr(i % 2 != 0 ? "odd" : "even")] {
            start.CountAndWait();
            EXPECT_EQ(std::distance(table.Get().begin(), table.Get().end()), 5000);
            for (unsigned round = 0; round < 500; ++round) {
                const LockGuard guard(lock, site);
                ++guarded;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(builds, 1);
    EXPECT_EQ(guarded, 2000u);
    EXPECT_EQ(lock.holdCount, 2000u);
    EXPECT_EQ(lock.sites.Find("odd")->value->holdCount, 1000u);
}

}  // namespace
}  // namespace MIME
