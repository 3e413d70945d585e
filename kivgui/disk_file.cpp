#include "kivgui/disk_file.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "kivgui/platform/platform.h"

namespace KivGuiBase {

namespace {

Platform::OpenMode GetOpenMode(DiskFile::Mode mode) noexcept {
    switch (mode) {
        case DiskFile::Mode::create: return Platform::OpenMode::replace;
        case DiskFile::Mode::createNew: return Platform::OpenMode::createNew;
        case DiskFile::Mode::append: return Platform::OpenMode::append;
        case DiskFile::Mode::read: break;
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
    return handle_ != Platform::kInvalidFile;
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

bool DiskFile::Flush() noexcept {
    const unsigned size = std::exchange(buffered_, 0);
    return size == 0 || Platform::WriteFile(handle_, buffer_, size);
}

char* DiskFile::GetWriteRoom(unsigned size) noexcept {
    if (handle_ == Platform::kInvalidFile) {
        SetLastError(kErrorInvalidHandle);
        return nullptr;
    }
    if (size > kBufferSize || (size > kBufferSize - buffered_ && !Flush())) return nullptr;
    if (buffer_ == nullptr) {
        buffer_ = static_cast<char*>(std::malloc(kBufferSize));
        if (buffer_ == nullptr) {
            SetLastError(kErrorNotEnoughMemory);
            return nullptr;
        }
    }
    return buffer_ + buffered_;
}

bool DiskFile::Write(const void* data, unsigned size) noexcept {
    if (size == 0) return true;
    if (size >= kBufferSize) return Flush() && Platform::WriteFile(handle_, data, size);
    char* room = GetWriteRoom(size);
    if (room == nullptr) return false;
    std::memcpy(room, data, size);
    Commit(size);
    return true;
}

bool DiskFile::Close() noexcept {
    if (handle_ == Platform::kInvalidFile) return true;
    const bool flushed = Flush();
    // The reason that counts is the first one.
    const uint32_t flushError = GetLastError();
    const bool closed = Platform::CloseFile(std::exchange(handle_, Platform::kInvalidFile));
    if (!flushed) SetLastError(flushError);
    return flushed && closed;
}

}  // namespace KivGuiBase
