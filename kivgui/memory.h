#pragma once

#include <cstddef>
#include <cstdint>

#include "kivgui/export.h"

namespace KivGuiBase {

// Strings, arrays and maps stay as they were when memory runs out, and a function deep inside a
// reading or writing operation cannot always report it. So each thread counts its failed
// allocations, and the functions that hosts call check whether the count has changed: a failed
// allocation becomes a failure of the call, never a shorter result.

/// Like malloc and realloc, for the base layer: failures are counted, and the last error becomes
/// kErrorNotEnoughMemory. A size of 0 also gives a block. Freed with std::free.
[[nodiscard]] void* Allocate(size_t size) noexcept;
[[nodiscard]] void* Reallocate(void* block, size_t size) noexcept;

/// Tells the system that a block of many megabytes is about to be filled, so that it may use large
/// pages, which are far cheaper than the same memory in usual pages. Only a hint, for the whole
/// large pages in the block.
void UseLargePages(void* block, size_t size) noexcept;

/// Counts a failed allocation of the calling thread that was not made by a function above, and sets
/// the last error.
KIV_EXPORT void NoteMissingMemory() noexcept;

/// Tells whether an allocation of this thread has failed since the watch was made.
class MemoryWatch {
public:
    MemoryWatch() noexcept : before_(CountFailures()) {}
    bool HasFailed() const noexcept { return CountFailures() != before_; }

private:
    KIV_EXPORT static uint32_t CountFailures() noexcept;

    uint32_t before_;
};

/// Memory for small objects: map nodes, array bodies, boxed numbers.
///
/// @return a block aligned for any object, null when memory runs out (nothing is thrown; the
///         failure is counted). A size of 0 also gives a block.
/// Any thread; a block may be freed on a thread other than the one that requested it.
KIV_EXPORT void* AllocParticle(size_t size) noexcept;
/// Frees a block. `size` is the requested size.
KIV_EXPORT void FreeParticle(size_t size, void* block) noexcept;

/// Called when the count of an array would pass 32 bits; sets the last error kErrorStringOverflow.
KIV_EXPORT void ReportArrayOverflow(unsigned count, unsigned added) noexcept;
/// Called when there is no memory for an array; sets the last error kErrorOutOfMemory.
KIV_EXPORT void ReportArrayAllocFail(unsigned capacity, unsigned count) noexcept;

}  // namespace KivGuiBase
