#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace MIME {

/// What was found in a folder: a file, or something below it that could not be listed.
struct ListedFile {
    /// Relative to the folder, in the system's form: much smaller than a path, which keeps its
    /// components too.
    std::filesystem::path::string_type name;
    uint32_t systemCode = 0;  ///< of kivgui/error.h; 0 for a file
};

/// Lists the plain files of `folder`/`subfolder` and appends them to `files`, in no order. Names that
/// begin with a dot are left out. A link to a file is a file; so is one that leads nowhere, which will
/// say so when it is opened. With `recursive`, subfolders are listed as well, but not links to folders.
///
/// A folder that cannot be listed is one entry with its code. Throws std::bad_alloc. Needs no stack
/// for depth.
void ListFiles(const std::filesystem::path& folder, const std::filesystem::path& subfolder,
               bool recursive, std::vector<ListedFile>& files);

}  // namespace MIME
