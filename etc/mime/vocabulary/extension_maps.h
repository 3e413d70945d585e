#pragma once

#include "mime/vocabulary/text_index.h"

namespace MIME {

/// Finds file-name extensions, without the dot; all are in lower case but for "Z".
using FileTypeMap = TextIndex<4096>;

/// Finds media types, spelt as in header fields.
using FileExtensionMap = TextIndex<2048>;

/// The two tables. Any thread; the first call builds the table under the lazy-static lock,
/// later calls take no lock. A table never changes until EmptyExtensionMaps.
const FileTypeMap& GetFileTypeMap() noexcept;
const FileExtensionMap& GetFileExtensionMap() noexcept;

/// Empties the tables at the end of the module. Later lookups find nothing and build nothing. No other
/// thread may look anything up meanwhile.
void EmptyExtensionMaps() noexcept;

}  // namespace MIME
