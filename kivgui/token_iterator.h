#pragma once

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"

namespace KivGuiBase {

/// Iterates over the tokens of a text between separator characters.
///
/// A separator inside a double-quoted string belongs to the token; backslash escapes are respected,
/// and a string that is not closed extends to the end of the text. Tokens that are empty or only
/// white space are skipped. The whole iteration is linear.
///
///   TokenIterator it("a=1; b=\"x;y\" ;; c", ";");
///   while (it.ToNext()) Use(it.token);   // "a=1", " b=\"x;y\" ", " c"
class KIV_EXPORT TokenIterator {
public:
    /// The flag has no effect.
    TokenIterator(const AnsiStr& text, const char* separators, bool /*flag*/ = false) noexcept
        : text_(text), separators_(separators) {
        // Without its separators the text would be one token.
        if (separators_.IsEmpty() && separators != nullptr && *separators != '\0')
            text_ = AnsiStr();
    }

    /// Moves to the next token.
    /// @return false when none is left, or memory runs out; `token` is then empty.
    bool ToNext() noexcept;

    AnsiStr token;  ///< the current token, white space around it included

private:
    AnsiStr text_;
    unsigned position_ = 0;
    AnsiStr separators_;
};

}  // namespace KivGuiBase
