#include "mime/foundation/file_access.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace MIME {

using KivGuiBase::DiskFile;
using KivGuiBase::MemoryFile;

namespace {

template <class OpenFile, class Mode>
bool OpenAs(std::unique_ptr<OpenFile>& opened, const KivGuiBase::File& file, Mode mode) noexcept {
    opened.reset(new (std::nothrow) OpenFile);
    if (opened == nullptr) {
        KivGuiBase::NoteMissingMemory();
        return false;
    }
    return opened->Open(file, mode);
}

}  // namespace

void FileAccess::Drop() noexcept {
    Close();
    diskFile_.reset();
    memoryFile_.reset();
}

// One open serves both: looking at the size through the path first would cost a second walk.
bool FileAccess::OpenForReading() noexcept {
    Drop();
    if (!OpenAs(diskFile_, file_, DiskFile::Mode::read)) return false;
    if (diskFile_->GetSize() >= kDiskFileSize) return true;
    const std::unique_ptr<DiskFile> source = std::move(diskFile_);
    memoryFile_.reset(new (std::nothrow) MemoryFile);
    if (memoryFile_ == nullptr) KivGuiBase::NoteMissingMemory();
    return memoryFile_ != nullptr && memoryFile_->Open(*source);
}

bool FileAccess::OpenForWriting(int64_t expectedSize, Target target) noexcept {
    Drop();
    const bool isNew = target == Target::newFile;
    return expectedSize < kDiskFileSize
               ? OpenAs(memoryFile_, file_,
                        isNew ? MemoryFile::Mode::createNew : MemoryFile::Mode::create)
               : OpenAs(diskFile_, file_,
                        isNew ? DiskFile::Mode::createNew : DiskFile::Mode::create);
}

bool FileAccess::OpenDiskFileForWriting() noexcept {
    Drop();
    return OpenAs(diskFile_, file_, DiskFile::Mode::create);
}

bool FileAccess::Write(const void* data, uint64_t size) noexcept {
    constexpr uint64_t kMaxPiece = 0xFFFFFFFF;
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const auto piece = static_cast<unsigned>(std::min(size, kMaxPiece));
        if (!WritePiece(next, piece)) return false;
        next += piece;
        size -= piece;
    }
    return true;
}

bool FileAccess::WritePiece(const char* data, unsigned size) noexcept {
    if (memoryFile_ != nullptr) return WriteToMemory(data, size);
    return diskFile_ != nullptr ? diskFile_->Write(data, size) : FailAsClosed();
}

bool FileAccess::FailAsClosed() noexcept {
    KivGuiBase::SetLastError(KivGuiBase::kErrorInvalidHandle);
    return false;
}

bool FileAccess::WriteToMemory(const char* data, unsigned size) noexcept {
    if (!memoryFile_->IsWritable()) return FailAsClosed();
    const uint64_t used = memoryFile_->GetUsed();
    if (size > UINT64_MAX - used) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorInvalidData);
        return false;
    }
    if (used + size >= static_cast<uint64_t>(kDiskFileSize)) {
        return MoveToDisk() && diskFile_->Write(data, size);
    }
    if (used + size > memoryFile_->GetMappedLength()) {
        memoryFile_->Extend(size, used);
        if (used + size > memoryFile_->GetMappedLength()) return false;
    }
    std::memcpy(memoryFile_->GetCursor(), data, size);
    memoryFile_->Advance(size);
    return true;
}

// A size announced too small must not make the whole body pile up in memory.
bool FileAccess::MoveToDisk() noexcept {
    diskFile_.reset(new (std::nothrow) DiskFile);
    if (diskFile_ == nullptr) {
        KivGuiBase::NoteMissingMemory();
        return false;
    }
    const bool moved = memoryFile_->MoveTo(*diskFile_);
    memoryFile_.reset();
    return moved;
}

char* FileAccess::GetWriteRoom(unsigned size) noexcept {
    if (size > kMaxRoom) {
        KivGuiBase::SetLastError(KivGuiBase::kErrorInvalidParameter);
        return nullptr;
    }
    if (memoryFile_ != nullptr && !memoryFile_->IsWritable()) {
        FailAsClosed();
        return nullptr;
    }
    if (memoryFile_ != nullptr) {
        const uint64_t used = memoryFile_->GetUsed();
        if (used + size < static_cast<uint64_t>(kDiskFileSize)) {
            return memoryFile_->Extend(size, used) ? memoryFile_->GetCursor() : nullptr;
        }
        if (!MoveToDisk()) return nullptr;
    }
    if (diskFile_ != nullptr) return diskFile_->GetWriteRoom(size);
    FailAsClosed();
    return nullptr;
}

void FileAccess::Commit(unsigned size) noexcept {
    if (memoryFile_ != nullptr) {
        memoryFile_->Advance(size);
    } else {
        diskFile_->Commit(size);
    }
}

std::string_view FileAccess::GetView() const noexcept {
    if (memoryFile_ == nullptr) return {};
    return {memoryFile_->GetData(), static_cast<size_t>(memoryFile_->GetSize())};
}

bool FileAccess::Read(void* buffer, unsigned size, unsigned& got) noexcept {
    got = 0;
    return diskFile_ != nullptr ? diskFile_->Read(buffer, size, got) : FailAsClosed();
}

bool FileAccess::Close() noexcept {
    if (diskFile_ != nullptr) return diskFile_->Close();
    return memoryFile_ == nullptr || memoryFile_->Close();
}

}  // namespace MIME
