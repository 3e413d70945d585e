#pragma once

#include <string>
#include <string_view>

#include "mime/writing/composer.h"
#include "mime/writing/draft.h"

namespace MIME {

/// An attached or inline file, checked.
struct FilePart {
    std::string name;
    std::string type;
    std::string contentId;  ///< empty for none
    SharedBody body;
};

/// What the options leave empty is made of the name. Throws WriteFailure.
FilePart MakeFilePart(SharedBody body, const FileOptions& options);

/// The options with the file's own name, where they have none.
FileOptions NameFile(const FileOptions& options, const std::filesystem::path& path);

/// @param disposition  "attachment" or "inline".
Draft MakeFileDraft(const FilePart& file, std::string_view disposition);

/// Can the body be sent unencoded, as a message must be?
bool CanBeVerbatim(const BodySource& body);

}  // namespace MIME
