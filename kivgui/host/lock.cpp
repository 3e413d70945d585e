#include "kivgui/host/lock.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <new>
#include <thread>

#include "kivgui/platform/platform.h"

// The lock must work before the first constructor of a static object has run and after the last
// destructor, because hosts ask for tables then. What it needs is therefore initialised by the
// compiler (constinit) or made on first use in static memory, and freed by ResetLazyStaticLock
// alone.

namespace KivGuiBase {

namespace {

constexpr uint64_t kTicksPerSecond = 1'000'000'000;

std::atomic<uint64_t (*)()> clockSource{nullptr};

uint64_t GetSteadyNanoseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    // A tick count of 0 means "not timed".
    return static_cast<uint64_t>(std::chrono::nanoseconds(now).count()) | 1;
}

std::atomic<uint64_t> unknownThresholdMs{0};

// Made on first use, and without a destructor that runs by itself: tables may be asked for while
// static objects are destroyed. Guarded by the lock for timing data.
constinit TimedCriticalSection* lazyStaticLock = nullptr;

// A spin lock: it is held for one search in a map. On some systems a std::mutex has a constructor
// and a destructor to run, and this one is needed before and after those.
constinit std::atomic<bool> isTimingDataTaken{false};

struct TimingDataGuard {
    TimingDataGuard() noexcept { EnterTimingData(); }
    ~TimingDataGuard() { LeaveTimingData(); }
    TimingDataGuard(const TimingDataGuard&) = delete;
    TimingDataGuard& operator=(const TimingDataGuard&) = delete;
};

}  // namespace

uint64_t GetHighResolutionClockTicks() noexcept {
    const auto source = clockSource.load(std::memory_order_relaxed);
    return source != nullptr ? source() : GetSteadyNanoseconds();
}

uint64_t GetHighResolutionClockTicks(uint64_t start) noexcept {
    return GetHighResolutionClockTicks() - start;
}

uint64_t GetHighResolutionTime(uint64_t ticks, unsigned unitsPerSecond) noexcept {
    const uint64_t seconds = ticks / kTicksPerSecond;
    const uint64_t rest = ticks % kTicksPerSecond;
    return seconds * unitsPerSecond + rest * unitsPerSecond / kTicksPerSecond;
}

void SetClockSource(uint64_t (*source)()) noexcept {
    clockSource.store(source, std::memory_order_relaxed);
}

LockSiteMap::~LockSiteMap() {
    for (Node& site : *this) delete site.value;
}

TimedCriticalSection& GetLazyStaticLock() noexcept {
    alignas(TimedCriticalSection) static std::byte memory[sizeof(TimedCriticalSection)];
    const TimingDataGuard guard;
    if (lazyStaticLock == nullptr) lazyStaticLock = new (memory) TimedCriticalSection;
    // At first, and again when there was no memory for it.
    if (lazyStaticLock->name.IsEmpty()) lazyStaticLock->name = "LazyStatic";
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
