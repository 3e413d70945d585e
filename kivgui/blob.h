#pragma once

#include <cstdint>
#include <utility>

#include "kivgui/export.h"
#include "kivgui/reference.h"

namespace KivGuiBase {

/// A buffer of bytes: a handle of one pointer to a shared, reference-counted body, with the same
/// rules of copy-on-write and threads as AnsiStr. Sizes are unsigned 32-bit; nothing throws.
class KIV_EXPORT Blob {
public:
    struct KIV_EXPORT Imp {
        Reference reference;
        uint32_t capacity;
        uint32_t size;  ///< bytes in use; they follow in memory

        char* GetBytes() noexcept { return reinterpret_cast<char*>(this + 1); }
        const char* GetBytes() const noexcept { return reinterpret_cast<const char*>(this + 1); }

        /// A new body with a count of 1 and the first `srcSize` bytes of `src` (none when it is
        /// null). Null when memory runs out.
        static Imp* Init(uint32_t capacity, uint32_t size, const void* src,
                         uint32_t srcSize) noexcept;
        static void Free(Imp* imp) noexcept;
    };

    Blob() noexcept = default;
    Blob(const Blob& other) noexcept : imp_(other.imp_) {
        if (imp_ != nullptr) imp_->reference.Link();
    }
    Blob(Blob&& other) noexcept : imp_(std::exchange(other.imp_, nullptr)) {}
    ~Blob() { Adopt(nullptr); }
    Blob& operator=(Blob other) noexcept {
        std::swap(imp_, other.imp_);
        return *this;
    }

    /// The bytes; null only when the blob is empty and never had a size.
    const char* GetData() const noexcept { return imp_ != nullptr ? imp_->GetBytes() : nullptr; }
    unsigned GetSize() const noexcept { return imp_ != nullptr ? imp_->size : 0; }
    bool IsEmpty() const noexcept { return GetSize() == 0; }

    /// Gives the blob `size` bytes of unspecified content, in place when the body is unshared
    /// and large enough. Every handle that shares the old body keeps it.
    /// @return the bytes to write to; null when memory runs out, the blob is then empty.
    char* Renew(unsigned size) noexcept;
    /// Changes the size to `size` bytes and keeps as many of the old ones as fit.
    /// @return false when memory runs out; the blob is then unchanged.
    bool Resize(unsigned size) noexcept;

private:
    void Adopt(Imp* imp) noexcept {
        if (imp_ != nullptr && imp_->reference.Unlink()) Imp::Free(imp_);
        imp_ = imp;
    }
    bool IsWritable(unsigned size) const noexcept {
        return imp_ != nullptr && !imp_->reference.IsShared() && imp_->capacity >= size;
    }

    Imp* imp_ = nullptr;
};

}  // namespace KivGuiBase
