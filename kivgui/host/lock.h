#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"
#include "kivgui/skip_list_map.h"

// The lock under which static tables are built, its statistics, and the clock that times it.

namespace KivGuiBase {

/// The tick count of a clock that only runs forward; never 0.
KIV_EXPORT uint64_t GetHighResolutionClockTicks() noexcept;
/// The ticks since `start`.
KIV_EXPORT uint64_t GetHighResolutionClockTicks(uint64_t start) noexcept;
/// Converts a number of ticks: 1000 units per second gives whole milliseconds, rounded down.
KIV_EXPORT uint64_t GetHighResolutionTime(uint64_t ticks, unsigned unitsPerSecond) noexcept;

/// Replaces the clock for the whole process; null restores the real one. The source counts
/// nanoseconds. For tests of code that depends on time.
KIV_EXPORT void SetClockSource(uint64_t (*source)()) noexcept;

/// The statistics of a lock for one place that takes it. Counters change only under that lock.
struct LockSiteStatistics {
    AnsiStr name;
    uint64_t contendedCount = 0;  ///< acquisitions that had to wait
    uint64_t waitTicks = 0;
    uint64_t holdCount = 0;  ///< completed holds
    uint64_t holdTicks = 0;
};

/// Records by site name; a record lives as long as its map.
class LockSiteMap : public SkipListMap<LockSiteStatistics*, ByteOrder> {
public:
    LockSiteMap() noexcept = default;
    LockSiteMap(const LockSiteMap&) = delete;
    LockSiteMap& operator=(const LockSiteMap&) = delete;
    KIV_EXPORT ~LockSiteMap();
};

/// A re-entrant lock with timing statistics. It is data only: whoever takes it (the lock guard)
/// updates the numbers. All members but `name`, `owner` and `sites` belong to the owning thread.
struct TimedCriticalSection {
    AnsiStr name;  ///< under EnterTimingData
    uint64_t contendedCount = 0;
    uint64_t waitTicks = 0;
    uint64_t holdCount = 0;
    uint64_t holdTicks = 0;
    std::atomic<uint32_t> owner{0};  ///< GetCurrentThreadId of the holder, 0 when free
    uint32_t recursionCount = 0;
    uint64_t acquiredTicks = 0;  ///< 0 when the hold is not timed
    uint64_t thresholdMs = 0;    ///< a longer hold is reported; 0 for never
    AnsiStr holderSite;
    uint64_t lastHoldMs = 0;
    LockSiteStatistics* holderRecord = nullptr;
    LockSiteMap sites;  ///< grows under EnterTimingData only
    std::atomic<bool> keepsStatistics{false};
    std::mutex section;
};

/// The only lock of the process under which static tables are built.
KIV_EXPORT TimedCriticalSection& GetLazyStaticLock() noexcept;

/// Destroys that lock, with its statistics, when the module ends; nobody may hold it. A call of
/// GetLazyStaticLock after that makes a new one.
void ResetLazyStaticLock() noexcept;

/// Guard the names of locks and the creation of site records, for all locks.
KIV_EXPORT void EnterTimingData() noexcept;
KIV_EXPORT void LeaveTimingData() noexcept;

/// A number of the calling thread that no other thread of the process ever has; never 0.
KIV_EXPORT uint32_t GetCurrentThreadId() noexcept;

/// Settings that locks share.
class KIV_EXPORT LockInfo {
public:
    /// The hold threshold in milliseconds of locks that have no other setting; 0, the default,
    /// reports nothing. Any thread.
    static uint64_t GetUnknownCriticalSectionThreshold() noexcept;
    static void SetUnknownCriticalSectionThreshold(uint64_t milliseconds) noexcept;
};

}  // namespace KivGuiBase
