#include "kivgui/memory_file.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "kivgui/platform/platform.h"

namespace KivGuiBase {

namespace {

Platform::OpenMode GetOpenMode(MemoryFile::Mode mode) noexcept {
    switch (mode) {
        case MemoryFile::Mode::create: return Platform::OpenMode::replace;
        case MemoryFile::Mode::createNew: return Platform::OpenMode::createNew;
        case MemoryFile::Mode::read: break;
    }
    return Platform::OpenMode::read;
}

}  // namespace

bool MemoryFile::Open(const File& file, Mode mode) noexcept {
    Close();
    handle_ = Platform::OpenFile(file.GetPath().GetStr(), GetOpenMode(mode));
    if (handle_ == Platform::kInvalidFile) return false;
    writable_ = mode != Mode::read;
    if (writable_) return true;
    uint64_t size = 0;
    bool opened = Platform::GetFileSize(handle_, size);
    if (opened && size >= kMapSize) {
        start_ = const_cast<char*>(Platform::MapFile(handle_, size));
        mapped_ = opened = start_ != nullptr;
        if (opened) length_ = size;
    } else if (opened) {
        opened = ReadWhole(size);
    }
    // The view does not need the handle any more.
    Platform::CloseFile(handle_);
    handle_ = Platform::kInvalidFile;
    if (!opened) Forget();
    return opened;
}

bool MemoryFile::ReadWhole(uint64_t size) noexcept {
    if (size == 0) return true;
    start_ = static_cast<char*>(std::malloc(static_cast<size_t>(size)));
    if (start_ == nullptr) {
        SetLastError(kErrorNotEnoughMemory);
        return false;
    }
    size_t got = 0;
    if (!Platform::ReadFile(handle_, start_, static_cast<size_t>(size), got)) return false;
    length_ = got;
    return true;
}

bool MemoryFile::Extend(uint64_t added, uint64_t used) noexcept {
    if (!writable_ || added > std::numeric_limits<size_t>::max() - used) return false;
    const uint64_t needed = used + added;
    if (needed <= length_) return true;
    constexpr uint64_t kFirstLength = 4096;
    const uint64_t grown = std::max({needed, length_ + length_ / 2, kFirstLength});
    void* block = std::realloc(start_, static_cast<size_t>(grown));
    if (block == nullptr) {
        SetLastError(kErrorNotEnoughMemory);
        return false;
    }
    start_ = static_cast<char*>(block);
    length_ = grown;
    return true;
}

bool MemoryFile::Close() noexcept {
    bool written = true;
    if (handle_ != Platform::kInvalidFile) {
        if (used_ != 0) {
            written = Platform::WriteFile(handle_, start_, static_cast<size_t>(used_));
        }
        written = Platform::CloseFile(handle_) && written;
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

}  // namespace KivGuiBase
