#pragma once

#include <functional>
#include <string_view>

#include <mime/mime.h>

namespace Tool {

/// Hands out the body of an entity that the reader has read, transfer-encoded as the entity
/// states it, piece by piece. Decoding gives the same bytes.
///
/// No line of it begins with "--" when it is encoded, so that none can be a delimiter.
///
/// @param lineEnd  CR LF, or LF for a message that is kept with such line ends.
/// @throws Failure when the body cannot be read.
void EncodeBody(const MIME::Part& part, std::string_view lineEnd,
                const std::function<void(std::string_view)>& take);

}  // namespace Tool
