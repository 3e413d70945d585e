#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include <mime/mime.h>

/// What the user gets to see: standard output, and one line on standard error when a command fails.
namespace Tool {

/// Ends the command with the line "kivmime: SUBJECT: REASON" and exit status 1. The subject is
/// what the user named: a file, a part, a stream.
class Failure : public std::runtime_error {
public:
    Failure(const std::string& subject, const std::string& reason)
        : std::runtime_error(subject + ": " + reason) {}
    explicit Failure(const std::string& text) : std::runtime_error(text) {}
};

/// The text of the library's last error.
std::string GetLastReason();

/// The text of the C library's last error.
std::string GetSystemReason();

inline std::string ToString(const MIME::AnsiStr& text) {
    return std::string(std::string_view(text));
}

/// Writes bytes to standard output unchanged. @throws Failure when they cannot be written.
void Print(std::string_view bytes);

/// Writes out what is buffered. Every command that prints ends with this call, because a full disk
/// or a closed pipe may show only then. @throws Failure
void FinishOutput();

/// Writes the line "kivmime: TEXT" to standard error, escaped, and shortened when it is long: the
/// library's messages may quote a whole body.
void PrintError(const std::string& text);

}  // namespace Tool
