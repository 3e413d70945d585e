#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kivgui/export.h"
#include "mime/foundation/passed_pages.h"
#include "mime/foundation/text_search.h"
#include "mime/mail/mapped_text.h"

namespace MIME {

/// The line before each message of an mbox file (RFC 4155): "From ", who sent it, and when it came.
///
///   From ann@example.com Thu Jan  1 00:00:01 1970
struct FromLine {
    std::string_view sender;  ///< as it is written, blanks inside included; may be empty
    std::string_view date;    ///< from the day on, with all that follows; empty when there is none

    /// Takes a line apart. `line` is without its line end.
    /// @return false when the line does not begin with "From ", or when no date follows; the sender
    ///         is then the rest of the line. Real files have
    ///         "Thu Jan  1 00:00:01 1970" with a time zone before or after the year, without seconds
    ///         or without the day of the week, "Thu, 1 Jan 1970 00:00:01 GMT", and "1970-01-01...".
    static bool Parse(std::string_view line, FromLine& parsed) noexcept;
};

/// One message of an mbox file; the views are of the file.
struct MboxMessage {
    std::string_view fromLine;  ///< without its line end
    std::string_view text;      ///< without the empty line that separates it from the next message
};

/// Finds the messages of an mbox file, one after the other.
///
/// A message begins at a line "From " with a date that is the first line or follows an empty line,
/// and ends before the next one. A Content-Length field (mboxcl, mboxcl2) is believed when there is
/// one value of it and the body of this length ends at the end of the file or before an empty line
/// and a From_ line; a From_ line inside that body is text. CR LF or LF ends a line. Nothing is
/// unquoted, and every byte of the file is in a message, in a From_ line, or in the line ends between
/// them; before the first From_ line there may be a byte-order mark and empty lines.
///
/// Linear in the size of the file, whatever is in it; reads each part of it at most three times. No
/// memory but a few bytes for the search.
class MboxReader {
public:
    /// The first From_ line needs no date: a program that reads one message takes any line that
    /// begins with "From ", unless that is a field whose name has blanks after it.
    static bool IsMbox(std::string_view file) noexcept;

    /// @param file    must outlive this. When it is not an mbox, it has no messages.
    /// @param mapped  null, or what maps the file: the pages of long messages are then given back.
    explicit MboxReader(std::string_view file, const MappedText* mapped = nullptr);

    bool Next(MboxMessage& message) noexcept;
    void Rewind() noexcept;

private:
    struct Split {
        size_t end;   ///< of a message's text
        size_t next;  ///< where the next From_ line begins; the size of the file when there is none
    };

    bool IsFromLine(size_t at) const noexcept;
    bool BelieveLength(size_t begin, Split& split) const noexcept;
    size_t FindMark(size_t from) noexcept;
    Split FindNext(size_t begin) noexcept;

    std::string_view file_;
    const MappedText* mapped_;
    TextFinder finder_;
    size_t next_ = 0;  ///< where the next From_ line begins
};

/// Undoes the quoting of the variant mboxrd: a line that begins with one ">" or more and "From " loses
/// one ">". Right for mboxo too, unless a message of that had such lines before it was quoted; wrong
/// for mboxcl2, which quotes nothing. Line ends stay. Throws std::bad_alloc.
KIV_EXPORT std::string UnquoteMbox(std::string_view text);

}  // namespace MIME
