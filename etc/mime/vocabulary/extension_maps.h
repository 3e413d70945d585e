#pragma once

#include "kivgui/skip_list_map.h"
#include "mime/mime.h"

namespace MIME {

/// From a file-name extension, without its dot, to its media type. The
/// extensions are in lower case, but for "Z"; the string of each ContentType is empty.
using FileTypeMap = KivGuiBase::SkipListMap<ContentType, KivGuiBase::ByteOrder>;

/// From a media type, in lower case and spelt as in header fields, to the extension that a
/// file of that type gets.
using FileExtensionMap = KivGuiBase::SkipListMap<AnsiStr, KivGuiBase::ByteOrder>;

/// The two tables. Any thread; the first call builds the table under the lazy-static lock,
/// later calls take no lock. A table never changes until EmptyExtensionMaps.
const FileTypeMap& GetFileTypeMap() noexcept;
const FileExtensionMap& GetFileExtensionMap() noexcept;

/// Frees the rows of the tables that were built, at the end of the module. Later lookups find
/// nothing and build nothing. No other thread may look anything up meanwhile.
void EmptyExtensionMaps() noexcept;

}  // namespace MIME
