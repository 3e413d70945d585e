#pragma once

#include <string_view>

#include <mime/mime.h>

#include "files.h"

namespace Tool {

/// Passes on the body of an entity that the reader has read, in the transfer encoding that the
/// entity states, piece by piece. Decoding gives the same bytes.
///
/// No line of an encoded body begins with "--", so none can be mistaken for a boundary line.
///
/// @param lineEnd  CR LF, or LF for a message that is kept with such line ends.
/// @throws Failure when the body cannot be read.
void EncodeBody(const MIME::Part& part, std::string_view lineEnd, const TakePiece& take);

}  // namespace Tool
