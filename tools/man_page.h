#pragma once

#include <string>
#include <vector>

#include "command_tree.h"

namespace Tool {

/// The manual page kivmime(1), for man(7).
std::string MakeManPage(const std::vector<CommandEntry>& commands, const std::string& version);

}  // namespace Tool
