#pragma once

#include "mime/mime.h"
#include "mime/parser/boundary_set.h"
#include "mime/parser/read_state.h"

namespace MIME {

/// Reads header lines into the part's fields, up to and including the empty line that ends them
/// (RFC 5322, 2.2). Without ReadOptions::unfold each line is a field of its own.
///
/// @param boundaries  null, or what may cut an open header block off.
/// @param begin       of what is kept as the block's source, at or before the cursor.
/// @return false, with a message, at a line that is no field, a NUL, or the end of the text, as
///         far as the options do not allow them. Throws std::bad_alloc.
bool ReadHeaderBlock(Part& part, ReadState& state, const BoundarySet* boundaries,
                     const char* begin);

/// The same by the reader's own rules.
bool ReadHeaderBlock(Part& part, Cursor& cursor, AnsiStr& error);

/// Sets value and parameters from the text of a field (RFC 2045, 5.1): up to the first ";" the
/// value, then parameters between ";". Quotes are taken off; nothing is decoded.
/// @return false when memory runs out.
bool ParseHeaderValue(HeaderValue& target, const AnsiSubStr& text) noexcept;

}  // namespace MIME
