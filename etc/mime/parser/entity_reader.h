#pragma once

#include "mime/mime.h"
#include "mime/parser/read_state.h"

namespace MIME {

/// Reads one entity, which has no enclosing multipart entity, and all its children, to any depth.
///
/// @param contentType  null, or a Content-Type value that stands in for the header block.
/// @return false at the first failure, with a message unless memory ran out. Children that were
///         complete then stay; the one being read is destroyed.
/// Memory: one level of the descent costs about 100 bytes beside its entity. Throws
/// std::bad_alloc.
bool ReadEntity(Part& part, ReadState& state, const char* contentType);

}  // namespace MIME
