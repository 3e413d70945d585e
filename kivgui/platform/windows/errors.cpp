#include "kivgui/platform/windows/errors.h"

#include "kivgui/platform/platform.h"
#include "kivgui/platform/windows/system.h"
#include "kivgui/platform/windows/text.h"

namespace KivGuiBase::Platform {

bool FailWithSystemError() noexcept {
    SetLastError(::GetLastError());
    return false;
}

AnsiStr GetErrorText(uint32_t code) noexcept {
    // Without a width the text comes with line breaks inside and at its end.
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    constexpr DWORD kMaxText = 2048;
    wchar_t text[kMaxText];
    DWORD length = FormatMessageW(kFlags, nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                  text, kMaxText, nullptr);
    while (length > 0 && text[length - 1] <= L' ') --length;
    return ToUtf8({text, length});
}

}  // namespace KivGuiBase::Platform
