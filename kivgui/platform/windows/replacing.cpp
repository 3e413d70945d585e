#include "kivgui/platform/windows/system.h"

#include <aclapi.h>

#include <memory>
#include <string>
#include <string_view>

#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"

// What a file needs that is to take the place of another one.

namespace KivGuiBase::Platform {

namespace {

struct Closer {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using OwnedHandle = std::unique_ptr<void, Closer>;

struct Freer {
    void operator()(void* memory) const noexcept { LocalFree(memory); }
};

OwnedHandle Look(const std::wstring& path) noexcept {
    constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file = CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShare, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    return OwnedHandle(file != INVALID_HANDLE_VALUE ? file : nullptr);
}

/// The path of an open file, which no link leads to. Unchanged where the file system cannot tell.
void FollowLinks(HANDLE file, std::wstring& path) {
    std::wstring real(0x8000, L'\0');  // more than the system gives
    const auto room = static_cast<DWORD>(real.size());
    const DWORD length = GetFinalPathNameByHandleW(file, real.data(), room, FILE_NAME_NORMALIZED);
    if (length != 0 && length < room) path = real.substr(0, length);
}

bool SetTarget(const std::wstring& path, Target& target) noexcept {
    target.path = ToUtf8(path);
    target.folder = ToUtf8(std::wstring_view(path).substr(0, path.rfind(L'\\') + 1));
    if (target.path.IsEmpty() || target.folder.IsEmpty()) return false;
    if (target.folder.GetLength() < target.path.GetLength()) return true;
    SetLastError(kErrorFileNotFound);  // a path that ends in a separator names no file
    return false;
}

/// Leaves the code of a failure where the system's call has put it.
bool Find(const char* path, Target& target) {
    std::wstring given, real;
    if (!MakeSystemPath(path, given) || !MakeAbsolute(given, real)) return false;
    target.isStream = real.starts_with(L"\\\\.\\");
    if (target.isStream) return SetTarget(real, target);
    const OwnedHandle file = Look(given);
    if (file == nullptr) {
        return ::GetLastError() == ERROR_FILE_NOT_FOUND && SetTarget(real, target);
    }
    target.isStream = GetFileType(file.get()) != FILE_TYPE_DISK;
    if (!target.isStream) FollowLinks(file.get(), real);
    return SetTarget(real, target);
}

}  // namespace

bool FindTarget(const char* path, Target& target) noexcept {
    LastErrorKept kept;
    if (*path == '\0') return kept.Fail(kErrorFileNotFound);
    try {
        return Find(path, target) || kept.Fail();
    } catch (...) {  // a string throws only when memory runs out
        NoteMissingMemory();
        return kept.Fail();
    }
}

bool CopyPermissions(FileHandle /*file*/, const char* path, const char* model) noexcept {
    LastErrorKept kept;
    std::wstring to, from;
    if (!MakeSystemPath(path, to) || !MakeSystemPath(model, from)) return kept.Fail();
    PSECURITY_DESCRIPTOR list = nullptr;
    const DWORD error =
        GetNamedSecurityInfoW(from.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                              nullptr, nullptr, nullptr, &list);
    if (error != ERROR_SUCCESS) return kept.Fail(error);
    const std::unique_ptr<void, Freer> owned(list);
    // What was inherited stays so, and follows the folder when that changes.
    SetSecurityDescriptorControl(list, SE_DACL_AUTO_INHERIT_REQ, SE_DACL_AUTO_INHERIT_REQ);
    return SetFileSecurityW(to.c_str(), DACL_SECURITY_INFORMATION, list) || kept.Fail();
}

bool FlushFile(FileHandle file) noexcept {
    LastErrorKept kept;
    return FlushFileBuffers(reinterpret_cast<HANDLE>(file)) || kept.Fail();
}

bool RenameFile(const char* from, const char* to) noexcept {
    LastErrorKept kept;
    std::wstring systemFrom, systemTo;
    return (MakeSystemPath(from, systemFrom) && MakeSystemPath(to, systemTo) &&
            MoveFileExW(systemFrom.c_str(), systemTo.c_str(), MOVEFILE_REPLACE_EXISTING)) ||
           kept.Fail();
}

}  // namespace KivGuiBase::Platform
