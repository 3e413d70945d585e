#pragma once

#include <string>
#include <string_view>

namespace MIME {

/// The media type of a file by the last extension of its name, case ignored, in lower case:
/// that of a table of newer types, such as application/gzip, text/markdown and image/avif, or else
/// that of the look-up tables (GetTypeFromExt); application/octet-stream when neither has it. The
/// newer table has only what the other one lacks, or has under a name that was replaced since.
std::string GetAttachmentType(std::string_view fileName);

}  // namespace MIME
