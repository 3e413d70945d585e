#pragma once

#include <cstddef>
#include <cstdint>

#include "kivgui/export.h"

namespace KivGuiBase {

/// A pseudo-random number from `low` to `high` inclusive. Each thread has its own generator,
/// seeded from the operating system. Not for secrets.
KIV_EXPORT uint64_t GetPseudoRandomNumberEx(uint64_t low, uint64_t high) noexcept;

/// Fills a buffer with bytes that nobody can predict, from the operating system. A thread draws
/// them in blocks, so that a name or a boundary does not cost a system call; a process made by
/// fork starts with a fresh block. Ends the process when the system has no source of randomness.
KIV_EXPORT void GetUnpredictableBytes(void* buffer, size_t size) noexcept;

/// Replaces the source of GetUnpredictableBytes, for the whole process, by one that fills `size` bytes; null brings
/// the system's back. For tests that compare what random numbers went into: boundaries, names.
KIV_EXPORT void SetRandomSource(void (*source)(void* buffer, size_t size)) noexcept;

}  // namespace KivGuiBase
