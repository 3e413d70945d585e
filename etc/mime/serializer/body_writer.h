#pragma once

#include "mime/foundation/file_access.h"
#include "mime/mime.h"

namespace MIME {

/// Writes the body of an entity without children: `data.content`, or else the content of `data.file`,
/// transfer-encoded as `info` says unless it is encoded already. Needs a fixed amount of memory,
/// whatever the body's size.
///
/// @param endsLine  set to true if the boundary line may follow at once, without a line end of its
///                  own. The last line end of a quoted-printable body from a file is the one that
///                  the reader took before the boundary line; the two share it.
/// @return false when a file cannot be opened, read or written, or when there is a body and the
///         transfer encoding is unknown.
bool WriteBody(const Part& part, FileAccess& out, bool& endsLine) noexcept;

}  // namespace MIME
