#pragma once

#include <functional>
#include <string>

namespace Tool {

/// Is `target` standard output ("-"), a pipe or a device: something that takes bytes in order and
/// cannot be replaced?
bool IsStream(const std::string& target);

/// Replaces a plain file, or makes one, so that it is complete before it takes the name: `write`
/// gets the path of a new file beside it. A link stays, and the file that it leads to is replaced;
/// permissions stay. @throws Failure, and what `write` throws; the old file is then untouched.
void ReplaceFile(const std::string& target, const std::function<void(const std::string&)>& write);

}  // namespace Tool
