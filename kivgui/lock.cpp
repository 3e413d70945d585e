#include "kivgui/lock.h"

namespace KivGuiBase {

namespace {

std::atomic<uint64_t> unknownThresholdMs{0};

std::mutex& GetTimingDataLock() {
    static std::mutex lock;
    return lock;
}

}  // namespace

LockSiteMap::~LockSiteMap() {
    for (Node& site : *this) delete site.value;
}

TimedCriticalSection& GetLazyStaticLock() noexcept {
    // Never destroyed: tables may be asked for while other statics are torn down.
    static TimedCriticalSection& lock = *[] {
        // Without this lock nothing can go on, so a failure may end the program.
        auto* made = new TimedCriticalSection;  // NOLINT(bugprone-unhandled-exception-at-new)
        made->name = "LazyStatic";
        return made;
    }();
    return lock;
}

void EnterTimingData() noexcept {
    GetTimingDataLock().lock();
}

void LeaveTimingData() noexcept {
    GetTimingDataLock().unlock();
}

uint32_t GetCurrentThreadId() noexcept {
    static std::atomic<uint32_t> lastId{0};
    thread_local const uint32_t id = ++lastId;
    return id;
}

uint64_t LockInfo::GetUnknownCriticalSectionThreshold() noexcept {
    return unknownThresholdMs.load(std::memory_order_relaxed);
}

void LockInfo::SetUnknownCriticalSectionThreshold(uint64_t milliseconds) noexcept {
    unknownThresholdMs.store(milliseconds, std::memory_order_relaxed);
}

}  // namespace KivGuiBase
