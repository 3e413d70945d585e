#pragma once

#include <cstddef>
#include <string_view>

#include "mime/encoding/quoted_printable.h"

namespace MIME {

/// Encodes text as quoted-printable for mail, a line at a time (RFC 2045, 6.7): a CR LF is a line end,
/// any other CR or LF is encoded. No line is above 76 characters, ends in white space, or begins with
/// "." or "From ". A soft break is never followed by "--", nor does it divide a UTF-8 character.
class QuotedLines {
public:
    /// With this many bytes before the end of its text, a line cannot tell that there is an end.
    static constexpr size_t kLookAhead = QuotedPrintable::kMaxLine + 8;

    /// @param lineEnd         CR LF or LF; must live as long as this.
    /// @param protectsDashes  no line begins with "--".
    QuotedLines(std::string_view lineEnd, bool protectsDashes) noexcept
        : lineEnd_(lineEnd), protectsDashes_(protectsDashes) {}

    /// Room that PutLine needs.
    size_t GetLineRoom() const noexcept;
    /// Writes a line, with its soft or hard line break if it has one, from the bytes between `next` and
    /// `end` (at least one), and moves `next` past those it took. @return the end of what it wrote.
    char* PutLine(const char*& next, const char* end, char* out) noexcept;

private:
    std::string_view lineEnd_;
    bool protectsDashes_;
    bool isContinued_ = false;  ///< after a soft break
};

}  // namespace MIME
