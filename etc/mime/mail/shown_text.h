#pragma once

#include <string>
#include <string_view>

/// Texts from outside, shown to people.
namespace MIME {

/// Is it a control character: C0, DEL, or C1? @param character  one in UTF-8.
bool IsControlCharacter(std::string_view character) noexcept;

/// The text as one line of UTF-8: control characters, and bytes that are not UTF-8, become U+FFFD.
std::string ShowOnOneLine(std::string_view text);

}  // namespace MIME
