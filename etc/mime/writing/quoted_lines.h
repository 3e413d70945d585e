#pragma once

#include <cstddef>
#include <string_view>

#include "mime/encoding/quoted_printable.h"

namespace MIME {

/// Encodes text as quoted-printable for mail (RFC 2045, 6.7): a CR LF is a line end, any other CR or LF is
/// encoded. No line is above 76 characters, ends in white space, or begins with "." or "From ". A soft break is
/// never followed by "--", nor does it divide a UTF-8 character.
class QuotedLines {
public:
    /// @param lineEnd         CR LF or LF; must live as long as this.
    /// @param protectsDashes  no line begins with "--".
    QuotedLines(std::string_view lineEnd, bool protectsDashes) noexcept
        : lineEnd_(lineEnd), protectsDashes_(protectsDashes) {}

    /// The next lines of a text; see QuotedPrintable::EncodeLines.
    size_t Encode(const char*& next, const char* end, bool isLast, char* out) noexcept;

private:
    struct Lines;
    void Break(Lines& lines, const char* stop) noexcept;
    void PutLine(Lines& lines, const char* stop) noexcept;
    size_t ProtectStart(Lines& lines, const char* stop) noexcept;

    std::string_view lineEnd_;
    bool protectsDashes_;
    bool isContinued_ = false;  ///< after a soft break
};

}  // namespace MIME
