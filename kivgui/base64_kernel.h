#pragma once

#include <cstddef>
#include <string_view>

/// The inner loops of base64 (RFC 4648, 4): whole groups of 3 bytes and 4 characters, no padding,
/// no line ends. They use the vector unit that the processor has; the results are the same.
namespace KivGuiBase::Base64 {

inline constexpr unsigned kNoValue = 0xFF;

/// The six bits that a character stands for; kNoValue for one outside the alphabet.
unsigned GetValue(char c) noexcept;

/// Encodes `size` bytes, a multiple of 3, into size / 3 * 4 characters. Reads nothing outside
/// the bytes and writes nothing outside the characters.
void EncodeGroups(const unsigned char* bytes, size_t size, char* out) noexcept;

/// Decodes groups from the start of `size` characters (a multiple of 4) up to the first group
/// that holds anything outside the alphabet, padding included. Reads only the characters and
/// writes only the bytes of groups that it counts.
/// @return the number of characters decoded, a multiple of 4.
size_t DecodeGroups(const char* text, size_t size, unsigned char* out) noexcept;

/// Encodes bytes as text in lines: `separator` after every `lineLength` characters (a multiple of
/// 4; 0 for one line) that more follow, padding at the end. `out` has room for all of it.
/// @return the end of the text.
char* EncodeLines(const void* data, size_t size, unsigned lineLength, std::string_view separator,
                  char* out) noexcept;

}  // namespace KivGuiBase::Base64
