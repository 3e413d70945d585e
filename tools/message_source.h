#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <mime/mail.h>
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

/// The path of a plain file with the bytes of `path` ("-" is standard input): a stream is copied into
/// the work folder. @throws Failure
std::string GetPlainFile(const std::string& path, WorkFolder& folder);

/// A file to be sent, with its name, which is not that of a copy.
struct SentFile {
    std::filesystem::path path;
    MIME::FileOptions options;
};
SentFile GetSentFile(const std::string& path, WorkFolder& folder);

/// Reads a message by the mail rules. @throws Failure
MIME::Mail OpenMail(const Source& source, WorkFolder& folder);

/// Reads a message by the exact rules; its bodies are files in the work folder.
/// @throws Failure with the library's message, or the system's when the file cannot be opened.
std::unique_ptr<MIME::Part> OpenStrict(const Source& source, WorkFolder& folder);

}  // namespace Tool
