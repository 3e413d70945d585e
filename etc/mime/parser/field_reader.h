#pragma once

#include <string_view>

#include "mime/parser/read_state.h"

namespace MIME {

/// Stores one field of a header block in the part's map.
///
/// @param value  without white space around it; with its folds when the options unfold. Both views
///               lie in the text.
/// @return false when memory runs out. Throws std::bad_alloc.
bool ReadField(Part& part, std::string_view name, std::string_view value, ReadState& state);

}  // namespace MIME
