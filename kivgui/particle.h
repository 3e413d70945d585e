#pragma once

#include <cstddef>

#include "kivgui/export.h"

namespace KivGuiBase {

/// Memory for small objects: map nodes, array bodies, boxed numbers.
///
/// @return a block aligned for any object, null when memory runs out (nothing is thrown). A size
///         of 0 gives a block too. It is freed with the size it was asked for.
/// Any thread; a block may be freed on another thread than the one that asked for it.
KIV_EXPORT void* AllocParticle(size_t size) noexcept;
KIV_EXPORT void FreeParticle(size_t size, void* block) noexcept;

}  // namespace KivGuiBase
