#pragma once

namespace KivGuiBase::Platform {

/// Sets the library's last-error code to the one that the system's last call left in the calling
/// thread: both count with the same numbers.
/// @return false, for the caller to return.
bool FailWithSystemError() noexcept;

}  // namespace KivGuiBase::Platform
