#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace MIME {

/// Divides a text among encoded words (RFC 2047, 2), which stand for it when blanks are between
/// them: UTF-8, as Q or B, whichever is shorter, with whole characters in each. Such words may stand
/// in a phrase too (5 (3)).
///
/// @param text       UTF-8, not empty.
/// @param firstRoom  characters that the first one may have; each of the others may have `room`.
///                   No word is above 75 characters, and each holds a character in any case.
std::vector<std::string> MakeEncodedWords(std::string_view text, size_t firstRoom, size_t room);

}  // namespace MIME
