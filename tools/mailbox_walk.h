#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "inputs.h"

namespace Tool {

/// A file with messages, or why something could not be listed.
struct WalkedFile {
    std::string path;
    bool isMessage = false;  ///< one message, whatever its first line says: it is in a Maildir
    std::string failure;     ///< empty, or why the folder at `path` cannot be listed
};

/// The files of a folder, sorted by the bytes of their paths, whatever the folder holds in memory that
/// does not grow with it: of a large folder only the next names are kept, and it is listed again when
/// they are used up. What is added or removed meanwhile may be seen or not.
///
/// Names that begin with a dot, and links to folders, are left out.
class FolderWalk {
public:
    FolderWalk(std::string folder, bool isRecursive, bool isMaildir);

    std::optional<WalkedFile> Next();

private:
    struct Level {
        std::string folder;
        std::string last;  ///< the name that was given last
        std::vector<std::string>
            names;                ///< the next ones, the nearest at the end; folders end in "/"
        bool isComplete = false;  ///< no name comes after these
    };

    bool List(Level& level, std::string& failure) const;

    const bool isRecursive_;
    const bool isMaildir_;
    std::vector<Level> levels_;
};

/// All files that the user gave, those of folders included.
class MailboxWalk {
public:
    explicit MailboxWalk(const Sources& sources) : sources_(sources) {}

    std::optional<WalkedFile> Next();

private:
    void Enter(const std::string& folder);

    const Sources& sources_;
    size_t nextFile_ = 0;
    std::vector<FolderWalk> folders_;  ///< the one being walked at the end
};

}  // namespace Tool
