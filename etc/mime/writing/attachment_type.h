#pragma once

#include <string>
#include <string_view>

namespace MIME {

/// The media type of a file by the extension of its name, in lower case: that of the look-up tables
/// (GetTypeFromExt), then of a table of newer types, such as application/gzip, text/markdown and
/// image/avif; application/octet-stream when neither has it.
std::string GetAttachmentType(std::string_view fileName);

}  // namespace MIME
