#pragma once

#include <memory>
#include <string>

#include <mime/mime.h>

#include "temporary.h"

namespace Tool {

/// Makes the single-part entities of a new message from files. Each call throws Failure when the
/// file cannot be read or is not what it should be.
class BodyMaker {
public:
    explicit BodyMaker(const WorkFolder& folder) : folder_(folder) {}

    /// The message's own text: a `subType` of text, in UTF-8 or ASCII. Line ends become CR LF, and a
    /// byte-order mark is removed. The transfer encoding is the plainest possible: 7bit for ASCII in
    /// lines of at most 998 bytes, else quoted-printable, or base64 when that is shorter.
    std::unique_ptr<MIME::Part> MakeText(const std::string& path, MIME::SubType::keys subType);

    /// A file with its name. The recipient gets the same bytes, except that an attached message may
    /// get other line ends. @param disposition  "inline" or "attachment".
    std::unique_ptr<MIME::Part> MakeFile(const std::string& path, const char* disposition);

private:
    void Open(KivGuiBase::MemoryFile& view, const std::string& path);

    const WorkFolder& folder_;
    unsigned copies_ = 0;
};

/// The name under which a file is sent: the last part of its path, in UTF-8, with "_" for control
/// characters and for bytes that are not UTF-8.
std::string GetSentName(const std::string& path);

}  // namespace Tool
