#pragma once

#include <string_view>

#include "kivgui/memory_file.h"

namespace MIME {

/// Gives the pages of a mapped file back to the system when a pass over its text has passed them, so
/// that a file of any size takes little memory at a time. The text stays as it is: who looks at it
/// again gets its pages again. Texts that are not mapped are left alone.
class PassedPages {
public:
    PassedPages() noexcept = default;
    /// @param file  null, or the file whose text is passed over.
    /// @param next  where the pass begins.
    PassedPages(const KivGuiBase::MemoryFile* file, const char* next) noexcept
        : next_(file != nullptr && file->IsMapped() ? next : nullptr) {}

    /// The pass has come to this place.
    void Pass(const char* next) noexcept {
        constexpr std::ptrdiff_t kWindow = 0x800000;
        if (next_ == nullptr || next - next_ < kWindow) return;
        KivGuiBase::MemoryFile::Release({next_, static_cast<size_t>(next - next_)});
        next_ = next;
    }

private:
    const char* next_ = nullptr;  ///< pages before it were given back; null for none ever
};

}  // namespace MIME
