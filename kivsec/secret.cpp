#include "kivsec/secret.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/memory.h"

namespace KivOssSec {

using KivGuiBase::DiskFile;
using KivGuiBase::SetLastError;

void Wipe(void* data, size_t size) noexcept {
    // The pointer is read at each call, so the compiler cannot know what the call does.
    static void* (*volatile const fill)(void*, int, size_t) = std::memset;
    if (size != 0) fill(data, 0, size);
}

bool SecretBytes::Renew(size_t size) noexcept {
    Clear();
    data_ = static_cast<char*>(std::malloc(size != 0 ? size : 1));
    if (data_ == nullptr) {
        KivGuiBase::NoteMissingMemory();
        return false;
    }
    size_ = size;
    return true;
}

void SecretBytes::Clear() noexcept {
    Wipe(data_, size_);
    std::free(std::exchange(data_, nullptr));
    size_ = 0;
}

bool ReadSignerFile(const KivGuiBase::File& file, SecretBytes& bytes) noexcept {
    DiskFile source;
    if (!source.Open(file, DiskFile::Mode::read)) return false;
    const int64_t size = source.GetSize();
    if (size < 0) return false;
    if (size > kMaxSignerFile) {
        SetLastError(KivGuiBase::kErrorFileTooLarge);
        return false;
    }
    unsigned got = 0;
    if (!bytes.Renew(static_cast<size_t>(size)) ||
        !source.Read(bytes.GetData(), static_cast<unsigned>(size), got)) {
        return false;
    }
    if (size == 0 || got != static_cast<unsigned>(size)) {
        SetLastError(KivGuiBase::kErrorBadEncoding);
        return false;
    }
    return true;
}

}  // namespace KivOssSec
