#pragma once

#include <cstdint>

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"

namespace KivGuiBase {

/// Base64 with "=" padding (RFC 2045, 6.8).
///
/// @param lineLength  characters between separators, 0 for none at all. No separator follows the
///                    last line.
/// @return the text; empty when it would pass AnsiStr::kMaxLength (last error
///         kErrorStringOverflow) or memory runs out. Linear, one allocation.
KIV_EXPORT AnsiStr Binary2B64Str(const void* data, unsigned size, unsigned lineLength,
                                 const char* separator) noexcept;

/// Decodes base64. Characters of `separator` are skipped wherever they occur.
///
/// @param size  in: the buffer's capacity in bytes; out: the decoded count, never above it.
/// @return false, with `size` unspecified, for a character outside the alphabet, anything after
///         the padding, a length that is not a whole number of groups, or a buffer that is too
///         small. Departs from RFC 2045 by refusing foreign characters instead of skipping them.
KIV_EXPORT bool B64Str2Binary(const AnsiStr& text, void* buffer, unsigned& size,
                              const char* separator) noexcept;

/// Two upper-case hexadecimal digits per byte, with `separator` between lines of `lineLength`
/// characters (0: one line).
KIV_EXPORT AnsiStr Binary2B16Str(const void* data, unsigned size, unsigned lineLength,
                                 const char* separator) noexcept;

/// Read the decimal number at the start of `text`; anything after its digits is ignored. The signed
/// form accepts a leading "+" or "-".
///
/// @param end    receives the first character after the number; may be null.
/// @param flag   without effect.
/// @param limit  a text with more digits than this is not a number.
/// @return 0 when a number was stored in `value`; otherwise 1, and `value` is unchanged: no
///         digit, too many digits, or a number that does not fit.
KIV_EXPORT int Str2Hyper(const char* text, const char** end, int64_t* value, bool flag,
                         unsigned limit) noexcept;
KIV_EXPORT int Str2UHyper(const char* text, const char** end, uint64_t* value, bool flag,
                          unsigned limit) noexcept;

/// Writes the decimal digits of `value` and a NUL; `buffer` holds at least 11 characters.
/// @return `buffer`.
KIV_EXPORT char* UInt2Str(char* buffer, unsigned value) noexcept;

/// printf into a string; empty when the format is wrong or memory runs out.
KIV_EXPORT AnsiStr FmtArgs(const char* format, ...) noexcept
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/// The text without white space (of the C locale) at its ends; the same handle when it has none.
/// Empty when memory runs out.
KIV_EXPORT AnsiStr CleanStr(const AnsiStr& text) noexcept;

/// Undoes the quoting of a text that is one whole quoted-string (RFC 2045, 5.1): removes the double
/// quotes around it and the backslashes of its escapes. Any other text is returned unchanged: one
/// with something before or after the quotes, a lone quote, an unterminated string. Empty when memory
/// runs out.
KIV_EXPORT AnsiStr ExtendedUnQuote(const AnsiSubStr& text) noexcept;
inline AnsiStr ExtendedUnQuote(const AnsiStr& text) noexcept {
    return ExtendedUnQuote(AnsiSubStr(text.GetStr(), text.GetLength()));
}

}  // namespace KivGuiBase
