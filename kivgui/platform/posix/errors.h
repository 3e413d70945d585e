#pragma once

#include <cstdint>

namespace KivGuiBase::Platform {

/// Sets the last-error code that stands for an errno value.
void SetLastErrorFromErrno(int error) noexcept;

}  // namespace KivGuiBase::Platform
