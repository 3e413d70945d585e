#pragma once

#include <cstdint>

namespace KivGuiBase::Platform {

/// A system's open file: a descriptor or a handle.
using FileHandle = intptr_t;
inline constexpr FileHandle kInvalidFile = -1;

}  // namespace KivGuiBase::Platform
