#pragma once

#include <memory>
#include <optional>
#include <string>

#include <mime/mime.h>

#include "temporary.h"

namespace Tool {

/// A message to be written again, as the user names it.
struct Source {
    std::string file;                        ///< a path, or "-" for standard input
    std::optional<std::string> contentType;  ///< given when it is not in the file
    bool strict = false;                     ///< with the exact rules instead of the mail rules
};

/// The name of a file in messages: its path, or "standard input" for "-".
std::string GetShownName(const std::string& path);

/// The file at `path` ("-" is standard input) as a plain file: a stream is copied to the path
/// `copy`, which must be new. @throws Failure
KivGuiBase::File GetPlainFile(const std::string& path, const std::string& copy);

/// Reads a message; its bodies are files in the work folder. A stream is copied there first.
///
/// @throws Failure with the library's message, or the system's when the file cannot be opened.
std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const WorkFolder& folder);
/// The same for a message that is in a plain file, its Content-Type included.
/// @param report  null, or what receives the deviations.
std::unique_ptr<MIME::Part> ReadMessage(const Source& source, const KivGuiBase::File& file,
                                        MIME::ReadReport* report = nullptr);

}  // namespace Tool
