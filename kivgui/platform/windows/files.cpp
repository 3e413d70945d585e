#include <algorithm>
#include <memory>
#include <type_traits>

#include "kivgui/platform/platform.h"
#include "kivgui/platform/windows/owner_only.h"
#include "kivgui/platform/windows/system.h"

// Files by the calls of Windows, opened so that they can be used as on other systems: renamed and
// deleted while they are open, with paths of any length, and new ones accessible to their owner
// only. The helpers leave the code of a failure where the system's call has put it; the functions
// of the interface keep the code of before when they succeed.

namespace KivGuiBase::Platform {

namespace {

// A request's size has 32 bits; a smaller one also keeps fewer pages locked at once.
constexpr size_t kMaxTransfer = 0x1000000;

struct Closer {
    void operator()(HANDLE handle) const noexcept {
        const LastErrorKept kept;
        CloseHandle(handle);
    }
};
using OwnedHandle = std::unique_ptr<void, Closer>;

HANDLE ToHandle(FileHandle file) noexcept {
    return reinterpret_cast<HANDLE>(file);
}

struct OpenHow {
    DWORD access;
    DWORD share;
    DWORD disposition;
    DWORD flags;
};

// Others may read, rename and delete a file that we have open, as on other systems, and write one
// that we read. Two writers of one file would be a mistake, so writing is not shared.
constexpr DWORD kShareOfWriter = FILE_SHARE_READ | FILE_SHARE_DELETE;
constexpr DWORD kShareOfReader = kShareOfWriter | FILE_SHARE_WRITE;

OpenHow GetOpenHow(OpenMode mode) noexcept {
    switch (mode) {
        case OpenMode::read:
            break;
        case OpenMode::replace:
            // CREATE_ALWAYS fails for a hidden file, and removes the attributes of others.
            return {GENERIC_WRITE, kShareOfWriter, OPEN_ALWAYS, 0};
        // Without the flag the system would create the file that a dangling link names.
        case OpenMode::createNew:
            return {GENERIC_WRITE, kShareOfWriter, CREATE_NEW, FILE_FLAG_OPEN_REPARSE_POINT};
    }
    return {GENERIC_READ, kShareOfReader, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN};
}

/// Opens a path; null on failure.
OwnedHandle Create(const char* path, const OpenHow& how, SECURITY_ATTRIBUTES* security) noexcept {
    std::wstring systemPath;
    if (!MakeSystemPath(path, systemPath)) return nullptr;
    const HANDLE file = CreateFileW(systemPath.c_str(), how.access, how.share, security,
                                    how.disposition, FILE_ATTRIBUTE_NORMAL | how.flags, nullptr);
    return OwnedHandle(file != INVALID_HANDLE_VALUE ? file : nullptr);
}

OwnedHandle CreateForOwner(const char* path, const OpenHow& how) noexcept {
    OwnerOnly security;
    SECURITY_ATTRIBUTES* attributes = security.Prepare();
    return attributes != nullptr ? Create(path, how, attributes) : nullptr;
}

bool IsOnDisk(HANDLE file) noexcept {
    return GetFileType(file) == FILE_TYPE_DISK;
}

/// Makes the opened file what the mode promises. Every mode opens devices such as NUL.
bool Prepare(HANDLE file, OpenMode mode) noexcept {
    if (mode == OpenMode::replace && IsOnDisk(file)) {
        return SetEndOfFile(file) != FALSE;
    }
    if (mode == OpenMode::createNew && !IsOnDisk(file)) {
        SetLastError(kErrorFileExists);
        return false;
    }
    return true;
}

}  // namespace

FileHandle OpenFile(const char* path, OpenMode mode) noexcept {
    LastErrorKept kept;
    const OpenHow how = GetOpenHow(mode);
    OwnedHandle file =
        mode == OpenMode::createNew ? CreateForOwner(path, how) : Create(path, how, nullptr);
    if (file != nullptr && Prepare(file.get(), mode)) {
        return reinterpret_cast<FileHandle>(file.release());
    }
    kept.Fail();
    return kInvalidFile;
}

bool CloseFile(FileHandle file) noexcept {
    LastErrorKept kept;
    return CloseHandle(ToHandle(file)) || kept.Fail();
}

bool ReadFile(FileHandle file, void* buffer, size_t size, size_t& got) noexcept {
    LastErrorKept kept;
    got = 0;
    while (got < size) {
        const auto wanted = static_cast<DWORD>(std::min(size - got, kMaxTransfer));
        DWORD n = 0;
        if (!::ReadFile(ToHandle(file), static_cast<char*>(buffer) + got, wanted, &n, nullptr)) {
            // The end of a pipe is an end like any other.
            return ::GetLastError() == ERROR_BROKEN_PIPE || kept.Fail();
        }
        if (n == 0) break;
        got += n;
    }
    return true;
}

bool WriteFile(FileHandle file, const void* data, size_t size) noexcept {
    LastErrorKept kept;
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const auto part = static_cast<DWORD>(std::min(size, kMaxTransfer));
        DWORD n = 0;
        if (!::WriteFile(ToHandle(file), next, part, &n, nullptr)) return kept.Fail();
        if (n == 0) return kept.Fail(kErrorBusy);  // a pipe that does not wait for its reader
        next += n;
        size -= n;
    }
    return true;
}

// A folder does not get this far: opening it as a file fails with kErrorAccessDenied.
bool GetFileSize(FileHandle file, uint64_t& size) noexcept {
    LastErrorKept kept;
    ::SetLastError(ERROR_SUCCESS);
    const DWORD type = GetFileType(ToHandle(file));
    if (type == FILE_TYPE_UNKNOWN && ::GetLastError() != ERROR_SUCCESS) return kept.Fail();
    if (type != FILE_TYPE_DISK) return kept.Fail(kErrorInvalidFunction);
    LARGE_INTEGER length;
    if (!GetFileSizeEx(ToHandle(file), &length)) return kept.Fail();
    size = static_cast<uint64_t>(length.QuadPart);
    return true;
}

int64_t GetFileSize(const char* path) noexcept {
    LastErrorKept kept;
    // The size that the folder lists may be that of a link, or an old one, so the file is opened.
    const OwnedHandle file =
        Create(path, {FILE_READ_ATTRIBUTES, kShareOfReader, OPEN_EXISTING, 0}, nullptr);
    uint64_t size = 0;
    if (file != nullptr && GetFileSize(reinterpret_cast<FileHandle>(file.get()), size)) {
        return static_cast<int64_t>(size);
    }
    kept.Fail();
    return -1;
}

bool RemoveFile(const char* path) noexcept {
    LastErrorKept kept;
    std::wstring systemPath;
    return (MakeSystemPath(path, systemPath) && DeleteFileW(systemPath.c_str())) || kept.Fail();
}

const char* MapFile(FileHandle file, uint64_t size) noexcept {
    LastErrorKept kept;
    const OwnedHandle mapping(
        CreateFileMappingW(ToHandle(file), nullptr, PAGE_READONLY, 0, 0, nullptr));
    void* start =
        mapping != nullptr ? MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, size) : nullptr;
    if (start == nullptr) kept.Fail();
    return static_cast<const char*>(start);
}

void UnmapFile(const char* start, uint64_t /*size*/) noexcept {
    const LastErrorKept kept;
    UnmapViewOfFile(start);
}

// The system takes such pages away by itself when memory is short.
void ReleasePages(const char* /*start*/, size_t /*size*/) noexcept {}

AnsiStr GetTempFolder() noexcept {
    LastErrorKept kept;
    using Function = DWORD(WINAPI*)(DWORD, LPWSTR);
    // Newer systems have a function that gives services a folder that others cannot read.
    const FARPROC newer = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetTempPath2W");
    const auto getTempPath = newer != nullptr
                                 ? reinterpret_cast<Function>(reinterpret_cast<void*>(newer))
                                 : &GetTempPathW;
    wchar_t folder[MAX_PATH + 2];
    constexpr DWORD kRoom = std::extent_v<decltype(folder)>;
    const DWORD length = getTempPath(kRoom, folder);
    if (length == 0) {
        kept.Fail();
    } else if (length >= kRoom) {  // the room that it would take
        kept.Fail(kErrorNameTooLong);
    } else {
        AnsiStr path = ToUtf8({folder, length});
        if (path.IsEmpty()) kept.Fail();
        return path;
    }
    return {};
}

}  // namespace KivGuiBase::Platform
