#pragma once

#include "mime/mime.h"

namespace MIME {

/// Encodes a whole body for a transfer encoding: base64 in lines of 76 characters without a line
/// end behind the last, quoted-printable, or for the others the bytes as they are.
/// @return false when the text would pass AnsiStr::kMaxLength or memory runs out.
bool EncodeBody(const char* data, unsigned size, TransferEncoding::keys encoding,
                AnsiStr& text) noexcept;

}  // namespace MIME
