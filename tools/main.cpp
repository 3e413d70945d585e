// kivmime: shows, extracts, edits, builds and signs MIME messages. docs/kivmime.md is its manual.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <mime/version.h>
#include <CLI/CLI.hpp>

#include "colours.h"
#include "command_line.h"
#include "command_tree.h"
#include "completions.h"
#include "escape.h"
#include "man_page.h"
#include "output.h"
#include "platform/system.h"
#include "temporary.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

void AddCoding(CLI::App& app, Tool::CommandLine& line, const std::string& name,
               const std::string& help, int (*run)(Tool::Coding)) {
    CLI::App& command = *app.add_subcommand(name, help);
    CLI::Option_group& forms = *command.add_option_group("Form");
    forms.require_option(1);
    const auto add = [&](const char* flag, Tool::Coding coding, const char* what) {
        forms.add_flag_callback(
            flag, [&line, coding] { line.coding = coding; }, what);
    };
    add("--base64", Tool::Coding::base64, "Base64");
    add("--quoted-printable", Tool::Coding::quotedPrintable, "Quoted-printable");
    add("--word", Tool::Coding::word, "Encoded words, as in header fields");
    command.callback([&line, run] { line.command = [&line, run] { return run(line.coding); }; });
}

void AddType(CLI::App& app, Tool::CommandLine& line) {
    CLI::App& command = *app.add_subcommand(
        "type", "Look up media types by extension, and extensions by media type");
    command
        .add_option("NAME", line.type.names,
                    "An extension, a file name, or a media type (with a /)")
        ->required();
    command.callback([&line] { line.command = [&line] { return Tool::LookUpTypes(line.type); }; });
}

/// The options that every command takes, and those that packages are built with.
void AddGeneral(CLI::App& app, std::string& colours) {
    app.set_version_flag("--version", "kivmime " KIVMIME_VERSION_STRING,
                         "Print the version and exit");
    app.set_help_flag("-h,--help", "Print the help and exit");
    app.add_option("--color", colours, "Use colours: auto (on a terminal), always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    const auto print = [&app](const auto& make) {
        Tool::Print(make(Tool::ListCommands(app)));
        Tool::FinishOutput();
        throw CLI::Success();
    };
    app.add_flag_callback("--print-man",
                          [print] {
                              print([](const auto& commands) {
                                  return Tool::MakeManPage(commands, KIVMIME_VERSION_STRING);
                              });
                          })
        ->group("");
    const auto complete = [print](const std::string& shell) {
        print([&](const auto& commands) { return Tool::MakeCompletions(commands, shell); });
    };
    app.add_option_function<std::string>("--print-completion", complete)
        ->check(CLI::IsMember({"bash", "zsh", "fish"}))
        ->group("");
}

void MakeCommandLine(CLI::App& app, Tool::CommandLine& line) {
    app.require_subcommand(1);
    app.fallthrough();
    app.allow_windows_style_options(false);  // "/x" is a file, there too
    AddGeneral(app, line.colours);
    AddReadingCommands(app, line);
    AddWritingCommands(app, line);
    AddCoding(app, line, "encode", "Encode standard input", Tool::Encode);
    AddCoding(app, line, "decode", "Decode standard input", Tool::Decode);
    AddType(app, line);
    // Last, because commands that are added take it over.
    app.footer(
        "Exit status: 0 done; 1 it failed, or one of several messages did; 2 wrong usage.\n"
        "lint: 1 a message has deviations; 3 one cannot be read.\n"
        "diff: 0 equal; 1 different; 2 wrong usage, or one cannot be read.");
}

/// Prints the help, which may be long.
void PrintHelp(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream out;
    app.exit(error, out, out);
    Tool::Print(out.str());
    Tool::FinishOutput();
}

/// What is wrong with the command line, in one line.
std::string DescribeUsage(const CLI::App& app, const CLI::ParseError& error) {
    const bool hasNoCommand =
        app.get_subcommands().empty() && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    const std::vector<std::string> words = app.remaining();
    if (hasNoCommand && words.empty()) return "a command is needed, such as 'kivmime show FILE'";
    if (hasNoCommand) return "there is no command '" + words.front() + "'";
    std::string what = error.what();
    std::replace(what.begin(), what.end(), '\n', ' ');
    return what;
}

/// Says what is wrong with the command line, and where to read more.
void ReportUsage(const CLI::App& app, const CLI::ParseError& error) {
    std::string name = "kivmime";
    for (const CLI::App* command : app.get_subcommands()) name += " " + command->get_name();
    const std::string text =
        Tool::Escape(name + ": " + DescribeUsage(app, error)) + "\ntry '" + name + " --help'\n";
    std::fputs(text.c_str(), stderr);
}

int Run(std::vector<std::string> arguments) {
    std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
    CLI::App app("Shows, extracts, compares, edits, builds and signs MIME messages.", "kivmime");
    Tool::CommandLine line;
    MakeCommandLine(app, line);
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::Success& success) {
        PrintHelp(app, success);
        return 0;
    } catch (const CLI::ParseError& error) {
        ReportUsage(app, error);
        return kWrongUsage;
    }
    Tool::SetColours(line.colours);
    return line.command();
}

}  // namespace

int main(int argc, char** argv) {
    Tool::System::PrepareStreams();
    int status = kFailed;
    std::string reason;
    try {
        status = Run(Tool::System::GetArguments(argc, argv));
    } catch (const std::bad_alloc&) {
        reason = "not enough memory";
    } catch (const std::exception& error) {
        reason = error.what();
    }
    // First, because this waits while an interrupt is removing the files: an error that comes from
    // their absence is not worth a message.
    Tool::Leftovers::RemoveAll();
    if (!reason.empty()) Tool::PrintError(reason);
    return status;
}
