#pragma once

#include <cstdint>

#include "kivgui/export.h"

namespace KivGuiBase {

/// The tick count of a clock that only runs forward; never 0.
KIV_EXPORT uint64_t GetHighResolutionClockTicks() noexcept;
/// The ticks since `start`.
KIV_EXPORT uint64_t GetHighResolutionClockTicks(uint64_t start) noexcept;
/// Converts a number of ticks: 1000 units per second gives whole milliseconds, rounded down.
KIV_EXPORT uint64_t GetHighResolutionTime(uint64_t ticks, unsigned unitsPerSecond) noexcept;

/// Replaces the clock for the whole process; null brings the real one back. The source counts
/// nanoseconds. For tests of what depends on time.
KIV_EXPORT void SetClockSource(uint64_t (*source)()) noexcept;

}  // namespace KivGuiBase
