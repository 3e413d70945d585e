#pragma once

namespace KivGuiBase::Platform {

/// Sets the library's last-error code to the one that corresponds to `errno`.
/// @return false, for the caller to return.
bool FailWithSystemError() noexcept;

}  // namespace KivGuiBase::Platform
