#pragma once

#include <cstddef>
#include <cstdint>

#include "kivgui/export.h"

namespace KivGuiBase {

/// The next number of a sequence that is the same on every system (SplitMix64: one addition and
/// three mixing steps). `state` may start with any value.
constexpr uint64_t SplitMix64(uint64_t& state) noexcept {
    uint64_t z = state += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
}

/// A pseudo-random number from `low` to `high` inclusive. Each thread has its own generator, seeded
/// from the operating system or, if that has no random numbers, from addresses and the clock. Not
/// for secrets.
KIV_EXPORT uint64_t GetPseudoRandomNumberEx(uint64_t low, uint64_t high) noexcept;

/// Fills a buffer with unpredictable bytes from the operating system. A thread fetches them in
/// blocks, so that a name or a boundary does not cost a system call; a process made by fork starts
/// with a new block.
/// @return false, with the last error set, when the system provides none; the content of the buffer
///         is then unspecified.
[[nodiscard]] KIV_EXPORT bool GetUnpredictableBytes(void* buffer, size_t size) noexcept;

/// Replaces the source of GetUnpredictableBytes, for the whole process, by one that fills `size`
/// bytes; null restores the system's. For tests that compare texts with random parts: boundaries,
/// file names.
KIV_EXPORT void SetRandomSource(void (*source)(void* buffer, size_t size)) noexcept;

}  // namespace KivGuiBase
