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

#include "commands.h"
#include "escape.h"
#include "output.h"
#include "platform/system.h"
#include "temporary.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

/// The command line, parsed.
struct CommandLine {
    Tool::ShowOptions show;
    Tool::TextOptions text;
    Tool::LintOptions lint;
    Tool::ExtractOptions extract;
    Tool::RewriteOptions rewrite;
    Tool::BuildOptions build;
    Tool::EditOptions edit;
    Tool::EditOptions sign;
    Tool::Coding coding = Tool::Coding::base64;
    Tool::TypeOptions type;
    std::function<int()> command;  ///< runs the subcommand that was given
};

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

void AddSources(CLI::App& command, Tool::Sources& sources, bool withStrict = true) {
    command
        .add_option("FILE", sources.files,
                    "Messages, mbox files, Maildirs or folders of messages; - is standard input")
        ->required();
    command.add_flag("-r,--recursive", sources.isRecursive,
                     "Read the subfolders of a folder of messages too");
    AddRules(command, sources, withStrict);
}

void AddShow(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("show", "Print the tree of entities");
    AddSources(command, line.show.sources);
    command.add_flag("--headers", line.show.headers, "Print the header fields too");
    command.add_flag("--json", line.show.json, "Print JSON");
    command.callback([&line] { line.command = [&line] { return Tool::Show(line.show); }; });
}

void AddText(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("text", "Print the readable text in UTF-8");
    AddSources(command, line.text.sources, false);
    command.callback([&line] { line.command = [&line] { return Tool::PrintText(line.text); }; });
}

void AddLint(CLI::App& app, CommandLine& line) {
    CLI::App& command =
        *app.add_subcommand("lint", "Print where the message departs from the RFCs");
    AddSources(command, line.lint.sources);
    command.add_flag("--json", line.lint.json, "Print JSON");
    command.callback([&line] { line.command = [&line] { return Tool::Lint(line.lint); }; });
}

/// Takes the index of a part from the end of the files, if it is there: "1", "1.2", "1.2.u1", "@7".
void TakePart(Tool::ExtractOptions& extract) {
    std::vector<std::string>& files = extract.sources.files;
    const std::string& last = files.back();
    const bool isIndex = last == "1" || last.starts_with("1.") || last.starts_with("@");
    if (files.size() < 2 || !isIndex) return;
    if (last.find_first_not_of("0123456789.u", 1) != std::string::npos) return;
    extract.part = last;
    files.pop_back();
}

void AddExtract(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("extract", "Write decoded bodies");
    AddSources(command, line.extract.sources);
    command.footer(
        "The last FILE may be PART instead, an index that show prints: then only this\n"
        "entity and those below it are written.");
    CLI::Option* const folder = command.add_option("-d,--directory", line.extract.folder,
                                                   "The folder, created if it does not exist");
    folder->type_name("DIR");
    command
        .add_option("-o,--output", line.extract.target,
                    "The file for the body of PART alone; - is standard output")
        ->excludes(folder)
        ->type_name("OUT");
    command.callback([&line] {
        if (line.extract.folder.empty() && line.extract.target.empty()) {
            throw CLI::ValidationError("extract", "needs --directory or --output");
        }
        TakePart(line.extract);
        line.command = [&line] { return Tool::Extract(line.extract); };
    });
}

CLI::Option* AddOutput(CLI::App& command, std::string& target) {
    return command.add_option("-o,--output", target, "The file; - is standard output")
        ->type_name("OUT");
}

CLI::Option* AddSigner(CLI::App& command, const std::string& name, Tool::Signer& signer) {
    CLI::Option* const key =
        command
            .add_option(name, signer.file,
                        "Sign (S/MIME) with this private key and its certificate: PEM or PKCS#12")
            ->type_name("KEY");
    command
        .add_option("--pass-file", signer.passFile,
                    "The key's pass phrase: the first line of this file")
        ->needs(key)
        ->type_name("F");
    return key;
}

void AddRewrite(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("rewrite", "Read the message and write it back");
    Tool::Source& source = line.rewrite.source;
    command.add_option("FILE", source.file, "The message; - is standard input")->required();
    AddRules(command, source, true);
    AddOutput(command, line.rewrite.target)->required();
    command.add_flag("--body", line.rewrite.bodyOnly,
                     "Leave the header block out and print the value of Content-Type instead");
    command.callback([&line] {
        if (line.rewrite.bodyOnly && line.rewrite.target == "-") {
            throw CLI::ValidationError("--body", "needs a file for OUT");
        }
        line.command = [&line] { return Tool::Rewrite(line.rewrite); };
    });
}

/// An option that may be given several times, each time with one value or with several.
CLI::Option* AddList(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                     const std::string& help, bool severalAtOnce) {
    return command.add_option(name, values, help)->allow_extra_args(severalAtOnce);
}

void AddBuildHeaders(CLI::App& command, Tool::BuildOptions& build) {
    AddList(command, "--from", build.from, "The sender: one mailbox", false)->required();
    AddList(command, "--to", build.to, "Recipients: an address list", false);
    AddList(command, "--cc", build.cc, "More recipients", false);
    AddList(command, "--bcc", build.bcc, "Recipients whom the others do not see", false);
    command.add_option("--subject", build.subject, "The subject");
    command.add_option("--date", build.date, "The value of Date instead of the current time");
    command.add_option("--message-id", build.messageId,
                       "The value of Message-ID instead of a new one");
    command.add_option("--seed", build.seed, "Make the same message on every run, for tests");
}

void AddBuild(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("build", "Make a message");
    Tool::BuildOptions& build = line.build;
    AddBuildHeaders(command, build);
    command.add_option("--text", build.text, "The text; - is standard input")->type_name("FILE");
    command.add_option("--html", build.html, "The text as HTML")->type_name("FILE");
    AddList(command, "--inline", build.inlineFiles, "Images that the HTML shows", true)
        ->type_name("FILE");
    AddList(command, "--attach", build.attachments, "Attachments", true)->type_name("FILE");
    AddSigner(command, "--sign", build.signer);
    AddOutput(command, build.target);
    command.callback([&line] {
        const Tool::BuildOptions& given = line.build;
        if (given.text.empty() && given.html.empty() && given.attachments.empty()) {
            throw CLI::ValidationError("build", "needs --text, --html or --attach");
        }
        if (!given.inlineFiles.empty() && given.html.empty()) {
            throw CLI::ValidationError("--inline", "needs --html");
        }
        line.command = [&line] { return Tool::Build(line.build); };
    });
}

/// An option whose values have a name, the mark, and something else.
void AddPairs(CLI::App& command, const std::string& name, std::vector<std::string>& values,
              const std::string& help, char mark) {
    AddList(command, name, values, help, false)->check([mark](const std::string& value) {
        const bool isPair = value.find(mark) != std::string::npos;
        return isPair ? std::string() : "\"" + value + "\" has no \"" + mark + "\"";
    });
}

void AddEdit(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("edit", "Write the message with changes");
    Tool::EditOptions& edit = line.edit;
    command.add_option("FILE", edit.file, "The message; - is standard input")->required();
    AddOutput(command, edit.target)->required();
    CLI::App& changes = *command.add_option_group("Changes");
    changes.require_option(1, 0);
    AddPairs(changes, "--add-field", edit.addedFields, "Add the field \"NAME: VALUE\"", ':');
    AddPairs(changes, "--set-field", edit.setFields, "Replace the fields of that name", ':');
    AddList(changes, "--remove-field", edit.removedFields, "Remove the fields of that name", false);
    AddList(changes, "--remove-part", edit.removedParts, "Remove a part, such as 1.2", false);
    AddPairs(changes, "--replace-part", edit.replacedParts, "PART=FILE: put a file in its place",
             '=');
    AddList(changes, "--attach", edit.attachments, "Add attachments", true)->type_name("FILE");
    changes.add_option("--footer", edit.footer, "Add lines to the text: TEXT or @FILE");
    AddSigner(changes, "--sign", edit.signer);
    command.callback([&line] { line.command = [&line] { return Tool::EditMessage(line.edit); }; });
}

void AddSign(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("sign", "Sign a message (S/MIME)");
    command.add_option("FILE", line.sign.file, "The message; - is standard input")->required();
    AddSigner(command, "--signer", line.sign.signer)->required();
    AddOutput(command, line.sign.target)->required();
    command.callback([&line] { line.command = [&line] { return Tool::EditMessage(line.sign); }; });
}

void AddCoding(CLI::App& app, CommandLine& line, const std::string& name, const std::string& help,
               int (*run)(Tool::Coding)) {
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

void AddType(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand(
        "type", "Look up media types by extension, and extensions by media type");
    command
        .add_option("NAME", line.type.names,
                    "An extension, a file name, or a media type (with a /)")
        ->required();
    command.callback([&line] { line.command = [&line] { return Tool::LookUpTypes(line.type); }; });
}

/// Prints the help, or an error message with the help. Both may quote the command line.
int ReportUsage(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream out;
    std::ostringstream complaint;
    const bool isHelp = app.exit(error, out, complaint) == 0;
    std::istringstream lines(isHelp ? out.str() : complaint.str());
    for (std::string line; std::getline(lines, line);) {
        line = Tool::Escape(line) + "\n";
        if (isHelp) {
            Tool::Print(line);
        } else {
            std::fputs(line.c_str(), stderr);
        }
    }
    if (isHelp) Tool::FinishOutput();
    return isHelp ? 0 : kWrongUsage;
}

int Run(std::vector<std::string> arguments) {
    std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
    CLI::App app("Shows, extracts, edits, builds and signs MIME messages.", "kivmime");
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // "/x" is a file, there too
    app.set_version_flag("--version", "kivmime " KIVMIME_VERSION_STRING);
    app.failure_message(CLI::FailureMessage::help);
    CommandLine line;
    AddShow(app, line);
    AddText(app, line);
    AddLint(app, line);
    AddExtract(app, line);
    AddRewrite(app, line);
    AddBuild(app, line);
    AddEdit(app, line);
    AddSign(app, line);
    AddCoding(app, line, "encode", "Encode standard input", Tool::Encode);
    AddCoding(app, line, "decode", "Decode standard input", Tool::Decode);
    AddType(app, line);
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        return ReportUsage(app, error);
    }
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
