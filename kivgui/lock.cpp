#include "kivgui/lock.h"

#include <cstddef>
#include <memory>
#include <new>

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
    // Has no destructor that runs by itself: tables may be asked for while statics are torn down.
    alignas(TimedCriticalSection) static std::byte memory[sizeof(TimedCriticalSection)];
    static TimedCriticalSection& lock = *[] {
        auto* made = new (memory) TimedCriticalSection;
        made->name = "LazyStatic";
        return made;
    }();
    return lock;
}

void ResetLazyStaticLock() noexcept {
    TimedCriticalSection& lock = GetLazyStaticLock();
    std::destroy_at(&lock);
    std::construct_at(&lock);
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
