#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include <mime/mail.h>

namespace Tool {

/// Which messages a command takes: those of which all is true that was given. Texts are looked for in
/// what the fields say when decoded, the case of ASCII letters ignored.
struct Selection {
    std::string from;     ///< in a name or an address of From
    std::string to;       ///< of To, Cc or Bcc
    std::string subject;  ///< in the subject
    std::string
        attachment;  ///< a pattern that the name of an attachment has; "*" is any attachment
    std::optional<std::chrono::sys_seconds> since;  ///< of Date
    std::optional<std::chrono::sys_seconds> until;  ///< of Date: earlier than this

    bool IsEmpty() const;
    bool Takes(const MIME::Mail& mail) const;
};

/// Reads a day ("2026-05-20", in UTC) or a date as in mail.
/// @param isEnd  of a day, the next one's begin is meant.
std::optional<std::chrono::sys_seconds> ReadTime(const std::string& text, bool isEnd);

/// Compares a text with a pattern in which "*" is any text and "?" any character, the case of ASCII
/// letters ignored.
bool MatchesPattern(std::string_view text, std::string_view pattern);

}  // namespace Tool
