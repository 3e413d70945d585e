#pragma once

#include "mime/mime.h"
#include "mime/parser/cursor.h"

namespace MIME {

/// Reads header lines into the part's fields, up to and including the empty line that ends them
/// (RFC 5322, 2.2). Departs from the RFC in not unfolding: each line is a field of its own.
/// @return false, with a message, at a line that is no field, a NUL, or the end of the text.
bool ReadHeaderBlock(Part& part, Cursor& cursor, AnsiStr& error) noexcept;

/// Splits a line at its first ":" and stores the field. A field that is there already takes the
/// new value; its parameters are added to.
bool ParseHeaderLine(Part& part, const AnsiSubStr& line, AnsiStr& error) noexcept;

/// Sets value and parameters from the text of a field (RFC 2045, 5.1): up to the first ";" the
/// value, then parameters between ";". Quotes are taken off; nothing is decoded.
/// @return false when memory runs out.
bool ParseHeaderValue(HeaderValue& target, const AnsiSubStr& text) noexcept;

}  // namespace MIME
