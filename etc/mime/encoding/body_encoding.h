#pragma once

#include "mime/mime.h"

namespace MIME {

/// Encodes a whole body, base64 in lines of 76 characters without a line end after the last. The
/// encoding must be a known one.
/// @return false when the text would pass AnsiStr::kMaxLength or memory runs out.
bool EncodeBody(const char* data, unsigned size, TransferEncoding::keys encoding,
                AnsiStr& text) noexcept;

}  // namespace MIME
