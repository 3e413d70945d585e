#include "kivgui/platform/windows/system.h"

#include <cstring>

#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"

// What the other files of this folder share: errors, and texts between UTF-8 and UTF-16.

namespace KivGuiBase::Platform {

namespace {

constexpr size_t kMaxPathUnits = 0x7FFF;  // UTF-16 units: the most that the system accepts
constexpr size_t kMaxBytesOfUnit = 3;     // a UTF-8 character of four bytes is two units

bool ToUtf16(std::string_view text, std::wstring& wide) {
    if (text.size() > kMaxPathUnits * kMaxBytesOfUnit) {
        SetLastError(kErrorNameTooLong);
        return false;
    }
    wide.resize(text.size());
    if (text.empty()) return true;
    const int length = static_cast<int>(text.size());
    const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), length,
                                          wide.data(), length);
    wide.resize(static_cast<size_t>(units));
    return units != 0;
}

bool IsVerbatim(const std::wstring& path) {
    return path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\");
}

bool LiftLengthLimit(std::wstring& path) {
    if (path.empty() || IsVerbatim(path)) return true;
    std::wstring absolute;
    if (!MakeAbsolute(path, absolute)) return false;
    if (absolute.size() < MAX_PATH || IsVerbatim(absolute)) return true;
    path =
        absolute.starts_with(L"\\\\") ? L"\\\\?\\UNC" + absolute.substr(1) : L"\\\\?\\" + absolute;
    return true;
}

}  // namespace

bool MakeAbsolute(const std::wstring& path, std::wstring& absolute) {
    absolute.resize(MAX_PATH);
    for (;;) {
        const auto room = static_cast<DWORD>(absolute.size());
        const DWORD length = GetFullPathNameW(path.c_str(), room, absolute.data(), nullptr);
        if (length == 0) return false;
        // With too little room the length is the room needed, which the next turn has unless
        // another thread has changed the current folder meanwhile.
        absolute.resize(length);
        if (length < room) return true;
    }
}

AnsiStr ToUtf8(std::wstring_view text) noexcept {
    if (text.empty()) return {};
    const int units = static_cast<int>(text.size());
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    char* buffer = nullptr;
    AnsiStr result(static_cast<unsigned>(size), buffer);
    if (buffer == nullptr) return {};
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, buffer, size, nullptr, nullptr);
    buffer[size] = '\0';
    return result;
}

bool MakeSystemPath(const char* path, std::wstring& systemPath) noexcept {
    try {
        return ToUtf16(path, systemPath) && LiftLengthLimit(systemPath);
    } catch (...) {  // a string throws only when memory runs out
        NoteMissingMemory();
        return false;
    }
}

AnsiStr GetErrorText(uint32_t code) noexcept {
    const LastErrorKept kept;
    // Without a width the text comes with line breaks inside it and at its end.
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
    constexpr DWORD kMaxText = 2048;
    wchar_t text[kMaxText];
    DWORD length = FormatMessageW(kFlags, nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                  text, kMaxText, nullptr);
    while (length > 0 && text[length - 1] <= L' ') --length;
    return ToUtf8({text, length});
}

// Large pages need a privilege here.
void UseLargePages(void* /*memory*/, size_t /*size*/) noexcept {}

}  // namespace KivGuiBase::Platform
