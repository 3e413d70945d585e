#pragma once

#include <string>
#include <string_view>

namespace Tool {

/// Writes bytes to standard output as they are. @throws Failure when it does not take them.
void Print(std::string_view bytes);

/// Writes out what is buffered. A command that printed ends with it, because a full disk or a
/// closed pipe may show only then. @throws Failure
void FinishOutput();

/// Writes the line "kivmime: TEXT" to standard error, escaped, and shortened when it is long: the
/// library's messages may quote a whole body.
void PrintError(const std::string& text);

}  // namespace Tool
