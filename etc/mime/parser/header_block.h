#pragma once

#include <string_view>

#include "mime/parser/delimiters.h"
#include "mime/parser/reading.h"

namespace MIME {

/// Receives the fields of a header block, in order.
class FieldTaker {
public:
    /// @param name, value  lie in the text, without white space around them. By the mail rules a value
    ///                     has its folds, and a name may be empty.
    /// @return false to stop reading.
    virtual bool TakeField(std::string_view name, std::string_view value) = 0;

protected:
    ~FieldTaker() = default;
};

/// Does the line begin a field: a name of visible characters, which may be missing, and ":"
/// (RFC 5322, 2.2)? White space between the two is obsolete (4.5) and allowed.
bool BeginsField(std::string_view line) noexcept;

/// The next line of a header block. Looks no further than the limit of the block, so that a line of
/// gigabytes is not searched whole.
///
/// @param begin   of the block, as below.
/// @param fields  how many the block has so far.
/// @return false, with a message, when the line would pass the limit.
bool PeekHeaderLine(Reading& reading, const char* begin, unsigned fields, Line& line) noexcept;

/// The mbox line at the cursor, before a header block (RFC 4155); `line.extent` is 0 when there is
/// none. False as above.
bool PeekMboxLine(Reading& reading, Line& line) noexcept;

/// Reads a header block up to and including the empty line that ends it (RFC 5322, 2.2).
///
/// @param delimiters  what may cut a header block off, by the mail rules.
/// @param begin       of the block for its limits: at the cursor, or at an mbox line before it.
/// @param end         receives the end of the last field, its line end included.
/// @return false, with a message, at what the rules do not allow. Throws std::bad_alloc.
bool ReadHeaderBlock(Reading& reading, const Delimiters& delimiters, const char* begin,
                     FieldTaker& fields, const char*& end);

}  // namespace MIME
