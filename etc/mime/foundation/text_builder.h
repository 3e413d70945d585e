#pragma once

#include <string_view>

#include "kivgui/kivgui.h"

namespace MIME {

/// Builds a text piece by piece, with spare room while it grows and none when it is done. A text
/// that cannot be completed, because it would pass 32 bits or memory runs out, comes out empty
/// rather than with a piece missing.
class TextBuilder {
public:
    /// @param room  characters to reserve at first.
    explicit TextBuilder(unsigned room = 0) noexcept {
        if (room != 0) isComplete_ = text_.Alloc(room) != nullptr;
    }

    void Append(std::string_view piece) noexcept {
        const unsigned before = text_.GetLength();
        text_.Append(piece, KivGuiBase::Growth::spare);
        isComplete_ = isComplete_ && text_.GetLength() - before == piece.size();
    }
    void Append(char c) noexcept { Append(std::string_view(&c, 1)); }

    bool IsEmpty() const noexcept { return text_.IsEmpty(); }

    /// Hands the text out; the builder is then empty.
    KivGuiBase::AnsiStr Finish() noexcept {
        KivGuiBase::AnsiStr text = std::move(text_);
        if (!isComplete_) return {};
        text.Shrink();
        return text;
    }

private:
    KivGuiBase::AnsiStr text_;
    bool isComplete_ = true;
};

/// The text up to its first NUL: what is behind one is never written into a header.
inline std::string_view GetCText(const KivGuiBase::AnsiStr& text) noexcept {
    return text.GetStr();
}

}  // namespace MIME
