#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Tool {

/// Makes a text safe to print: one line, and nothing that a terminal obeys.
///
/// Control bytes, DEL and bytes that are not UTF-8 are written like "\x1B"; the control characters
/// U+0080 to U+009F, and characters that end a line or change the direction of text, like "\u202E".
/// Backslashes are not escaped, so the result is for people to read, not for programs.
///
/// @param quote  a character that gets a backslash before it; NUL for none.
std::string Escape(std::string_view text, char quote = '\0');

/// The same for a text of several lines: LF is kept, CR LF becomes LF, and tabs are kept.
std::string EscapeLines(std::string_view text);

/// The code point of one character in well-formed UTF-8.
unsigned DecodeUtf8(std::string_view bytes);

/// The width of an escaped text in columns, every character counted as one.
size_t MeasureColumns(std::string_view text);

}  // namespace Tool
