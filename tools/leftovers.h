#pragma once

#include <functional>
#include <string>

/// Files and folders that must not outlive the program: body files that nobody asked to keep, and
/// outputs that are not complete. They are removed when a command ends, however it ends, an
/// interrupt included. Any thread.
namespace Tool::Leftovers {

/// Runs `make`, which creates a file or folder, and remembers the path that it returns. No
/// interrupt comes between the two. What `make` throws passes through.
void Add(const std::function<std::string()>& make);

/// Forgets a path: the file is complete and stays.
void Keep(const std::string& path);

/// Removes everything. A call on another thread afterwards finds nothing left to do.
void RemoveAll();

/// Removes everything and keeps other threads from adding more until the process ends.
void RemoveAllForGood();

}  // namespace Tool::Leftovers
