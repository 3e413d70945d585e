#pragma once

#include <string>
#include <vector>

#include "command_tree.h"

namespace Tool {

/// A script that completes the command line in a shell: "bash", "zsh" or "fish".
std::string MakeCompletions(const std::vector<CommandEntry>& commands, const std::string& shell);

}  // namespace Tool
