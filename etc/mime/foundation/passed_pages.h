#pragma once

#include <cstddef>
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

/// Searches a text of any size, passing over its pages.
/// @param length  of what is looked for, in bytes.
/// @param find    finds it in a part of the text: its place there, or npos.
/// @param passed  a pass that begins where the text does.
/// @return its place in the text, or npos.
template <class Find>
size_t FindPassingPages(std::string_view text, size_t length, PassedPages passed,
                        const Find& find) {
    constexpr size_t kWindow = 0x800000;
    for (size_t from = 0;;) {
        const size_t found = find(text.substr(from, kWindow));
        if (found != std::string_view::npos) return from + found;
        if (text.size() - from <= kWindow) return found;
        from += kWindow - length + 1;
        passed.Pass(text.data() + from);
    }
}

}  // namespace MIME
