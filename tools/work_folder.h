#pragma once

#include <string>

namespace Tool {

/// The process's own folder for temporary files: the bodies that the library stores while it
/// reads go there. The library leaves them behind, after a failed read without a trace of their
/// names; here they go with the folder, when the command ends or is interrupted (see Leftovers).
///
/// Made once, before a message is read.
class WorkFolder {
public:
    /// @throws Failure when the folder cannot be made.
    WorkFolder();

    /// The path of a file of ours in it. The names of body files begin with "mimeio-".
    std::string At(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

}  // namespace Tool
