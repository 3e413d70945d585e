#include "mime/foundation/lock_guard.h"

#include <new>

// Invariants, of the lock while a guard exists: `owner` is the holder's thread; `recursionCount` is the
// number of its guards; only the outermost guard locks, unlocks, and touches the statistics, which
// therefore need no protection of their own. `owner` is compared without the lock: a thread can only
// ever find its own number there if it wrote it itself, so a relaxed read is enough.
//
// The event about a long hold is reported after the lock is released, since its handler may take it.

namespace MIME {

using namespace KivGuiBase;

namespace {

/// The lock's record of a site, made when it is new. Null without a site name or memory.
LockSiteStatistics* FindSite(TimedCriticalSection& lock, const AnsiStr& site) noexcept {
    if (site.IsEmpty()) return nullptr;
    // A search must not run while another thread inserts, so both are serialised.
    EnterTimingData();
    LockSiteStatistics* record = nullptr;
    if (LockSiteMap::Node* node = lock.sites.FindOrInsert(site)) {
        if (node->value == nullptr) {
            node->value = new (std::nothrow) LockSiteStatistics;
            if (node->value != nullptr) node->value->name = site;
        }
        record = node->value;
    }
    LeaveTimingData();
    return record;
}

}  // namespace

LockGuard::LockGuard(TimedCriticalSection& lock, const AnsiStr& site) noexcept : lock_(lock) {
    const uint32_t thread = GetCurrentThreadId();
    if (lock_.owner.load(std::memory_order_relaxed) != thread) {
        if (lock_.keepsStatistics.load(std::memory_order_relaxed)) {
            AcquireWithStatistics(site);
        } else {
            lock_.section.lock();
            lock_.acquiredTicks = GetHighResolutionClockTicks();
        }
        lock_.owner.store(thread, std::memory_order_relaxed);
        lock_.holderSite = site;
        lock_.lastHoldMs = 0;
    }
    ++lock_.recursionCount;
}

void LockGuard::AcquireWithStatistics(const AnsiStr& site) noexcept {
    LockSiteStatistics* record = FindSite(lock_, site);
    if (lock_.section.try_lock()) {
        lock_.acquiredTicks = GetHighResolutionClockTicks();
    } else {
        const uint64_t start = GetHighResolutionClockTicks();
        lock_.section.lock();
        lock_.acquiredTicks = GetHighResolutionClockTicks();
        const uint64_t waited = lock_.acquiredTicks - start;
        ++lock_.contendedCount;
        lock_.waitTicks += waited;
        if (record != nullptr) {
            ++record->contendedCount;
            record->waitTicks += waited;
        }
    }
    lock_.holderRecord = record;
    lock_.thresholdMs = LockInfo::GetUnknownCriticalSectionThreshold();
}

EventDetails LockGuard::FinishHold() noexcept {
    EventDetails details;
    if (lock_.acquiredTicks == 0) return details;
    const uint64_t held = GetHighResolutionClockTicks(lock_.acquiredTicks);
    const uint64_t heldMs = GetHighResolutionTime(held, 1000);
    LockSiteStatistics* record = lock_.holderRecord;
    if (lock_.thresholdMs != 0 && heldMs > lock_.thresholdMs) {
        EnterTimingData();
        const AnsiStr name = lock_.name;
        LeaveTimingData();
        details.Set("lockname", Val(name));
        details.Set("locksite", Val(record != nullptr ? record->name : AnsiStr("Unknown")));
        details.Set("calltime_ms", Val(static_cast<int64_t>(heldMs)));
        details.Set("threshold_ms", Val(static_cast<int64_t>(lock_.thresholdMs)));
    }
    lock_.thresholdMs = 0;
    if (lock_.keepsStatistics.load(std::memory_order_relaxed)) {
        ++lock_.holdCount;
        lock_.holdTicks += held;
        if (record != nullptr) {
            ++record->holdCount;
            record->holdTicks += held;
        }
    }
    lock_.acquiredTicks = 0;
    lock_.lastHoldMs = heldMs;
    lock_.holderRecord = nullptr;
    return details;
}

LockGuard::~LockGuard() {
    if (--lock_.recursionCount > 0) return;
    const EventDetails details = FinishHold();
    lock_.owner.store(0, std::memory_order_relaxed);
    lock_.section.unlock();
    if (details.GetCount() != 0) {
        ReportEventA("KIVGUI", 500, "Lock duration exceeded threshold", details,
                     ReportEventType::warning, ReportEventCategory::performance);
    }
}

}  // namespace MIME
