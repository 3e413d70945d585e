#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace Tool {

/// An option of a command, or an argument without a name of its own ("FILE").
struct CommandOption {
    std::vector<std::string> shortNames;  ///< "-o"
    std::vector<std::string> longNames;   ///< "--output"
    std::string value;                    ///< what follows: "OUT"; empty for nothing
    std::vector<std::string> choices;     ///< which values there are; empty: others
    bool isValueJoined = false;           ///< it is optional, and follows "="
    bool isRequired = false;
    bool isRepeated = false;
    std::string help;
};

/// The program, or a command of it.
struct CommandEntry {
    std::string name;
    std::string help;
    std::string footer;  ///< what follows the options; may have several lines
    std::vector<CommandOption> arguments;
    std::vector<CommandOption> options;
};

/// What the command line takes, for the man page and the completions: the program first.
std::vector<CommandEntry> ListCommands(const CLI::App& app);

}  // namespace Tool
