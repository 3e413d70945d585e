#pragma once

#include "mime/mime.h"
#include "mime/parser/read_state.h"

namespace MIME {

/// Derives the part's `info` from its Content-Type and Content-Transfer-Encoding fields, both of
/// which it adds, empty, where they are missing.
///
/// @param where        the entity's place in the text, for the report.
/// @param isInDigest   a missing Content-Type means message/rfc822 (RFC 2046, 5.1.5).
/// @return false, with a message, when the transfer encoding is none of the five and the options
///         do not allow others.
bool SetInfoFromHeaders(Part& part, ReadState& state, const char* where, bool isInDigest);

/// The same by the reader's own rules.
bool SetInfoFromHeaders(Part& part, AnsiStr& error);

}  // namespace MIME
