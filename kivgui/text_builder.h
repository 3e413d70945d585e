#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "kivgui/ansi_str.h"

namespace KivGuiBase {

/// Builds a text piece by piece, with spare room while it grows and none when it is done. A text
/// that cannot be completed, because it would pass 32 bits or memory runs out, comes out empty
/// rather than with a piece missing.
class TextBuilder {
public:
    /// @param room  characters to reserve at first.
    explicit TextBuilder(size_t room = 0) noexcept {
        isComplete_ = room <= AnsiStr::kMaxLength &&
                      (room == 0 || text_.Alloc(static_cast<unsigned>(room)) != nullptr);
    }

    void Append(std::string_view piece) noexcept {
        const unsigned before = text_.GetLength();
        text_.Append(piece, Growth::spare);
        isComplete_ = isComplete_ && text_.GetLength() - before == piece.size();
    }
    void Append(char c) noexcept { Append(std::string_view(&c, 1)); }
    /// Gives the text up: it comes out empty.
    void Abandon() noexcept { isComplete_ = false; }

    bool IsEmpty() const noexcept { return text_.IsEmpty(); }
    /// Returns false once a piece is missing or the text was given up.
    bool IsComplete() const noexcept { return isComplete_; }

    /// Returns the text; the builder is then empty.
    AnsiStr Finish() noexcept {
        AnsiStr text = std::move(text_);
        if (!isComplete_) return {};
        text.Shrink();
        return text;
    }

private:
    AnsiStr text_;
    bool isComplete_ = true;
};

}  // namespace KivGuiBase
