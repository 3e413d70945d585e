#pragma once

#include "mime/foundation/file_access.h"
#include "mime/mime.h"

namespace MIME {

/// Writes the body of an entity without children: `data.content`, or else what is in `data.file`,
/// transfer-encoded as `info` says unless it is encoded already. Needs a fixed amount of memory,
/// whatever the body's size.
///
/// @param endsLine  set to whether the boundary line may follow at once, without a line end of its
///                  own: a quoted-printable body from a file has its last line end from the reader,
///                  who counts it as part of the body, and shares it with the boundary line.
/// @return false when a file cannot be opened, read or written, or there is a body and the
///         transfer encoding is unknown.
bool WriteBody(const Part& part, FileAccess& out, bool& endsLine) noexcept;

}  // namespace MIME
