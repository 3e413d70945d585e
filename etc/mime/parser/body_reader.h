#pragma once

#include "mime/foundation/file_access.h"
#include "mime/mime.h"
#include "mime/parser/cursor.h"
#include "mime/parser/delimiter.h"

namespace MIME {

/// Reads the body of a single-part entity, up to the enclosing delimiter, into a new temporary
/// file that `data.file` then names. The cursor is left where the delimiter, or the CR LF before
/// it, begins; behind the counted bytes when Content-Length gave their number.
/// @return false, with a message; the file that was begun stays.
bool ReadBody(Part& part, Cursor& cursor, Delimiter& delimiter, AnsiStr& error) noexcept;

/// Copies a body that is not encoded: Content-Length bytes when that value is not empty, else up
/// to the first delimiter anywhere in the text, without the CR LF before it.
bool CopyRawBody(FileAccess& writer, Cursor& cursor, Delimiter& delimiter,
                 const AnsiStr& contentLength, AnsiStr& error) noexcept;

/// Decodes a base64 or quoted-printable body line by line, up to a line that begins with the
/// delimiter (RFC 2045, 6.7 and 6.8).
bool DecodeTextBody(FileAccess& writer, Cursor& cursor, const Delimiter& delimiter,
                    TransferEncoding::keys encoding, AnsiStr& error) noexcept;

}  // namespace MIME
