#pragma once

#include <memory>
#include <string>

#include <mime/mime.h>

#include "work_folder.h"

namespace Tool {

/// Makes the single-part entities of a new message out of files. Each call throws Failure when the
/// file cannot be read or is not what it should be.
class BodyMaker {
public:
    explicit BodyMaker(const WorkFolder& folder) : folder_(folder) {}

    /// The message's own text: `subType` of text, in UTF-8 or ASCII, with line ends made CR LF and
    /// without a byte-order mark. The transfer encoding is the plainest that carries it: 7bit for
    /// ASCII in lines of at most 998 bytes, else quoted-printable, or base64 when that is shorter.
    std::unique_ptr<MIME::Part> MakeText(const std::string& path, MIME::SubType::keys subType);

    /// A file that comes out byte for byte, with its name; an attached message may get other line
    /// ends. @param disposition  "inline" or "attachment".
    std::unique_ptr<MIME::Part> MakeFile(const std::string& path, const char* disposition);

private:
    void Open(KivGuiBase::MemoryFile& view, const std::string& path);

    const WorkFolder& folder_;
    unsigned copies_ = 0;
};

/// The name that a file is sent under: the last part of its path, UTF-8 without control bytes.
std::string GetSentName(const std::string& path);

}  // namespace Tool
