#pragma once

#include "mime/mime.h"

namespace MIME {

/// The file for a part's body, not made yet: "mimeio-" and the "filename" parameter of
/// Content-Disposition, or else Content-ID ("tmp" when empty) with the extension of Content-Type
/// ("bin" when unknown). The fields it asks for are added, empty, where they are missing.
/// Empty when memory runs out.
File MakeBodyFile(HeaderMap& headers) noexcept;

/// The value of Content-ID, which is added, empty, when it is missing.
const AnsiStr& GetContentID(HeaderMap& headers) noexcept;

}  // namespace MIME
