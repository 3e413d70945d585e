#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"
#include "kivgui/platform/posix/system.h"

// Files by the plain calls of POSIX. Every call that can be interrupted (EINTR) or come back short
// is repeated until all is done, except close.

namespace KivGuiBase::Platform {

namespace {

// One system call transfers at most this much on Linux; larger requests come back short anyway.
constexpr size_t kMaxTransfer = 0x7FFFF000;

int GetOpenFlags(OpenMode mode) noexcept {
    switch (mode) {
        case OpenMode::read:
            return O_RDONLY | O_NONBLOCK;
        case OpenMode::replace:
            return O_WRONLY | O_CREAT | O_TRUNC;
        case OpenMode::createNew:
            return O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW;
    }
    return O_RDONLY;
}

}  // namespace

FileHandle OpenFile(const char* path, OpenMode mode) noexcept {
    const mode_t permissions = mode == OpenMode::createNew ? 0600 : 0666;
    int file;
    do {
        file = open(path, GetOpenFlags(mode) | O_CLOEXEC | O_NOCTTY, permissions);
    } while (file < 0 && errno == EINTR);
    if (file < 0) FailWithSystemError();
    return file;
}

bool CloseFile(FileHandle file) noexcept {
    // After EINTR the descriptor is closed too; closing it again could hit another file.
    return close(static_cast<int>(file)) == 0 || errno == EINTR || FailWithSystemError();
}

bool ReadFile(FileHandle file, void* buffer, size_t size, size_t& got) noexcept {
    got = 0;
    while (got < size) {
        const size_t wanted = std::min(size - got, kMaxTransfer);
        const ssize_t n = read(static_cast<int>(file), static_cast<char*>(buffer) + got, wanted);
        if (n == 0) break;
        if (n > 0) {
            got += static_cast<size_t>(n);
        } else if (errno != EINTR) {
            return FailWithSystemError();
        }
    }
    return true;
}

bool WriteFile(FileHandle file, const void* data, size_t size) noexcept {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = write(static_cast<int>(file), next, std::min(size, kMaxTransfer));
        if (n > 0) {
            next += n;
            size -= static_cast<size_t>(n);
        } else if (n == 0) {  // a device that takes nothing
            SetLastError(kErrorIoDevice);
            return false;
        } else if (errno != EINTR) {
            return FailWithSystemError();
        }
    }
    return true;
}

bool GetFileSize(FileHandle file, uint64_t& size) noexcept {
    struct stat status;
    if (fstat(static_cast<int>(file), &status) != 0) return FailWithSystemError();
    if (S_ISDIR(status.st_mode)) {
        SetLastError(kErrorAccessDenied);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        SetLastError(kErrorInvalidFunction);
        return false;
    }
    size = static_cast<uint64_t>(status.st_size);
    return true;
}

int64_t GetFileSize(const char* path) noexcept {
    struct stat status;
    if (stat(path, &status) != 0) {
        FailWithSystemError();
        return -1;
    }
    return status.st_size;
}

bool RemoveFile(const char* path) noexcept {
    return unlink(path) == 0 || FailWithSystemError();
}

const char* MapFile(FileHandle file, uint64_t size) noexcept {
    if (size > std::numeric_limits<size_t>::max()) {
        SetLastError(kErrorNotEnoughMemory);
        return nullptr;
    }
    void* start =
        mmap(nullptr, static_cast<size_t>(size), PROT_READ, MAP_PRIVATE, static_cast<int>(file), 0);
    if (start == MAP_FAILED) {
        FailWithSystemError();
        return nullptr;
    }
    // If this fails, only the read-ahead is lost.
    (void)madvise(start, static_cast<size_t>(size), MADV_SEQUENTIAL);
    return static_cast<const char*>(start);
}

void UnmapFile(const char* start, uint64_t size) noexcept {
    munmap(const_cast<char*>(start), static_cast<size_t>(size));
}

void ReleasePages(const char* start, size_t size) noexcept {
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = (reinterpret_cast<uintptr_t>(start) + page - 1) / page * page;
    const auto end = (reinterpret_cast<uintptr_t>(start) + size) / page * page;
    // If this fails, the memory is only given back later.
    if (begin < end) (void)madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
}

AnsiStr GetTempFolder() noexcept {
    const char* folder = std::getenv("TMPDIR");
    const MemoryWatch watch;
    AnsiStr path = folder != nullptr && *folder != '\0' ? folder : P_tmpdir;
    if (!std::string_view(path).ends_with('/')) path += '/';
    return watch.HasFailed() ? AnsiStr() : path;
}

}  // namespace KivGuiBase::Platform
