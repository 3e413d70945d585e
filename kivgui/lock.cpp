#include "kivgui/lock.h"

#include <cstddef>
#include <memory>
#include <new>
#include <thread>

#include "kivgui/platform/platform.h"

namespace KivGuiBase {

namespace {

std::atomic<uint64_t> unknownThresholdMs{0};

// Made on first use, and without a destructor that runs by itself: tables may be asked for while
// statics are torn down. Guarded by the lock for timing data.
constinit TimedCriticalSection* lazyStaticLock = nullptr;

// Spins: it is held for one search in a map. A std::mutex of some systems has a constructor and a
// destructor to run, and this is needed before and after those.
constinit std::atomic<bool> isTimingDataTaken{false};

struct TimingDataGuard {
    TimingDataGuard() noexcept { EnterTimingData(); }
    ~TimingDataGuard() { LeaveTimingData(); }
    TimingDataGuard(const TimingDataGuard&) = delete;
    TimingDataGuard& operator=(const TimingDataGuard&) = delete;
};

}  // namespace

LockSiteMap::~LockSiteMap() {
    for (Node& site : *this) delete site.value;
}

TimedCriticalSection& GetLazyStaticLock() noexcept {
    alignas(TimedCriticalSection) static std::byte memory[sizeof(TimedCriticalSection)];
    const TimingDataGuard guard;
    if (lazyStaticLock == nullptr) {
        lazyStaticLock = new (memory) TimedCriticalSection;
        lazyStaticLock->name = "LazyStatic";
    }
    return *lazyStaticLock;
}

void ResetLazyStaticLock() noexcept {
    if (lazyStaticLock != nullptr) std::destroy_at(lazyStaticLock);
    lazyStaticLock = nullptr;
}

void EnterTimingData() noexcept {
    while (isTimingDataTaken.exchange(true, std::memory_order_acquire)) std::this_thread::yield();
}

void LeaveTimingData() noexcept {
    isTimingDataTaken.store(false, std::memory_order_release);
}

uint32_t GetCurrentThreadId() noexcept {
    static std::atomic<uint32_t> lastId{0};
    uint32_t& id = Platform::GetThreadData().id;
    if (id == 0) id = ++lastId;
    return id;
}

uint64_t LockInfo::GetUnknownCriticalSectionThreshold() noexcept {
    return unknownThresholdMs.load(std::memory_order_relaxed);
}

void LockInfo::SetUnknownCriticalSectionThreshold(uint64_t milliseconds) noexcept {
    unknownThresholdMs.store(milliseconds, std::memory_order_relaxed);
}

}  // namespace KivGuiBase
