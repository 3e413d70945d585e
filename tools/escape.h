#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Tool {

/// Makes a text harmless to print: one line, and nothing that a terminal obeys.
///
/// Control bytes, DEL and bytes that are not UTF-8 become "\x1B"; the control characters U+0080 to
/// U+009F, and the characters that end a line or turn the direction of text around, become
/// "\u202E". Backslashes stay as they are, so this is for people to read, not for programs.
///
/// @param quote  a character that gets a backslash in front; NUL for none.
std::string Escape(std::string_view text, char quote = '\0');

/// The same for a text of several lines: LF, and CR LF as LF, stay line ends, and tabs stay.
std::string EscapeLines(std::string_view text);

/// Columns that an escaped text takes, counting every character as one.
size_t MeasureColumns(std::string_view text);

}  // namespace Tool
