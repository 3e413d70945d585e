#pragma once

#include <cstddef>

#include "kivgui/file.h"

namespace KivOssSec {

/// Overwrites memory, in a way that the compiler cannot optimise away.
void Wipe(void* data, size_t size) noexcept;

/// Bytes that are wiped before they are freed.
class SecretBytes {
public:
    SecretBytes() noexcept = default;
    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;
    ~SecretBytes() { Clear(); }

    /// Replaces the bytes by `size` bytes of unspecified content.
    /// @return false, with the last error set, when memory runs out; the object is then empty.
    bool Renew(size_t size) noexcept;
    void Clear() noexcept;

    char* GetData() noexcept { return data_; }
    const char* GetData() const noexcept { return data_; }
    size_t GetSize() const noexcept { return size_; }

private:
    char* data_ = nullptr;
    size_t size_ = 0;
};

/// More than any key with its certificates needs.
inline constexpr unsigned kMaxSignerFile = 16 << 20;

/// Reads the file that has a signer's key.
/// @return false, with the last error set: kErrorFileTooLarge for more than kMaxSignerFile bytes,
///         kErrorBadEncoding for none.
bool ReadSignerFile(const KivGuiBase::File& file, SecretBytes& bytes) noexcept;

}  // namespace KivOssSec
