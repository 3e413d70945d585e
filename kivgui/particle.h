#pragma once

#include <cstddef>

#include "kivgui/export.h"

namespace KivGuiBase {

/// Memory for small objects: map nodes, array bodies, boxed numbers.
///
/// @return a block aligned for any object, null when memory runs out (nothing is thrown). A size
///         of 0 gives a block too.
/// Any thread; a block may be freed on another thread than the one that asked for it.
KIV_EXPORT void* AllocParticle(size_t size) noexcept;
/// Frees a block. `size` is the size that it was requested with.
KIV_EXPORT void FreeParticle(size_t size, void* block) noexcept;

/// Called when the count of an array would pass 32 bits; sets the last error kErrorStringOverflow.
KIV_EXPORT void ReportArrayOverflow(unsigned count, unsigned added) noexcept;
/// Called when there is no memory for an array; sets the last error kErrorOutOfMemory.
KIV_EXPORT void ReportArrayAllocFail(unsigned capacity, unsigned count) noexcept;

}  // namespace KivGuiBase
