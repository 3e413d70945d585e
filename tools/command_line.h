#pragma once

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "colours.h"
#include "commands.h"

/// The command line: the subcommands with their options. Help, man page and completions are made from the
/// same tree.
namespace Tool {

/// The command line, parsed.
struct CommandLine {
    ShowOptions show;
    TextOptions text;
    LintOptions lint;
    IndexOptions index;
    DiffOptions diff;
    ExtractOptions extract;
    RewriteOptions rewrite;
    BuildOptions build;
    EditOptions edit;
    EditOptions sign;
    Coding coding = Coding::base64;
    TypeOptions type;
    std::string colours = "auto";
    std::function<int()> command;  ///< runs the subcommand that was given
};

/// Those that only read: show, text, lint, index, diff and extract.
void AddReadingCommands(CLI::App& app, CommandLine& line);
/// Those that make messages: rewrite, build, edit and sign.
void AddWritingCommands(CLI::App& app, CommandLine& line);

/// The option that names the output of a command.
inline CLI::Option* AddOutput(CLI::App& command, std::string& target) {
    return command.add_option("-o,--output", target, "The file; - is standard output")
        ->type_name("OUT");
}

/// The options that say how to read, for one message or several.
template <class Source>
void AddRules(CLI::App& command, Source& source, bool withStrict) {
    command.add_option("--content-type", source.contentType,
                       "The value of Content-Type when it is not in FILE, which then starts with "
                       "the body");
    if (!withStrict) return;
    command.add_flag("--strict", source.strict,
                     "Read with the exact rules instead of the mail rules");
}

}  // namespace Tool
