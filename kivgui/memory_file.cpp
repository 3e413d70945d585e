#include "kivgui/memory_file.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "kivgui/memory.h"
#include "kivgui/platform/platform.h"

// One object has one of three states: closed; reading, with the content in a buffer or a mapping
// and no handle; writing, with a handle and a buffer that grows by half. Files below 4 MiB are
// read, not mapped, because a mapping costs more than the copy and ends the process when somebody
// truncates the file.

namespace KivGuiBase {

bool MemoryFile::Open(const File& file, Mode mode) noexcept {
    if (mode != Mode::read) return Create(file, mode);
    Close();
    DiskFile source;
    return source.Open(file, DiskFile::Mode::read) && Open(source);
}

bool MemoryFile::Open(DiskFile& source) noexcept {
    Close();
    const int64_t size = source.GetSize();
    if (size <= 0) return size == 0;
    const auto length = static_cast<uint64_t>(size);
    return length >= kMapSize ? Map(source, length)
                              : ReadWhole(source, static_cast<unsigned>(length));
}

bool MemoryFile::Create(const File& file, Mode mode) noexcept {
    Close();
    handle_ = Platform::OpenFile(file.GetPath().GetStr(), mode == Mode::createNew
                                                              ? Platform::OpenMode::createNew
                                                              : Platform::OpenMode::replace);
    writable_ = handle_ != Platform::kInvalidFile;
    return writable_;
}

bool MemoryFile::Map(const DiskFile& source, uint64_t size) noexcept {
    const char* start = Platform::MapFile(source.handle_, size);
    if (start == nullptr) return false;
    start_ = const_cast<char*>(start);  // a view for reading is not written to
    length_ = size;
    mapped_ = true;
    return true;
}

bool MemoryFile::ReadWhole(DiskFile& source, unsigned size) noexcept {
    start_ = static_cast<char*>(Allocate(size));
    if (start_ == nullptr) return false;
    unsigned got = 0;
    if (!source.Read(start_, size, got)) {
        Forget();
        return false;
    }
    length_ = got;
    return true;
}

bool MemoryFile::Extend(uint64_t added, uint64_t used) noexcept {
    if (!writable_) {
        SetLastError(kErrorInvalidHandle);
        return false;
    }
    if (added > std::numeric_limits<size_t>::max() - used) {
        NoteMissingMemory();
        return false;
    }
    const uint64_t needed = used + added;
    if (needed <= length_) return true;
    constexpr uint64_t kFirstLength = 1000;  // small enough for the allocator's fast path
    const uint64_t grown = std::max({needed, length_ + length_ / 2, kFirstLength});
    void* block = Reallocate(start_, static_cast<size_t>(grown));
    if (block == nullptr) return false;
    start_ = static_cast<char*>(block);
    length_ = grown;
    return true;
}

bool MemoryFile::WriteOut() noexcept {
    return used_ == 0 || Platform::WriteFile(handle_, start_, static_cast<size_t>(used_));
}

bool MemoryFile::MoveTo(DiskFile& target) noexcept {
    target.Close();
    if (!writable_) {
        SetLastError(kErrorInvalidHandle);
        return false;
    }
    const bool written = WriteOut();
    target.writeError_ = written ? kErrorNone : GetLastError();
    target.handle_ = std::exchange(handle_, Platform::kInvalidFile);
    Forget();
    return written;
}

bool MemoryFile::Close() noexcept {
    bool written = true;
    if (handle_ != Platform::kInvalidFile) {
        written = WriteOut();
        // The first error is the one to report.
        const uint32_t writeError = GetLastError();
        const bool closed = Platform::CloseFile(handle_);
        if (!written) SetLastError(writeError);
        written = written && closed;
    }
    Forget();
    return written;
}

void MemoryFile::Forget() noexcept {
    if (mapped_) {
        Platform::UnmapFile(start_, length_);
    } else {
        std::free(start_);
    }
    start_ = nullptr;
    used_ = 0;
    length_ = 0;
    writable_ = false;
    mapped_ = false;
    handle_ = Platform::kInvalidFile;
}

void MemoryFile::Release(std::string_view part) noexcept {
    Platform::ReleasePages(part.data(), part.size());
}

}  // namespace KivGuiBase
