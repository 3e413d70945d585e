#include "kivgui/disk_file.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"

// Reads go to the system directly; their callers ask for large pieces. Writes are collected in one
// buffer, made at the first small write and kept for the next file. Invariant: the bytes of the
// file are those sent to the system followed by `buffered_` bytes of the buffer, until the first
// failed write; its error is kept and reported by every later Write and by Close, so that nobody
// takes a file with a gap for a whole one.

namespace KivGuiBase {

namespace {

Platform::OpenMode GetOpenMode(DiskFile::Mode mode) noexcept {
    switch (mode) {
        case DiskFile::Mode::create:
            return Platform::OpenMode::replace;
        case DiskFile::Mode::createNew:
            return Platform::OpenMode::createNew;
        case DiskFile::Mode::read:
            break;
    }
    return Platform::OpenMode::read;
}

}  // namespace

DiskFile::~DiskFile() {
    Close();
    std::free(buffer_);
}

bool DiskFile::Open(const File& file, Mode mode) noexcept {
    Close();
    handle_ = Platform::OpenFile(file.GetPath().GetStr(), GetOpenMode(mode));
    if (handle_ == Platform::kInvalidFile) return false;
    writeError_ = kErrorNone;
    return true;
}

int64_t DiskFile::GetSize() const noexcept {
    uint64_t size = 0;
    return Platform::GetFileSize(handle_, size) ? static_cast<int64_t>(size) : -1;
}

bool DiskFile::Read(void* buffer, unsigned size, unsigned& got) noexcept {
    size_t count = 0;
    const bool read = Platform::ReadFile(handle_, buffer, size, count);
    got = static_cast<unsigned>(count);
    return read;
}

bool DiskFile::Send(const void* data, unsigned size) noexcept {
    if (writeError_ == kErrorNone) {
        if (Platform::WriteFile(handle_, data, size)) return true;
        writeError_ = GetLastError();
    }
    SetLastError(writeError_);
    return false;
}

bool DiskFile::Flush() noexcept {
    return Send(buffer_, std::exchange(buffered_, 0));
}

char* DiskFile::GetWriteRoom(unsigned size) noexcept {
    if (writeError_ != kErrorNone) {
        SetLastError(writeError_);
        return nullptr;
    }
    if (size > kBufferSize || (size > kBufferSize - buffered_ && !Flush())) return nullptr;
    if (buffer_ == nullptr) {
        buffer_ = static_cast<char*>(Allocate(kBufferSize));
        if (buffer_ == nullptr) return nullptr;
    }
    return buffer_ + buffered_;
}

bool DiskFile::Write(const void* data, unsigned size) noexcept {
    if (size == 0) return true;
    if (size >= kBufferSize) return Flush() && Send(data, size);
    char* room = GetWriteRoom(size);
    if (room == nullptr) return false;
    std::memcpy(room, data, size);
    Commit(size);
    return true;
}

bool DiskFile::Close() noexcept {
    if (handle_ == Platform::kInvalidFile) return true;
    const bool flushed = Flush();
    // The first error is the one to report.
    const uint32_t flushError = GetLastError();
    const bool closed = Platform::CloseFile(std::exchange(handle_, Platform::kInvalidFile));
    writeError_ = kErrorInvalidHandle;
    if (!flushed) SetLastError(flushError);
    return flushed && closed;
}

}  // namespace KivGuiBase
