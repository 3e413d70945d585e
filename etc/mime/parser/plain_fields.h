#pragma once

#include <string_view>

#include "mime/parser/reading.h"
#include "mime/parser/scanner.h"

namespace MIME {

/// Reads what the Content-Type and the Content-Transfer-Encoding of an entity say about the text after
/// its header block, by the mail rules, when both are written as nearly all mail has them: without
/// comments, backslashes, encoded words and bytes outside ASCII. No map is made for that, and no memory
/// asked for but for a boundary.
///
/// @param type, encoding  the values of the first field of each name, with their folds; empty without one.
/// @return false, with nothing in `shape`, when they are written in another way; SetInfoFromHeaders reads
///         all fields, and gives the same for these.
bool ReadPlainFields(std::string_view type, std::string_view encoding, bool isInDigest,
                     const Reading& reading, EntityShape& shape);

}  // namespace MIME
