#pragma once

#include <cstddef>
#include <string_view>

/// Base64 into memory of the caller (RFC 4648, 4). The inner loops work on whole groups of 3 bytes
/// and 4 characters and use AVX2 where the processor has it; the results are the same without.
namespace KivGuiBase::Base64 {

inline constexpr unsigned kNoValue = 0xFF;

/// The 6-bit value of a character; kNoValue if it is not in the alphabet.
unsigned GetValue(char c) noexcept;

/// Encodes `size` bytes, a multiple of 3, into size / 3 * 4 characters. Reads nothing outside
/// the bytes and writes nothing outside the characters.
void EncodeGroups(const unsigned char* bytes, size_t size, char* out) noexcept;

/// Encodes whole lines of `lineLength` characters (a multiple of 4, not 0) with `lineEnd` after each, as many
/// as are worth it: none, or all but the last ones, never the last byte. EncodeLines does the rest.
/// @return the number of lines encoded.
size_t EncodeWholeLines(const unsigned char* bytes, size_t size, size_t lineLength,
                        std::string_view lineEnd, char* out) noexcept;

/// Decodes groups from the start of `size` characters (a multiple of 4) up to the first group
/// that holds anything outside the alphabet, padding included. Reads only the characters and
/// writes only the bytes of groups that it counts.
/// @return the number of characters decoded, a multiple of 4.
size_t DecodeGroups(const char* text, size_t size, unsigned char* out) noexcept;

/// Decodes lines of `lineLength` characters (a multiple of 4, not 0) and `lineEnd` (1 or 2 characters)
/// after each, up to the first that is no such line or holds anything outside the alphabet. `out` has
/// room for the bytes of as many lines as fit into `size` characters, and is written to no further.
/// @return the number of lines decoded.
size_t DecodeLines(const char* text, size_t size, size_t lineLength, std::string_view lineEnd,
                   unsigned char* out) noexcept;

/// Encodes bytes as lines of `lineLength` characters (a multiple of 4; 0 for one line) with
/// `separator` between them and padding at the end. `out` must have room for all of it.
/// @return the end of the text.
char* EncodeLines(const void* data, size_t size, unsigned lineLength, std::string_view separator,
                  char* out) noexcept;

}  // namespace KivGuiBase::Base64
