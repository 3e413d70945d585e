#pragma once

#include "mime/foundation/file_access.h"
#include "mime/mime.h"

namespace MIME {

/// Writes the body of an entity without children: `data.content`, or else what is in `data.file`,
/// transfer-encoded as `info` says unless it is encoded already. Needs a fixed amount of memory,
/// whatever the body's size.
/// @return false when a file cannot be opened, read or written, or there is a body and the
///         transfer encoding is unknown.
bool WriteBody(const Part& part, FileAccess& out) noexcept;

}  // namespace MIME
