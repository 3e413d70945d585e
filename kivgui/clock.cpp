#include "kivgui/clock.h"

#include <atomic>
#include <chrono>

namespace KivGuiBase {

namespace {

constexpr uint64_t kTicksPerSecond = 1'000'000'000;

std::atomic<uint64_t (*)()> clockSource{nullptr};

uint64_t GetSteadyNanoseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    // 0 means "not timed" to those who keep tick counts.
    return static_cast<uint64_t>(std::chrono::nanoseconds(now).count()) | 1;
}

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

}  // namespace KivGuiBase
