#pragma once

#include <string>
#include <string_view>

namespace Tool {

/// Decodes the encoded words of header text (RFC 2047, both encodings) to UTF-8.
///
/// Words in utf-8 and us-ascii are decoded wherever they stand, and white space between two of them
/// goes, folds included. Everything else stays as it is: words in other character sets, since none
/// is converted here, and what is no whole word. Decoded bytes are not checked.
std::string DecodeWords(std::string_view text);

}  // namespace Tool
