#pragma once

#include <functional>
#include <string>

namespace Tool {

/// Files and folders that must not outlive the program: body files that nobody asked to keep, and
/// incomplete outputs. They are removed when a command ends, however it ends, an interrupt
/// included. Any thread.
namespace Leftovers {

/// Runs `make`, which creates a file or folder, and remembers the path that it returns. No
/// interrupt comes between the two. What `make` throws passes through. @return the path.
std::string Add(const std::function<std::string()>& make);

/// From now on an interrupt removes everything. To be called once, while the process has one thread.
void RemoveOnInterrupt();

/// Runs `complete`, which completes a file, and forgets its path: it stays. No interrupt comes
/// between the two. What `complete` throws passes through.
void Keep(const std::string& path, const std::function<void()>& complete);

/// Removes everything. A call on another thread afterwards finds nothing left to do.
void RemoveAll();

/// Removes everything and keeps other threads from adding more until the process ends.
void RemoveAllForGood();

}  // namespace Leftovers

/// The process's own folder for temporary files: for copies of streams that are read more than once,
/// and for the bodies that the exact rules store. Those stay there, and after a failed read nobody
/// knows their names; so the whole folder is removed when the command ends or is interrupted (see
/// Leftovers). One thread at a time.
class WorkFolder {
public:
    /// A path for a new file in the folder, which the first call makes. @throws Failure
    std::string MakePath(const std::string& name);

private:
    std::string path_;
    unsigned count_ = 0;
};

}  // namespace Tool
