#pragma once

#include <optional>
#include <string_view>

#include "mime/encoding/lenient_decoder.h"
#include "mime/mime.h"

/// Encoded words (RFC 2047), as the decoders of header values share them.
namespace MIME {

constexpr bool IsLinearSpace(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// One encoded word: views into the text that it is in.
struct WordText {
    std::string_view charset;  ///< without the language (RFC 2231, 5)
    bool isBase64 = false;
    std::string_view text;
    size_t length = 0;  ///< of the whole word, "=?" and "?=" included
};

/// The encoded word at the start of a text that begins with "=?", if there is one. Looks no further
/// than the next "=?", so that searching a whole text stays linear.
///
/// Departures from RFC 2047, 2:
///  1. A word may be longer than 75 characters.
///  2. Q text may have blanks and "?".
std::optional<WordText> ParseWord(std::string_view text) noexcept;

/// A text after its encoded words were decoded.
struct DecodedWords {
    AnsiStr text;
    bool hadWord = false;  ///< a word was decoded; otherwise `text` is empty
};

DecodedWords DecodeWords(std::string_view text) noexcept;

/// Replaces each CR, LF and NUL by a space, so that text that was encoded cannot end a field.
void ReplaceControls(AnsiStr& text) noexcept;

}  // namespace MIME
