#pragma once

#include <stdexcept>
#include <string>

namespace Tool {

/// Ends the command with the line "kivmime: SUBJECT: REASON" and exit status 1. The subject is
/// what the user named: a file, a part, a stream.
class Failure : public std::runtime_error {
public:
    Failure(const std::string& subject, const std::string& reason)
        : std::runtime_error(subject + ": " + reason) {}
};

/// The text for the library's last error.
std::string GetLastReason();

}  // namespace Tool
