#pragma once

#include <memory>
#include <optional>
#include <string>

#include <mime/mime.h>

#include "work_folder.h"

namespace Tool {

/// A message as the user names it.
struct Source {
    std::string file;                        ///< a path, or "-" for standard input
    std::optional<std::string> contentType;  ///< given when it travelled apart from the body
};

/// What messages call a file that the user names: its path, or "standard input" for "-".
std::string GetShownName(const std::string& path);

/// The file that the user names ("-" is standard input) as a plain file, which the library can map
/// and look back in: a stream is copied to the path `copy`, which must be new. @throws Failure
KivGuiBase::File GetPlainFile(const std::string& path, const std::string& copy);

/// Reads a message; its bodies are files in the work folder. A stream is copied there first.
/// @throws Failure with the library's message, or the system's when the file cannot be opened.
std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const WorkFolder& folder);
/// The same for a message that GetPlainFile has found.
std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const KivGuiBase::File& file);

}  // namespace Tool
