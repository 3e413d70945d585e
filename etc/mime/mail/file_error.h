#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "mime/mail/result.h"

namespace MIME {

/// An error whose text is the name of a file and the system's reason: "x.eml: No such file or folder".
///
/// The name is the path as it was given, in UTF-8; control characters and bytes that are not UTF-8
/// become U+FFFD, so that the text is one line. Throws std::bad_alloc.
/// @param systemCode  of kivgui/error.h; the text is that of `code` when it is 0.
Error MakeFileError(ErrorCode code, const std::filesystem::path& path, uint32_t systemCode);

/// The same error, with the name of the file before its text.
Error MakeFileError(const Error& error, const std::filesystem::path& path);

}  // namespace MIME
