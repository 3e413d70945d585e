#pragma once

// The one place that includes the system's header: without the macros `min` and `max`, and without
// the parts that define names such as `small` and `interface`.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <string>
#include <string_view>

#include "kivgui/ansi_str.h"

namespace KivGuiBase::Platform {

/// Keeps the calling thread's last error over calls of the system that change it though they
/// succeed. The library's code and the system's are one, so a call that succeeds, or cleans up after
/// a failure, must leave it alone.
class LastErrorKept {
public:
    LastErrorKept() noexcept : code_(::GetLastError()) {}
    ~LastErrorKept() { ::SetLastError(code_); }
    LastErrorKept(const LastErrorKept&) = delete;
    LastErrorKept& operator=(const LastErrorKept&) = delete;

    /// The operation failed: this code is left instead.
    /// @return false, for the caller to return.
    bool Fail(uint32_t code) noexcept {
        code_ = code;
        return false;
    }
    /// The operation failed with the code that the thread has now.
    bool Fail() noexcept { return Fail(::GetLastError()); }

private:
    DWORD code_;
};

/// A text of the system as UTF-8; half a surrogate pair becomes U+FFFD. Empty, with the last
/// error set, when it cannot be converted.
AnsiStr ToUtf8(std::wstring_view text) noexcept;

/// A UTF-8 path as the system's functions take it. When it is too long for them (MAX_PATH), even
/// if only together with the current folder, it becomes absolute and gets the prefix "\\?\".
/// @return false, with the last error set, when the text is not UTF-8 or memory runs out.
bool MakeSystemPath(const char* path, std::wstring& systemPath) noexcept;

/// The path with the current folder and drive.
/// @return false with the last error set. Throws std::bad_alloc.
bool MakeAbsolute(const std::wstring& path, std::wstring& absolute);

}  // namespace KivGuiBase::Platform
