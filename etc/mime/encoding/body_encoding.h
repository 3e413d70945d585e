#pragma once

#include "mime/mime.h"

namespace MIME {

/// Is a body written as it is (RFC 2045, 6.2)?
constexpr bool IsIdentity(TransferEncoding::keys encoding) noexcept {
    return encoding == TransferEncoding::bit7 || encoding == TransferEncoding::bit8 ||
           encoding == TransferEncoding::binary;
}

/// Encodes a whole body as quoted-printable, or for any other encoding as base64 in lines of 76
/// characters without a line end behind the last.
/// @return false when the text would pass AnsiStr::kMaxLength or memory runs out.
bool EncodeBody(const char* data, unsigned size, TransferEncoding::keys encoding,
                AnsiStr& text) noexcept;

}  // namespace MIME
