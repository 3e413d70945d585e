#pragma once

#include <functional>
#include <string>

namespace Tool {

/// Files and folders that must not outlive the program: body files that nobody asked to keep, and
/// incomplete outputs. They are removed when a command ends, however it ends, an interrupt
/// included. Any thread.
namespace Leftovers {

/// Runs `make`, which creates a file or folder, and remembers the path that it returns. No
/// interrupt comes between the two. What `make` throws passes through.
void Add(const std::function<std::string()>& make);

/// From now on an interrupt removes everything. To be called once, while the process has one thread.
void RemoveOnInterrupt();

/// Forgets a path: the file is complete and stays.
void Keep(const std::string& path);

/// Removes everything. A call on another thread afterwards finds nothing left to do.
void RemoveAll();

/// Removes everything and keeps other threads from adding more until the process ends.
void RemoveAllForGood();

}  // namespace Leftovers

/// The process's own folder for temporary files, where the library stores the bodies of messages
/// that are written again. The library leaves them there, and after a failed read nobody knows their names; so the
/// whole folder is removed when the command ends or is interrupted (see Leftovers).
///
/// Made once, before a message is read.
class WorkFolder {
public:
    /// @throws Failure when the folder cannot be made.
    WorkFolder();

    /// The path of one of our own files in the folder. The names of body files begin with "mimeio-".
    std::string At(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

}  // namespace Tool
