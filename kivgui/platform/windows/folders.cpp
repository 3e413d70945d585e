#include <string_view>

#include "kivgui/platform/platform.h"
#include "kivgui/platform/windows/system.h"

// Folders, by the search of Windows for "*" in them.

namespace KivGuiBase::Platform {

namespace {

EntryKind GetKind(const WIN32_FIND_DATAW& entry) noexcept {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return EntryKind::file;
    const bool isLink = (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    return isLink ? EntryKind::linkedFolder : EntryKind::folder;
}

/// @return false to stop: the taker did, or memory ran out, which is counted.
bool Give(const WIN32_FIND_DATAW& entry, NameTaker& taker) noexcept {
    const std::wstring_view name = entry.cFileName;
    if (name == L"." || name == L"..") return true;
    const AnsiStr text = ToUtf8(name);
    return !text.IsEmpty() && taker.Take(text.GetStr(), GetKind(entry));
}

}  // namespace

bool ListFolder(const char* path, NameTaker& taker) noexcept {
    LastErrorKept kept;
    const AnsiStr pattern = AnsiStr(path) + AnsiStr("\\*");
    std::wstring systemPath;
    if (!MakeSystemPath(pattern.GetStr(), systemPath)) return kept.Fail();
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(systemPath.c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return kept.Fail();
    bool goesOn = true;
    while (goesOn && Give(entry, taker)) goesOn = FindNextFileW(search, &entry) != FALSE;
    const bool isComplete = goesOn || ::GetLastError() == ERROR_NO_MORE_FILES;
    FindClose(search);
    return isComplete || kept.Fail();
}

}  // namespace KivGuiBase::Platform
