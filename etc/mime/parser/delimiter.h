#pragma once

#include <string_view>

#include "kivgui/kivgui.h"
#include "mime/foundation/text_search.h"
#include "mime/parser/cursor.h"

namespace MIME {

/// The delimiter of a multipart entity: "--" and its boundary (RFC 2046, 5.1.1).
class Delimiter {
public:
    /// @param boundary  not empty.
    explicit Delimiter(const KivGuiBase::AnsiStr& boundary) noexcept
        : finder_(KivGuiBase::AnsiStr("--") + boundary) {}

    size_t GetLength() const noexcept { return finder_.GetLength(); }
    bool IsAtStartOf(std::string_view line) const noexcept {
        return line.starts_with(finder_.GetWanted());
    }
    /// Offset of the first delimiter anywhere in the text; TextFinder::kNotFound for none.
    size_t Find(std::string_view text) noexcept { return finder_.Find(text); }

private:
    TextFinder finder_;
};

/// Moves the cursor past the next boundary line: the first line that holds the delimiter, also
/// behind other characters and with anything after it. Departs from RFC 2046, 5.1.1 in both.
///
/// @param last  set to true when "--" follows the delimiter, which closes the entity.
/// @return false, with a message, at a NUL or the end of the text.
bool SkipToBoundary(Cursor& cursor, Delimiter& delimiter, bool& last, KivGuiBase::AnsiStr& error,
                    LineRules rules = {}) noexcept;

}  // namespace MIME
