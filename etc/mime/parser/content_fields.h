#pragma once

#include "mime/mime.h"

namespace MIME {

/// Derives the part's `info` from its Content-Type and Content-Transfer-Encoding fields, both of
/// which it adds, empty, where they are missing.
/// @return false, with a message, when the transfer encoding is none of the five.
bool SetInfoFromHeaders(Part& part, AnsiStr& error) noexcept;

}  // namespace MIME
